#!/usr/bin/env python3
"""Writes a copy of a source with the faults of a canaries.txt in it, each asleep until it is chosen; or their names.

plant_faults.py CANARIES source FILE OUTPUT, plant_faults.py CANARIES names OUTPUT
"""
import collections
import pathlib
import sys

Fault = collections.namedtuple("Fault", "number harness name file before after")


def read(path):
    lines = [line for line in path.read_text().splitlines() if line and not line.startswith("#")]
    for number, at in enumerate(range(0, len(lines), 3)):
        head, before, after = lines[at:at + 3]
        yield Fault(number, *head.split(), before.strip(), after.strip())


def planted(source, faults):
    by_place = collections.defaultdict(list)
    for fault in faults:
        if source.count(fault.before) != 1:
            sys.exit(f"{fault.name}: its text stands in {fault.file} {source.count(fault.before)} times")
        by_place[source.index(fault.before), fault.before].append(fault)
    # The longer text first, so that a shorter one within it is found in what is left of it.
    for (_, before), there in sorted(by_place.items(), key=lambda item: -len(item[0][1])):
        text = before
        for fault in there:
            if before.endswith(";"):
                text = f"if (exhaustive::planted == {fault.number}) {{ {fault.after} }} else {{ {text} }}"
            else:
                text = f"(exhaustive::planted == {fault.number} ? ({fault.after}) : ({text}))"
        if source.count(before) != 1:
            sys.exit(f"{there[0].name}: its text is no longer there once the others are planted")
        source = source.replace(before, text)
    return source


def main():
    canaries, what, *rest = sys.argv[1:]
    faults = list(read(pathlib.Path(canaries)))
    output = pathlib.Path(rest[-1])
    if what == "names":
        rows = "".join(f'    {{"{fault.name}", "{fault.harness}"}},\n' for fault in faults)
        output.write_text('#include "tests/unit/console/Canary.h"\n\nnamespace exhaustive {\n'
                          f"constinit const Canary canaries[] = {{\n{rows}}};\n"
                          f"constinit const int canaryCount = {len(faults)};\n}}  // namespace exhaustive\n")
        return
    root = pathlib.Path(__file__).resolve().parents[3]
    here = [fault for fault in faults if fault.file == rest[0]]
    output.write_text("namespace exhaustive {\nextern int planted;\n}\n" + planted((root / rest[0]).read_text(), here))


if __name__ == "__main__":
    main()
