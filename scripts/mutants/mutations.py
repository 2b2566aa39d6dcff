"""The small faults that a piece of C++ text can be given: each a span and what stands there instead.

The kinds: `comparison`, `logic` (&& and ||), `arithmetic` (+ and -), `condition` (negated), `constant` (one more,
zero, the other of true and false), `call`, `assignment` and `return` (left out), `result` (a returned condition,
negated).
"""
import hashlib
from dataclasses import dataclass

from tokens import tokens_of

OPERATORS = {
    "<": ("comparison", "<="), "<=": ("comparison", "<"), ">": ("comparison", ">="), ">=": ("comparison", ">"),
    "==": ("comparison", "!="), "!=": ("comparison", "=="), "&&": ("logic", "||"), "||": ("logic", "&&"),
    "+": ("arithmetic", "-"), "-": ("arithmetic", "+"), "+=": ("arithmetic", "-="), "-=": ("arithmetic", "+=")}
ASSIGNMENTS = {"=", "+=", "-=", "*=", "/=", "%=", "&=", "|=", "^=", "<<=", ">>="}
TRUTHS = {"<", "<=", ">", ">=", "==", "!=", "&&", "||", "!"}
NO_STATEMENT = {
    "alignas", "asm", "auto", "break", "case", "class", "const", "constexpr", "continue", "default", "do", "else",
    "enum", "explicit", "extern", "for", "friend", "goto", "if", "inline", "namespace", "operator", "private",
    "protected", "public", "return", "static", "static_assert", "struct", "switch", "template", "throw", "try",
    "typedef", "union", "using", "virtual", "while", "catch"}
# Nothing within these changes what runs.
NO_CODE = {"static_assert", "__attribute__", "alignas", "decltype", "template"}


@dataclass
class Mutation:
    file: str
    line: int
    column: int
    start: int
    end: int
    kind: str
    old: str
    new: str
    order: str = ""

    @property
    def id(self):
        return f"{self.file}:{self.line}:{self.column}:{self.kind}:{self.new[:40]}"

    def apply(self, source):
        return source[:self.start] + self.new + source[self.end:]


class Finder:
    def __init__(self, file, source):
        self.file = file
        self.source = source
        self.tokens = tokens_of(source)
        self.found = []

    def text(self, index):
        return self.tokens[index].text if 0 <= index < len(self.tokens) else ""

    def add(self, kind, first, last, new):
        start, end = self.tokens[first].start, self.tokens[last].end
        line = self.source.count("\n", 0, start) + 1
        column = start - self.source.rfind("\n", 0, start)
        self.found.append(Mutation(self.file, line, column, start, end, kind, self.source[start:end], new))

    def find(self):
        index = 0
        while index < len(self.tokens):
            if self.text(index) == "[" and self.text(index + 1) == "[" and self.tokens[index].partner > 0:
                index = self.tokens[index].partner + 1
                continue
            if self.text(index) in NO_CODE and self.tokens[index + 1].partner > index:
                index = self.tokens[index + 1].partner + 1
                continue
            self.look(index)
            index += 1
        return self.found

    def look(self, index):
        token = self.tokens[index]
        if token.text in OPERATORS and token.is_spaced:
            kind, new = OPERATORS[token.text]
            self.add(kind, index, index, new)
        elif token.kind == "number":
            self.number(index)
        elif token.text in ("true", "false"):
            self.add("constant", index, index, "false" if token.text == "true" else "true")
        elif token.text in ("if", "while") and self.text(index + 1) == "(":
            self.condition(index + 1)
        elif token.text == "return":
            self.returned(index)
        if self.is_statement_start(index):
            self.statement(index)

    def number(self, index):
        token = self.tokens[index]
        if self.text(index - 1) == "=" and self.text(index - 2) in (")", "const", "noexcept"):
            return  # a pure virtual function
        digits = token.text.rstrip("uUlLzZ" if token.text[:2] in ("0x", "0X") else "uUlLzZfF")
        suffix = token.text[len(digits):]
        try:
            value = int(digits.replace("'", ""), 0)
        except ValueError:
            return
        more = f"{value + 1:#x}" if digits[:2].lower() == "0x" else str(value + 1)
        self.add("constant", index, index, more + suffix)
        if value != 0:
            self.add("constant", index, index, "0" + suffix)

    def condition(self, opening):
        closing = self.tokens[opening].partner
        first, index = opening + 1, opening + 1
        while index < closing:
            if self.text(index) == ";":
                first = index + 1
            if self.text(index) == "=":
                return  # a declaration
            index = max(index, self.tokens[index].partner) + 1
        if first < closing:
            start, end = self.tokens[first].start, self.tokens[closing - 1].end
            self.add("condition", first, closing - 1, f"!({self.source[start:end]})")

    def end_of_statement(self, index):
        """The index of its semicolon; -1 when it has a block of its own."""
        while index < len(self.tokens):
            text = self.text(index)
            if text == ";":
                return index
            if text in (")", "]", "}") or (text == "{" and self.text(index - 1) in (")", "=", "")):
                return -1
            index = max(index, self.tokens[index].partner) + 1
        return -1

    def heads(self, closing):
        """Whether the bracket that closes at this index belongs to an if or a loop."""
        if self.text(closing) != ")" or self.tokens[closing].partner < 1:
            return False
        return self.text(self.tokens[closing].partner - 1) in ("if", "while", "for")

    def is_statement_start(self, index):
        before = self.text(index - 1)
        return before in (";", "{", "}", "else") or self.heads(index - 1)

    def leave_out(self, kind, first, last):
        start, end = self.tokens[first].start, self.tokens[last].end
        self.add(kind, first, last, "\n" * self.source.count("\n", start, end) + ";")

    def returned(self, index):
        end = self.end_of_statement(index)
        if end < 0:
            return
        inner, has_truth = index + 1, False
        while inner < end:
            token = self.tokens[inner]
            has_truth = has_truth or (token.text in TRUTHS and (token.is_spaced or token.text == "!"))
            if token.text in ("?", ","):
                has_truth = False
                break
            inner = max(inner, token.partner) + 1
        if has_truth:
            start, stop = self.tokens[index + 1].start, self.tokens[end - 1].end
            self.add("result", index + 1, end - 1, f"!({self.source[start:stop]})")
        is_alone = self.text(index - 1) == "{" and self.heads(index - 2) and self.text(end + 1) == "}"
        if is_alone or self.heads(index - 1):
            self.leave_out("return", index, end)

    def statement(self, index):
        token = self.tokens[index]
        if token.text in NO_STATEMENT or not (token.kind == "word" or token.text in ("*", "++", "--", "(", "::")):
            return
        end = self.end_of_statement(index)
        if end < 0 or self.text(end - 1) in ("delete", "default"):
            return
        kind, inner = "", index
        while inner < end and kind != "assignment":
            if token.text != "delete" and self.is_declaration(inner):
                return
            if self.text(inner) in ASSIGNMENTS or self.text(inner) in ("++", "--"):
                kind = "assignment"
            elif self.text(inner) == "(":
                kind = "call"
            inner = max(inner, self.tokens[inner].partner) + 1
        if kind:
            self.leave_out(kind, index, end)

    def is_declaration(self, index):
        """Whether a type ends at this index and a name follows."""
        token = self.tokens[index]
        if self.text(index + 1) == "" or self.tokens[index + 1].kind != "word":
            return False
        return token.kind == "word" or (token.text in ("*", "&", "&&", ">") and not token.is_spaced
                                        and self.source[token.start - 1:token.start].strip() != ""
                                        and self.source[token.end:token.end + 1].isspace())


def drawn_from(file, source, seed):
    """One mutation for each line that has any, chosen by the seed; the place in the file does not matter, so that a
    change elsewhere leaves the choice as it is."""
    lines = [line.strip() for line in source.split("\n")]
    chosen = {}
    for mutation in Finder(file, source).find():
        text = lines[mutation.line - 1]
        key = f"{seed} {file} {lines[:mutation.line].count(text)} {text} {mutation.old} {mutation.new}"
        mutation.order = hashlib.sha256(key.encode()).hexdigest()
        if mutation.line not in chosen or mutation.order < chosen[mutation.line].order:
            chosen[mutation.line] = mutation
    return list(chosen.values())
