# What can be changed in a source file, and what is left alone; that a sample can be had again; how explanations are read.
# Nothing is built here. What the changes are good for stands in mutations.py.
import pathlib
import tempfile
import unittest

import mutate
import mutations


def changes(source, kind=None):
    """The changed lines, where one line is changed, in the order of the text."""
    return [" / ".join(mutant.new) for mutant in mutations.mutants_of("toy.cpp", source) if kind in (None, mutant.kind)]


def in_function(statements):
    return "void toy() {\n" + "\n".join(statements) + "\n}\n"


class Operators(unittest.TestCase):
    def test_each_comparison_is_changed_into_its_neighbour(self):
        for before, after in [("<", "<="), ("<=", "<"), (">", ">="), (">=", ">"), ("==", "!="), ("!=", "==")]:
            with self.subTest(before):
                self.assertEqual(changes(f"bool x = a {before} b;"), [f"bool x = a {after} b;"])

    def test_and_becomes_or_and_or_becomes_and(self):
        self.assertEqual(changes("bool x = a && b || c;"), ["bool x = a || b || c;", "bool x = a && b && c;"])

    def test_sums_become_differences_and_differences_sums(self):
        self.assertEqual(changes("int x = a + b - c;"), ["int x = a - b - c;", "int x = a + b + c;"])

    def test_counting_goes_the_other_way(self):
        self.assertEqual(changes(in_function(["++x;"]), "operator"), ["--x;"])
        self.assertEqual(changes(in_function(["x -= y;"]), "operator"), ["x += y;"])

    def test_a_negation_is_taken_away(self):
        self.assertEqual(changes("bool x = !a;"), ["bool x = a;"])

    def test_brackets_of_templates_are_no_comparisons(self):
        self.assertEqual(changes("template <class T>\nlist<T> x = f<T>(y);"), [])

    def test_signs_references_and_arrows_are_no_operations(self):
        self.assertEqual(changes("int x = -a; int&& y = p->z;"), [])


class Constants(unittest.TestCase):
    def test_a_number_becomes_the_next_one(self):
        self.assertEqual(changes("int x = 0;"), ["int x = 1;"])
        self.assertEqual(changes("unsigned x = 0xFFu;"), ["unsigned x = 0x100u;"])
        self.assertEqual(changes("int x = 1'000;"), ["int x = 1001;"])

    def test_truth_becomes_falsehood(self):
        self.assertEqual(changes("bool x = true; bool y = false;"),
                         ["bool x = false; bool y = false;", "bool x = true; bool y = true;"])

    def test_fractions_and_numbers_in_names_stay(self):
        self.assertEqual(changes("double x2 = 1.5;"), [])


class Conditions(unittest.TestCase):
    def test_a_condition_is_negated(self):
        self.assertEqual(changes("void f() {\nif (a) {\n}\nwhile (b(c)) {\n}\n}"),
                         ["if (!(a)) {", "while (!(b(c))) {"])

    def test_a_declaration_before_the_condition_stays(self):
        self.assertEqual(changes("if (int x = f(); g(x)) {", "condition"), ["if (int x = f(); !(g(x))) {"])

    def test_what_changing_the_operator_gives_is_not_made_twice(self):
        self.assertEqual(changes("if (a == b) {"), ["if (a != b) {"])
        self.assertEqual(changes("if (!a) {"), ["if (a) {"])


class Statements(unittest.TestCase):
    def test_a_call_an_assignment_and_a_break_are_dropped(self):
        source = in_function(["f(a);", "while (b) {", "c = d;", "break;", "}"])
        self.assertEqual(changes(source, "statement"), [";", ";", ";"])

    def test_the_statement_after_a_label_is_dropped_without_it(self):
        self.assertEqual(changes("void f() {\nswitch (a) {\ncase b: g(); break;\n}\n}", "statement"),
                         ["case b: ; break;", "case b: g(); ;"])

    def test_declarations_and_returns_stay(self):
        source = in_function(["int a = f();", "char* b = g();", "std::vector<int> c(d);", "Record e{};", "return;"])
        self.assertEqual(changes(source), [])

    def test_what_is_not_in_a_function_stays(self):
        self.assertEqual(changes("namespace n {\nusing namespace m;\nstruct S {\nint a;\n};\n}\nextern int b;\n"), [])

    def test_neighbours_are_swapped(self):
        self.assertEqual(changes(in_function(["f(a);", "g(b);"]), "swap"), ["g(b); / f(a);"])

    def test_assignments_that_have_nothing_to_do_with_each_other_are_not_swapped(self):
        self.assertEqual(changes(in_function(["a.x = b;", "a.y = c;"]), "swap"), [])
        self.assertEqual(changes(in_function(["a.x = b;", "a.y = a.x;"]), "swap"), ["a.y = a.x; / a.x = b;"])

    def test_counting_and_a_call_that_makes_no_use_of_it_are_not_swapped(self):
        self.assertEqual(changes(in_function(["f(a);", "b -= a;", "++c;"]), "swap"), [])
        self.assertEqual(changes(in_function(["f(b);", "b -= a;"]), "swap"), ["b -= a; / f(b);"])
        self.assertEqual(changes(in_function(["f(a);", "b = errno;"]), "swap"), ["b = errno; / f(a);"])

    def test_statements_of_two_blocks_are_not_swapped(self):
        self.assertEqual(changes(in_function(["f();", "if (a) {", "g();", "}", "h();"]), "swap"), [])


class Untouched(unittest.TestCase):
    def test_comments_texts_and_directives(self):
        self.assertEqual(changes('// a == 1\n/* b < 2;\nc(); */\nconst char* d = "e && 3";\nchar f = \'+\';\n'
                                 'auto g = R"(h == 4)";\n#if I > 5\n#define J \\\n  6\n#endif\n'), [])

    def test_static_assertions(self):
        self.assertEqual(changes('static_assert(f(1) == 2, "text");'), [])

    def test_the_rest_of_the_file(self):
        source = "// first\nint a = 1;\n// last\n"
        (mutant,) = mutations.mutants_of("toy.cpp", source)
        self.assertEqual(mutant.content, "// first\nint a = 2;\n// last\n")
        self.assertEqual((mutant.line, mutant.old, mutant.new), (2, ("int a = 1;",), ("int a = 2;",)))


class Samples(unittest.TestCase):
    MUTANTS = mutations.mutants_of("toy.cpp", "".join(f"int a{i} = {i};\n" for i in range(100)))

    def test_the_same_seed_gives_the_same_sample(self):
        self.assertEqual(mutations.chosen(self.MUTANTS, 10, 7), mutations.chosen(self.MUTANTS, 10, 7))

    def test_another_seed_gives_another_sample(self):
        self.assertNotEqual(mutations.chosen(self.MUTANTS, 10, 7), mutations.chosen(self.MUTANTS, 10, 8))

    def test_a_sample_larger_than_all_is_all(self):
        self.assertCountEqual(mutations.chosen(self.MUTANTS, 1000, 7), self.MUTANTS)


class Runner(unittest.TestCase):
    def test_a_changed_header_reaches_all_that_include_it_directly_or_not(self):
        sources = {"a.h": "", "b.h": '#include "a.h"\n', "c.cpp": '#include "b.h"\n', "d.cpp": '#include "e.h"\n', "e.h": ""}
        self.assertEqual(mutate.includers("a.h", sources), {"c.cpp"})
        self.assertEqual(mutate.includers("d.cpp", sources), {"d.cpp"})

    def test_an_explanation_is_found_by_the_file_and_the_lines(self):
        with tempfile.TemporaryDirectory() as folder:
            path = pathlib.Path(folder, "explained.txt")
            path.write_text("# comment\n\nsource/toy.cpp: only a hint\n- int a = 1;\n+ int a = 2;\n\n"
                            "b.h: other\n- f();\n+ ;\n")
            (mutant,) = mutations.mutants_of("source/toy.cpp", "  int a = 1;\n")
            self.assertEqual(mutate.explanations(path)[mutant.key()], "only a hint")

    def test_every_committed_explanation_can_be_read_and_has_its_reason(self):
        for key, reason in mutate.explanations(mutate.EXPLAINED).items():
            self.assertGreaterEqual(len(reason.split()), 3, key)

    def test_a_command_that_hangs_is_ended_with_all_that_it_started(self):
        self.assertIsNone(mutate.Commands().run(["sh", "-c", "cat /dev/zero > /dev/null & wait"], 0.2))

    def test_nothing_is_started_after_the_stop(self):
        commands = mutate.Commands()
        commands.stop()
        with self.assertRaises(mutate.Stopped):
            commands.run(["true"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
