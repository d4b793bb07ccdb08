"""Makes a Debian root with mmdebstrap. Packages come from where apt on this machine takes them."""
import pathlib
import re
import subprocess


def sources(suite, scratch):
    """Copies of this machine's lists of sources that name its own release, with `suite` in its place."""
    own = re.search(r"^VERSION_CODENAME=(\w+)", pathlib.Path("/etc/os-release").read_text(), re.MULTILINE)[1]
    etc = pathlib.Path("/etc/apt")
    for path in sorted([*etc.glob("sources.list"), *etc.glob("sources.list.d/*.list"), *etc.glob("sources.list.d/*.sources")]):
        text = path.read_text()
        if re.search(rf"\b{own}\b", text):
            copy = scratch / f"{suite}-{path.name}"
            copy.write_text(re.sub(rf"\b{own}\b", suite, text))
            yield copy


def make(root, suite, scratch, *options):
    """A minimal Debian in the folder `root`; `options` are mmdebstrap's. As root. None, or why there is none."""
    scratch.mkdir(parents=True, exist_ok=True)
    settings = scratch / "apt.conf"
    dump = subprocess.run(["apt-config", "dump"], check=True, capture_output=True, text=True).stdout
    settings.write_text("".join(f"{line}\n" for line in dump.splitlines() if re.match(r"Acquire::(?!IndexTargets)\S+ \"", line)))
    done = subprocess.run(["mmdebstrap", "--variant=minbase", f"--aptopt={settings}", *options, suite, root, *sources(suite, scratch)],
                          capture_output=True, text=True)
    return done.stderr if done.returncode else None
