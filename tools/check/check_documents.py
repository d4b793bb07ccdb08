"""Whether the commands that documents show do what they are shown for.

A command is in a block headed sh, one a line. A comment after it says who runs it, if not this check:

    # hardware, # root     it needs a console, or rights, that are not here
    # by hand              it takes minutes or hours, or changes the tree
    # by NAME              .ci/run, as one of its steps; or a test in the folder NAME, where a file has all that the command names
    # until Ctrl-C         this check, which interrupts it when it has shown that it works

Whoever runs it, the program, the subcommand and the options that it names have to exist (of ./dev the subcommand); so have those
of a command inside a sentence or a table. A test that a document or the driver's source names has to be there, too.
"""
import fnmatch
import os
import pathlib
import re
import signal
import subprocess
import tempfile

import check_manual

SECONDS = 600  # some build first
COMMAND = re.compile(r"^( {4,}|\$ )?(sudo |build/bin/|\./dev|cvhost|cvdesk|\.ci/run|cmake|apt|dpkg|udevadm)\b")
MARK = re.compile(r"# (hardware|root|by hand|until Ctrl-C|by \S+?)(?=[:.,;]? |[:.,;]?$)")
SPAN = re.compile(r"`([^`]+)`")
TEST = re.compile(r"^ *TEST(?:_[FP])?\(\s*(\w+),\s*(\w+)\)", re.MULTILINE)
# A test's name; in capitals alone it is a variable's.
NAMED = {".md": re.compile(r"`((?![A-Z_]+`)(?:[A-Z]\w+\.[A-Z*][\w*]*_[\w*]*|[A-Z]\w+_\w+_\w+))`"), ".cpp": re.compile(r"// Test: (\w+)"), ".h": re.compile(r"// Test: (\w+)")}
WORKS = re.compile(r"\bactive\b|^Listening on ")


def blocks(text):
    """(head, [(line number, line)]) of each fenced block; the lines outside of all under None."""
    outside, current = [], None
    for number, line in enumerate(text.splitlines(), 1):
        if line.startswith("```"):
            if current is None:
                current = (line[3:], [])
            else:
                yield current
                current = None
        else:
            (outside if current is None else current[1]).append((number, line))
    yield None, outside


def commands(text):
    """(line number, command, mark or None) of each command; (line number, line, "astray") of those outside a block for them,
    and (line number, span, "mentioned") of everything between backquotes, whether or not it is a command."""
    for head, lines in blocks(text):
        for number, line in lines:
            if head == "sh" and line.strip() and not line.startswith("#"):
                mark = MARK.search(line)
                yield number, re.split(r"\s+# ", line)[0].strip(), mark[1] if mark else None
            elif (head is None or head == "") and COMMAND.match(line) and (head == "" or line.startswith(" ")):
                yield number, line.strip(), "astray"
            elif head is None:
                yield from ((number, span, "mentioned") for span in SPAN.findall(line))


def ran(command, folder, environment):
    """Runs it to its end: what went wrong, or None."""
    try:
        result = subprocess.run(["bash", "-c", command], cwd=folder, env=environment, stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, timeout=SECONDS)
    except subprocess.TimeoutExpired:
        return f"still ran after {SECONDS} s"
    return f"ended with {result.returncode}: {result.stdout[-500:]}" if result.returncode else None


def interrupted(command, folder, environment):
    """Runs it until it shows that it works, then interrupts it: what went wrong, or None."""
    signal.signal(signal.SIGINT, signal.default_int_handler)  # a shell's background job has it ignored, and its programs too
    with subprocess.Popen(["bash", "-c", f"exec {command}"], cwd=folder, env=environment, stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True) as process:
        timer = subprocess.Popen(["sh", "-c", f"sleep {SECONDS}; kill -9 {process.pid}"], start_new_session=True)
        seen = ""
        try:
            for line in process.stdout:
                seen += line
                if WORKS.search(line):
                    process.send_signal(signal.SIGINT)
                    break
            seen += process.stdout.read()
            status = process.wait()
        finally:
            os.killpg(timer.pid, signal.SIGKILL)
            timer.wait()
    return f"ended with {status}: {seen[-500:]}" if status else None


def unnamed(folder, command):
    """Why no test in the folder can be the one that runs the command, or None."""
    if not folder.is_dir():
        return "does not exist"
    program, *words = check_manual.split(command)
    named = [os.path.basename(program), *(word.split("=")[0] for word in words if word.startswith("-")),
             *(word for word in words[:1] if re.fullmatch("[a-z][a-z-]*", word))]
    texts = (path.read_text(errors="replace") for path in folder.rglob("*") if path.is_file())
    if any(all(re.search(rf"(?<![\w-]){re.escape(name)}(?![\w-])", text) for name in named) for text in texts):
        return None
    return f"has no file that names {' '.join(named)}"


def problem(root, command, mark, folder, environment, known):
    """What is wrong with one command, or None."""
    if mark == "astray":
        return "stands outside a sh block"
    wrong = check_manual.unknown(command, known)
    if wrong or mark in ("mentioned", "hardware", "root", "by hand"):
        return wrong
    if mark == "by .ci/run":
        step = re.sub(r"^\./dev ", "", command)
        known = command == ".ci/run" or re.search(rf'^ *"\d+ {re.escape(step)}( \d+)?( \|.*)?"$', (root / ".ci/run").read_text(), re.MULTILINE)
        return None if known else "is no step of .ci/run"
    if mark == "until Ctrl-C":
        return interrupted(command, folder, environment)
    if mark:
        why = unnamed(root / mark[3:], command)
        return f"{mark[3:]} {why}" if why else None
    return ran(command, folder, environment)


def absent_tests(root, names):
    """As `problems`: Suite.Name, which may hold stars, or the name alone in documents; the name alone in the driver's source."""
    tests = [found for path in root.glob("tests/**/*_test.cpp") for found in TEST.findall(path.read_text())]
    there_are = {".".join(test) for test in tests} | {name for _, name in tests}
    sources = [str(path.relative_to(root)) for room in ("plugin", "console", "monitor") for path in sorted(root.glob(f"{room}/*"))]
    for file in (*names, *sources):
        for number, line in enumerate((root / file).read_text().splitlines(), 1):
            for test in re.findall(NAMED.get(pathlib.Path(file).suffix, "(?!)"), line):
                if not fnmatch.filter(there_are, test):
                    yield file, number, test, "there is no such test"


def problems(root, names, programs):
    """(document, line number, command, what is wrong) for each command that is not what it is shown to be."""
    yield from absent_tests(root, names)
    known = check_manual.known_commands(root, programs)
    with tempfile.TemporaryDirectory(prefix="corvane-documents-") as scratch:
        folder = pathlib.Path(scratch, "here")
        folder.mkdir()
        for name in ("dev", ".ci"):
            (folder / name).symlink_to(root / name)
        homes = {f"XDG_{kind}_HOME": f"{scratch}/{kind.lower()}" for kind in ("CONFIG", "STATE")}
        environment = {**os.environ, **homes, "PATH": f"{programs}:{os.environ['PATH']}", "NO_COLOR": "1"}
        for name in names:
            for number, command, mark in commands((root / name).read_text()):
                wrong = problem(root, command, mark, folder, environment, known)
                if wrong:
                    yield name, number, command, wrong
