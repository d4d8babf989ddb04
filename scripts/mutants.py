"""What a C++ source could have said instead: small changes of its code, one at a time.

Comments, strings, the preprocessor, declarations outside of functions and assertions stay as they are. Which sign is
a comparison and which a bracket is told by the blanks around it, which clang-format sets.
"""

import hashlib
import math
import re
from dataclasses import dataclass

TOKEN = re.compile(
    r"""(?P<comment>//[^\n]*|/\*.*?\*/|^[ \t]*\#(?:\\\n|[^\n])*)
      | (?P<text>R"(?P<mark>[^(\s]*)\(.*?\)(?P=mark)"|"(?:\\.|[^"\\\n])*"|'(?:\\.|[^'\\\n])+')
      | (?P<number>\d(?:'?[\w.])*)
      | (?P<name>[A-Za-z_]\w*)
      | (?P<sign><<=|>>=|<=>|\.\.\.|::|->|\+\+|--|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|<<|>>|[^\s])""",
    re.VERBOSE | re.DOTALL | re.MULTILINE,
)
SWAPPED = {"<": "<=", ">": ">=", "==": "!=", "&&": "||", "+": "-", "+=": "-="}
SWAPPED.update({now: was for was, now in SWAPPED.items()})
ALWAYS = {"++": "--", "--": "++", "true": "false", "false": "true"}
CLOSES = {"(": ")", "[": "]", "{": "}"}
# What follows in brackets is decided when the library is built, is a contract, or only saves time.
UNTOUCHED = re.compile(r"static_assert|alignas|decltype|sizeof|noexcept|requires|reserve|\w*(?:[Aa]ssert|ASSERT|[Pp]refetch)")
# A statement that begins so is no call and no assignment.
KEYWORDS = """return using const constexpr auto static delete throw break continue goto case default typedef friend if else
    for while do switch try catch struct class enum union template namespace static_cast void""".split()


@dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int
    end: int


@dataclass(frozen=True)
class Mutant:
    """One change of one file; `id` stays the same while the line does, wherever it moves to."""

    id: str
    file: str
    line: int  # from 1
    start: int
    end: int
    now: str
    change: str  # for people

    def apply(self, source):
        return source[: self.start] + self.now + source[self.end :]


class Source:
    """The tokens of a file, and which of them stand in functions."""

    def __init__(self, text):
        self.text = text
        found = (Token(m.lastgroup if m.lastgroup != "mark" else "text", m.group(), *m.span()) for m in TOKEN.finditer(text))
        self.tokens = [t for t in found if t.kind != "comment"]
        self.partner = self._partners()
        self.code = self._code()

    def says(self, i, *texts):
        return 0 <= i < len(self.tokens) and self.tokens[i].text in texts

    def _partners(self):
        partner, opened = {}, []
        for i, token in enumerate(self.tokens):
            if token.kind == "sign" and token.text in CLOSES:
                opened.append(i)
            elif token.kind == "sign" and opened and token.text == CLOSES[self.tokens[opened[-1]].text]:
                partner[opened.pop()] = i
        return partner

    def _is_code(self, head):
        """Whether a brace opens a function, by the tokens before it: neither a class nor a value."""
        texts = [self.tokens[i].text for i in head]
        if not texts or texts[0] in ("namespace", "extern", "enum"):
            return False
        if "(" not in texts or (texts[0] in ("struct", "class", "union") and texts[1] == "alignas"):
            return False
        assigned = any(text == "=" and texts[i - 1] != "operator" for i, text in enumerate(texts[: texts.index("(")]) if i)
        return not assigned or texts[-1] == ")"

    def _code(self):
        code, i, head = set(), 0, []
        while i < len(self.tokens):
            if self.says(i, ";", "}") or (self.says(i, ":") and self.says(i - 1, "public", "private", "protected")):
                head = []
            elif self.says(i, "{"):
                end = self.partner.get(i, i)
                if self._is_code(head):
                    code.update(range(i, end))
                    i = end
                elif self.says(head[-1] if head else -1, "="):
                    i = end
                head = []
            else:
                head.append(i)
            i += 1
        for i, token in enumerate(self.tokens):
            if token.kind == "name" and UNTOUCHED.fullmatch(token.text):
                code.difference_update(range(i, self.partner[i + 1] + 1 if self.says(i + 1, "(") else i))
            if token.text in ("if", "[") and self.says(i + 1, "constexpr", "["):
                first = i + 2 if token.text == "if" else i
                code.difference_update(range(first, self.partner.get(first, first) + 1))
        return code

    def statement(self, i):
        """The last token of the call or assignment that begins with token i, or None."""
        start, j = i, i
        if self.says(i - 1, ")"):
            opener = next((o for o, c in self.partner.items() if c == i - 1), -1)
            if not self.says(opener - 1, "if", "for", "while", "constexpr"):
                return None
        elif not self.says(i - 1, ";", "{", "}", "else", "do"):
            return None
        if self.says(j, "*"):
            j += 1
        if self.tokens[j].kind != "name" or self.tokens[j].text in KEYWORDS:
            return None
        last = "name"
        while j < len(self.tokens) and not self.says(j, ";"):
            token = self.tokens[j]
            if token.text in ("(", "["):
                j = self.partner.get(j, len(self.tokens))
            elif token.kind == "sign" and token.text == "=" or re.fullmatch(r"[-+*/%&|^]=|<<=|>>=", token.text):
                while j < len(self.tokens) and not self.says(j, ";"):
                    j = self.partner.get(j, j) + 1
                return j if j < len(self.tokens) else None
            elif token.text not in ("::", ".", "->") and (token.kind != "name" or (j > start and last == "name")):
                return None
            last = "name" if token.kind == "name" else "sign"
            j += 1
        return j if self.says(j - 1, ")") else None


def changes(source):
    """All changes of a source: (start, end, what stands there then, what was done)."""
    text, tokens = source.text, source.tokens
    for i in sorted(source.code):
        token = tokens[i]
        start, end, was = token.start, token.end, token.text
        loose = text[start - 1] == " " and text[end : end + 1] in (" ", "\n")
        beside_text = any(0 <= k < len(tokens) and tokens[k].kind == "text" for k in (i - 1, i + 1))
        if token.kind == "sign" and was in SWAPPED and loose and not (was == "+" and beside_text):
            yield start, end, SWAPPED[was], f"{was} to {SWAPPED[was]}"
        elif was in ALWAYS and not source.says(i - 1, "operator"):
            yield start, end, ALWAYS[was], f"{was} to {ALWAYS[was]}"
        elif was == "!" and token.kind == "sign" and not loose and not source.says(i - 1, "!") and not source.says(i + 1, "!"):
            yield start, end, "", "! taken away"
        elif token.kind == "number" and re.fullmatch(r"\d+[uUlL]*", was) and was not in ("00",):
            declares = source.says(i - 1, "[") and tokens[i - 2].kind == "name" and tokens[i - 3].kind == "name"
            if not declares and text[start - 1] != "<" and text[end] != ">":
                digits = re.match(r"\d+", was).group()
                now = str(int(digits) + 1) + was[len(digits) :]
                yield start, end, now, f"{was} to {now}"
        elif was in ("break", "continue") and source.says(i + 1, ";"):
            yield start, end, "", f"{was} taken away"
        elif was == "if" and source.says(i + 1, "("):
            first, last = i + 2, source.partner.get(i + 1, i + 2)
            first = max([first] + [k + 1 for k in range(first, last) if source.says(k, ";")])
            if not source.says(first, "!") and not any(source.says(k, "=") for k in range(first, last)):
                inside = text[tokens[first].start : tokens[last].start]
                yield tokens[first].start, tokens[last].start, f"!({inside})", "condition turned round"
        stop = source.statement(i)
        if stop is not None:
            yield start, tokens[stop].start, "", "statement taken away"


def digest(*words):
    return hashlib.sha256("\0".join(map(str, words)).encode()).hexdigest()


def mutants(file, text):
    """All mutants of a file, line by line: a list for each line that has any."""
    lines, seen, by_line = text.split("\n"), {}, {}
    starts = [0]
    for line in lines:
        starts.append(starts[-1] + len(line) + 1)
    number = 0
    for start, end, now, change in sorted(changes(Source(text))):
        while starts[number + 1] <= start:
            number += 1
        stripped = lines[number].strip()
        if number not in by_line:
            seen[stripped] = seen.get(stripped, 0) + 1
        place = start - starts[number] - (len(lines[number]) - len(lines[number].lstrip()))
        name = digest(file, stripped, seen[stripped], place, now, change)[:8]
        by_line.setdefault(number, []).append(Mutant(name, file, number + 1, start, end, now, change))
    return list(by_line.values())


def chosen(seed, lines_of_mutants, weight):
    """One mutant of each line, in the order of the seed. A change elsewhere leaves a line its mutant and its rank."""
    ranked = []
    for line in lines_of_mutants:
        word = digest(seed, line[0].id)
        rank = -math.log((int(word[:12], 16) + 1) / 16.0**12) / weight(line[0].file)
        ranked.append((rank, line[int(word[12:24], 16) % len(line)]))
    return [mutant for _, mutant in sorted(ranked, key=lambda pair: (pair[0], pair[1].id))]
