"""The bytes that the receive callback distinguishes: those that its code compares with must be those that are enumerated."""
import re

import driver_tree

CODE = "console/Receive.cpp"
WORDS = "console/Protocol.h"
CLASSES = "tests/unit/console/Framing.h"
CHARACTER = re.compile(r"'(\\0|\\x[0-9A-Fa-f]+|\\?.)'")


def value(literal):
    if literal == "\\0":
        return 0
    return int(literal[2:], 16) if literal.startswith("\\x") else ord(literal[-1])


def problems(root):
    listed = re.search(r"framingBytes\[\] = \{(.*?)\};", (root / CLASSES).read_text())
    classes = {value(literal) for literal in CHARACTER.findall(listed[1])}
    words = {name: value(literal) for name, literal in
             re.findall(r"constexpr char (\w+) = '(\\?.)';", (root / WORDS).read_text())}
    compared = set()
    for name, function in driver_tree.functions(root, CODE, words).items():
        for what in sorted(function.compared):
            known = int(what) if what.isdigit() else words.get(what)
            compared.add(known)
            if known not in classes:
                yield f"{CODE}: {name} compares a byte with {what}, which is no class of its own in {CLASSES}"
    for unused in sorted(classes - compared):
        yield f"{CLASSES}: nothing in {CODE} is compared with the class {unused}"
