# The manual pages as a whole, and zolstats(3) against the header that it is made from.
# Not the pages of the programs against the programs: see program_pages_test.py.
# The protocol between the library and the Gateway is written down in docs/protocol.md.
import pathlib
import re
import sys
import tempfile
import unittest

import places
import header as reader
import man_pages

HEADER_TEXT = places.HEADER.read_text(encoding="utf-8")
EXAMPLE = places.ROOT / "examples" / "read_statistics.c"


def make_pages(folder, header=places.HEADER):
    return places.run(sys.executable, "-B", places.ROOT / "docs" / "reference" / "man_pages.py", header, EXAMPLE,
                      places.VERSION, folder)


def declared_calls():
    return re.findall(r"^int (\w+)\(", HEADER_TEXT, re.M)


class Pages(unittest.TestCase):
    """Each test has pages of its own, just made."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory(dir=places.BUILD)
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name)
        self.folder = self.root / "man3"
        made = make_pages(self.folder)
        self.assertEqual((made.returncode, made.stderr), (0, ""))
        self.page = self.folder / "zolstats.3"

    def formatted(self, *options):
        places_of_pages = {"MANPATH": str(self.root), "MANWIDTH": "80", "PATH": "/usr/bin:/bin"}
        return places.output_of("man", "-E", "UTF-8", *options, env=places_of_pages)

    def section(self, title):
        return re.search(rf"^{title}\n(.*?)(?=^\S)", self.formatted("zolstats"), re.M | re.S).group(1)


class EveryPage(Pages):
    def test_is_formatted_without_a_warning(self):
        for page in [self.page, *places.PROGRAM_PAGES]:
            with self.subTest(page.name):
                shown = places.run("man", "--warnings", "-E", "UTF-8", "-l", page)
                self.assertEqual((shown.returncode, shown.stderr), (0, ""))

    def test_passes_the_formatter_with_all_its_warnings_on(self):
        for page in [self.page, *places.PROGRAM_PAGES]:
            with self.subTest(page.name):
                checked = places.run("groff", "-ww", "-man", "-Tutf8", "-z", page)
                self.assertEqual((checked.returncode, checked.stdout + checked.stderr), (0, ""))

    def test_has_no_stray_blank_before_a_comma_or_within_a_sentence(self):
        for page in [self.page, *places.PROGRAM_PAGES]:
            shown = places.output_of("man", "-E", "UTF-8", "-l", page, env={"MANWIDTH": "1000", "PATH": "/usr/bin:/bin"})
            with self.subTest(page.name):
                self.assertEqual(re.findall(r".* ,.*|.*[?!]  +[a-z].*", shown), [])

    def test_can_be_found_by_its_name_and_purpose(self):
        for page in [self.page, *places.PROGRAM_PAGES]:
            with self.subTest(page.name):
                self.assertRegex(places.output_of("lexgrog", page), rf': "{page.stem} - \w.*"')

    def test_fits_a_terminal_of_80_columns_but_for_the_program_shown(self):
        for page in [self.page, *places.PROGRAM_PAGES]:
            text = self.formatted("-l", page).split("\nEXAMPLES\n")[0]
            with self.subTest(page.name):
                self.assertEqual([line for line in text.split("\n") if len(line) > 80], [])

    def test_tells_the_version_of_the_project(self):
        for page in [self.page, *places.PROGRAM_PAGES]:
            with self.subTest(page.name):
                self.assertRegex(page.read_text(encoding="utf-8"),
                                 rf'(?m)^\.TH .* "zolstats {re.escape(places.VERSION)}"')

    def test_has_the_sections_that_readers_look_for(self):
        wanted = {1: ["NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "EXIT STATUS", "EXAMPLES", "SEE ALSO"],
                  3: ["NAME", "LIBRARY", "SYNOPSIS", "DESCRIPTION", "TYPES", "CONSTANTS", "RETURN CODES", "EXAMPLES",
                      "SEE ALSO"]}
        wanted[8] = wanted[1]
        for page in [self.page, *places.PROGRAM_PAGES]:
            titles = re.findall(r"^([A-Z][A-Z ]*)$", self.formatted("-l", page), re.M)
            expected = wanted[int(page.suffix[1:])]
            with self.subTest(page.name):
                self.assertEqual([title for title in titles if title in expected], expected)


class LibraryPage(Pages):
    def test_every_call_of_the_header_has_its_section_and_no_other_has_one(self):
        sections = re.findall(r'^\.SS "(\w+)\(\)"$', self.page.read_text(encoding="utf-8"), re.M)
        self.assertEqual(sections, declared_calls())

    def test_every_call_has_a_link_page_and_no_other_has_one(self):
        links = {page.stem for page in self.folder.iterdir()} - {"zolstats"}
        self.assertEqual(links, set(declared_calls()))

    def test_a_link_page_leads_to_the_whole_page(self):
        whole = self.formatted("zolstats")
        for name in ["getStats", "getNextId", "setAPITimeout"]:
            with self.subTest(name):
                self.assertEqual(self.formatted(name), whole)

    def test_the_page_of_a_call_that_is_no_more_goes(self):
        old = self.folder / "getOldStats.3"
        old.write_text(".so man3/zolstats.3\n", encoding="utf-8")
        make_pages(self.folder)
        self.assertFalse(old.exists())

    def test_the_synopsis_holds_every_prototype(self):
        def words(text):
            return re.sub(r"\s+", " ", text)
        shown = words(self.section("SYNOPSIS"))
        for prototype in re.findall(r"^int \w+\(.*?\);", HEADER_TEXT, re.M | re.S):
            with self.subTest(prototype):
                self.assertIn(words(prototype), shown)

    def test_every_return_code_has_its_number_and_meaning(self):
        codes = re.findall(r'CODE\((\w+), (-?\d+), "([^"]*)"\)', HEADER_TEXT)
        shown = re.sub(r"\s+", " ", self.section("RETURN CODES"))
        self.assertTrue(codes)
        for name, number, text in codes:
            with self.subTest(name):
                self.assertIn(f" {name} ({number}) {text} ", shown + " ")

    def test_every_constant_has_its_value(self):
        shown = self.section("CONSTANTS")
        for name, value in re.findall(r"^#define (ZOLSTATS_\w+) (\d+)$", HEADER_TEXT, re.M):
            with self.subTest(name):
                self.assertRegex(shown, rf"(?m)^ +{name} \({value}\)$")

    def test_every_field_of_a_record_is_there(self):
        shown = self.section("TYPES")
        for body in re.findall(r"^typedef struct \w+ \{\n(.*?)^\}", HEADER_TEXT, re.M | re.S):
            for declaration in re.findall(r"^ +(.*?;)", body, re.M):
                self.assertIn(declaration, shown)

    def test_the_example_is_the_one_that_is_built(self):
        shown = self.section("EXAMPLES")
        self.assertEqual(re.sub(r"(?m)^ {7}", "", shown).strip("\n"), EXAMPLE.read_text(encoding="utf-8").strip("\n"))

    def test_a_header_with_a_problem_makes_no_page(self):
        broken = self.root / "broken.h"
        broken.write_text(HEADER_TEXT.replace("int dumpState(void);", "int dumpState(void);\n\nint lonely(void);"),
                          encoding="utf-8")
        made = make_pages(self.root / "none", broken)
        self.assertEqual(made.returncode, 1)
        self.assertIn("lonely has no comment", made.stderr)
        self.assertFalse((self.root / "none").exists())


class Text(unittest.TestCase):
    """What the formatter would take for something else."""

    def test_a_line_never_begins_like_a_request(self):
        self.assertEqual(man_pages.prose(".so it is"), "\\&.so it is\n")
        self.assertEqual(man_pages.prose("'tis"), "\\&'tis\n")

    def test_a_backslash_is_shown(self):
        self.assertEqual(man_pages.prose(r"a\nb"), "a\\enb\n")
        self.assertEqual(man_pages.literal(r'printf("\n");'), '.EX\nprintf("\\en");\n.EE\n')

    def test_a_negative_number_has_a_minus(self):
        self.assertEqual(man_pages.prose("gives -122 by-id"), "gives \\-122 by-id\n")

    def test_names_stand_out(self):
        self.assertEqual(man_pages.prose("ids of getStats() or ZOLSTATS_OK", ["ids"]),
                         "\\fIids\\fR of \\fBgetStats\\fR() or \\fBZOLSTATS_OK\\fR\n")

    def test_a_long_prototype_breaks_between_parameters(self):
        header = reader.read("/* thing: do. */\n\n/* ---- A -- */\n\n/* It. */\n"
                             "int callWithAQuiteLongName(const char* firstParameter, void** secondParameter);\n")
        self.assertEqual(man_pages.prototype_lines(header.calls[0]),
                         ["int callWithAQuiteLongName(const char* firstParameter,",
                          "                           void** secondParameter);"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
