"""C++ source as text: what is code in it, and where its functions are. A scanner, not a parser: it trusts clang-format."""
import bisect
import re

NOT_CODE = re.compile(
    r"""//[^\n]*
      | /\*.*?\*/
      | R"(?P<fence>[^()\s]*)\(.*?\)(?P=fence)"
      | "(?:\\.|[^"\\\n])*"
      | (?<![0-9A-Fa-f])'(?:\\.|[^'\\\n])+'
      | ^[ \t]*\#(?:\\\n|[^\n])*""",
    re.VERBOSE | re.DOTALL | re.MULTILINE)


def blank(text):
    """The text with comments, literals and preprocessor lines turned to blanks; every character keeps its place."""
    return NOT_CODE.sub(lambda found: re.sub(r"[^\n]", " ", found.group()), text)


def line_of(text):
    """A function that gives the line number, from 1, of a place in the text."""
    ends = [found.start() for found in re.finditer("\n", text)]
    return lambda place: bisect.bisect_left(ends, place) + 1


def functions(text):
    """Yields (first line, last line, head) of every function with a body; what is inside a function belongs to it."""
    code, line = blank(text), line_of(text)
    head, depth, body = 0, 0, None  # where the present head begins; the open braces; (head, depth) of the open function
    starts = []  # the head of each open block outside functions
    for place, char in ((found.start(), found.group()) for found in re.finditer(r"[{};]", code)):
        if char == "{":
            depth += 1
            if body is None:
                starts.append(head)
                if is_function(code[head:place]):
                    body = (head, depth)
                head = place + 1
        elif char == "}":
            depth -= 1
            if body is not None and depth >= body[1]:
                continue
            begun = starts.pop() if starts else head
            following = code[place + 1:].lstrip()[:1]
            if body is not None and following not in (",", "{"):
                first = begun + len(code[begun:]) - len(code[begun:].lstrip())
                yield line(first), line(place), " ".join(code[first:code.index("{", first)].split())
            # A brace in a constructor's initialiser list: the head goes on behind it.
            head = begun if body is not None and following in (",", "{") else place + 1
            body = None
        elif body is None:
            head = place + 1


def is_function(head):
    """True when the text before a brace is the head of a function."""
    head = re.sub(r"\btemplate\s*<(?:[^<>]|<[^<>]*>)*>", "", head)
    head = re.sub(r"\[\[.*?\]\]|\b(public|protected|private)\s*:(?!:)", "", head).strip()
    return ")" in head and not re.match(r"(inline\s+)?(namespace|class|struct|union|enum|extern)\b", head)
