"""Cuts C++ text into tokens; comments, texts, characters and preprocessor lines hold nothing to change."""
import re
from dataclasses import dataclass

SCANNER = re.compile(r"""
    (?P<skip> //[^\n]* | /\*.*?\*/ | ^[ \t]*\#(?:[^\n]*\\\n)*[^\n]*
        | (?:u8|[uUL])?R"(?P<mark>[^(\s]*)\(.*?\)(?P=mark)")
  | (?P<text> (?:u8|[uUL])?"(?:[^"\\\n]|\\.)*" | (?:u8|[uUL])?'(?:[^'\\\n]|\\.)*')
  | (?P<word> [A-Za-z_]\w*)
  | (?P<number> (?:0[xX][0-9A-Fa-f']+|0[bB][01']+|\d[\d']*\.\d*(?:[eE][+-]?\d+)?|\d[\d']*)[uUlLzZfF]*)
  | (?P<sign> <<=|>>=|<=>|\.\.\.|->\*|::|->|\+\+|--|<<|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|[^\s\w])
""", re.X | re.S | re.M)
PAIRS = {"(": ")", "[": "]", "{": "}"}


@dataclass
class Token:
    text: str
    kind: str
    start: int
    end: int
    is_spaced: bool  # white space on both sides: how the layout writes a binary operator
    partner: int = -1  # of a bracket: the index of the other one


def tokens_of(source):
    tokens = []
    for match in SCANNER.finditer(source):
        if match.lastgroup == "skip" or match["skip"]:
            continue
        start, end = match.span()
        is_spaced = source[start - 1:start].isspace() and source[end:end + 1].isspace()
        tokens.append(Token(match.group(), match.lastgroup, start, end, is_spaced))
    pair_brackets(tokens)
    return tokens


def pair_brackets(tokens):
    opened = []
    for index, token in enumerate(tokens):
        if token.text in PAIRS:
            opened.append(index)
        elif token.text in PAIRS.values():
            if not opened or PAIRS[tokens[opened[-1]].text] != token.text:
                return
            token.partner = opened.pop()
            tokens[token.partner].partner = index
