"""Boots Debian's kernel in a virtual machine whose first process is a program of ours."""
import lzma
import os
import pathlib
import re
import shutil
import struct
import subprocess

MODULES = ["usb-common", "usbcore", "usbip-core", "vhci-hcd", "usbserial", "ftdi_sio", "evdev", "uinput"]
STATUS = {33: True, 65: False}  # the guest says 0x10 or 0x20 to isa-debug-exit
# With -icount time in the guest runs with its instructions, so that waiting costs nothing and every run is alike. A KVM that
# can be opened may still not run this kernel: always TCG.
MACHINE = """qemu-system-x86_64 -accel tcg -M microvm -cpu max -smp 1 -m 256 -icount shift=1,sleep=off -nodefaults -display none
    -serial stdio -no-reboot -device isa-debug-exit,iobase=0xf4,iosize=0x04""".split()


def run(*command, **options):
    return subprocess.run(command, check=True, **options)


def output(*command, **options):
    return run(*command, capture_output=True, text=True, **options).stdout


def kernel_package():
    """The package that Debian's kernel is in at present."""
    said = output("apt-cache", "depends", "linux-image-amd64", env={**os.environ, "LC_ALL": "C", "LANGUAGE": ""})  # not translated
    return re.search(r"Depends: (linux-image-\S+)", said)[1]


def fetch_kernel(folder):
    """Debian's kernel package, downloaded but not installed: `folder` gets vmlinux and the modules, unless it has them."""
    if all((folder / name).exists() for name in ["vmlinux", *(f"{module}.ko" for module in MODULES)]):
        return
    scratch = folder.with_suffix(".new")
    shutil.rmtree(scratch, ignore_errors=True)
    scratch.mkdir(parents=True)
    package = kernel_package()
    print(f"  Fetching {package}", flush=True)
    run("apt-get", "download", "-q", package, cwd=scratch, capture_output=True)
    archive = next(scratch.glob("*.deb"))
    with subprocess.Popen(["dpkg-deb", "--fsys-tarfile", archive], stdout=subprocess.PIPE) as tar:
        wanted = [f"*/{name}.ko" for name in MODULES]
        run("tar", "-x", "-C", scratch, "--wildcards", "./boot/vmlinuz-*", *wanted, stdin=tar.stdout)
    archive.unlink()
    (scratch / "vmlinux").write_bytes(unpacked(next(scratch.glob("boot/vmlinuz-*")).read_bytes()))
    for module in scratch.glob("lib/modules/**/*.ko"):
        run("strip", "--strip-debug", "-o", scratch / module.name, module)
    for rest in ("boot", "lib"):
        shutil.rmtree(scratch / rest)
    shutil.rmtree(folder, ignore_errors=True)
    scratch.rename(folder)


def unpacked(image):
    """The kernel inside a bzImage, packed with xz: Linux, Documentation/arch/x86/boot.rst. It saves seconds at boot."""
    offset, length = struct.unpack_from("<II", image, 0x248)
    begin = (image[0x1F1] + 1) * 512 + offset
    return lzma.decompress(image[begin:begin + length - 4])  # its unpacked size follows


def libraries_of(programs):
    found = set()
    for program in programs:
        found.update(re.findall(r"(/\S+) \(0x", output("ldd", program)))
    return found


def make_initrd(build, programs, besides, folder, modules):
    """A file system in memory with the built `programs`, the system's files `besides`, the libraries that these need, and the
    kernel's modules."""
    root = folder / "root"
    shutil.rmtree(root, ignore_errors=True)
    for name in ("app", "modules", "etc"):
        (root / name).mkdir(parents=True)
    own = [build / "bin" / name for name in programs]
    for program in own:
        run("strip", "-o", root / "app" / program.name, program)
    for file in libraries_of([*own, *(file for file in besides if os.access(file, os.X_OK))]) | set(besides):
        if pathlib.Path(file).is_relative_to(build):
            continue
        (root / file[1:]).parent.mkdir(parents=True, exist_ok=True)
        shutil.copy2(file, root / file[1:])
    for module in MODULES:
        shutil.copy2(modules / f"{module}.ko", root / "modules")
    (root / "etc/group").write_text("root:x:0:\ndialout:x:20:\n")
    (root / "etc/passwd").write_text("root:x:0:0::/:\neditor:x:1000:1000::/:\n")
    names = "\n".join(str(path.relative_to(root)) for path in sorted(root.rglob("*"))) + "\n"
    with open(folder / "initrd.cpio", "wb") as file:
        run("cpio", "--quiet", "-o", "-H", "newc", "--owner=0:0", input=names.encode(), stdout=file, cwd=root)
    return folder / "initrd.cpio"


def boot(build, linux, programs, arguments, seconds, besides=()):
    """Runs the first of the `programs` of `build` as the first process. The status and the log; the status is None when the
    time was over. `linux`: the folder that keeps the kernel."""
    fetch_kernel(linux)
    initrd = make_initrd(build, programs, besides, build / "kernel", linux)
    append = " ".join([f"console=ttyS0 quiet cryptomgr.notests panic=-1 rdinit=/app/{programs[0]} LD_LIBRARY_PATH=/app --",
                       *map(str, arguments)])
    command = [*MACHINE, "-kernel", linux / "vmlinux", "-initrd", initrd, "-append", append]
    try:
        done = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, timeout=seconds)
        return done.returncode, (done.stdout + done.stderr).decode(errors="replace")
    except subprocess.TimeoutExpired as late:
        return None, (late.stdout or b"").decode(errors="replace")
