"""The console object's fields: who writes them by the code, by the tags in the header, and by the table in the page on threads."""
import re

import driver_tree

HEADER = "console/Console.h"
PAGE = "docs/threads.md"

FIELD = re.compile(r"^ {4}(?!static constexpr)[\w:<>*, ]*?\b([ms]_\w+)(?:\[\w+\])?(?: = [^;]*)?;\s*(.*)$")
THREADS = ("host", "start", "rx")
# Where each thread comes in; the host's threads by every other operation that it may call.
ENTRIES = {"threadFn": "start", "rx_interrupt_char": "rx"}
OPERATION = re.compile(r"^ {4}[\w:]+ (\w+)\(.*\)(?: const)? override;")
# Shared beside the object's own: what the library exports, and the host's.
OTHERS = ("ShuttlePacketSize", "m_pgmName", "last_button_index")


def tagged(text):
    """{field: its writers} by the tags behind it; none where it says otherwise."""
    fields = (FIELD.match(line) for line in text.splitlines())
    return {field[1]: {name for name in THREADS if f"[{name}]" in field[2]} for field in fields if field}


def tabled(text):
    """{field: its writers} by the second column."""
    found = {}
    for line in text.splitlines():
        cells = line.split("|")
        if len(cells) == 5:
            writers = {name for name in THREADS if re.search(rf"\b{name}\b", re.sub("`.*?`", "", cells[2]))}
            found.update(dict.fromkeys(re.findall(rf"`([ms]_\w+|{'|'.join(OTHERS)})`", cells[1]), writers))
    return found


def derived(root, header):
    """{field: its writers} by the code: a thread writes what is written in a member that its entry reaches."""
    members = {}
    for file in sorted([*root.glob("console/*.cpp"), *root.glob("monitor/*.cpp")]):
        for name, function in driver_tree.functions(root, file.relative_to(root)).items():
            known = members.setdefault(name, function)
            known.calls |= function.calls
            known.writes |= function.writes
    entries = {name: ENTRIES.get(name, "host") for name in re.findall(OPERATION.pattern, header, re.MULTILINE)}
    writers = {}
    for entry, thread in (entries | ENTRIES).items():
        for name in reached(entry, members):
            for field in members[name].writes:
                writers.setdefault(field, set()).add(thread)
    return writers


def reached(entry, members):
    found, left = set(), [entry]
    while left:
        name = left.pop()
        if name in members and name not in found:
            found.add(name)
            left += members[name].calls
    return found


def problems(root):
    texts = [(root / name).read_text() for name in (HEADER, PAGE)]
    header, page, code = tagged(texts[0]), tabled(texts[1]), derived(root, texts[0])
    shown = {HEADER: header, PAGE: page, "the code": {**dict.fromkeys([*header, *page], set()), **code}}
    for field in sorted({*header, *(name for name in page if name in OTHERS)}):
        if field not in page:
            yield f"{PAGE} lacks {field}"
            continue
        said = {place: writers[field] for place, writers in shown.items() if field in writers}
        if len({frozenset(writers) for writers in said.values()}) > 1:
            yield f"{field} is written by " + ", ".join(f"{' '.join(sorted(writers)) or 'no thread'} in {place}"
                                                       for place, writers in said.items())
