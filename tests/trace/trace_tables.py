# Reads the tables of trace points, source/stapi_zol_<module>_trace.h, for the checks and the manual made from them.
# It understands the rows as they are written there and no other C++; a row it cannot read is an error.
# What the fields of a row mean is written down in source/stapi_zol_diag.h.
import pathlib
import re
from dataclasses import dataclass

ROOT = pathlib.Path(__file__).resolve().parents[2]
SOURCE = ROOT / "source"

LEVEL_WORDS = {"Exception": "*EXC*", "Event": "EVENT", "Entry": "ENTRY", "Exit": "EXIT", "Debug": "DEBUG",
               "Data": "DATA"}

ROW = re.compile(r"""inline\s+constexpr\s+TracePoint\s+(?P<name>\w+)\{\s*
                     (?P<number>\d+),\s*
                     TraceKind::(?P<kind>\w+),\s*
                     (?P<text>(?:"(?:[^"\\]|\\.)*"\s*)+)
                     (?:,\s*TraceStyle::\w+)?\s*\};""", re.VERBOSE)


@dataclass(frozen=True)
class Row:
    module: str
    name: str
    number: int
    level: str
    text: str

    def __str__(self):
        return f"{self.number} {self.level} ({self.module}, {self.name})"


def c_text(literals):
    """The characters of one or more adjacent C string literals."""
    joined = "".join(re.findall(r'"((?:[^"\\]|\\.)*)"', literals))
    return joined.replace(r"\n", "\n").replace(r"\"", '"').replace(r"\\", "\\")


def read_table(path):
    content = path.read_text()
    rows = list(ROW.finditer(content))
    if len(rows) != len(re.findall(r"\bTracePoint\b", content)):
        raise ValueError(f"{path.name}: a row is not written like the others")
    module = path.name.removesuffix("_trace.h")
    return [Row(module, row["name"], int(row["number"]), LEVEL_WORDS[row["kind"]], c_text(row["text"])) for row in rows]


def read_tables():
    """All tables by module, in order of their first numbers."""
    tables = [read_table(path) for path in SOURCE.glob("stapi_zol_*_trace.h")]
    return {rows[0].module: rows for rows in sorted(tables, key=lambda rows: rows[0].number)}


def all_rows():
    return [row for rows in read_tables().values() for row in rows]
