"""Packages that are exchanged or go while the machine is in use."""
from rig import SERVICE, TAPS, USER, Desk, Keys, expect, show, wait_until, wait_until_active

OURS = "corvane-console-driver cvhost libcvhost1 libcvhost-dev"


def test_upgrade(machine):
    """a newer version is installed while a desk is in use: it stays in use, and what is plugged in next is the newer one's"""
    desk = Desk(machine, script=TAPS)
    wait_until_active(machine)
    before = show(machine, SERVICE, "MainPID")
    machine.run("apt-get install -y -q /debs/newer/*.deb")
    expect(show(machine, SERVICE, "MainPID") == before, "it has been started again")
    keys = Keys(machine)
    keys.wait_for_press()
    desk.unplug()
    wait_until(machine, SERVICE, "inactive")
    desk = Desk(machine, script=TAPS)
    wait_until_active(machine)
    process = show(machine, SERVICE, "MainPID")["MainPID"]
    expect(machine.run(f"readlink /proc/{process}/exe").strip() == "/usr/bin/cvhost", "its program is another one")
    keys = Keys(machine)
    keys.wait_for_press()
    desk.unplug()
    wait_until(machine, SERVICE, "inactive")


def test_purge(machine):
    """purged, they leave what is the user's and nothing else"""
    home = "find /home -type f | sort | xargs sha256sum"
    before = machine.run(home)
    expect(f"/home/{USER}/.config/cvhost" in before, before)
    machine.run(f"apt-get purge -y -q {OURS}")
    machine.run("systemctl --user daemon-reload", USER)
    expect(machine.run(home) == before, before, machine.run(home))
    left = machine.run("find / -xdev \\( -iname '*cvhost*' -o -iname '*corvane*' -o -iname '*cvdesk*' \\) -not -path '/home/*' "
                       "-not -path '/var/log/*' -not -path '/var/cache/*'").split()
    expect(not left, *left)
    expect(machine.attempt(f"systemctl --user cat {SERVICE}", USER)[0] != 0, "the unit is there")


SCENARIOS = [test_upgrade, test_purge]
