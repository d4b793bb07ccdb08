"""The console object's fields: who writes them by the tags in the header, held against the table in the page on threads."""
import re

HEADER = "console/Console.h"
PAGE = "docs/threads.md"

FIELD = re.compile(r"^ {4}(?!static constexpr)[\w:<>*, ]*?\b([ms]_\w+)(?:\[\w+\])?(?: = [^;]*)?;\s*(.*)$")
THREADS = ("host", "start", "rx")


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
            found.update(dict.fromkeys(re.findall(r"`([ms]_\w+)`", cells[1]), writers))
    return found


def problems(root):
    header, page = (read((root / name).read_text()) for read, name in ((tagged, HEADER), (tabled, PAGE)))
    for field in sorted(header):
        if field not in page:
            yield f"{PAGE} lacks {field}"
        elif header[field] != page[field]:
            yield f"{field} is written by {' '.join(sorted(header[field]))} in {HEADER}, by {' '.join(sorted(page[field]))} in {PAGE}"
