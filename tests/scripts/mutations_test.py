"""What scripts/mutations.py finds to change in sources, and in what order."""

import os
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "..", "scripts"))
import mutations


def changes(text, line=None):
    """The changed lines that a source gives, of one of its lines or of all."""
    return sorted(m.new for found in mutations.mutations_of(text) for m in found
                  if line is None or m.number == line)


class Mutations(unittest.TestCase):
    def test_comparisons_move_their_limit(self):
        self.assertIn("if (a <= b) return;", changes("  if (a < b) return;"))
        self.assertIn("if (a != b) return;", changes("  if (a == b) return;"))

    def test_arithmetic_turns_round(self):
        self.assertEqual(changes("  x = a + b * c;"), [";", "x = a + b / c;", "x = a - b * c;"])
        self.assertIn("x -= a;", changes("  x += a;"))

    def test_types_pointers_and_references_are_no_operators(self):
        for text in ("void f(const float* x, Mode& mode);", "std::vector<int> f(int&& x);",
                     "#include <array>", "p->f();"):
            self.assertEqual(changes(text), [])

    def test_signs_and_negations_go(self):
        self.assertIn("return x;", changes("  return -x;"))
        self.assertIn("if (done) f();", changes("  if (!done) f();"))
        self.assertIn("a = b - c;", changes("  a = b - -c;"))

    def test_integers_move_by_one(self):
        self.assertEqual(changes("int f(int x = 7);"), ["int f(int x = 6);", "int f(int x = 8);"])
        self.assertEqual(changes("int f(int x = 0);"), ["int f(int x = 1);"])
        self.assertIn("x >>= 2u;", changes("  x >>= 1u;"))
        self.assertEqual(changes("std::int32_t x2_1(float x16);"), [])

    def test_decimals_move_by_a_hundredth_and_change_their_precision(self):
        self.assertEqual(changes("float f(float x = 0.5f);"),
                         ["float f(float x = 0.5);", "float f(float x = 0.505f);"])
        self.assertEqual(changes("float f(double x = 2.0);"),
                         ["float f(double x = 2.02);", "float f(double x = 2.0f);"])
        self.assertIn("float f(double x = 1.0);", changes("float f(double x = 0.0);"))

    def test_casts_between_float_and_double_change_places(self):
        self.assertIn("x = static_cast<float>(y);", changes("  x = static_cast<double>(y);"))
        self.assertIn("x = static_cast<double>(y);", changes("  x = static_cast<float>(y);"))

    def test_whole_statements_go_missing(self):
        text = "void f() {\n  g(a,\n    b);\n  h();\n  for (;;)\n    k();\n}"
        self.assertIn(";", changes(text, 3))
        for part in (1, 2, 5):  # parts of statements, and a loop's only one
            self.assertNotIn(";", changes(text, part))
        for text in ("  return x;", "  const int n = f();", "  case 1:", "}", "int f();"):
            self.assertNotIn(";", changes(text))

    def test_comments_texts_and_what_the_compiler_checks_are_left_alone(self):
        for text in ("// a < b", "/* x = 1\n   y = 2 */", "f(\"a < b, 1\");",
                     "static_assert(a == 1 &&\n              b == 2);", "#if A == 1"):
            self.assertEqual(changes(text), [], text)

    def test_comments_behind_code_are_no_part_of_a_mutant(self):
        self.assertEqual(changes("int x = 1;  // or 2"), ["int x = 0;", "int x = 2;"])

    def test_tables_are_left_alone(self):
        table = "constexpr float t[] = {\n" + "    1.5f, 2.5f, 3.5f,\n" * 4 + "};\n"
        self.assertEqual(changes(table), [])
        self.assertNotEqual(changes("constexpr float pred[] = {0.8f, 0.6f};"), [])

    def test_counters_of_loops_do_not_turn_back(self):
        self.assertNotIn("for (int i = 0; i < n; --i) {", changes("for (int i = 0; i < n; ++i) {"))
        self.assertIn("--start;", changes("  ++start;"))


class Order(unittest.TestCase):
    text = "void f() {\n" + "".join(f"  x{k} = a + {k + 2} * b;\n" for k in range(20)) + "}\n"

    def test_a_seed_gives_one_order_and_another_another(self):
        def order(seed):
            return list(mutations.in_order(self.text, seed))
        self.assertEqual(order("1 a"), order("1 a"))
        self.assertNotEqual(order("1 a"), order("2 a"))

    def test_every_line_comes_before_any_comes_again(self):
        order = list(mutations.in_order(self.text, "1"))
        self.assertEqual(len({m.number for m in order[:20]}), 20)

    def test_every_mutation_comes_once(self):
        order = list(mutations.in_order(self.text, "1"))
        self.assertEqual(sorted(order),
                         sorted(m for found in mutations.mutations_of(self.text) for m in found))

    def test_a_mutant_differs_in_its_line_alone_and_keeps_its_indentation(self):
        for mutation in mutations.in_order(self.text, "1"):
            before, after = self.text.split("\n"), mutations.apply(self.text, mutation).split("\n")
            self.assertEqual([i for i, line in enumerate(before) if line != after[i]],
                             [mutation.number])
            self.assertEqual(after[mutation.number], "  " + mutation.new)

    def test_shares_are_in_proportion_and_add_up(self):
        self.assertEqual(mutations.shares({"a": 50, "b": 30, "c": 20}, 10),
                         {"a": 5, "b": 3, "c": 2})
        self.assertEqual(mutations.shares({"a": 2, "b": 2, "c": 96}, 25),
                         {"a": 1, "b": 0, "c": 24})


if __name__ == "__main__":
    unittest.main()
