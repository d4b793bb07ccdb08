#!/usr/bin/env python3
"""Builds the Debian packages of this tree, in build/package, unless they are there."""
import fcntl
import hashlib
import os
import pathlib
import re
import shutil
import subprocess

TOP = pathlib.Path(__file__).resolve().parents[2]
WORK = TOP / "build/package"
SOURCES = WORK / "corvane-console"
SECONDS = 300  # for any one command but the build, which takes what it takes


def expect(condition, *seen):
    if not condition:
        raise AssertionError("\n".join(map(str, seen)))


def run(*command, timeout=SECONDS, **options):
    """Runs a command to its end; what it prints, on either stream."""
    result = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                            timeout=timeout, **options)
    expect(result.returncode == 0, f"{' '.join(map(str, command))} ended with {result.returncode}:", result.stdout)
    return result.stdout


def sources():
    """The files of this tree, also those that are not committed yet."""
    names = run("git", "-C", TOP, "ls-files", "-co", "--exclude-standard").splitlines()
    return [name for name in sorted(names) if (TOP / name).is_file()]


def digest():
    """A number for all that packages are built from: tests and tools are not."""
    found = hashlib.sha256()
    for name in sources():
        if name.split("/")[0] in ("tests", "bench", "fuzz", "tools", ".ci"):
            continue
        found.update(f"{name}\0{(TOP / name).stat().st_mode & 0o111}\0".encode())
        found.update(hashlib.sha256((TOP / name).read_bytes()).digest())
    return found.hexdigest()


def cache():
    """The compiler's cache, which debhelper hides by another HOME, with what was compiled in the same folder; or none."""
    if not shutil.which("ccache"):
        return {}
    return {"CORVANE_CMAKE_OPTIONS": "-DCMAKE_CXX_COMPILER_LAUNCHER=ccache", "CCACHE_HASHDIR": "1",
            "CCACHE_DIR": run("ccache", "--get-config", "cache_dir").strip()}


def build(folder=SOURCES):
    """The packages, from a copy of the tree in this folder; they are left beside it, with the digest of what they were built from."""
    built = digest()
    for name in sources():
        (folder / name).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(TOP / name, folder / name)
    shutil.copytree(folder / "packaging/debian", folder / "debian")
    run("dpkg-buildpackage", "--build=binary", "--no-sign", timeout=None, cwd=folder,
        env={**os.environ, "DEB_BUILD_OPTIONS": "noautodbgsym", **cache()})
    (folder.parent / "digest").write_text(built)


def current():
    """The packages of the tree as it is: those that are there, or others that are built now."""
    with open(TOP / "build/.lock", "w") as lock:
        fcntl.flock(lock, fcntl.LOCK_EX)
        if not (WORK / "digest").is_file() or (WORK / "digest").read_text() != digest():
            shutil.rmtree(WORK, ignore_errors=True)
            build()
    return packages()


def packages():
    return sorted(WORK.glob("*.deb"))


def names(packages):
    return [path.name.split("_")[0] for path in packages]


def depends(packages):
    """The other packages that these need."""
    needed = set()
    for path in packages:
        needed |= set(re.findall(r"(?:^|, )([a-z0-9.+-]+)", run("dpkg-deb", "--field", path, "Depends")))
    return sorted(needed - set(names(packages)))


if __name__ == "__main__":
    current()
