#!/usr/bin/python3
"""Becomes a command in the sandbox that a unit describes, without a service manager.

Usage: sandbox.py UNIT ROOT COMMAND [ARGUMENT...]

ROOT is the root of a set: what the unit says about /tmp and the service's own directories is about
those below it. The process stays the same one, and the user, too. A line of the unit that is not
known here is an error; MANAGER lists those that only a service manager carries out. A call that the
filter of calls refuses kills here, so that one that a service gets by without is seen as well.
"""

import ctypes
import errno
import json
import os
import pathlib
import shutil
import subprocess
import sys

import seccomp

# How the service is started and kept alive.
LIFE = {
    "BusName", "ExecReload", "ExecStart", "Restart", "RestartSec", "RuntimeDirectoryPreserve",
    "Type", "WatchdogSec",
}  # fmt: skip

# Needs another user, control groups, a process namespace, or somebody who stays.
MANAGER = {"DevicePolicy", "Group", "IPAddressDeny", "ProtectProc", "RemoveIPC", "User"}

# What nobody may do whom the service does not know.
RESTRICTED = (
    "SetItemValue", "DisableItem", "DisableItemsByList", "EnableItem",
    "RemoveDisabledItemsByAppname",
)  # fmt: skip

MS_RDONLY, MS_NOSUID, MS_NODEV, MS_NOEXEC = 0x1, 0x2, 0x4, 0x8
MS_BIND, MS_REC, MS_PRIVATE = 0x1000, 0x4000, 0x40000
AT_FDCWD, AT_RECURSIVE = -100, 0x8000
SYS_MOUNT_SETATTR = 442  # of all architectures
MOUNT_ATTR_RDONLY = 0x1
PR_SET_NO_NEW_PRIVS, PR_CAPBSET_DROP, PR_CAP_AMBIENT, PR_CAP_AMBIENT_CLEAR_ALL = 38, 24, 47, 4
CAPABILITY_VERSION_3 = 0x20080522
ORDINARY = 1000  # a user or group that is not root's

CLONE_NEWNS = 0x20000
NAMESPACES = {
    "PrivateMounts": CLONE_NEWNS,
    "PrivateUsers": 0x10000000,
    "PrivateNetwork": 0x40000000,
    "PrivateIPC": 0x08000000,
    "ProtectHostname": 0x04000000,
}
ALL_NAMESPACES = [*NAMESPACES.values(), 0x02000000, 0x20000000]  # and of groups and processes

PROT_WRITE, PROT_EXEC, SHM_EXEC = 0x2, 0x4, 0o100000
SUID_SGID = (0o4000, 0o2000)
REALTIME_POLICIES = (1, 2, 6)
FAMILIES = {"AF_UNIX": 1}
DEVICES = ("null", "zero", "full", "random", "urandom", "tty")
TUNABLES = ("sys", "sysrq-trigger", "irq", "bus", "fs", "acpi")
HOMES = ("/home", "/root", "/run/user")

# Which calls a line forbids; the filter of calls may know better and kill.
FORBIDDEN = {
    "ProtectClock": ["@clock"],
    "ProtectHostname": ["sethostname", "setdomainname"],
    "ProtectKernelLogs": ["syslog"],
    "ProtectKernelModules": ["@module"],
}

libc = ctypes.CDLL(None, use_errno=True)


def fail(text):
    sys.exit(f"sandbox: {text}")


def check(result, what):
    if result < 0:
        fail(f"{what}: {os.strerror(ctypes.get_errno())}")
    return result


class Unit:
    """The lines of the section [Service]; a name may come more than once."""

    def __init__(self, file):
        self.lines = {}
        section = ""
        for line in pathlib.Path(file).read_text(encoding="utf-8").splitlines():
            if line.startswith("["):
                section = line
            elif section == "[Service]" and "=" in line and not line.startswith("#"):
                name, _, value = line.partition("=")
                self.lines.setdefault(name, []).append(value)
        self.used = LIFE | MANAGER

    def values(self, name):
        self.used.add(name)
        return self.lines.get(name, [])

    def value(self, name):
        return (self.values(name) or [""])[-1]

    def wants(self, name, value="yes"):
        found = self.value(name)
        if found not in ("", value):
            fail(f"{name}={found} is not known here, only {value}")
        return found == value

    def is_empty(self, name):
        return self.wants(name, "") and name in self.lines


def groups_of_calls():
    """What systemd means by @default and the like."""
    listed = subprocess.run(
        ["systemd-analyze", "--no-pager", "syscall-filter"],
        check=True,
        capture_output=True,
        text=True,
    ).stdout
    groups = {}
    for line in listed.splitlines():
        if line.startswith("@"):
            members = groups.setdefault(line.strip(), [])
        elif line.startswith("    ") and not line.strip().startswith("#"):
            members.append(line.strip())
    return groups


def expanded(names, groups):
    calls = set()
    for name in names:
        calls |= expanded(groups[name], groups) if name.startswith("@") else {name}
    return calls


def allowed_calls(unit, groups):
    allowed = expanded(["@default"], groups)
    for line in unit.values("SystemCallFilter"):
        calls = expanded(line.removeprefix("~").split(), groups)
        allowed = allowed - calls if line.startswith("~") else allowed | calls
    return allowed


def add(rules, action, call, *conditions):
    # Some calls are those of another architecture.
    if seccomp.resolve_syscall(seccomp.Arch(), call) >= 0:
        rules.add_rule(action, call, *conditions)


def restrictions(unit, groups):
    """The filter of what depends on arguments, and of what single lines forbid."""
    refused = seccomp.ERRNO(errno.EPERM)
    rules = seccomp.SyscallFilter(seccomp.ALLOW)

    def refuse_bits(call, index, bits, *others):
        add(rules, refused, call, seccomp.Arg(index, seccomp.MASKED_EQ, bits, bits), *others)

    for line, calls in FORBIDDEN.items():
        if unit.wants(line):
            for call in expanded(calls, groups):
                add(rules, refused, call)
    if family := unit.value("RestrictAddressFamilies"):
        number = FAMILIES[family]
        unknown = seccomp.ERRNO(errno.EAFNOSUPPORT)
        add(rules, unknown, "socket", seccomp.Arg(0, seccomp.NE, number))
    if unit.wants("RestrictNamespaces"):
        for namespace in ALL_NAMESPACES:
            refuse_bits("clone", 0, namespace)
            refuse_bits("unshare", 0, namespace)
        add(rules, refused, "setns")
        # Its flags are in memory, where a filter cannot see them.
        add(rules, seccomp.ERRNO(errno.ENOSYS), "clone3")
    if unit.wants("RestrictSUIDSGID"):
        for bit in SUID_SGID:
            for call, index in (("chmod", 1), ("fchmod", 1), ("fchmodat", 2), ("mkdir", 1),
                                ("mkdirat", 2), ("mknod", 1), ("mknodat", 2), ("creat", 1)):  # fmt: skip
                refuse_bits(call, index, bit)
            for call, index in (("open", 2), ("openat", 3)):
                creates = seccomp.Arg(index - 1, seccomp.MASKED_EQ, os.O_CREAT, os.O_CREAT)
                refuse_bits(call, index, bit, creates)
        add(rules, seccomp.ERRNO(errno.ENOSYS), "openat2")
    if unit.wants("LockPersonality"):
        add(rules, refused, "personality", seccomp.Arg(0, seccomp.NE, 0))
    if unit.wants("MemoryDenyWriteExecute"):
        refuse_bits("mmap", 2, PROT_WRITE | PROT_EXEC)
        refuse_bits("mprotect", 2, PROT_EXEC)
        refuse_bits("pkey_mprotect", 2, PROT_EXEC)
        refuse_bits("shmat", 2, SHM_EXEC)
    if unit.wants("RestrictRealtime"):
        for policy in REALTIME_POLICIES:
            add(rules, refused, "sched_setscheduler", seccomp.Arg(1, seccomp.EQ, policy))
    return rules


def filter_of_calls(unit, groups):
    unit.wants("SystemCallArchitectures", "native")  # as of every filter of the library
    unit.wants("SystemCallErrorNumber", "EPERM")
    rules = seccomp.SyscallFilter(seccomp.KILL_PROCESS)
    for call in allowed_calls(unit, groups):
        add(rules, seccomp.ALLOW, call)
    return rules


def mount(source, target, kind, flags, options=None):
    encoded = [part and os.fsencode(part) for part in (source, target, kind)]
    data = options and os.fsencode(options)
    check(libc.mount(*encoded, ctypes.c_ulong(flags), data), f"cannot mount on {target}")


def set_read_only(path, read_only, recursive=False):
    bits = (ctypes.c_uint64 * 4)()
    bits[0 if read_only else 1] = MOUNT_ATTR_RDONLY
    flags = AT_RECURSIVE if recursive else 0
    done = libc.syscall(
        SYS_MOUNT_SETATTR, AT_FDCWD, os.fsencode(path), flags, bits, ctypes.sizeof(bits)
    )
    check(done, f"cannot change how {path} is mounted")


def hide(path):
    if os.path.isdir(path):
        mount("tmpfs", path, "tmpfs", MS_NOSUID | MS_NODEV | MS_NOEXEC, "mode=000,size=4k")
        set_read_only(path, True)


def make_devices():
    opened = {name: os.open(f"/dev/{name}", os.O_PATH) for name in DEVICES}
    mount("tmpfs", "/dev", "tmpfs", MS_NOSUID | MS_NOEXEC, "mode=755,size=64k")
    for name, descriptor in opened.items():
        pathlib.Path("/dev", name).touch()
        mount(f"/proc/self/fd/{descriptor}", f"/dev/{name}", None, MS_BIND)
        os.close(descriptor)
    for name, target in (("fd", ""), ("stdin", "/0"), ("stdout", "/1"), ("stderr", "/2")):
        os.symlink("/proc/self/fd" + target, f"/dev/{name}")
    os.mkdir("/dev/shm")
    set_read_only("/dev", True)


def own_directories(unit, root):
    """Those that the service may write to, made as the manager makes them."""
    places = [root / path.lstrip("/") for path in unit.value("ReadWritePaths").split()]
    for place in places:
        place.mkdir(parents=True, exist_ok=True)
    for kind, above in (("State", "var/lib"), ("Runtime", "run")):
        mode = int(unit.value(kind + "DirectoryMode") or "755", 8)
        if name := unit.value(kind + "Directory"):
            place = root / above / name
            place.mkdir(parents=True, exist_ok=True)
            place.chmod(mode)
            places.append(place)
    return places


def arrange_files(unit, root, command):
    writable = own_directories(unit, root)
    mount(None, "/", None, MS_REC | MS_PRIVATE)
    for place in writable:
        mount(str(place), str(place), None, MS_BIND)
    if unit.wants("ProtectSystem", "strict"):
        set_read_only("/", True, recursive=True)
        set_read_only("/proc", False)
        for place in writable:
            set_read_only(place, False)
    if unit.wants("ProtectKernelTunables"):
        for path in (f"/proc/{name}" for name in TUNABLES):
            if os.path.exists(path):
                mount(path, path, None, MS_BIND | MS_REC)
                set_read_only(path, True, recursive=True)
    unit.wants("ProtectControlGroups")  # below /sys, which can only be read
    if unit.wants("ProtectHome"):
        needed = [root, pathlib.Path(command), pathlib.Path.cwd()]
        for home in HOMES:
            # Somebody may have the project and its sets at home.
            if not any(path.is_relative_to(home) for path in needed):
                hide(home)
    if unit.wants("ProtectKernelModules"):
        hide("/usr/lib/modules")
    if unit.wants("PrivateDevices"):
        make_devices()


def enter_namespaces(unit):
    flags = 0
    for line, namespace in NAMESPACES.items():
        if not unit.wants(line):
            fail(f"without {line}=yes nothing can be arranged here")
        flags |= namespace
    user, group = os.getuid(), os.getgid()
    # Root is not root inside, just as the service's user is not.
    inside = (user or ORDINARY, group or ORDINARY)
    if libc.unshare(flags) < 0:
        fail(
            f"this machine gives a process no namespaces ({os.strerror(ctypes.get_errno())}): "
            "see the sysctls user.max_user_namespaces and kernel.unprivileged_userns_clone"
        )
    for file, text in (
        ("setgroups", "deny"),
        ("uid_map", f"{inside[0]} {user} 1"),
        ("gid_map", f"{inside[1]} {group} 1"),
    ):
        pathlib.Path("/proc/self", file).write_text(text, encoding="ascii")


def let_the_caller_change(root):
    """Inside, the service is another user than whoever runs it here, and is not told who that is."""
    place = root / "etc"
    place.mkdir(parents=True, exist_ok=True)
    who = {"users": [os.getuid()]}
    rules = json.dumps({method: who for method in RESTRICTED})
    (place / "access.json").write_text(rules, encoding="utf-8")
    os.environ.setdefault("SETTINGS_CONFIG_DIR", str(place))


def drop_capabilities(unit):
    if not unit.is_empty("CapabilityBoundingSet") or not unit.is_empty("AmbientCapabilities"):
        fail("only a unit without any capability is known here")
    capability = 0
    while libc.prctl(PR_CAPBSET_DROP, capability, 0, 0, 0) == 0:
        capability += 1
    libc.prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_CLEAR_ALL, 0, 0, 0)
    header = (ctypes.c_uint32 * 2)(CAPABILITY_VERSION_3, 0)
    none = (ctypes.c_uint32 * 6)()
    check(libc.capset(header, none), "cannot drop the capabilities")
    if unit.wants("NoNewPrivileges"):
        check(libc.prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), "cannot give up new privileges")


def main(file, root, *command):
    unit = Unit(file)
    root = pathlib.Path(root).resolve()
    program = shutil.which(command[0]) or fail(f"there is no {command[0]}")
    groups = groups_of_calls()
    filters = [restrictions(unit, groups), filter_of_calls(unit, groups)]
    umask = int(unit.value("UMask") or "022", 8)
    let_the_caller_change(root)
    enter_namespaces(unit)
    arrange_files(unit, root, os.path.realpath(program))
    drop_capabilities(unit)
    if unknown := set(unit.lines) - unit.used:
        fail(f"nobody has said here what becomes of {', '.join(sorted(unknown))}")
    os.umask(umask)
    for rules in filters:
        rules.load()
    os.execv(program, command)


if __name__ == "__main__":
    if len(sys.argv) < 4:
        sys.exit(__doc__)
    main(*sys.argv[1:])
