# Checks that the tables of trace points keep their order: numbers, templates, and one site for each row.
# What a line says is checked by the tests of its module, that there is such a test by trace_coverage_test.py.
# What the fields of a row mean is written down in source/stapi_zol_diag.h.
import re
import unittest
from collections import Counter

import trace_tables

RANGES = {
    "stapi_zol_impl": (1000, 1161),
    "stapi_zol_gwytok": (2000, 2045),
    "stapi_zol_resultsetbuffer": (2100, 2144),
    "stapi_zol_statcomms": (2200, 2245),
    "stapi_zol_statquery": (2300, 2317),
    "stapi_zol_gwycon": (3000, 3020),
    "stapi_zol_lock": (3101, 3113),
    "stapi_zol_socketcomms": (3200, 3251),
}
SHARED_BY_TWO_ROWS = [1003, 1005, 1130, 2033, 3002, 3251]
LONGEST_TEMPLATE = 255


def code_of(module):
    """A module's source without its comments."""
    return re.sub(r"//.*", "", (trace_tables.SOURCE / f"{module}.cpp").read_text())


class TraceTables(unittest.TestCase):
    def setUp(self):
        self.tables = trace_tables.read_tables()
        self.rows = trace_tables.all_rows()

    def faults(self, is_fault):
        return [str(row) for row in self.rows if is_fault(row)]

    def test_every_module_but_diag_has_one(self):
        self.assertEqual(list(self.tables), list(RANGES))

    def test_numbers_lie_in_the_range_of_their_module(self):
        for module, rows in self.tables.items():
            lowest, highest = RANGES[module]
            self.assertEqual([str(row) for row in rows if not lowest <= row.number <= highest], [])

    def test_rows_stand_in_order_of_their_numbers(self):
        for rows in self.tables.values():
            numbers = [row.number for row in rows]
            self.assertEqual(numbers, sorted(numbers))

    def test_only_six_numbers_are_shared_and_only_by_two_rows(self):
        uses = Counter(row.number for row in self.rows)
        self.assertEqual({number: count for number, count in uses.items() if count > 1},
                         {number: 2 for number in SHARED_BY_TWO_ROWS})

    def test_templates_end_with_their_only_newline(self):
        self.assertEqual(self.faults(lambda row: row.text.find("\n") != len(row.text) - 1), [])

    def test_templates_have_at_most_255_characters(self):
        self.assertEqual(self.faults(lambda row: len(row.text) > LONGEST_TEMPLATE), [])

    def test_a_row_is_used_once_and_by_its_module(self):
        for module, rows in self.tables.items():
            code = code_of(module)
            uses = {row.name: len(re.findall(rf"\b{row.name}\b", code)) for row in rows}
            self.assertEqual({name: count for name, count in uses.items() if count != 1}, {})


if __name__ == "__main__":
    unittest.main()
