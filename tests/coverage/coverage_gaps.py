# Lists the lines of the library that no test runs and the branches that none takes, with the reasons in gaps.txt.
# How much is covered in total, and whether that is enough, is what scripts/coverage.sh asks gcovr.
# Run with gcovr's JSON report as the only argument, in the project's root.
import json
import pathlib
import sys
from dataclasses import dataclass

REASONS = pathlib.Path(__file__).resolve().parent / "gaps.txt"


@dataclass(frozen=True)
class Gap:
    file: str
    line: int
    what: str
    code: str


def reasons(text):
    """The reason by file and code: a line "file: reason", then the indented lines of code."""
    found = {}
    for line in text.splitlines():
        if line.startswith("  "):
            found[file, line.strip()] = reason
        elif line and not line.startswith("#"):
            file, reason = line.split(": ", 1)
    return found


def kind_of_gap(line):
    """What is missing at a line of the report; nothing for most."""
    if line["gcovr/noncode"] or line["gcovr/excluded"]:
        return ""
    if line["count"] == 0:
        return "never run"
    missing = sum(branch["count"] == 0 for branch in line["branches"])
    return f"{missing} of {len(line['branches'])} branches never taken" if missing else ""


def gaps(report, code_of):
    """All gaps of a report; code_of gives the lines of a file."""
    for file in report["files"]:
        code = code_of(file["file"])
        for line in file["lines"]:
            if what := kind_of_gap(line):
                yield Gap(file["file"], line["line_number"], what, code[line["line_number"] - 1].strip())


def main():
    report = json.loads(pathlib.Path(sys.argv[1]).read_text())
    found = list(gaps(report, lambda file: pathlib.Path(file).read_text().splitlines()))
    known = reasons(REASONS.read_text())
    for gap in found:
        print(f"{gap.file}:{gap.line}: {gap.what}: {gap.code}\n    {known.get((gap.file, gap.code), 'NO REASON IS GIVEN')}")
    for file, code in known.keys() - {(gap.file, gap.code) for gap in found}:
        print(f"{file}: no longer a gap, its reason can go: {code}")
    print(f"{len(found)} lines with a gap")


if __name__ == "__main__":
    main()
