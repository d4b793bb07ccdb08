"""Test names read Operation_Condition_Result, or Operation_Result where there is no condition."""
import re

TEST = re.compile(r"^[ \t]*(?:TYPED_)?TEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\s*\)", re.MULTILINE)
SCRIPT_TEST = re.compile(r'^  \[\s*"([^"]*)", async\b', re.MULTILINE)
PART = "[A-Z0-9][A-Za-z0-9]*"
SUITE = re.compile(PART)
NAME = re.compile(rf"{PART}(_{PART}){{1,2}}")


def problems(files):
    """`files`: (name, text) of each file. Yields a sentence for each name that does not follow the rule."""
    for name, text in files:
        if not name.startswith("tests/") or not name.endswith((".cpp", ".h", ".mjs")):
            continue
        script = name.endswith(".mjs")
        for found in (SCRIPT_TEST if script else TEST).finditer(text):
            suite, test = ("Web", found[1]) if script else (found[1], found[2])
            if not SUITE.fullmatch(suite) or not NAME.fullmatch(test):
                yield f"{name}:{text.count(chr(10), 0, found.end()) + 1}: {suite}.{test}"
