# Which lines of a report of coverage are gaps, how the reasons are read, and that those in gaps.txt are of today's code.
# What a gap is stands in coverage_gaps.py.
import pathlib
import unittest

import coverage_gaps

ROOT = pathlib.Path(__file__).resolve().parents[2]


def line(number, count, branches=(), noncode=False):
    return {"line_number": number, "count": count, "branches": [{"count": each} for each in branches],
            "gcovr/noncode": noncode, "gcovr/excluded": False}


def gaps(*lines):
    report = {"files": [{"file": "a.cpp", "lines": lines}]}
    return [(gap.line, gap.what, gap.code) for gap in coverage_gaps.gaps(report, lambda file: ["  one;", "  two;"])]


class Gaps(unittest.TestCase):
    def test_a_line_that_never_ran_is_one(self):
        self.assertEqual(gaps(line(1, 5), line(2, 0)), [(2, "never run", "two;")])

    def test_a_branch_that_was_never_taken_is_one(self):
        self.assertEqual(gaps(line(1, 5, [0, 5, 0]), line(2, 5, [1, 4])), [(1, "2 of 3 branches never taken", "one;")])

    def test_a_line_without_code_is_none(self):
        self.assertEqual(gaps(line(1, 0, noncode=True)), [])


class Reasons(unittest.TestCase):
    def test_hold_for_all_the_lines_below_them(self):
        text = "# comment\n\na.cpp: cannot be: really\n  if (x) {\n  y();\n\nb.cpp: other\n  z();\n"
        self.assertEqual(coverage_gaps.reasons(text), {("a.cpp", "if (x) {"): "cannot be: really",
                                                       ("a.cpp", "y();"): "cannot be: really", ("b.cpp", "z();"): "other"})

    def test_are_given_for_lines_that_are_there(self):
        for file, code in coverage_gaps.reasons(coverage_gaps.REASONS.read_text()):
            self.assertIn(code, [each.strip() for each in (ROOT / file).read_text().splitlines()])


if __name__ == "__main__":
    unittest.main(verbosity=2)
