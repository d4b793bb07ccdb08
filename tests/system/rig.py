"""What the scenarios share: desks that are plugged in, the user's service, and what a compositor sees."""
import contextlib
import json
import pathlib
import re
import subprocess
import tempfile

from system_machine import USER, Failed

CORVANE = "Corvane Console"
SERVICE = "cvhost.service"
MAP = """target = "keys"
[keys]
E = "e"
K = "k"
L = "l"
I = "i"
O = "o"
"""
KEYS = re.findall(r"^([A-Z]) =", MAP, re.MULTILINE)
# Each key goes down and stays down, one after the other: whoever listens late misses the first ones only.
HOLDS = "wait active\n" + "".join(f"press {key}\nsleep 1s\n" for key in KEYS)
TAPS = "wait active\n" + "".join(f"tap {key}\nsleep 200ms\n" for key in KEYS) * 500


def expect(condition, *seen):
    if not condition:
        raise Failed("\n".join(map(str, seen)))


class Desk:
    """A simulated console behind a USB adapter of the machine's kernel."""

    def __init__(self, machine, product=CORVANE, script="", name="desk"):
        self.machine = machine
        self.name = name
        self.log = f"/run/{name}.log"
        machine.write(f"/run/{name}.script", script)
        machine.run(f"systemd-run --quiet --collect --unit={name} -p StandardOutput=truncate:{self.log} -p StandardError=inherit "
                    f"cvdesk --usb --usb-product '{product}' --script /run/{name}.script")
        self.port = machine.until(f"sed -n 's/^Listening on //p' {self.log} | grep .").strip()

    def said(self):
        return self.machine.run(f"cat {self.log}")

    def unplug(self):
        self.machine.run(f"systemctl stop {self.name}")
        self.machine.until(f"! test -e {self.port}")

    def unit(self):
        """The service for this desk alone: named by its by-path name."""
        return self.machine.until("udevadm settle; for link in /dev/serial/by-path/*; do "
                                  f"test $(readlink -f $link) = {self.port} && echo cvhost@$(basename $link).service; done | grep .").strip()


def tidy(machine):
    """As after a scenario that has gone well, more or less."""
    machine.attempt("systemctl stop desk desk2 other; chvt 1")


@contextlib.contextmanager
def host_desk(machine, cvdesk, script):
    """A simulated console outside, on a USB serial adapter of the virtual machine's own, which a sleeping machine keeps. Its adapter
    names itself like none of a console's."""
    with tempfile.TemporaryDirectory(prefix="corvane-") as folder:
        link = f"{folder}/desk"
        path = f"{folder}/script"
        pathlib.Path(path).write_text(script)
        with subprocess.Popen([cvdesk, "--pty", link, "--script", path], stdout=subprocess.PIPE, text=True) as process:
            try:
                expect("Listening" in process.stdout.readline(), "the desk has no place")
                machine.qmp.ask("chardev-add", id="desk", backend={"type": "serial", "data": {"device": link}})
                machine.qmp.ask("device_add", driver="usb-serial", id="adapter", chardev="desk", bus="usb.0")
                yield
                machine.qmp.ask("device_del", id="adapter")
                machine.qmp.wait_for("DEVICE_DELETED")
                machine.qmp.ask("chardev-remove", id="desk")
            finally:
                process.kill()


class Keys:
    """What a compositor has seen of the keyboard since this was made."""

    LOG = "/run/compositor.log"

    def __init__(self, machine):
        self.machine = machine
        self.begin = len(self.lines())

    def lines(self):
        return self.machine.run(f"cat {self.LOG}").splitlines()

    def seen(self):
        """Such as ["+E", "-E"]."""
        found = [re.search(r"\tKEY_(\w+) \(\d+\) (pressed|released)", line) for line in self.lines()[self.begin:]]
        return [f"{'+' if key[2] == 'pressed' else '-'}{key[1]}" for key in found if key]

    def held(self):
        held = set()
        for key in self.seen():
            (held.add if key[0] == "+" else held.discard)(key[1:])
        return held

    def wait_for_press(self):
        self.machine.until(f"tail -n +{self.begin + 1} {self.LOG} | grep -q pressed")

    @classmethod
    def watch(cls, machine):
        machine.run(f"systemd-run --quiet --unit=compositor -p StandardOutput=truncate:{cls.LOG} libinput debug-events --show-keycodes")
        machine.until(f"grep -q DEVICE_ADDED {cls.LOG}")


def show(machine, unit, *names):
    """Properties of a unit of the user's."""
    said = machine.run(f"systemctl --user show {unit} " + " ".join(f"-p {name}" for name in names), USER)
    return dict(line.split("=", 1) for line in said.splitlines())


def wait_until(machine, unit, state):
    machine.until(f'test "$(systemctl --user is-active {unit})" = {state}', USER)


def status(machine, unit=SERVICE, user=USER):
    """The sentence that a service says of itself."""
    return machine.run(f"systemctl --user show -P StatusText {unit}", user).strip()


def wait_until_active(machine, unit=SERVICE, user=USER):
    """Until the service is there, and its console too."""
    machine.until(f"systemctl --user is-active --quiet {unit} && systemctl --user show -P StatusText {unit} | grep '^active'", user)


def journal(machine, *arguments):
    said = machine.run("journalctl -b -o json " + " ".join(arguments))
    return [json.loads(line) for line in said.splitlines() if line.startswith("{")]


def kernel_time_of(machine, text):
    """Seconds since boot when the kernel last said this."""
    entries = journal(machine, "-k", f"--grep '{text}'")
    return int(entries[-1]["_SOURCE_MONOTONIC_TIMESTAMP"]) / 1e6
