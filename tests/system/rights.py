"""Who may use the console, and how little the service may do itself."""
from rig import SERVICE, TAPS, USER, Desk, Keys, expect, show, status, wait_until, wait_until_active

# As root, outside: what the kernel says of the running service.
KERNEL_SAYS = {"NoNewPrivs": "1", "Seccomp": "2", "CapEff": "0000000000000000"}


def on_console(machine, number, user):
    machine.run(f"systemctl start getty@tty{number}; chvt {number}")
    machine.until(f"loginctl show-seat -P ActiveSession seat0 | xargs loginctl show-session -P Name | grep -x {user}")


def test_late_rights(machine):
    """another user has the seat: the service waits, also for its virtual keyboard, and goes on when the seat is its user's again"""
    on_console(machine, 2, "colleague")
    machine.until("systemctl is-active --quiet user@1001.service")
    desk = Desk(machine, script=TAPS)
    # The user who has the seat has the console.
    wait_until_active(machine, SERVICE, "colleague")
    expect(machine.attempt(f"test -r {desk.port}", USER)[0] != 0, "the user who is away has rights")
    wait_until(machine, SERVICE, "active")
    expect(not status(machine).startswith("active"), status(machine))
    machine.run(f"systemctl --user stop {SERVICE}", "colleague")
    on_console(machine, 1, USER)
    Keys(machine).wait_for_press()
    expect(status(machine) == "active, version 7, map test", status(machine))
    desk.unplug()
    wait_until(machine, SERVICE, "inactive")


def test_sandbox(machine):
    """the service runs within its bounds"""
    desk = Desk(machine)
    wait_until_active(machine)
    process = show(machine, SERVICE, "MainPID")["MainPID"]
    said = dict(line.split(":\t", 1) for line in machine.run(f"cat /proc/{process}/status").splitlines())
    wrong = {name: said[name] for name, value in KERNEL_SAYS.items() if said[name] != value}
    expect(not wrong, wrong)
    desk.unplug()
    wait_until(machine, SERVICE, "inactive")


SCENARIOS = [test_late_rights, test_sandbox]
