"""Draws the include table as a diagram, and holds the one in docs/architecture.md against it.

Run as a program, it writes the diagram into the page."""
import pathlib
import re
import sys

import check_includes

PAGE = "docs/architecture.md"
BLOCK = re.compile(r"(<!-- include table -->\n).*?(<!-- end -->)", re.DOTALL)
LEFT_OUT = ("tests", "bench", "fuzz")  # they may include anything


def arrows():
    """(room, room) for each inclusion that does not follow from two others."""
    known = {room: check_includes.known_to(room) for room in check_includes.TABLE if room not in LEFT_OUT}
    return [(room, other) for room in known for other in sorted(known[room])
            if not any(other in known[between] for between in known[room] if between != other)]


def diagram():
    rooms = [room for room in check_includes.TABLE if room not in LEFT_OUT]
    lines = ["```mermaid", "flowchart BT"]
    lines += [f'    {room.replace("/", "_")}["{room}"]' for room in rooms]
    lines += [f'    {room.replace("/", "_")} --> {other.replace("/", "_")}' for room, other in arrows()]
    return "\n".join([*lines, "```", ""])


def problems(root):
    page = (pathlib.Path(root) / PAGE).read_text()
    found = BLOCK.search(page)
    if found is None:
        yield f"{PAGE}: has no diagram of the include table"
    elif found[0] != found[1] + diagram() + found[2]:
        yield f"{PAGE}: the diagram is not the include table's; run tools/check/check_diagram.py"


if __name__ == "__main__":
    page = pathlib.Path(__file__).resolve().parents[2] / PAGE
    page.write_text(BLOCK.sub(lambda found: found[1] + diagram() + found[2], page.read_text()))
    sys.exit(0)
