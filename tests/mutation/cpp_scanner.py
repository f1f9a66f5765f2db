"""Splits C++ source text into tokens, and tells for each whether it stands in a function.

A scanner, not a parser: it goes by the project's formatting where the grammar alone would need a
compiler. A binary operator has blanks on both sides; a template's bracket has not.
"""

import bisect
import dataclasses
import re

IDENTIFIER, NUMBER, STRING, CHARACTER, OPERATOR = range(5)

_TOKEN = re.compile(
    r"""(?P<blank>\s+|//[^\n]*|/\*.*?\*/)
      | (?P<raw>(?:u8|[uUL])?R"(?P<mark>[^(\s]*)\(.*?\)(?P=mark)")
      | (?P<string>(?:u8|[uUL])?"(?:\\.|[^"\\\n])*")
      | (?P<character>(?:u8|[uUL])?'(?:\\.|[^'\\\n])+')
      | (?P<number>\.?\d(?:[eEpP][+-]|'\w|[\w.])*)
      | (?P<identifier>[A-Za-z_]\w*)
      | (?P<operator><=>|<<=|>>=|\.\.\.|->\*|::|->|\+\+|--|&&|\|\||[-+*/%&|^<>=!]=|<<|.)
    """, re.VERBOSE | re.DOTALL)
_KINDS = {"string": STRING, "raw": STRING, "character": CHARACTER, "number": NUMBER,
          "identifier": IDENTIFIER, "operator": OPERATOR}
_DIRECTIVE = re.compile(r"^[ \t]*#(?:[^\n\\]|\\.)*", re.MULTILINE | re.DOTALL)
_OPENING = {"(": ")", "[": "]", "{": "}"}
_CLOSING = frozenset(_OPENING.values())


@dataclasses.dataclass
class Scope:
    """What a pair of braces is: "names" (of a namespace or class), "code" or "values"."""

    kind: str
    function: str = ""  # the function's qualified name
    returns: str = ""  # its return type as written; "" in a lambda and outside of functions


@dataclasses.dataclass
class Token:
    kind: int
    text: str
    start: int
    end: int
    blank_before: bool
    scope: Scope = None
    partner: int = -1  # of a bracket: the index of the other one
    skipped: bool = False  # inside a static_assert or an attribute

    def is_binary(self, following):
        return self.blank_before and following.blank_before


class Source:
    """One file: its text and its tokens, without comments and preprocessor lines."""

    def __init__(self, text):
        self.text = text
        self._line_starts = [0] + [match.end() for match in re.finditer("\n", text)]
        self.tokens = list(_tokens(text))
        self._pair_brackets()
        self._skip_declarative()
        self._find_scopes()

    def line_of(self, offset):
        """The number of the line, from 1, that holds the character at `offset`."""
        return bisect.bisect_right(self._line_starts, offset)

    def whole_lines(self, start, end):
        """The span of the whole lines that hold text[start:end], without the last line end."""
        first = self._line_starts[self.line_of(start) - 1]
        last = self.text.find("\n", max(start, end - 1))
        return first, len(self.text) if last < 0 else last

    def before(self, index):
        """The text of the token before the one at `index`; "" at the start."""
        return self.tokens[index - 1].text if index > 0 else ""

    def skip_back(self, index):
        """The index before the one at `index`, or before its bracket pair where it closes one."""
        partner = self.tokens[index].partner
        return (partner if 0 <= partner < index else index) - 1

    def _pair_brackets(self):
        opened = []
        for index, token in enumerate(self.tokens):
            if token.kind != OPERATOR:
                continue
            if token.text in _OPENING:
                opened.append(index)
            elif token.text in _CLOSING and opened:
                if _OPENING[self.tokens[opened[-1]].text] != token.text:
                    line = self.line_of(token.start)
                    raise ValueError(f"line {line}: {token.text} closes nothing")
                token.partner = opened.pop()
                self.tokens[token.partner].partner = index
        if opened:
            raise ValueError(f"line {self.line_of(self.tokens[opened[-1]].start)}: never closed")

    def _skip_declarative(self):
        for token, following in zip(self.tokens, self.tokens[1:]):
            bracket = following if token.text == "static_assert" else token
            if bracket is following or token.text == following.text == "[":
                for inner in self.tokens[self.tokens[bracket.partner].partner:bracket.partner]:
                    inner.skipped = True

    def _find_scopes(self):
        scopes = [Scope("names")]
        for index, token in enumerate(self.tokens):
            if token.kind == OPERATOR and token.text == "}":
                scopes.pop()
            token.scope = scopes[-1]
            if token.kind == OPERATOR and token.text == "{":
                scopes.append(self._scope_of(index, scopes[-1]))

    def _scope_of(self, brace, outer):
        previous = self.before(brace)
        if outer.kind == "names":
            return self._named_scope(brace)
        if previous == "]" or (previous == ")" and self._closes_lambda(brace - 1)):
            return Scope("code", outer.function)
        if outer.kind == "code" and previous in (")", ";", "{", "}", "else", "do", ":"):
            return Scope("code", outer.function, outer.returns)
        return Scope("values", outer.function)

    def _closes_lambda(self, index):
        return self.before(self.tokens[index].partner) == "]"

    def _named_scope(self, brace):
        """The scope that opens in a namespace or class, by the declaration that leads to it."""
        head = []
        index = brace - 1
        while index >= 0 and self.tokens[index].text not in (";", "{", "}"):
            head.insert(0, index)
            index = self.skip_back(index)
        words = [self.tokens[i].text for i in head]
        if words and words[0] == "template":
            words, head = _without_template(words, head)
        while words[:1] and words[0] in ("public", "protected", "private"):
            words, head = words[2:], head[2:]
        if "enum" in words:
            return Scope("values")
        if {"namespace", "class", "struct", "union", "extern"} & set(words):
            return Scope("names")
        if ")" not in words or "=" in words[:words.index(")")]:
            return Scope("values")
        return self._function_scope(head)

    def _function_scope(self, head):
        """`head` ends each pair of brackets with its closing one alone."""
        close = next(i for i in head if self.tokens[i].text == ")")
        last = self.tokens[close].partner - 1
        first = last
        while self.tokens[first].kind != IDENTIFIER:  # operator==
            first -= 1
        while self.before(first) in ("::", "~"):
            first -= 2 if self.before(first) == "::" else 1
        start = next((i for i in head if i <= first), first)
        text = self.text
        name = text[self.tokens[first].start:self.tokens[last].end]
        returns = text[self.tokens[start].start:self.tokens[first].start] if start < first else ""
        returns = re.sub(r"\b(inline|static|constexpr|friend|virtual|explicit)\b", "", returns)
        return Scope("code", name, " ".join(returns.split()))


def _tokens(text):
    text = _DIRECTIVE.sub(lambda match: re.sub(r"[^\n]", " ", match.group()), text)
    blank = True
    for match in _TOKEN.finditer(text):
        if match.lastgroup == "blank":
            blank = True
            continue
        kind = next(name for name in _KINDS if match.group(name) is not None)
        yield Token(_KINDS[kind], match.group(), match.start(), match.end(), blank)
        blank = False


def _without_template(words, head):
    depth = 0
    for position, word in enumerate(words):
        depth += (word == "<") - (word == ">")
        if position > 0 and depth == 0:
            return words[position + 1:], head[position + 1:]
    return words, head
