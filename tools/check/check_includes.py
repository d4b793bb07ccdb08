"""Who may include whom. The table is the project's; the rest of this file only holds the sources against it."""
import pathlib
import re

import cpp_text

# Room: the rooms it may include. A room is a folder; the longest name that fits a file is its room.
TABLE = {
    "host/api": ["host/api"],
    "host/core": ["host/api", "host/core"],
    "host/linux/serial": ["host/api", "host/core", "host/linux/serial", "rfc2217"],
    "host/linux/machine": ["host/api", "host/core", "host/linux/machine"],
    "host/linux": ["host/api", "host/core", "host/linux"],
    "host/sim": ["host/api", "host/core", "host/sim", "desk"],
    "monitor": ["host/api", "monitor"],
    "console": ["host/api", "monitor", "console"],
    "plugin": ["host/api", "console", "plugin"],
    "hostcheck": ["host/api", "hostcheck"],
    "rfc2217": ["rfc2217"],
    "desk": ["desk"],
    "lines": ["desk", "lines", "rfc2217", "host/core/FileDescriptor.h"],
    "apps/common": ["host/core", "desk", "apps/common"],
    "apps/recording": ["host/core", "desk", "apps/recording"],
    "apps/cvdesk": ["desk", "lines", "apps/common", "apps/recording", "apps/cvdesk"],
    "apps/cvhost/driver": ["host/linux", "apps/cvhost/driver"],
    "apps/cvhost/wire": ["host/api", "host/core", "apps/common", "apps/cvhost/driver", "apps/cvhost/wire"],
    "apps/cvhost/ports": ["host/core", "host/linux", "apps/common", "apps/cvhost/driver", "apps/cvhost/ports"],
    "apps/cvhost/report": ["host/api", "host/core", "apps/common", "apps/cvhost/report"],
    "apps/cvhost/transport": ["host/api", "apps/common", "apps/cvhost/transport"],
    "apps/cvhost/map": ["host/api", "host/core", "host/linux", "apps/common", "apps/cvhost/transport",
                        "apps/cvhost/map"],
    "apps/cvhost/doctor": ["host/api", "host/core", "host/linux", "apps/common", "apps/recording", "apps/cvhost/driver",
                           "apps/cvhost/wire", "apps/cvhost/ports", "apps/cvhost/doctor"],
    "apps/cvhost/timeline": ["apps/common", "apps/recording", "apps/cvhost/driver", "apps/cvhost/wire", "apps/cvhost/timeline"],
    "apps/cvhost/web": ["host/api", "host/core", "desk", "lines", "apps/common", "apps/cvhost/wire",
                        "apps/cvhost/transport", "apps/cvhost/web"],
    "apps/cvhost/control": ["host/api", "host/core", "lines", "apps/common", "apps/cvhost/wire", "apps/cvhost/report",
                            "apps/cvhost/transport", "apps/cvhost/control"],
    "apps/cvhost/run": ["host/api", "host/core", "host/linux", "desk", "lines", "apps/common", "apps/recording",
                        "apps/cvhost/driver", "apps/cvhost/wire", "apps/cvhost/ports", "apps/cvhost/report",
                        "apps/cvhost/transport", "apps/cvhost/map", "apps/cvhost/control", "apps/cvhost/web",
                        "apps/cvhost/run"],
    "apps/cvhost/checkhost": ["host/api", "host/core", "host/linux", "desk", "lines", "apps/common", "apps/cvhost/driver",
                              "apps/cvhost/ports", "apps/cvhost/checkhost", "hostcheck/Promises.h"],
    "apps/cvhost": ["host/core", "apps/common", "apps/cvhost"],
    "packaging": ["host/api", "host/core", "host/linux"],
    "tests": [""],
    "bench": [""],
    "fuzz": [""],
}
ALSO = {
    # The dialogue's operations are members of the console object.
    "monitor/BootMonitor.cpp": ["console/Console.h"],
}
# These rooms include nothing from outside but the C++ standard library.
STANDARD_ONLY = ["host/api", "monitor", "console", "plugin", "rfc2217", "desk"]
# These know neither input nor output, thread nor clock: no such header, and no such name.
NO_WORLD = ["rfc2217", "desk"]
WORLD_HEADERS = {"barrier", "condition_variable", "csignal", "ctime", "filesystem", "fstream", "future", "iostream", "latch", "mutex",
                 "semaphore", "shared_mutex", "stop_token", "syncstream", "thread"}
WORLD_NAME = re.compile(r"\b(\w+_clock|fopen|fprintf|printf|puts|fputs|putchar|std(?:in|out|err))\b")

STANDARD = set("""
    algorithm any array atomic barrier bit bitset cassert cctype cerrno cfenv cfloat charconv chrono cinttypes climits
    clocale cmath codecvt compare complex concepts condition_variable coroutine csetjmp csignal cstdarg cstddef cstdint
    cstdio cstdlib cstring ctime cuchar cwchar cwctype deque exception execution filesystem format forward_list fstream
    functional future initializer_list iomanip ios iosfwd iostream istream iterator latch limits list locale map memory
    memory_resource mutex new numbers numeric optional ostream queue random ranges ratio regex scoped_allocator semaphore
    set shared_mutex source_location span sstream stack stdexcept stop_token streambuf string string_view syncstream
    system_error thread tuple type_traits typeindex typeinfo unordered_map unordered_set utility valarray variant vector
    version""".split())

INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]*(?:"([^"]*)"|<([^>]*)>|(\S.*))', re.MULTILINE)


def within(path, room):
    """True when the path is in the room, or is it."""
    return room == "" or path == room or path.startswith(room + "/")


def room_of(path):
    rooms = [room for room in TABLE if within(path, room)]
    return max(rooms, key=len) if rooms else None


def known_to(room, table=None):
    """The other rooms that a room may include, and the rooms within it."""
    table = table or TABLE
    return {other for other in table if other != room and (other in table[room] or (room in table[room] and within(other, room)))}


def circles(table):
    """Yields a sentence for each room that may include itself by way of others."""
    for room in table:
        reached, todo = set(), [room]
        while todo:
            new = known_to(todo.pop(), table) - reached
            reached |= new
            todo += new
        if room in reached:
            yield f"the include table has a circle through {room}"


def includes(text):
    """(line, own path or None, system path or None) of each include; both None for one that is computed."""
    return [(text.count("\n", 0, found.start()) + 1, found[1], found[2]) for found in INCLUDE.finditer(text)]


def of_the_world(path, text):
    """Yields a sentence for each header and name of something outside the program, or of time that passes by itself."""
    for line, _, system in includes(text):
        if system in WORLD_HEADERS:
            yield f"{path}:{line}: <{system}> has no place in {room_of(path)}, which knows no I/O, thread or clock"
    for found in WORLD_NAME.finditer(cpp_text.blank(text)):
        line = text.count("\n", 0, found.start()) + 1
        yield f"{path}:{line}: {found[0]} has no place in {room_of(path)}, which knows no I/O, thread or clock"


def violations(root, paths):
    """Yields a sentence for each include that the table does not allow. `paths` are relative to `root`."""
    root = pathlib.Path(root)
    yield from circles(TABLE)
    for path in paths:
        room, text = room_of(path), (root / path).read_text(errors="replace")
        if room is None:
            yield f"{path}: is in no room of the include table"
            continue
        if room in NO_WORLD:
            yield from of_the_world(path, text)
        allowed = TABLE[room] + ALSO.get(path, [])
        for line, own, system in includes(text):
            place = f"{path}:{line}"
            if own is None and system is None:
                yield f"{place}: includes something that is not plain to see"
            elif system is not None:
                if room in STANDARD_ONLY and system not in STANDARD:
                    yield f"{place}: <{system}> is not of the C++ standard library"
                elif "/" in system and (root / system).is_file():
                    yield f"{place}: <{system}> is our own: quote it"
            elif "/" not in own or ".." in own.split("/") or not (root / own).is_file():
                yield f'{place}: "{own}" is not a path from the root'
            elif not any(within(own, other) for other in allowed):
                yield f'{place}: {room} may not include "{own}"'
