"""A Debian with its own systemd in a virtual machine. Commands go to qemu's guest agent there, which runs them as root."""
import base64
import hashlib
import inspect
import json
import pathlib
import re
import shlex
import shutil
import socket
import subprocess
import tempfile
import time

import debian_root

SUITE = "bookworm"
HANG = 300  # seconds that a condition may take to come true on a machine with much else to do
USER = "editor"  # who is logged in on the machine's first console
# What a desktop has anyway, what looks at serial ports there, and what the tests look with.
PACKAGES = ["systemd-sysv", "udev", "dbus", "dbus-user-session", "libpam-systemd", "polkitd", "acl", "kmod", "login", "linux-image-amd64",
            "initramfs-tools", "qemu-guest-agent", "kbd", "modemmanager", "brltty", "libinput-tools", "man-db", "psmisc"]
# The kernel finds its disk with these modules alone, and starts sooner.
EARLY = """cd "$1"/usr/share && mkdir -p initramfs-tools/conf.d initramfs-tools/modules.d &&
echo MODULES=list >initramfs-tools/conf.d/test && printf 'virtio_pci\nvirtio_blk\next4\n' >initramfs-tools/modules.d/test"""
SETUP = f"""set -e
echo corvane >/etc/hostname
echo '127.0.0.1 localhost corvane' >/etc/hosts
echo '/dev/vda / ext4 noatime 0 1' >/etc/fstab
echo vhci-hcd >/etc/modules-load.d/test.conf
for name in {USER} colleague; do useradd --create-home --shell /bin/bash $name; done
login() {{
    mkdir -p /etc/systemd/system/getty@$1.service.d
    printf '[Service]\\nExecStart=\\nExecStart=-/sbin/agetty --autologin %s --noclear %%I linux\\n' $2 >/etc/systemd/system/getty@$1.service.d/login.conf
}}
login tty1 {USER}
login tty2 colleague
systemctl mask -q apt-daily.timer apt-daily-upgrade.timer man-db.timer e2scrub_all.timer dpkg-db-backup.timer fstrim.timer
"""
# Opening KVM is no sign that it can run this machine: always TCG. The disk stays as it was.
MACHINE = """qemu-system-x86_64 -M q35 -accel tcg,thread=multi -cpu max -smp 2 -m 1500 -nodefaults -display none -no-reboot
    -device qemu-xhci,id=usb -device virtio-serial -device virtserialport,chardev=agent,name=org.qemu.guest_agent.0""".split()
BOOT = "root=/dev/vda rw console=ttyS0 quiet panic=-1"


def make_image(folder, depends):
    """The machine's disk, kernel and initrd, without our packages but with what they depend on: kept in `folder`/image as long as
    what makes them stays the same. As root."""
    image = folder / "image"
    made_from = hashlib.sha256((inspect.getsource(make_image) + EARLY + SETUP + " ".join([SUITE, *PACKAGES, *depends])).encode()).hexdigest()
    if (image / "made-from").is_file() and (image / "made-from").read_text() == made_from:
        return image
    print(f"  Making a Debian ({SUITE}) in {image}", flush=True)
    shutil.rmtree(image, ignore_errors=True)
    image.mkdir(parents=True)
    with tempfile.TemporaryDirectory(dir=image) as scratch:
        root = pathlib.Path(scratch) / "root"
        left_out = [f"--dpkgopt=path-exclude={path}" for path in ("/usr/share/doc/*", "/usr/share/locale/*")]
        wrong = debian_root.make(root, SUITE, image, f"--include={','.join([*PACKAGES, *depends])}", *left_out,
                                 f"--essential-hook={EARLY}")
        if wrong:
            raise RuntimeError(f"mmdebstrap made no root:\n{wrong}")
        subprocess.run(["chroot", root, "sh", "-c", SETUP], check=True)
        for name in ("vmlinuz", "initrd.img"):
            shutil.copy(next(root.glob(f"boot/{name}-*")), image / name)
        make_disk(root, image / "disk", "3G")
    (image / "made-from").write_text(made_from)
    return image


def make_disk(folder, disk, size):
    """A file system with what is in the folder."""
    disk.unlink(missing_ok=True)
    subprocess.run(["mke2fs", "-q", "-t", "ext4", "-E", "root_owner=0:0", "-d", folder, disk, size], check=True, capture_output=True)


class Failed(Exception):
    """A scenario did not go as it should."""


class Silent(Failed):
    """The machine does not answer, and nothing can be asked of it any more."""


class Channel:
    """JSON, one object a line, on a socket of qemu's."""

    def __init__(self, path):
        self.socket = socket.socket(socket.AF_UNIX)
        self.socket.settimeout(HANG)
        self.socket.connect(str(path))
        self.received = b""
        self.events = []

    def read(self):
        while b"\n" not in self.received:
            try:
                more = self.socket.recv(65536)
            except OSError as error:
                raise Silent(f"the virtual machine has not answered for {HANG} s: {error}") from None
            if not more:
                raise Silent("the virtual machine has ended")
            self.received += more
        line, self.received = self.received.split(b"\n", 1)
        return json.loads(line)

    def ask(self, name, **arguments):
        self.send(name, **arguments)
        return self.answer(name)

    def send(self, name, **arguments):
        try:
            self.socket.sendall(json.dumps({"execute": name, "arguments": arguments}).encode() + b"\n")
        except OSError as error:
            raise Silent(f"the virtual machine takes no more: {error}") from None

    def answer(self, name):
        while "event" in (answer := self.read()):
            self.events.append(answer["event"])
        if "error" in answer:
            raise Failed(f"{name}: {answer['error']['desc']}")
        return answer["return"]

    def wait_for(self, event):
        while event not in self.events:
            self.events.append(self.read().get("event"))
        self.events.remove(event)


class Machine:
    """Boots when it is made; `disks` come behind its own. Ends with `close`."""

    def __init__(self, folder, image, *disks):
        self.log = folder / "console.log"
        sockets = tempfile.TemporaryDirectory(prefix="corvane-")
        self.sockets = sockets
        place = pathlib.Path(sockets.name)
        command = [*MACHINE, "-chardev", f"socket,id=agent,path={place}/agent,server=on,wait=off", "-qmp",
                   f"unix:{place}/qmp,server=on,wait=off", "-serial", f"file:{self.log}", "-kernel", image / "vmlinuz", "-initrd",
                   image / "initrd.img", "-append", BOOT]
        for disk in (image / "disk", *disks):
            command += ["-drive", f"file={disk},if=virtio,format=raw,snapshot=on,cache=unsafe"]
        self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL)
        try:
            deadline = time.monotonic() + HANG
            while not ((place / "agent").exists() and (place / "qmp").exists()):
                if self.process.poll() is not None or time.monotonic() > deadline:
                    raise Failed("qemu does not start")
                time.sleep(0.1)
            self.qmp = Channel(place / "qmp")
            self.qmp.read()
            self.qmp.ask("qmp_capabilities")
            self.agent = Channel(place / "agent")
            self.agent.ask("guest-sync", id=1)
        except BaseException:
            self.close()
            raise

    def close(self):
        self.process.kill()
        self.process.wait()
        self.sockets.cleanup()

    def last_words(self):
        """Of a machine that does not answer: what its processors are at, and the end of what its kernel printed."""
        try:
            said = self.qmp.ask("human-monitor-command", **{"command-line": "info registers -a"})
        except Silent as error:
            said = str(error)
        places = re.findall(r"^CPU#\d+|\b[RE]IP=\w+|\bHLT=\d", said, re.MULTILINE) or [said]
        return " ".join(places) + "\n" + self.log.read_text(errors="replace")[-4000:]

    def attempt(self, command, user=None, text=""):
        """Runs a shell command to its end: its exit status, and what it printed on either stream. `text` is what it reads."""
        if user:
            number = 1000 if user == USER else 1001
            place = f"/run/user/{number}"
            command = (f"exec setpriv --reuid={user} --regid={user} --init-groups env -i -C /home/{user} HOME=/home/{user} USER={user} "
                       f"PATH=/usr/bin:/bin LANG=C.UTF-8 XDG_RUNTIME_DIR={place} DBUS_SESSION_BUS_ADDRESS=unix:path={place}/bus "
                       f"sh -c {shlex.quote(command)}")
        asked = self.agent.ask("guest-exec", path="/bin/sh", arg=["-c", f"exec 2>&1; export LC_ALL=C.UTF-8; {command}"],
                               **{"capture-output": True, "input-data": base64.b64encode(text.encode()).decode()})
        deadline = time.monotonic() + HANG
        pause = 0.02
        while not (state := self.agent.ask("guest-exec-status", pid=asked["pid"]))["exited"]:
            if time.monotonic() > deadline:
                raise Failed(f"after {HANG} s this has not ended: {command}")
            time.sleep(pause)
            pause = min(pause * 1.5, 0.5)
        said = base64.b64decode(state.get("out-data", "")).decode(errors="replace")
        return state.get("exitcode", -1), said

    def run(self, command, user=None, text=""):
        """What a shell command prints; it has to succeed."""
        status, said = self.attempt(command, user, text)
        if status != 0:
            raise Failed(f"{command}\nended with {status}:\n{said}")
        return said

    def until(self, command, user=None):
        """Runs a shell command again until it succeeds; what it prints then."""
        deadline = time.monotonic() + HANG
        while True:
            status, said = self.attempt(command, user)
            if status == 0:
                return said
            if time.monotonic() > deadline:
                raise Failed(f"{HANG} s long this has not come true: {command}\n{said}")
            time.sleep(0.2)

    def sleep_and_wake(self):
        self.agent.send("guest-exec", path="/bin/systemctl", arg=["suspend"])
        self.qmp.wait_for("SUSPEND")
        self.qmp.ask("system_wakeup")
        self.qmp.wait_for("WAKEUP")
        self.agent.answer("guest-exec")

    def write(self, path, text, user=None):
        self.run(f'mkdir -p "$(dirname {path})" && cat >{path}', user, text)
