"""What documents say of the programs, held against what the programs say of themselves; the manual pages in full."""
import os
import re
import shlex
import subprocess

PAGES = "packaging/manpages"
PROGRAMS = ("cvhost", "cvdesk")
SECONDS = 60

HEADING = re.compile(r"^#+ ")
SUBCOMMAND = re.compile(rf"^## (?:{'|'.join(PROGRAMS)}) ([a-z-]+)")
# An option has an entry of its own, at the beginning of a line; anywhere else it is only talked of.
ENTRY = re.compile(r"^(?:\*-\w\*, )?\*(--[a-z0-9-]+)\*")
TALKED_OF = re.compile(r"--[a-z][a-z0-9-]*")
EVERYWHERE = {"--help"}  # each subcommand has it, the page says so once

EXAMPLES = re.compile(r"^```\n(.*?)^```", re.MULTILINE | re.DOTALL)
BEFORE = re.compile(r"^(?:(?:\w+=\S+|sudo|chrt -f \d+) +)*")  # what may precede a program
OURS = re.compile(r"(?:\./|build/bin/|cv)[a-z_]+")


def entries(page):
    """The options that have an entry: of each subcommand in its section, and the program's own under None."""
    found, section = {None: set()}, None
    for line in page.splitlines():
        if HEADING.match(line):
            subcommand = SUBCOMMAND.match(line)
            section = subcommand[1] if subcommand else None
            found.setdefault(section, set())
        elif entry := ENTRY.match(line):
            found[section].add(entry[1])
    return found


def helped(program, *subcommand, env=None):
    """What --help prints: the options, and the subcommands."""
    result = subprocess.run([program, *subcommand, "--help"], stdin=subprocess.DEVNULL, capture_output=True, text=True,
                            timeout=SECONDS, check=True, env=env)
    options = set(re.findall(r"^ +(?:-h,)?(--[a-z0-9-]+)", result.stdout, re.MULTILINE))
    listed = re.search(r"^Subcommands:\n((?:  .*\n)+)", result.stdout, re.MULTILINE)
    return options, set(re.findall(r"^  ([a-z-]+) ", listed[1], re.MULTILINE)) if listed else set()


def options_of(program, env=None):
    """The options of each subcommand, and the program's own under None, as `entries` has them."""
    own, subcommands = helped(program, env=env)
    return {None: own, **{name: helped(program, name, env=env)[0] - EVERYWHERE for name in sorted(subcommands)}}


def known_commands(root, programs):
    """What each program takes, as `entries` has it. Of ./dev the subcommands alone are known; their options are None."""
    listed = subprocess.run([root / "dev", "help"], stdin=subprocess.DEVNULL, capture_output=True, text=True, check=True)
    dev = {None: set(), "help": None, **dict.fromkeys(re.findall(r"^  ([a-z-]+)", listed.stdout, re.MULTILINE))}
    return {"dev": dev, **{name: options_of(programs / name) for name in PROGRAMS}}


def split(command):
    """The words of a command, from the program on."""
    command = BEFORE.sub("", command)
    try:
        return shlex.split(command)
    except ValueError:  # a quote without its partner
        return command.split()


def unknown(command, known):
    """Which program, subcommand or option that a command names there is not, in half a sentence; or None."""
    program, *words = split(command) or [""]
    name = os.path.basename(program)
    if name not in known or program == "dev":
        return f"there is no program {program}" if OURS.fullmatch(program) else None
    if name == "dev" and words and words[0] in PROGRAMS:
        name, *words = words
    subcommand = words.pop(0) if len(known[name]) > 1 and words and not words[0].startswith("-") else None
    if subcommand not in known[name]:
        return f"{name} has no subcommand {subcommand}"
    options = known[name][subcommand]
    for word in words if options is not None else ():
        option = word.split("=")[0]
        if option.startswith("--") and option not in options | EVERYWHERE:
            return f"{name} {subcommand or ''}".strip() + f" has no option {option}"
    return None


def differences(name, page, program):
    """In sentences; both as `entries` has them."""
    for subcommand in sorted(page.keys() - program.keys(), key=str):
        yield f"has a section on {name} {subcommand}, which the program lacks"
    for subcommand, options in program.items():
        command = f"{name} {subcommand or ''}".strip()
        if subcommand not in page:
            yield f"has no section on {command}"
            continue
        yield from (f"lacks {option} of {command}" for option in sorted(options - page[subcommand]))
        yield from (f"has {option} of {command}, which the program lacks" for option in sorted(page[subcommand] - options))


def problems(root, programs):
    """`programs` is the folder where they are."""
    pages = {name: (root / PAGES / f"{name}.1.scd").read_text() for name in PROGRAMS}
    known = known_commands(root, programs)
    there_are = set().union(*(options for name in PROGRAMS for options in known[name].values()))
    for name, page in pages.items():
        file = f"{PAGES}/{name}.1.scd"
        yield from (f"{file} {difference}" for difference in differences(name, entries(page), known[name]))
        yield from (f"{file} talks of {option}, which no program has" for option in sorted(set(TALKED_OF.findall(page)) - there_are))
        for example in "".join(EXAMPLES.findall(page)).splitlines():
            if wrong := unknown(example, known):
                yield f"{file} shows {example}: {wrong}"
