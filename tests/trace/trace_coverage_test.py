# Checks that every row of the tables of trace points is expected by a test, as line(<number>, "<LEVEL>", ...), except for
# those in UNCOVERED. Whether the line is right is what those tests say, not this one.
# How such an expectation is written stands in tests/support/trace_capture.h.
import re
import unittest

import trace_tables

# Rows that no test can provoke, by number, each with its reason.
UNCOVERED = {
    2021: "no caller chains a null token, its memory has been checked before",
}

LITERALS = r'(?:"(?:[^"\\]|\\.)*"\s*)*'
CALL = re.compile(rf'\bline\(\s*(?P<number>\d+),\s*"(?P<level>[A-Z*]+)",\s*(?P<text>{LITERALS})')


def expectations():
    """The texts expected by all tests, by number and level. A text that is not written literally is empty."""
    found = {}
    for path in sorted((trace_tables.ROOT / "tests").glob("**/*.cpp")):
        for call in CALL.finditer(path.read_text()):
            texts = found.setdefault((int(call["number"]), call["level"]), set())
            texts.add(trace_tables.c_text(call["text"]))
    return found


def could_print(row, text):
    """Whether the row's template could print the text; values may stand for conversions."""
    parts = re.split(r"%[-.0-9]*[a-zA-Z]", row.text.rstrip("\n"))
    return re.fullmatch(".*".join(map(re.escape, parts)), text) is not None


def is_expected(row, found):
    return any(text == "" or could_print(row, text) for text in found.get((row.number, row.level), ()))


class TraceCoverage(unittest.TestCase):
    def setUp(self):
        self.rows = trace_tables.all_rows()
        self.found = expectations()

    def test_every_row_is_expected_by_a_test(self):
        missing = [str(row) for row in self.rows if row.number not in UNCOVERED and not is_expected(row, self.found)]
        self.assertEqual(missing, [], "no test expects these lines")

    def test_no_row_is_excused_without_need(self):
        numbers = {row.number for row in self.rows}
        covered = {row.number for row in self.rows if is_expected(row, self.found)}
        self.assertEqual([number for number in UNCOVERED if number not in numbers or number in covered], [])

    def test_every_excuse_has_its_reason(self):
        self.assertEqual([number for number, reason in UNCOVERED.items() if len(reason.split()) < 3], [])


if __name__ == "__main__":
    unittest.main(verbosity=2)
