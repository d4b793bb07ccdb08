"""The user's service: it comes with the console and goes with it."""
import re

from rig import (HOLDS, MAP, SERVICE, TAPS, USER, Desk, Keys, expect, kernel_time_of, show, wait_until, wait_until_active)


def test_install(machine):
    """apt installs them on a machine in use, and nothing is left to be started; the user chooses a map"""
    machine.run("mkdir /debs && mount /dev/vdb /debs")
    machine.run("apt-get install -y -q /debs/now/*.deb")
    expect(machine.run("systemctl --failed --quiet; systemctl --user --failed --quiet", USER) == "", "a unit has failed")
    machine.run("test -w /dev/uinput", USER)
    machine.write(f"/home/{USER}/.config/cvhost/maps/test.toml", MAP, USER)
    machine.write(f"/home/{USER}/.config/cvhost/cvhost.toml", '[settings]\nmap = "test"\n', USER)


def test_verify(machine):
    """systemd-analyze has nothing to say about the units"""
    said = machine.run("systemd-analyze --user verify /usr/lib/systemd/user/cvhost*", USER)
    expect(said == "", said)


def test_plug(machine):
    """the console is plugged in: its service starts, and a key reaches the compositor through the map"""
    keys = Keys(machine)
    desk = Desk(machine, script=HOLDS)
    wait_until_active(machine)
    plugged = kernel_time_of(machine, "now attached to ttyUSB")
    started = int(show(machine, SERVICE, "ActiveEnterTimestampMonotonic")["ActiveEnterTimestampMonotonic"]) / 1e6
    keys.wait_for_press()
    desk.unplug()
    wait_until(machine, SERVICE, "inactive")
    machine.until(f"test $(grep -c pressed {Keys.LOG}) = $(grep -c released {Keys.LOG})")
    expect(not keys.held() and len(keys.seen()) >= 2, keys.seen())
    return f"service active {started - plugged:.1f} s after the kernel had its port"


def test_status(machine):
    """what the service says of itself is one sentence; a service that was stopped by its plug has not failed"""
    desk = Desk(machine)
    wait_until_active(machine)
    status = machine.run(f"systemctl --user status --no-pager {SERVICE}", USER)
    expect(re.search(r'^ +Status: "active, version 7, map test"$', status, re.MULTILINE), status)
    desk.unplug()
    wait_until(machine, SERVICE, "inactive")
    properties = show(machine, SERVICE, "Result", "ExecMainStatus", "NRestarts")
    expect(properties == {"Result": "success", "ExecMainStatus": "0", "NRestarts": "0"}, properties)


def test_replug(machine):
    """plugged in and pulled twenty times: the service runs each time, and works"""
    for _ in range(20):
        keys = Keys(machine)
        desk = Desk(machine, script=TAPS)
        keys.wait_for_press()
        desk.unplug()
        wait_until(machine, SERVICE, "inactive")
    expect(not keys.held(), keys.seen())
    said = machine.run("systemctl --user list-units --failed --quiet", USER)
    expect(said == "", said)


def test_quick_replug(machine):
    """plugged in again before the service has ended: it comes back"""
    for _ in range(5):
        desk = Desk(machine, script=TAPS)
        wait_until_active(machine)
        desk.unplug()
        keys = Keys(machine)
        desk = Desk(machine, script=TAPS)
        keys.wait_for_press()
        desk.unplug()
    wait_until(machine, SERVICE, "inactive")


def test_two_desks(machine):
    """a second desk has a process of its own, by its by-path name"""
    first = Desk(machine)
    wait_until_active(machine)
    second = Desk(machine, name="desk2")
    other = second.unit()
    machine.run(f"systemctl --user start {other}", USER)
    wait_until_active(machine, other)
    wait_until_active(machine)
    processes = {show(machine, unit, "MainPID")["MainPID"] for unit in (SERVICE, other)}
    expect(len(processes) == 2 and "0" not in processes, processes)
    second.unplug()
    first.unplug()
    wait_until(machine, SERVICE, "inactive")
    wait_until(machine, other, "inactive")


def test_generic(machine):
    """a USB serial port of another kind starts nothing, and no service opens it"""
    other = Desk(machine, product="USB Serial Port", name="other")
    machine.run("udevadm settle")
    # What systemd does about one device it does before it does anything about a later one.
    desk = Desk(machine)
    wait_until_active(machine)
    expect("usb " not in other.said(), other.said())
    desk.unplug()
    wait_until(machine, SERVICE, "inactive")
    expect("usb " not in other.said(), other.said())
    other.unplug()


def test_neighbours(machine):
    """a modem manager and a braille display's program beside it leave the port alone"""
    expect(machine.run("systemctl is-active ModemManager brltty").split() == ["active", "active"], "they do not run")
    desk = Desk(machine)
    wait_until_active(machine)
    machine.run("udevadm settle")
    marks = machine.run(f"udevadm info {desk.port}")
    expect("ID_MM_DEVICE_IGNORE=1" in marks, marks)
    process = show(machine, SERVICE, "MainPID")["MainPID"]
    holders = machine.run(f"fuser {desk.port} 2>/dev/null").split()
    expect(holders == [process], holders, process)
    # Who opens a port raises DTR.
    opened = [line for line in desk.said().splitlines() if "DTR low" in line]
    expect(len(opened) == 1, desk.said())
    units = machine.run("systemctl list-units --plain --no-legend 'brltty*'")
    expect([line.split()[0] for line in units.splitlines()] == ["brltty.service"], units)
    desk.unplug()
    wait_until(machine, SERVICE, "inactive")


SCENARIOS = [test_install, test_verify, test_plug, test_status, test_replug, test_quick_replug, test_two_desks, test_generic,
             test_neighbours]
