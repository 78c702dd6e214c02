# The reader of the public header: what it makes of a comment, and what it finds missing.
# Not what is made of the records: see man_pages_test.py and reference_test.py.
# The protocol between the library and the Gateway is written down in docs/protocol.md.
import unittest

import places
import header as reader

PREAMBLE = '''/*
 * thing: do things, well.
 * This is an example.
 *
 * CONVENTIONS, valid for every call below
 *
 * Results.      A code. CODES are
 *               negative.
 * How many.     Two.
 */
#define CODES(CODE) CODE(ZOLSTATS_OK, 0, "success") CODE(ZOLSTATS_BAD, -7, "it is bad")

/* The most things. */
#define ZOLSTATS_MOST 3

/* A thing. */
typedef struct Thing {
    int size;         /* in bytes */
    const char* name; /* not terminated */
} Thing;

/* ---- First calls ------ */

'''

OPEN = '''/*
 * Open a thing, and
 * wait. Slow.
 *   name  what it is called,
 *         in ASCII
 *   out   out: the thing
 * Returns ZOLSTATS_OK or
 *   ZOLSTATS_BAD, ZOLSTATS_OK   try again
 *                               later
 *   ZOLSTATS_BAD
 * Nothing is left open.
 */
int openThing(const char* name,
              Thing** out);
'''

PAIR = '''/*
 * Two calls.
 *   thing  it
 * Return ZOLSTATS_OK.
 */
/* The first. */
int first(Thing* thing);
int second(Thing* thing, int times);
'''


def read(calls):
    return reader.read(PREAMBLE + calls)


class Comments(unittest.TestCase):
    def setUp(self):
        self.header = read(OPEN)
        [self.group] = self.header.groups

    def test_the_effect_is_what_stands_before_arguments_and_codes(self):
        self.assertEqual(self.group.comment.effect, "Open a thing, and wait. Slow.")

    def test_an_argument_goes_on_in_deeper_lines(self):
        self.assertEqual(self.group.comment.arguments,
                         [("name", "what it is called, in ASCII"), ("out", "out: the thing")])

    def test_codes_that_share_words_stand_together(self):
        self.assertEqual(self.group.comment.codes,
                         [(["ZOLSTATS_BAD", "ZOLSTATS_OK"], "try again later"), (["ZOLSTATS_BAD"], "")])

    def test_a_code_without_words_means_what_the_list_of_codes_says(self):
        self.assertEqual(list(reader.code_texts(self.header, self.group))[-1], (["ZOLSTATS_BAD"], "it is bad"))

    def test_what_follows_the_codes_is_kept_apart_from_what_is_returned(self):
        self.assertEqual(self.group.comment.returns, "Returns ZOLSTATS_OK or")
        self.assertEqual(self.group.comment.afterword, "Nothing is left open.")

    def test_a_prototype_may_take_several_lines(self):
        [call] = self.group.calls
        self.assertEqual(call.prototype, "int openThing(const char* name, Thing** out);")
        self.assertEqual(call.parameters, ["name", "out"])


class Chunks(unittest.TestCase):
    def test_calls_under_one_comment_are_a_group_and_may_have_words_of_their_own(self):
        [group] = read(PAIR).groups
        self.assertEqual([(call.name, call.effect) for call in group.calls], [("first", "The first."), ("second", "")])

    def test_a_title_begins_a_section(self):
        header = read(OPEN + "\n/* ---- More -- */\n\n" + PAIR)
        self.assertEqual([(section.title, [call.name for group in section.groups for call in group.calls])
                          for section in header.sections],
                         [("First calls", ["openThing"]), ("More", ["first", "second"])])

    def test_definitions_stand_before_the_calls(self):
        header = read(OPEN)
        self.assertEqual(header.title, "do things, well")
        self.assertEqual(header.conventions, [("Results", "A code. CODES are negative."), ("How many", "Two.")])
        self.assertEqual(header.codes, [("ZOLSTATS_OK", "0", "success"), ("ZOLSTATS_BAD", "-7", "it is bad")])
        self.assertEqual(header.constants, [reader.Constants("The most things.", [("ZOLSTATS_MOST", "3")])])
        self.assertEqual(header.types, [reader.Type("Thing", "A thing.", [("int size;", "in bytes"),
                                                                         ("const char* name;", "not terminated")])])

    def test_a_file_without_an_introduction_is_no_header(self):
        with self.assertRaises(reader.HeaderError):
            reader.read("int call(void);\n")


class Problems(unittest.TestCase):
    def check(self, calls, *expected):
        self.assertEqual(reader.problems(read(calls)), list(expected))

    def test_a_whole_comment_has_none(self):
        self.check(OPEN)

    def test_a_call_without_a_comment_is_one(self):
        self.check("int lonely(void);\n", "lonely has no comment")

    def test_an_argument_that_is_not_told_is_one(self):
        self.check(PAIR, "second: the comment does not tell what times is")

    def test_one_line_may_tell_all_others(self):
        self.check(PAIR.replace("*   thing  it", "*   others  as usual"))

    def test_a_missing_return_is_one(self):
        self.check(PAIR.replace(" * Return ZOLSTATS_OK.\n", "").replace(", int times", ""),
                   "first: the comment does not tell what it returns",
                   "second: the comment does not tell what it returns")

    def test_an_argument_that_no_call_has_is_one(self):
        self.check(OPEN.replace("*   out ", "*   old "), "openThing: there is no argument old",
                   "openThing: the comment does not tell what out is")

    def test_a_code_that_is_not_in_the_list_is_one(self):
        self.check(OPEN.replace("ZOLSTATS_BAD\n", "ZOLSTATS_WORSE\n"),
                   "openThing: there is no return code ZOLSTATS_WORSE")

    def test_a_constant_and_a_type_without_words_are_some(self):
        bare = PREAMBLE.replace("/* The most things. */\n", "").replace("/* A thing. */\n", "")
        self.assertEqual(reader.problems(reader.read(bare + OPEN)),
                         ["ZOLSTATS_MOST: constants without words", "Thing: a type without words"])


class PublicHeader(unittest.TestCase):
    def test_it_has_no_problem(self):
        self.assertEqual(reader.problems(reader.read_file(places.HEADER)), [])


if __name__ == "__main__":
    unittest.main(verbosity=2)
