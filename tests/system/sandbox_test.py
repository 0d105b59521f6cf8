#!/usr/bin/python3
"""The sandbox that the unit describes keeps in what it shall, as far as it can be made here.

Usage: sandbox_test.py UNIT
"""

import ctypes
import errno
import json
import os
import pathlib
import platform
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest

HERE = pathlib.Path(__file__).resolve().parent
PATIENCE = 120  # seconds, on a machine that others keep busy

DONE = "done"
KEYCTL = {"x86_64": 250, "aarch64": 219}[platform.machine()]
KILLED = "killed"  # the filter of calls refused it

libc = ctypes.CDLL(None, use_errno=True)


def call(name, *arguments):
    words = [ctypes.c_long(word) if isinstance(word, int) else word for word in arguments]
    if getattr(libc, name)(*words) == -1:
        raise OSError(ctypes.get_errno(), name)


def write(path):
    descriptor = os.open(path, os.O_WRONLY | os.O_CREAT)
    os.close(descriptor)


def map_writable_code():
    libc.mmap.restype = ctypes.c_void_p
    libc.mmap.argtypes = [ctypes.c_void_p, ctypes.c_size_t] + [ctypes.c_int] * 3 + [ctypes.c_long]
    if libc.mmap(None, 4096, 7, 0x22, -1, 0) == ctypes.c_void_p(-1).value:
        raise OSError(ctypes.get_errno(), "mmap")


def open_socket(family, kind=socket.SOCK_STREAM):
    socket.socket(family, kind).close()


def mark_for_its_owner(root):
    file = root / "tmp" / "program"
    file.touch()
    file.chmod(0o4755)


def attempts(root):
    """By name, what is tried."""
    home = pathlib.Path("/root" if os.path.isdir("/root") else "/home")
    state, run = root / "var/lib/settings-service", root / "run/settings-service"
    return {
        "its state": lambda: write(state / "file"),
        "its run directory": lambda: write(run / "file"),
        "its event": lambda: write(root / "tmp" / "event"),
        "the rest of the set": lambda: write(root / "var/lib/file"),
        "the root of the set": lambda: write(root / "file"),
        "the set beside it": lambda: write(root.parent / "other"),
        "the configuration of the machine": lambda: write("/etc/hostname"),
        "a setting of the kernel": lambda: write("/proc/sys/kernel/hostname"),
        "a device of its own": lambda: write("/dev/file"),
        "the disks": lambda: os.listdir("/dev/mapper"),
        "a home": lambda: os.listdir(home),
        "a local socket": lambda: open_socket(socket.AF_UNIX),
        "the network": lambda: open_socket(socket.AF_INET),
        "the newer network": lambda: open_socket(socket.AF_INET6, socket.SOCK_DGRAM),
        "the configuration of the network": lambda: open_socket(socket.AF_NETLINK, socket.SOCK_RAW),
        "another namespace": lambda: call("unshare", 0x20000000),
        "memory that is written and run": map_writable_code,
        "a program with its owner's rights": lambda: mark_for_its_owner(root),
        "an old behaviour of the kernel": lambda: call("personality", 8),
        "a mount": lambda: call("mount", b"tmpfs", b"/tmp", b"tmpfs", 0, None),
        "a look into another process": lambda: call("ptrace", 16, os.getppid(), 0, 0),
        "another user": lambda: call("setuid", 0),
        "a file for another user": lambda: os.chown(root / "tmp", 0, 0),
        "a higher priority": lambda: os.setpriority(os.PRIO_PROCESS, 0, -5),
        "keys of the kernel": lambda: call("syscall", KEYCTL, 0, -3, 0),
        "memory that stays": lambda: call("mlockall", 1),
        "the time": lambda: time.clock_settime(time.CLOCK_REALTIME, time.time()),
        "the end of the machine": lambda: call("reboot", 0x89ABCDEF),
    }


EXPECTED = {
    "its state": DONE,
    "its run directory": DONE,
    "its event": DONE,
    "the rest of the set": "EROFS",
    "the root of the set": "EROFS",
    "the set beside it": "EROFS",
    "the configuration of the machine": "EROFS",
    "a setting of the kernel": "EROFS",
    "a device of its own": "EROFS",
    "the disks": "ENOENT",
    "a home": "EACCES",
    "a local socket": DONE,
    "the network": "EAFNOSUPPORT",
    "the newer network": "EAFNOSUPPORT",
    "the configuration of the network": "EAFNOSUPPORT",
    "another namespace": "EPERM",
    "memory that is written and run": "EPERM",
    "a program with its owner's rights": "EPERM",
    "an old behaviour of the kernel": "EPERM",
    "a mount": KILLED,
    "a look into another process": KILLED,
    "another user": KILLED,
    "a file for another user": KILLED,
    "a higher priority": KILLED,
    "keys of the kernel": KILLED,
    "memory that stays": KILLED,
    "the time": KILLED,
    "the end of the machine": KILLED,
}

# What anybody may do outside of a sandbox.
FREE = (
    "the rest of the set",
    "the root of the set",
    "the set beside it",
    "the network",
    "the configuration of the network",
    "memory that is written and run",
    "a program with its owner's rights",
    "an old behaviour of the kernel",
)


def outcome(attempt):
    """What becomes of it, in a process of its own."""
    child = os.fork()
    if child == 0:
        code = 0
        try:
            attempt()
        except OSError as error:
            code = error.errno
        os._exit(code)
    _, status = os.waitpid(child, 0)
    if os.WIFSIGNALED(status):
        return KILLED if os.WTERMSIG(status) == signal.SIGSYS else f"signal {os.WTERMSIG(status)}"
    return errno.errorcode.get(os.WEXITSTATUS(status), DONE)


def status_of_this_process():
    lines = pathlib.Path("/proc/self/status").read_text(encoding="ascii").splitlines()
    return dict(line.split(":\t", 1) for line in lines if ":\t" in line)


def probe(root, names):
    tried = attempts(root)
    result = {"outcomes": {name: outcome(tried[name]) for name in names}}
    result["status"] = status_of_this_process()
    result["interfaces"] = [
        line.split(":")[0].strip()
        for line in pathlib.Path("/proc/self/net/dev").read_text(encoding="ascii").splitlines()[2:]
    ]
    result["umask"] = os.umask(0o77)
    print(json.dumps(result))


class Sandbox(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.root = pathlib.Path(scratch.name) / "set"
        (self.root / "var/lib").mkdir(parents=True)
        (self.root / "run/settings-service").mkdir(parents=True)
        (self.root / "var/lib/settings-service").mkdir()
        (self.root / "tmp").mkdir()

    def run_sandbox(self, unit, *command):
        return subprocess.run(
            [sys.executable, "-B", HERE / "sandbox.py", unit, self.root, *command],
            capture_output=True,
            text=True,
            timeout=PATIENCE,
            check=False,
            cwd="/",
        )

    def probed(self, names, wrapped=True):
        command = [sys.executable, "-B", __file__, "--probe", self.root, *names]
        if wrapped:
            done = self.run_sandbox(UNIT, *command)
        else:
            done = subprocess.run(
                command, capture_output=True, text=True, timeout=PATIENCE, check=False
            )
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        return json.loads(done.stdout)

    def test_it_lets_pass_what_the_service_does_and_nothing_else(self):
        expected = dict(EXPECTED)
        if __file__.startswith(("/root/", "/home/")):
            del expected["a home"]  # where the project is
        if os.getuid() != 0:  # who may not write there anyway
            expected["the configuration of the machine"] = "EACCES"
            expected["a setting of the kernel"] = "EACCES"
        self.assertEqual(self.probed(expected)["outcomes"], expected)

    def test_what_it_keeps_from_the_service_anybody_else_may_do(self):
        self.assertEqual(
            self.probed(FREE, wrapped=False)["outcomes"], {name: DONE for name in FREE}
        )

    def test_there_is_no_right_of_root_no_network_and_nothing_for_others(self):
        found = self.probed([])
        status = found["status"]
        for capabilities in ("CapInh", "CapPrm", "CapEff", "CapBnd", "CapAmb"):
            self.assertEqual(int(status[capabilities], 16), 0, capabilities)
        self.assertEqual((status["NoNewPrivs"], status["Seccomp"]), ("1", "2"))
        self.assertEqual(found["interfaces"], ["lo"])
        self.assertEqual(found["umask"], 0o77)

    def test_a_line_that_is_not_known_is_no_line_that_is_left_out(self):
        unit = self.root / "changed.service"
        text = pathlib.Path(UNIT).read_text(encoding="utf-8")
        for line, told in (
            ("ProtectNothing=yes", "nobody has said here what becomes of ProtectNothing"),
            ("ProtectSystem=full", "ProtectSystem=full is not known here, only strict"),
        ):
            unit.write_text(text.replace("\n[Install]", line + "\n\n[Install]"), encoding="utf-8")
            done = self.run_sandbox(unit, "true")
            self.assertEqual(done.returncode, 1)
            self.assertIn(told, done.stderr)


if __name__ == "__main__":
    if sys.argv[1] == "--probe":
        probe(pathlib.Path(sys.argv[2]), sys.argv[3:])
    else:
        UNIT = os.path.abspath(sys.argv.pop())
        unittest.main()
