# Makes the manual of trace points, docs/trace-points.md, from the tables; with --check it only compares.
# How to read a trace is not told there but in docs/tracing.md.
# What the fields of a row mean is written down in source/stapi_zol_diag.h.
import argparse
import pathlib
import sys

import trace_tables

COMMAND = "tests/trace/trace_points.py"
NEWLINE = "\n"

HEAD = f"""# Trace points

<!-- Made by {COMMAND} from the tables in source/; do not edit. -->

Every line that the library can trace, by its number, in the order of the modules' ranges. A conversion such as `%d`
stands for a value: `%p` for an address, `%s` for a text, `%d` and `%u` for a decimal number, `%x` and `%X` for a
hexadecimal one. How lines look and which level lets which of them through is told in [tracing.md](tracing.md).

Six numbers stand for two lines each: 1003, 1005, 1130, 2033, 3002 and 3251.
"""


def section(module, rows):
    lines = [f"\n## {module}\n", "| number | level | message |", "|---|---|---|"]
    lines += [f"| {row.number} | `{row.level}` | `{row.text.removesuffix(NEWLINE)}` |" for row in rows]
    return "\n".join(lines) + "\n"


def manual():
    return HEAD + "".join(section(module, rows) for module, rows in trace_tables.read_tables().items())


def check(path):
    if path.read_text() == manual():
        return 0
    print(f"{path} is stale; make it anew: python3 {COMMAND}", file=sys.stderr)
    return 1


def main():
    parser = argparse.ArgumentParser(description="Makes the manual of trace points from the tables.")
    parser.add_argument("path", nargs="?", type=pathlib.Path, default=trace_tables.ROOT / "docs" / "trace-points.md")
    parser.add_argument("--check", action="store_true", help="write nothing, but fail if the manual is stale")
    arguments = parser.parse_args()
    if arguments.check:
        return check(arguments.path)
    arguments.path.write_text(manual())
    return 0


if __name__ == "__main__":
    sys.exit(main())
