"""Holds the hosts that each break one promise against the promises that the host check tries."""
import pathlib
import re

PROMISES = "hostcheck/Promises.h"
BROKEN = "tests/hostcheck/broken_hosts_test.cpp"
PROMISE = re.compile(r'^ *\{"([a-z0-9-]+)", [123],', re.MULTILINE)
HOST = re.compile(r'^ *\{\.name = "([a-z0-9-]+)(?:/[a-z0-9-]+)?"[,}]', re.MULTILINE)


def problems(root):
    """Yields a sentence for each promise without a broken host, and for each host that breaks none."""
    promises = set(PROMISE.findall((pathlib.Path(root) / PROMISES).read_text()))
    broken = set(HOST.findall((pathlib.Path(root) / BROKEN).read_text()))
    if not promises:
        yield f"{PROMISES}: has no promise"
    yield from (f"{promise}: no broken host covers it" for promise in sorted(promises - broken))
    yield from (f"{BROKEN}: {name} is no promise" for name in sorted(broken - promises))
