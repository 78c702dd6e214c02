"""Holds the documents against what they speak of: the example, the list of return codes, files and trace points.

Run with the project's root as the only argument. No document is generated here.
"""
import pathlib
import re
import sys
import unittest

ROOT = pathlib.Path(sys.argv.pop())
DOCUMENTS = sorted([*ROOT.glob("*.md"), *ROOT.glob("docs/*.md")])


def read(name):
    return (ROOT / name).read_text(encoding="utf-8")


class Documents(unittest.TestCase):
    def test_the_readme_shows_the_examples_that_are_built(self):
        for language in ["c", "cpp"]:
            with self.subTest(language):
                shown = re.findall(rf"```{language}\n(.*?)```", read("README.md"), re.S)
                self.assertEqual(shown, [read(f"examples/read_statistics.{language}")])

    def test_the_table_of_return_codes_is_the_headers_list(self):
        codes = re.findall(r'CODE\((\w+), (-?\d+), "([^"]*)"\)', read("include/zolstats/zolstats.h"))
        rows = re.findall(r"^\| (-?\d+) \| `(\w+)` \| (.*) \|$", read("docs/return-codes.md"), re.M)
        self.assertTrue(codes)
        self.assertEqual([(name, number, text) for number, name, text in rows], codes)

    def test_every_link_leads_to_a_file(self):
        for document in DOCUMENTS:
            for target in re.findall(r"\]\(([^)#]+)\)", document.read_text(encoding="utf-8")):
                with self.subTest(document=document.name, target=target):
                    self.assertTrue((document.parent / target).exists())

    def test_the_guide_to_failures_names_trace_points_of_failures(self):
        table = read("docs/tracing.md").split("Frequent endings:")[1].split("## ")[0]
        failures = {
            number
            for header in ROOT.glob("source/*_trace.h")
            for number in re.findall(r"\{(\d{4}), TraceKind::Exception", header.read_text(encoding="utf-8"))
        }
        named = re.findall(r"\b\d{4}\b", "".join(re.findall(r"^\| ([\d, ]+) \|", table, re.M)))
        self.assertTrue(named)
        self.assertLessEqual(set(named), failures)


if __name__ == "__main__":
    unittest.main()
