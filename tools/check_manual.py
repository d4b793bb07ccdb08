"""The manual pages in packaging/manpages, held against what the programs say of themselves."""
import re
import subprocess

PAGES = "packaging/manpages"
PROGRAMS = ("cvhost", "cvdesk")
SECONDS = 60

HEADING = re.compile(r"^#+ ")
SUBCOMMAND = re.compile(rf"^## (?:{'|'.join(PROGRAMS)}) ([a-z]+)")
# An option has an entry of its own, at the beginning of a line; anywhere else it is only talked of.
ENTRY = re.compile(r"^(?:\*-\w\*, )?\*(--[a-z0-9-]+)\*")
TALKED_OF = re.compile(r"--[a-z][a-z0-9-]*")
EVERYWHERE = {"--help"}  # each subcommand has it, the page says so once


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
    return options, set(re.findall(r"^  ([a-z]+) ", listed[1], re.MULTILINE)) if listed else set()


def options_of(program, env=None):
    """The options of each subcommand, and the program's own under None, as `entries` has them."""
    own, subcommands = helped(program, env=env)
    return {None: own, **{name: helped(program, name, env=env)[0] - EVERYWHERE for name in sorted(subcommands)}}


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
    known = {name: options_of(programs / name) for name in PROGRAMS}
    there_are = set().union(*(options for each in known.values() for options in each.values()))
    for name, page in pages.items():
        file = f"{PAGES}/{name}.1.scd"
        yield from (f"{file} {difference}" for difference in differences(name, entries(page), known[name]))
        yield from (f"{file} talks of {option}, which no program has" for option in sorted(set(TALKED_OF.findall(page)) - there_are))
