"""The machine sleeps and wakes."""
from debian_packages import TOP
from rig import TAPS, USER, Keys, host_desk, wait_until_active


def test_suspend(machine):
    """the machine sleeps and wakes with the console in use: it works again"""
    # Its adapter is one of the user's.
    machine.write("/run/udev/rules.d/70-adapter.rules", 'SUBSYSTEM=="tty", ATTRS{product}=="QEMU USB SERIAL", TAG+="uaccess"\n')
    machine.run("udevadm control --reload")
    with host_desk(machine, TOP / "build/bin/cvdesk", TAPS):
        path = machine.until("udevadm settle; cd /dev/serial/by-path && ls | grep port0").strip()
        unit = f"cvhost@{path}.service"
        machine.run(f"systemctl --user start {unit}", USER)
        wait_until_active(machine, unit)
        keys = Keys(machine)
        keys.wait_for_press()
        machine.sleep_and_wake()
        machine.until("journalctl -b -k -q --grep 'PM: suspend exit'")
        keys = Keys(machine)
        wait_until_active(machine, unit)
        keys.wait_for_press()
        machine.run(f"systemctl --user stop {unit}", USER)


SCENARIOS = [test_suspend]
