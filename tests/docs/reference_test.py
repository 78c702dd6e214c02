# The reference for a browser: that Doxygen finds nothing undocumented, and that it would.
# Not the text of the comments: see header_test.py for what they must hold.
# The protocol between the library and the Gateway is written down in docs/protocol.md.
import html.parser
import pathlib
import tempfile
import unittest

import places
import doxygen_filter
import header as reader

DOXYFILE = places.BUILD / "reference" / "Doxyfile"


class Links(html.parser.HTMLParser):
    def __init__(self, page):
        super().__init__()
        self.targets = []
        self.feed(page.read_text(encoding="utf-8"))

    def handle_starttag(self, tag, attributes):
        target = dict(attributes).get("href", "") if tag == "a" else ""
        if target and not target.startswith(("http:", "https:", "javascript:")):
            self.targets.append(target.split("#")[0])


class Run(unittest.TestCase):
    """Each test has a folder of its own, in which Doxygen runs with the project's settings."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory(dir=places.BUILD)
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def doxygen(self, **changed):
        settings = {"OUTPUT_DIRECTORY": self.folder, **changed}
        doxyfile = self.folder / "Doxyfile"
        doxyfile.write_text(DOXYFILE.read_text(encoding="utf-8") + "".join(
            f"{name} = {value}\n" for name, value in settings.items()), encoding="utf-8")
        return places.run("doxygen", doxyfile)

    def doxygen_on(self, name, text):
        (self.folder / name).write_text(text, encoding="utf-8")
        return self.doxygen(INPUT=self.folder / name, USE_MDFILE_AS_MAINPAGE="")


class Reference(Run):
    def setUp(self):
        super().setUp()
        done = self.doxygen()
        self.assertEqual((done.returncode, done.stdout, done.stderr), (0, "", ""))
        self.pages = self.folder / "html"

    def test_every_link_leads_to_a_page(self):
        checked = 0
        for page in self.pages.glob("*.html"):
            for target in filter(None, Links(page).targets):
                checked += 1
                with self.subTest(page=page.name, target=target):
                    self.assertTrue((self.pages / target).exists())
        self.assertGreater(checked, 100)

    def test_it_covers_calls_classes_and_documents(self):
        names = {page.name for page in self.pages.glob("*.html")}
        self.assertLessEqual({"index.html", "classzolstats_1_1Connection.html", "structStatData.html",
                              "md_docs_protocol.html", "md_docs_tracing.html"}, names)
        calls = "".join(page.read_text(encoding="utf-8") for page in self.pages.glob("group__*.html"))
        for call in reader.read_file(places.HEADER).calls:
            with self.subTest(call.name):
                self.assertIn(f"{call.name}()</h2>", calls)


class Warnings(Run):
    HEADER = "/* thing: do things. */\n\n/* ---- Things -- */\n\n"
    GOOD = "/*\n * Do a thing.\n *   size  in bytes\n * Returns 0.\n */\nint doThing(int size);\n"

    def check(self, name, text, *words):
        done = self.doxygen_on(name, text)
        self.assertNotEqual(done.returncode, 0)
        for word in words:
            self.assertIn(word, done.stderr)

    def test_a_documented_call_passes(self):
        done = self.doxygen_on("zolstats.h", self.HEADER + self.GOOD)
        self.assertEqual((done.returncode, done.stderr), (0, ""))

    def test_a_call_without_a_comment_fails(self):
        self.check("zolstats.h", self.HEADER + self.GOOD + "\nint lonely(void);\n", "lonely", "not documented")

    def test_an_argument_without_words_fails(self):
        self.check("zolstats.h", self.HEADER + self.GOOD.replace("int size", "int size, int more"), "more")

    def test_a_call_that_does_not_tell_what_it_returns_fails(self):
        self.check("zolstats.h", self.HEADER + self.GOOD.replace(" * Returns 0.\n", ""), "return type")

    def test_an_undocumented_member_of_the_cxx_face_fails(self):
        face = "/// @file\n/// It.\n\n/// A class.\nclass Face {\n  public:\n    void documented();\n};\n"
        self.check("zolstats.hpp", face, "documented()", "not documented")


class Filter(unittest.TestCase):
    def test_writing_arguments_are_marked(self):
        self.assertEqual(doxygen_filter.parameter("size", "out: in bytes"), "@param[out] size in bytes")
        self.assertEqual(doxygen_filter.parameter("size", "in: old; out: new"), "@param[in,out] size in: old; out: new")
        self.assertEqual(doxygen_filter.parameter("size", "in bytes"), "@param size in bytes")

    def test_characters_that_mean_something_to_doxygen_are_shown(self):
        self.assertEqual(doxygen_filter.linked("<a> 5% @b"), r"\<a\> 5\% \@b")

    def test_links_to_files_that_have_no_page_become_their_text(self):
        shown = doxygen_filter.filtered_document(
            "[a](docs/a.md#b) [h](include/zolstats/zolstats.h) [s](scripts/demo.sh) [w](https://example.org)")
        self.assertEqual(shown, "[a](docs/a.md#b) [h](@ref zolstats.h) s [w](https://example.org)")


if __name__ == "__main__":
    unittest.main(verbosity=2)
