"""What the tests of an installation share."""

import contextlib
import os
import pathlib
import select
import subprocess
import tempfile

PATIENCE = 120  # seconds, on a machine that others keep busy

BUS_CONFIGURATION = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path={directory}/bus</listen>
  <auth>EXTERNAL</auth>
  <servicedir>{services}</servicedir>
  <policy context="default">
    <allow send_destination="*"/>
    <allow receive_sender="*"/>
    <allow own="*"/>
  </policy>
</busconfig>
"""


def surroundings(**variables):
    """The environment of a user who has nothing set that names a place of the project."""
    kept = {name: os.environ[name] for name in ("HOME", "LANG", "TMPDIR") if name in os.environ}
    return {**kept, "PATH": "/usr/bin:/bin:/usr/sbin:/sbin", **variables}


def run(command, env=None, status=0, **options):
    """What a command printed on standard output; it ends with `status`."""
    done = subprocess.run(
        [str(word) for word in command],
        env=surroundings() if env is None else env,
        capture_output=True,
        text=True,
        timeout=PATIENCE,
        check=False,
        **options,
    )
    if done.returncode != status:
        raise AssertionError(f"{command} ended with {done.returncode}:\n{done.stdout}{done.stderr}")
    return done.stdout if status == 0 else done.stderr


def install(build, *options, env=None, status=0):
    return run(["cmake", "--install", build, *options], env=env, status=status)


@contextlib.contextmanager
def installed_set(prefix):
    """A bus that starts what is installed below the prefix. Gives the environment of its users."""
    with tempfile.TemporaryDirectory() as name:
        directory = pathlib.Path(name)
        (directory / "bus.conf").write_text(
            BUS_CONFIGURATION.format(
                directory=directory, services=prefix / "share" / "dbus-1" / "services"
            ),
            encoding="utf-8",
        )
        environment = surroundings(
            SETTINGS_ROOT=str(directory / "set"),
            DBUS_SESSION_BUS_ADDRESS=f"unix:path={directory}/bus",
        )
        environment["PATH"] = f"{prefix}/bin:" + environment["PATH"]
        log = (directory / "log").open("w+", encoding="utf-8")
        command = ["dbus-daemon", "--nofork", "--nopidfile", "--print-address"]
        with log, subprocess.Popen(
            [*command, f"--config-file={directory}/bus.conf"],
            env=environment,
            stdout=subprocess.PIPE,
            stderr=log,
            text=True,
        ) as bus:
            try:
                if not bus.stdout.readline():  # it serves once it says where
                    raise AssertionError("the bus did not start")
                yield environment
            except BaseException:
                log.seek(0)
                print(log.read())
                raise
            finally:
                bus.terminate()
                # The daemon ends with its bus, before its directory goes.
                bus.wait(PATIENCE)
                wait_for_end_of(directory)


def wait_for_end_of(directory):
    """Until no process has the set below the directory."""
    mark = os.fsencode(f"SETTINGS_ROOT={directory}")
    for process in pathlib.Path("/proc").glob("[0-9]*"):
        with contextlib.suppress(OSError):
            if mark in (process / "environ").read_bytes():
                descriptor = os.pidfd_open(int(process.name))
                select.select([descriptor], [], [], PATIENCE)
                os.close(descriptor)
