"""Whether built programs and libraries can be started in a folder that someone else fills, and are hardened.

Each configuration that has been built is read: `build/bin`, and `bin` in each folder under `build`.
"""
import json
import pathlib
import re
import subprocess

PRODUCT = {"cvhost", "cvdesk", "libcvhost.so.1", "CorvaneConsole.so"}  # the others may hold no array to guard
GUARD = "-fstack-protector-strong"
FORTIFY = "-D_FORTIFY_SOURCE=2"


def readelf(file):
    """What a binary says of itself: (lines of its header, segments and dynamic section; names in its dynamic symbols)."""
    said = subprocess.run(["readelf", "--wide", "--file-header", "--program-headers", "--dynamic", "--dyn-syms", file], check=True,
                          capture_output=True, text=True, env={"LC_ALL": "C", "PATH": "/usr/bin:/bin"}).stdout
    return said, set(re.findall(r"^ +\d+: [0-9a-f]+ +\d+ +\w+ +\w+ +\w+ +\w+ ([^ @]+)", said, re.MULTILINE))


def unsafe(path):
    """Whether the loader would read this path from the current directory: only from / and $ORIGIN on it would not."""
    return not re.match(r"(/|\$ORIGIN(/|$)|\$\{ORIGIN\}(/|$))", path)


def faults(file):
    """What is wrong with one binary."""
    said, names = readelf(file)
    for kind, paths in re.findall(r"\((RPATH|RUNPATH)\) +Library \w+: \[(.*)\]", said):
        yield from (f"its {kind} [{paths}] has the entry '{path}'" for path in paths.split(":") if unsafe(path))
    for library in re.findall(r"\(NEEDED\) +Shared library: \[(.*)\]", said):
        if "/" in library and unsafe(library):
            yield f"it needs the relative path {library}"
    is_program = re.search(r"^ +INTERP ", said, re.MULTILINE)
    if not re.search(r"^ +Type: +DYN ", said, re.MULTILINE) or (is_program and not re.search(r"\(FLAGS_1\).*\bPIE\b", said)):
        yield "it is not position-independent"
    if not re.search(r"^ +GNU_RELRO ", said, re.MULTILINE) or not re.search(r"\(FLAGS(_1)?\).*\b(BIND_NOW|NOW)\b", said):
        yield "it lacks full RELRO (-z relro -z now)"
    if file.name in PRODUCT and "__stack_chk_fail" not in names:
        yield f"it guards no stack ({GUARD})"


def unguarded(command):
    """What a compiler's command lacks. Fortifying needs the optimizer, and hides calls from the sanitizers."""
    words = command.split()
    levels = [word for word in words if re.fullmatch("-O.", word)]
    instrumented = any(word.startswith(("-fsanitize=", "-fprofile-instr")) for word in words)
    defined = [word for word in words if re.match(r"-[DU]_FORTIFY_SOURCE\b", word)]
    if GUARD not in words:
        yield GUARD
    if levels and levels[-1] != "-O0" and not instrumented and defined[-1:] != [FORTIFY]:
        yield FORTIFY


def binaries(folder):
    """The programs and libraries below `folder`."""
    for path in sorted(folder.rglob("*")):
        if path.is_file() and not path.is_symlink():
            with open(path, "rb") as file:
                if file.read(4) == b"\x7fELF":
                    yield path


def problems(build):
    """What is wrong with the configurations built under `build`."""
    for folder in [build, *sorted(path.parent for path in build.glob("*/bin"))]:
        found = list(binaries(folder / "bin"))
        if not found and folder == build:  # a configuration may be there for its compile commands alone
            yield f"{folder}/bin holds no program"
        yield from (f"{file.relative_to(build)}: {fault}" for file in found for fault in faults(file))
        for entry in json.loads((folder / "compile_commands.json").read_text()):
            yield from (f"{folder.name}: {entry['file']} is compiled without {flag}" for flag in unguarded(entry["command"]))
