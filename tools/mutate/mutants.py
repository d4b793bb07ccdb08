"""One-line faults, made mechanically from C++ source that clang-format has laid out."""
import pathlib
import re
import sys
import typing

sys.path.append(str(pathlib.Path(__file__).resolve().parents[1] / "check"))
import cpp_text


class Mutant(typing.NamedTuple):
    file: str
    start: int  # the characters from `start` to `end` become `text`
    end: int
    text: str
    kind: str

    def apply(self, source):
        return source[:self.start] + self.text + source[self.end:]

    def line(self, source):
        return source.count("\n", 0, self.start) + 1

    def shown(self, source):
        """The line or lines before and after, each as one line of text."""
        first = source.rfind("\n", 0, self.start) + 1
        last = source.find("\n", self.end)
        changed = self.apply(source)
        grown = len(changed) - len(source)
        return " ".join(source[first:last].split()), " ".join(changed[first:last + grown].split())


ODDITIES = pathlib.Path(__file__).resolve().parent / "mutate_oddities.txt"

# Operators have blanks around them; what each may become.
OPERATORS = {
    "<": ("<=", ">="), "<=": ("<", ">"), ">": (">=", "<="), ">=": (">", "<"), "==": ("!=",), "!=": ("==",),
    "&&": ("||",), "||": ("&&",), "+": ("-",), "-": ("+",), "*": ("/",), "/": ("*",), "%": ("*",),
    "&": ("|",), "|": ("&",), "^": ("|",), "<<": (">>",), ">>": ("<<",),
    "+=": ("-=",), "-=": ("+=",), "|=": ("&=",), "&=": ("|=",), "<<=": (">>=",), ">>=": ("<<=",), "?": ("|| true ?", "&& false ?"),
}
OPERATOR = re.compile(r"(?<=\s)(" + "|".join(map(re.escape, sorted(OPERATORS, key=len, reverse=True))) + r")(?=\s)")
NUMBER = re.compile(r"(?<![\w.'])(0x[0-9A-Fa-f]+|\d+\.\d+|\d+)([uUlL]*)(?![\w.'])")
# What is no fault of the program's behaviour: what the compiler checks, names and types.
NOT_BEHAVIOUR = re.compile(r"\bstatic_assert\s*\([^;]*;|\btemplate\s*<[^;{]*?>(?=\s)|\busing\b[^;]*;|\bfriend\b[^;]*;"
                           r"|\b(?:enum|class|struct|namespace)\b[^;{(]*(?=[;{])|\bextern \"C\"")
DECLARATION = re.compile(r"(const|constexpr|static|auto|using|char|int|bool|double|float|unsigned|void|struct|class|enum|public|"
                         r"private|protected|friend|virtual|explicit|extern|typedef|std::u?int\w+)\b(?!\()"
                         r"|[\w:]+(<[^()]*>)?[&*]? \w+( = |\{|\(|;|$)")


def of(file, source):
    """Every mutant of a source file, in the order of their places."""
    code = cpp_text.blank(source)
    code = NOT_BEHAVIOUR.sub(lambda found: re.sub(r"[^\n]", " ", found.group()), code)
    found = set()
    for start, end, text, kind in (*tokens(code), *literals(source), *conditions(code), *statements(source, code), *oddities(file, source)):
        if source[start:end] != text:
            found.add(Mutant(file, start, end, text, kind))
    return sorted(found)


def tokens(code):
    for match in OPERATOR.finditer(code):
        for text in OPERATORS[match[1]]:
            yield match.start(1), match.end(1), text, "operator"
    for match in re.finditer(r"\+\+|--", code):
        yield match.start(), match.end(), "--" if match.group() == "++" else "++", "operator"
    for match in re.finditer(r"\b(true|false)\b", code):
        yield match.start(), match.end(), "false" if match[1] == "true" else "true", "boolean"
    for match in re.finditer(r"!(?!=)", code):
        yield match.start(), match.end(), "", "negation"
    for match in NUMBER.finditer(code):
        digits = match[1]
        if "." in digits:
            values = [f"{float(digits) + 1}"]
        else:
            values = [str(value) for value in (int(digits, 0) + 1, int(digits, 0) - 1) if value >= 0]
        for value in values:
            yield match.start(1), match.end(1), value, "constant"


def literals(source):
    """Characters and texts, one letter off."""
    for match in cpp_text.NOT_CODE.finditer(source):
        whole = match.group()
        if whole == '""':
            yield match.start(), match.end(), '"x"', "text"
        elif whole[0] in "\"'":
            yield from letter_off(match.start(), whole)


def letter_off(start, whole):
    for letter in re.finditer(r"(?<![\\%])[^\\%\"']|(?<=\\)0(?=')", whole):
        changed = "1" if letter.group() == "0" else chr(ord(letter.group()) ^ 1)
        if changed.isprintable() and changed not in "\"'\\%":
            yield start, start + len(whole), whole[:letter.start()] + changed + whole[letter.end():], "text"
            return


def closing(code, place):
    """The place of the bracket that closes the one at `place`."""
    depth = 0
    for at in range(place, len(code)):
        depth += {"(": 1, ")": -1}.get(code[at], 0)
        if depth == 0:
            return at
    return len(code) - 1


def conditions(code):
    for match in re.finditer(r"\b(if|while|for) \(", code):
        first, last = match.end(), closing(code, match.end() - 1)
        if match[1] == "for":
            parts = code[first:last].split(";")
            if len(parts) == 3 and parts[1].strip():
                yield first + len(parts[0]) + 1, last - len(parts[2]) - 1, " false", "condition"
        elif code[first:last].strip() != "true":
            yield first, last, "false", "condition"
            if match[1] == "if":
                yield first, last, "true", "condition"


def statements(source, code):
    """Statements left out, exchanged with the next, and returns of something else."""
    lines = [0] + [match.end() for match in re.finditer("\n", code)]
    for first, last, head in cpp_text.functions(source):
        begin = code.index("{", lines[first - 1])
        end = lines[last] if last < len(lines) else len(code)
        previous = None
        run = []  # plain statements in a row
        for start, stop, plain in simple_statements(code, begin, end):
            body = code[start:stop]
            goes_on = plain and not body.startswith("return") and not DECLARATION.match(body)
            if run and not (goes_on and not code[run[-1][1] + 1:start].strip()):
                yield from moved(source, run)
                run = []
            if goes_on:
                run.append((start, stop))
            if body.startswith("return"):
                yield from returns(start, stop, body, head)
                previous = None
            elif DECLARATION.match(body):
                previous = None
            else:
                yield start, stop, "", "dropped"
                if plain and previous and not code[previous[1] + 1:start].strip():
                    swapped = source[start:stop] + source[previous[1]:start] + source[previous[0]:previous[1]]
                    yield previous[0], stop, swapped, "swapped"
                previous = (start, stop) if plain else None
        yield from moved(source, run)


def moved(source, run):
    """Each of the statements in a row moved to the row's end; two alone are exchanged already."""
    for at, (start, stop) in enumerate(run[:-2]):
        last = run[-1][1]
        yield start, last + 1, source[run[at + 1][0]:last + 1] + " " + source[start:stop + 1], "moved"


def oddities(file, source):
    """What is odd on purpose, put right."""
    lines = [line for line in ODDITIES.read_text().splitlines() if line and not line.startswith("#")]
    for there, before, after in zip(lines[0::3], lines[1::3], lines[2::3]):
        if there == file and source.count(before.strip()) == 1:
            start = source.index(before.strip())
            yield start, start + len(before.strip()), after.strip(), "oddity"


def returns(start, stop, body, head):
    value = body[len("return"):].strip()
    if value == "":
        yield start, stop, "", "dropped"
    elif head.startswith("void "):
        yield start, stop, "return", "dropped"
    elif value not in ("true", "false") and not NUMBER.fullmatch(value) and not value.startswith("{"):
        yield start, stop, f"return !({value})", "return"


def simple_statements(code, begin, end):
    """(start, end without ';', whether it has no prefix such as "if (...)") of each statement that has no statement inside."""
    start, depth = begin + 1, 0
    for at in range(begin + 1, end):
        char = code[at]
        if char in "([":
            depth += 1
        elif char in ")]":
            depth -= 1
        elif depth == 0 and char in "{}":
            start = at + 1
        elif depth == 0 and char == ";":
            place, plain = start, True
            while True:
                place += len(code[place:at]) - len(code[place:at].lstrip())
                prefix = re.match(r"(?:else if|if|while|for) \(|else\b|do\b|case (?:[^:;?]|::)+:(?!:)|default:|[A-Za-z]+:(?!:)", code[place:at])
                if not prefix:
                    break
                plain = False
                place = closing(code, place + prefix.end() - 1) + 1 if prefix.group().endswith("(") else place + prefix.end()
            if code[place:at].strip():
                yield place, at, plain
            start = at + 1
