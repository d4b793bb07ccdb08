"""Nothing is decided by what our own sentences say: no search in them, no change of their first letter, no empty one for success."""
import re

import cpp_text

ROOMS = ("apps/", "desk/", "host/", "hostcheck/", "lines/", "rfc2217/")
# The driver's log lines are its only voice; they are read here alone.
READERS = ("apps/cvhost/driver/DriverLog.cpp",)
# The system's messages begin with a capital.
OF_THE_SYSTEM = ("host/linux/serial/SerialTransport.cpp",)

LITERAL = r'"(?:\\.|[^"\\\n])*"' + r"|'(?:\\.|[^'\\\n])'"
NAMED = re.compile(rf"\b(?:string_view|char|auto)\b[^;=\n]*?\b(\w+)(?:\[\])?\s*=\s*({LITERAL})\s*;")
SEARCH = re.compile(
    rf"(?:(?:\.|->)(?:find|rfind|starts_with|ends_with|contains|compare)\(|\b(?:strstr|strcmp|strncmp)\([^;]*?,|==|!=)\s*"
    rf"(?:std::string_view\()?({LITERAL}|[A-Za-z_]\w*\b(?!\s*[(:.]))")
FIRST_LETTER = re.compile(r"(?:front\(\)|\[0\])\s*=\s*[^=;]*(?:'[A-Za-z]'|to(?:upper|lower)\()")
EMPTY_FOR_SUCCESS = re.compile(
    r"((?:^[ \t]*///[^\n]*\n)*^[ \t]*///[^\n]*\n)[ \t]*(?:static |virtual |\[\[nodiscard\]\] )*std::string \w+\(", re.MULTILINE)
SUCCESS = re.compile(r"\bempty (?:on success|when (?:all is well|nothing is)|if (?:all is well|it is (?:fine|right)|nothing is))"
                     r"|\bempty\b[^.;]*[;,.] otherwise", re.IGNORECASE)
# Three words in a row, as in a sentence.
SENTENCE = re.compile(r"[A-Za-z][a-z]+,? [a-z]+,? [a-z]+")
WORDS = re.compile(r"(?=.*[A-Za-z]{3})(?:[A-Z]?[a-z]{2,}|[a-z])(?:[ ,;:.]+(?:[A-Z]?[a-z]{2,}|[a-z]))*[ ,;:.]*")
MARK = re.compile(r"; ?|\. ")


def code_of(text):
    """The text without comments and preprocessor lines; literals stay."""
    return cpp_text.NOT_CODE.sub(lambda found: found[0] if found[0][0] in "\"'R" else re.sub(r"[^\n]", " ", found[0]), text)


def sentences_of(codes):
    """What the rooms say to people: literals, put together where they follow one another."""
    found = []
    for code in codes:
        found += [text for text in (re.sub(r'"\s*"', "", run[0])[1:-1] for run in re.finditer(rf'{LITERAL}(?:\s*"(?:\\.|[^"\\\n])*")*', code))
                  if SENTENCE.search(text)]
    return found


def is_of_ours(text, call, sentences):
    """Whether a text that is searched for is a part of a sentence. A single word that is compared, or that an object contains (a text
    has no such function in C++20), is a name."""
    equal = call.startswith(("==", "!="))
    if MARK.fullmatch(text):
        return not equal
    if not WORDS.fullmatch(text) or ((equal or "contains(" in call) and " " not in text.strip()):
        return False
    part = re.compile(rf"(?<![\w-]){re.escape(text.strip())}(?![\w-])")
    return any(part.search(sentence) and sentence != text for sentence in sentences)


def problems(files):
    """`files`: (name, text) of each C++ file. Yields a sentence for each place."""
    ours = [(name, text, code_of(text)) for name, text in files if name.startswith(ROOMS)]
    sentences = sentences_of(code for _, _, code in ours)
    for name, text, code in ours:
        line = cpp_text.line_of(text)
        named = {found[1]: found[2] for found in NAMED.finditer(code)}
        for found in SEARCH.finditer(code):
            literal = named.get(found[1], found[1])
            is_search = literal[0] in "\"'" and name not in READERS
            if is_search and is_of_ours(literal[1:-1], found[0], sentences):
                yield f"{name}:{line(found.start())}: searches our own text for {literal}"
        for found in FIRST_LETTER.finditer(code if name not in OF_THE_SYSTEM else ""):
            yield f"{name}:{line(found.start())}: changes a text's first letter"
        for found in EMPTY_FOR_SUCCESS.finditer(text):
            if SUCCESS.search(re.sub(r"\s*///\s*", " ", found[1])):
                yield f"{name}:{line(found.end())}: answers success with an empty text"
