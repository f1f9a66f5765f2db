"""Tests what chooses and makes the mutants: run before they are used."""

import unittest

from choice import choose
from cpp_scanner import Source
from equivalents import Equivalent, key_of, read_equivalents
from mutants import find_mutants


def mutated(text, operator=None):
    """The mutated lines of a function's body that is `text`, in order."""
    mutants = find_mutants("a.cpp", f"int F() {{\n{text}\n}}\n")
    return [mutant.mutated for mutant in mutants if operator in (None, mutant.operator)]


def in_function(head, value):
    mutants = find_mutants("a.cpp", f"{head} {{\n  return {value};\n}}\n")
    return [mutant.mutated for mutant in mutants if mutant.operator == "return"]


class Scanner(unittest.TestCase):
    def test_comments_and_directives_have_no_tokens(self):
        text = "#define N \\\n  1 + 1\n/* 1 + 1 */ int // 1 + 1\nx;"
        self.assertEqual([token.text for token in Source(text).tokens], ["int", "x", ";"])

    def test_texts_and_numbers_are_one_token_each(self):
        text = r'''f("a\"b", '\'', R"(a")", 1'000u, 0x1F, u8"x");'''
        self.assertEqual([token.text for token in Source(text).tokens if len(token.text) > 1],
                         [r'"a\"b"', r"'\''", 'R"(a")"', "1'000u", "0x1F", 'u8"x"'])

    def test_tokens_know_their_place(self):
        source = Source("int a;\n\n  int b;\n")
        lines = [source.line_of(token.start) for token in source.tokens]
        self.assertEqual(lines, [1, 1, 1, 3, 3, 3])

    def test_functions_are_told_by_name_and_result(self):
        for text, name, returns in (
                ("bool A(int b) { x; }", "A", "bool"),
                ("namespace n {\nclass C : public D {\n public:\n  ~C() { x; }\n};\n}", "~C", ""),
                ("template <typename T>\nT* A(T* b) { x; }", "A", "T*"),
                ("struct S { bool operator==(int) const { x; } };", "operator==", "bool"),
                ("inline std::vector<int> C::A() const { x; }", "C::A", "std::vector<int>"),
                ("C::C(int a) : b(a), c(a) { x; }", "C::C", ""),
                ("int A() { if (b) { x; } }", "A", "int"),
                ("int A() { call([&](int b) { x; }); }", "A", "")):
            with self.subTest(text):
                scope = next(token for token in Source(text).tokens if token.text == "x").scope
                self.assertEqual((scope.kind, scope.function, scope.returns),
                                 ("code", name, returns))

    def test_values_are_no_code(self):
        for text in ("int a[] = {x};", "enum E { x };", "struct S { int x; };",
                     "int A() { return S{x}; }"):
            scope = next(token for token in Source(text).tokens if token.text == "x").scope
            self.assertNotEqual(scope.kind, "code", text)


class Operators(unittest.TestCase):
    def test_comparisons_lose_their_limit_and_turn_round(self):
        self.assertEqual(mutated("b = a < c;", "comparison"), ["b = a <= c;", "b = a >= c;"])
        self.assertEqual(mutated("b = a == c;", "comparison"), ["b = a != c;"])

    def test_template_brackets_and_references_are_no_operators(self):
        self.assertEqual(mutated("std::array<T, n> a; T&& b; const T* c; T& d;"), [])

    def test_arithmetic(self):
        self.assertEqual(mutated("b = a + c;", "arithmetic"), ["b = a - c;"])
        self.assertEqual(mutated("++b;", "arithmetic"), ["--b;"])
        self.assertEqual(mutated('b = a + "c";', "arithmetic"), [])

    def test_logic(self):
        self.assertEqual(mutated("b = a && c;", "logic"), ["b = a || c;"])

    def test_conditions_are_negated(self):
        self.assertEqual(mutated("if (a && b) return;", "negation"), ["if (!(a && b)) return;"])
        self.assertEqual(mutated("while (a) {}", "negation"), ["while (!(a)) {}"])
        self.assertEqual(mutated("for (; a; ) {}", "negation"), ["for (; !(a); ) {}"])
        self.assertEqual(mutated("b = a ? c : d;", "negation"), ["b = !(a) ? c : d;"])
        self.assertEqual(mutated("if (A a; a) return;", "negation"), ["if (A a; !(a)) return;"])

    def test_what_is_no_condition_or_turned_round_anyhow_is_not_negated(self):
        for text in ("for (A a : b) {}", "if (A* a = b) return;", "if (a < b) return;"):
            self.assertEqual(mutated(text, "negation"), [], text)

    def test_constants(self):
        for constant, other in (("0", "1"), ("1", "0"), ("7", "8"), ("0xC0U", "0xC1U"),
                                ("true", "false"), ("'a'", "'b'"), (r"'\0'", r"'\1'"),
                                (r"'\n'", "'x'")):
            self.assertEqual(mutated(f"b = {constant};", "constant"), [f"b = {other};"])
        self.assertEqual(mutated("static_assert(a == 1); [[gnu::format(printf, 1, 2)]] int b;"), [])

    def test_one_character_of_a_text(self):
        for text, other in (("ace", "ade"), ("%d ab\\n", "%d bb\\n"), ("a - b", "a _ b"),
                            ("", "x"), ("%s", "%sx"), ("/dev/null", ".dev/null")):
            self.assertEqual(mutated(f'b = "{text}";', "string"), [f'b = "{other}";'])

    def test_jumps(self):
        self.assertEqual(mutated("for (;;) break;", "jump"), ["for (;;) continue;"])

    def test_returned_values(self):
        self.assertEqual(in_function("ESTATUS F()", "kSuccess"), ["return kReported;"])
        self.assertEqual(in_function("int F()", "kSuccess"), ["return kReported;"])
        self.assertEqual(in_function("ESTATUS F()", "status"), ["return kSuccess;"])
        self.assertEqual(in_function("bool F()", "a && b"), ["return !(a && b);"])
        self.assertEqual(in_function("std::string F()", "a"), ["return {};"])
        for head, value in (("int F()", "0"), ("T& F()", "a"), ("bool F()", "a < b")):
            self.assertEqual(in_function(head, value), [])

    def test_statements_are_removed(self):
        for text in ("F(a);", "a.b->c(d);", "a = b;", "*a = b;", "++a;", "std::fill_n<T>(a, b);",
                     "a[0] += b;", "tarvek::F();"):
            self.assertEqual(mutated(text, "statement"), [";"], text)
        self.assertEqual(mutated("if (a) F();", "statement"), ["if (a) ;"])

    def test_declarations_and_jumps_are_not_removed(self):
        for text in ("T a;", "T a(b);", "const T* a = b;", "T* a = b;", "auto a = b;", "return a;",
                     "std::vector<T> a;", "T a{b};", "using T = int;", "for (a = b; c; d()) {}"):
            self.assertEqual(mutated(text, "statement"), [], text)

    def test_the_same_words_twice_are_two_mutants(self):
        first, second = find_mutants("a.cpp", "int F() {\n  G();\n  G();\n}\n")
        self.assertEqual(first.mutated, second.mutated)
        self.assertNotEqual(first.id, second.id)

    def test_a_mutant_is_the_same_wherever_its_line_stands(self):
        (one,) = find_mutants("a.cpp", "int F() {\n  G();\n}\n")
        (moved,) = find_mutants("a.cpp", "\n\nint F() {\n    G();\n}\n")
        self.assertEqual(one.id, moved.id)
        self.assertEqual(one.apply("int F() {\n  G();\n}\n"), "int F() {\n  ;\n}\n")


class Choice(unittest.TestCase):
    FILES = {"long.cpp": "int F() {\n" + "  G(a + b);\n" * 30 + "}\n",
             "short.cpp": "int F() {\n" + "  G(a + b);\n" * 10 + "}\n", "none.h": "int a;\n"}
    MUTANTS = {path: find_mutants(path, text) for path, text in FILES.items()}

    def test_files_give_in_proportion(self):
        paths = [mutant.path for mutant in choose(self.MUTANTS, 20, 1)]
        self.assertEqual((paths.count("long.cpp"), paths.count("short.cpp")), (15, 5))

    def test_no_line_is_chosen_twice(self):
        lines = [(mutant.path, mutant.line) for mutant in choose(self.MUTANTS, 40, 1)]
        self.assertEqual(len(set(lines)), 40)

    def test_operators_take_turns(self):
        operators = [mutant.operator for mutant in choose(self.MUTANTS, 20, 1)]
        self.assertLessEqual(abs(operators.count("statement") - operators.count("arithmetic")), 2)

    def test_the_seed_decides(self):
        self.assertEqual(choose(self.MUTANTS, 8, 1), choose(self.MUTANTS, 8, 1))
        self.assertNotEqual(choose(self.MUTANTS, 8, 1), choose(self.MUTANTS, 8, 2))


class Equivalents(unittest.TestCase):
    def test_are_told_by_function_and_lines(self):
        (mutant,) = find_mutants("a.cpp", "void C::F() {\n  G();\n}\n")
        found = read_equivalents("# c\n\na.cpp C::F\n- G();\n+ ;\nNothing sees\nit.\n")
        self.assertEqual(found, {Equivalent("a.cpp", "C::F", "G();", ";"): "Nothing sees it."})
        self.assertIn(key_of(mutant), found)

    def test_have_a_reason(self):
        with self.assertRaises(ValueError):
            read_equivalents("a.cpp F\n- G();\n+ ;\n")


if __name__ == "__main__":
    unittest.main()
