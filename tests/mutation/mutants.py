"""Every single fault that can be put into a source file: one small change of its text each."""

import dataclasses
import hashlib
import re

from cpp_scanner import CHARACTER, IDENTIFIER, NUMBER, OPERATOR, STRING, Source

# A comparison loses or gains its limit, and turns round.
COMPARISONS = {"<": ("<=", ">="), "<=": ("<", ">"), ">": (">=", "<="), ">=": (">", "<"),
               "==": ("!=",), "!=": ("==",)}
ARITHMETIC = {"+": "-", "-": "+", "*": "/", "/": "*", "%": "*", "&": "|", "|": "&", "^": "|"}
ASSIGNMENTS = {"+=": "-=", "-=": "+=", "|=": "&=", "&=": "|="}
STEPS = {"++": "--", "--": "++"}
LOGIC = {"&&": "||", "||": "&&"}
JUMPS = {"break": "continue", "continue": "break"}
TRUTHS = {"true": "false", "false": "true"}
ANY_ASSIGNMENT = {"=", "<<=", ">>=", "*=", "/=", "%=", "^=", *ASSIGNMENTS}

# What begins a statement that is no expression.
KEYWORDS = {"return", "break", "continue", "if", "else", "for", "while", "do", "switch", "case",
            "default", "goto", "using", "typedef", "static_assert", "delete", "public", "private",
            "protected", "const", "constexpr", "static", "auto"}


@dataclasses.dataclass(frozen=True)
class Mutant:
    path: str  # below the source directory
    line: int
    operator: str
    function: str  # that it is in; "" outside of any
    start: int
    end: int
    replacement: str
    original: str  # the lines that change, as one line of words
    mutated: str
    number: int  # among those of the same file with the same words, from 0

    @property
    def id(self):
        """Stays as it is while the lines around the mutant change."""
        words = (self.path, self.function, self.original, self.mutated, str(self.number))
        return hashlib.sha256("\0".join(words).encode()).hexdigest()[:8]

    def apply(self, text):
        return text[:self.start] + self.replacement + text[self.end:]


class MutantFinder:
    """Finds the mutants of one file. Afterwards `found` has them, by place."""

    def __init__(self, path, text):
        self._path = path
        self._source = Source(text)
        self._tokens = self._source.tokens
        self._seen = {}
        self.found = []
        for index, token in enumerate(self._tokens):
            if not token.skipped and self._source.before(index) != "operator":
                self._visit(index, token)
        self.found.sort(key=lambda mutant: (mutant.start, mutant.end, mutant.replacement))

    def _visit(self, index, token):
        if token.kind == NUMBER:
            self._mutate_number(token)
        elif token.kind == CHARACTER:
            self._mutate_character(token)
        elif token.kind == STRING:
            self._mutate_string(index, token)
        elif token.kind == IDENTIFIER:
            self._mutate_word(index, token)
        elif token.kind == OPERATOR:
            self._mutate_operator(index, token)
        if token.scope.kind == "code" and self._begins_statement(index):
            self._remove_statement(index)

    def _add(self, operator, start, end, replacement, function):
        text = self._source.text
        first, last = self._source.whole_lines(start, end)
        original = _words(text[first:last])
        mutated = _words(text[first:start] + replacement + text[end:last])
        key = (function, original, mutated)
        number = self._seen[key] = self._seen.get(key, -1) + 1
        self.found.append(Mutant(self._path, self._source.line_of(start), operator, function, start,
                                 end, replacement, original, mutated, number))

    def _replace(self, operator, token, replacement):
        self._add(operator, token.start, token.end, replacement, token.scope.function)

    def _following(self, index):
        return self._tokens[min(index + 1, len(self._tokens) - 1)]

    # Constants.

    def _mutate_number(self, token):
        match = re.fullmatch(r"(0[xX][\da-fA-F']+|[\d']+)([uUlLzZ]*)", token.text)
        if not match:
            return
        digits, suffix = match.groups()
        value = int(digits.replace("'", ""), 16 if digits[:2] in ("0x", "0X") else 10)
        other = 0 if value == 1 else value + 1
        written = f"{other:#X}".replace("X", "x", 1) if digits[:2] in ("0x", "0X") else str(other)
        self._replace("constant", token, written + suffix)

    def _mutate_character(self, token):
        opening = token.text.index("'") + 1
        character = token.text[opening:-1]
        if character == r"\0":
            other = r"\1"
        elif character.startswith("\\"):
            other = "x"
        else:
            other = _next_character(character)
        self._replace("constant", token, token.text[:opening] + other + "'")

    def _mutate_string(self, index, token):
        before, opening = self._source.before(index), token.text.index('"') + 1
        if "R" in token.text[:opening] or before == "extern":
            return
        content = token.text[opening:-1]
        self._replace("string", token, token.text[:opening] + _changed_text(content) + '"')

    # Words.

    def _mutate_word(self, index, token):
        if token.text in TRUTHS:
            self._replace("constant", token, TRUTHS[token.text])
        elif token.text in JUMPS and token.scope.kind == "code":
            self._replace("jump", token, JUMPS[token.text])
        elif token.text in ("if", "while"):
            opening = index + 1 + (self._following(index).text == "constexpr")
            self._negate(self._parts(opening, self._tokens[opening].partner)[-1])
        elif token.text == "for":
            parts = self._parts(index + 1, self._tokens[index + 1].partner)
            if len(parts) == 3:
                self._negate(parts[1])
        elif token.text == "return" and token.scope.kind == "code":
            self._mutate_return(index, token)

    def _parts(self, opening, closing):
        """The index ranges between the semicolons inside a pair of brackets."""
        parts, first, index = [], opening + 1, opening + 1
        while index < closing:
            if self._tokens[index].text == ";":
                parts.append((first, index))
                first = index + 1
            index = max(index, self._tokens[index].partner) + 1
        return parts + [(first, closing)]

    def _at_top(self, first, end):
        """The tokens between two indices that are in no bracket that opens there."""
        index = first
        while index < end:
            yield self._tokens[index]
            index = max(index, self._tokens[index].partner) + 1

    def _negate(self, part):
        first, end = part
        words = {token.text for token in self._at_top(first, end)}
        if not words or words & {"=", ":"}:  # a declaration
            return
        if words & set(COMPARISONS) and not words & set(LOGIC):  # turned round as a comparison
            return
        start, stop = self._tokens[first].start, self._tokens[end - 1].end
        self._add("negation", start, stop, f"!({self._source.text[start:stop]})",
                  self._tokens[first].scope.function)

    def _mutate_return(self, index, token):
        end = index + 1
        while self._tokens[end].text != ";":
            end = max(end, self._tokens[end].partner) + 1
        returns = token.scope.returns
        words = {token.text for token in self._at_top(index + 1, end)}
        if not words or returns in ("", "void"):
            return
        if returns == "bool" and words & set(COMPARISONS) and not words & set(LOGIC):
            return
        start, stop = self._tokens[index + 1].start, self._tokens[end - 1].end
        value = self._source.text[start:stop]
        other = _other_value(value, returns)
        if other is not None:
            self._add("return", start, stop, other, token.scope.function)

    # Operators.

    def _mutate_operator(self, index, token):
        following = self._following(index)
        binary = token.is_binary(following)
        next_to_text = STRING in (following.kind, self._tokens[index - 1].kind)
        if token.text in COMPARISONS and binary:
            for other in COMPARISONS[token.text]:
                self._replace("comparison", token, other)
        elif token.text in LOGIC and binary:
            self._replace("logic", token, LOGIC[token.text])
        elif token.text in ARITHMETIC and binary and not next_to_text:
            self._replace("arithmetic", token, ARITHMETIC[token.text])
        elif token.text in ASSIGNMENTS:
            self._replace("arithmetic", token, ASSIGNMENTS[token.text])
        elif token.text in STEPS:
            self._replace("arithmetic", token, STEPS[token.text])
        elif token.text == "?" and binary:
            self._negate((self._condition_start(index), index))

    def _condition_start(self, question):
        """The index at which the condition before a question mark begins."""
        index = question - 1
        stops = ("(", "{", "[", ",", ";", "?", ":", "return", *ANY_ASSIGNMENT)
        while index >= 0 and self._tokens[index].text not in stops:
            index = self._source.skip_back(index)
        return index + 1

    # Statements.

    def _begins_statement(self, index):
        before = self._source.before(index)
        if before in (";", "{", "}", "else", "do"):
            return not self._in_for_head(index)
        if before == ":":  # a case's; anything else cannot be told from a conditional expression
            return self._source.before(index - 2) == "case"
        opening = self._tokens[index - 1].partner
        return before == ")" and self._source.before(opening) in ("if", "for", "while")

    def _in_for_head(self, index):
        while index >= 0 and self._tokens[index].text not in ("{", "}"):
            if self._tokens[index].text == "(" and index > 0:
                return True
            index = self._source.skip_back(index)
        return False

    def _remove_statement(self, first):
        token = self._tokens[first]
        if token.text in KEYWORDS or (token.kind != IDENTIFIER
                                      and token.text not in ("*", "++", "--", "(")):
            return
        end = first
        while self._tokens[end].text not in (";", "{", "}"):
            end = max(end, self._tokens[end].partner) + 1
        if self._tokens[end].text != ";" or self._declares(first, end):
            return
        self._add("statement", token.start, self._tokens[end].end, ";", token.scope.function)

    def _declares(self, first, end):
        """Whether a statement is a declaration: two names stand side by side in it."""
        top = list(self._at_top(first, end))
        for token, following in zip(top, top[1:]):
            if token.text in ANY_ASSIGNMENT:
                return False
            if following.kind == IDENTIFIER and (
                    token.kind == IDENTIFIER or token.text == ">"
                    or (token.text in ("*", "&") and token is not top[0])):
                return True
        return not any(token.text in ANY_ASSIGNMENT or token.text in (*STEPS, ")", "(")
                       for token in top)


def _words(text):
    return " ".join(text.split())


def _next_character(character):
    if character in "zZ9~":
        return {"z": "y", "Z": "Y", "9": "8", "~": "}"}[character]
    other = chr(ord(character) + 1) if len(character) == 1 else "x"
    return "x" if other in "'\"\\?" else other


def _changed_text(content):
    """`content` with one character changed, none of a format's or an escape's."""
    if content.startswith("/"):  # a path: it shall lead nowhere, and nowhere outside the test
        return "." + content[1:]
    harmless = [match.start() for match in
                re.finditer(r"%[-+ #0-9.*]*[a-zA-Z]+|%%|\\x[\da-fA-F]+|\\.|([A-Za-z0-9 .,:/=<-])",
                            content) if match.group(1)]
    if not harmless:
        return content + "x"
    at = harmless[len(harmless) // 2]
    other = _next_character(content[at]) if content[at].isalnum() else "_"
    return content[:at] + other + content[at + 1:]


def _other_value(value, returns):
    """What to return instead of `value` from a function that returns `returns`."""
    if re.fullmatch(r"[\d']+|0x[\da-fA-F]+|true|false|nullptr|\{\}|\"\"", value):
        return None  # a constant, or nothing else to return
    if returns == "bool":
        return f"!({value})"
    if value == "kSuccess":
        return "kReported"
    if returns == "ESTATUS":
        return "kSuccess"
    return "{}" if "&" not in returns else None


def find_mutants(path, text):
    return MutantFinder(path, text).found
