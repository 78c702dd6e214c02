"""Holds what zolstat codes tells against the header's list and against docs/return-codes.md.

Run with the project's root and the tool as the only arguments. No Gateway is needed.
"""
import json
import pathlib
import re
import subprocess
import sys
import unittest

ZOLSTAT = sys.argv.pop()
ROOT = pathlib.Path(sys.argv.pop())

HEADER = re.findall(r'CODE\((\w+), (-?\d+), "([^"]*)"\)', (ROOT / "include/zolstats/zolstats.h").read_text())
NUMBERS = [int(number) for _, number, _ in HEADER]


def run(*arguments):
    return subprocess.run([ZOLSTAT, "codes", *arguments], capture_output=True, text=True, timeout=20)


def documented_advice():
    """The text for each code, from the paragraphs that begin with **a title** (codes)."""
    section = (ROOT / "docs/return-codes.md").read_text().split("## What to do")[1]
    found = []
    for codes, text in re.findall(r"^\*\*[^*]+\*\* \(([^)]*)\): (.*?)(?:\n\n|\Z)", section, re.M | re.S):
        for part in codes.split(", "):
            low, _, high = part.partition(" to ")
            ends = sorted([int(low), int(high or low)])
            found += [(number, " ".join(text.replace("`", "").split()))
                      for number in NUMBERS if ends[0] <= number <= ends[1]]
    return found


class Codes(unittest.TestCase):
    def test_every_code_of_the_header_is_listed_in_a_line(self):
        done = run()
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertEqual([line.split(maxsplit=2) for line in done.stdout.splitlines()],
                         [[number, name, text] for name, number, text in HEADER])

    def test_the_json_tells_name_meaning_and_advice_of_every_code(self):
        document = json.loads(run("--format", "json").stdout)
        self.assertEqual((document["format_version"], document["kind"]), (1, "codes"))
        self.assertEqual([(code["name"], str(code["code"]), code["meaning"]) for code in document["codes"]], HEADER)
        for code in document["codes"]:
            self.assertGreater(len(code["advice"]), 20, code)

    def test_the_advice_is_that_of_the_document(self):
        told = {code["code"]: code["advice"] for code in json.loads(run("--format", "json").stdout)["codes"]}
        documented = documented_advice()
        self.assertEqual(sorted(number for number, _ in documented), sorted(NUMBERS), "each code in one paragraph")
        self.assertEqual(told, dict(documented))

    def test_one_code_is_explained_in_a_paragraph_however_it_is_named(self):
        for name in ["-102", "102", "ZOLSTATS_CONNECTION_LOST"]:
            with self.subTest(name):
                done = run(name)
                self.assertEqual((done.returncode, done.stderr), (0, ""))
                self.assertTrue(done.stdout.startswith(
                    "-102 ZOLSTATS_CONNECTION_LOST\n  the connection to the Gateway is lost\n  What to do: forget "))
                self.assertLessEqual(max(map(len, done.stdout.splitlines())), 78)

    def test_several_codes_are_explained_in_the_order_asked_for(self):
        document = json.loads(run("-135", "0", "ZOLSTATS_NO_MEMORY", "--format", "json").stdout)
        self.assertEqual([code["code"] for code in document["codes"]], [-135, 0, -111])

    def test_an_unknown_code_is_wrong_usage(self):
        for name in ["-1", "103", "ZOLSTATS_NO_SUCH", "", "102x", "1e2", "-99999999999999999999", "\x1b[31m"]:
            with self.subTest(name):
                done = run(name)
                self.assertEqual((done.returncode, done.stdout), (2, ""))
                self.assertIn("there is no return code '", done.stderr)
                self.assertNotIn("\x1b", done.stderr)

    def test_other_formats_are_wrong_usage(self):
        done = run("--format", "csv")
        self.assertEqual((done.returncode, done.stdout), (2, ""))
        self.assertEqual(done.stderr, "zolstat: 'codes' has the formats table and json only\n")


if __name__ == "__main__":
    unittest.main()
