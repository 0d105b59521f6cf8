#!/usr/bin/python3
"""Types into bash, zsh and fish, and looks at what they make of it.

Usage: completion_test.py BUILD
"""

import contextlib
import os
import pathlib
import pty
import re
import select
import signal
import sys
import tempfile
import time
import unittest

from installation import PATIENCE, install, installed_set, run, surroundings

BUILD = pathlib.Path(sys.argv.pop())

ENVIRONMENT = {"TERM": "dumb", "LC_ALL": "C.UTF-8", "INPUTRC": "/dev/null"}


class Terminal:
    """An interactive shell on a terminal of its own."""

    def __init__(self, command, environment):
        self.process, self.file = pty.fork()
        if self.process == 0:
            try:
                os.execvpe(command[0], command, environment)
            finally:
                os._exit(127)
        self.said = ""

    def close(self):
        os.kill(self.process, signal.SIGKILL)
        os.waitpid(self.process, 0)
        os.close(self.file)

    def type(self, text):
        self.said = ""
        os.write(self.file, text.encode())

    def expect(self, pattern, seconds):
        """Whether that appears in time, behind what was typed last."""
        end = time.monotonic() + seconds
        while not re.search(pattern, self.said):
            left = end - time.monotonic()
            if left <= 0 or not select.select([self.file], [], [], left)[0]:
                return False
            self.said += os.read(self.file, 65536).decode(errors="replace")
        return True


# An interactive shell, and what makes it ready: Control-G prints the line in brackets.
def bash(prefix):
    places = f"{prefix}/share/bash-completion/completions"
    return ["bash", "--norc", "--noprofile", "-i"], [
        f". '{places}/settingsctl'",
        f". '{places}/setctl'",
        "show() { printf '[%s]\\n' \"$READLINE_LINE\"; }",
        "bind 'set bell-style none'",
        "bind -x '\"\\C-g\": show'",
    ]


def zsh(prefix):
    return ["zsh", "-f", "-i"], [
        f"fpath=('{prefix}/share/zsh/vendor-completions' $fpath)",
        "autoload -Uz compinit",
        "compinit -u -D",
        "unsetopt beep",
        'show() { print -r -- "[$BUFFER]" }',
        "zle -N show",
        "bindkey '^G' show",
    ]


SHELLS = {"bash": bash, "zsh": zsh}


class Completion(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        scratch = tempfile.TemporaryDirectory()
        cls.addClassCleanup(scratch.cleanup)
        cls.home = pathlib.Path(scratch.name) / "home"
        cls.home.mkdir()
        cls.prefix = pathlib.Path(scratch.name) / "prefix"
        install(BUILD, "--prefix", cls.prefix)

    def of_user(self, environment):
        return {**environment, **ENVIRONMENT, "HOME": str(self.home)}

    def offered_by_fish(self, line, environment):
        return run(
            ["fish", "--no-config", "-c",
             f"set -p fish_complete_path '{self.prefix}/share/fish/vendor_completions.d'; "
             'complete -C "$argv[1]"', line],
            self.of_user(environment),
        ).splitlines()

    def expect_lines(self, expected, environment):
        """What each line becomes by Tab; the machine may be too busy for the first ones."""
        for name, start in SHELLS.items():
            command, configuration = start(self.prefix)
            shell = Terminal(command, self.of_user(environment))
            with contextlib.closing(shell):
                shell.type("; ".join([*configuration, "echo re''ady"]) + "\n")
                self.assertTrue(shell.expect("ready", PATIENCE), shell.said)
                for line, completed in expected.items():
                    end = time.monotonic() + PATIENCE
                    became = None
                    while became != completed and time.monotonic() < end:
                        shell.type("\x15" + line + "\t\x07")
                        self.assertTrue(shell.expect(r"\[([^\]]*)\]", PATIENCE), shell.said)
                        became = re.search(r"\[([^\]]*)\]", shell.said)[1]
                    self.assertEqual(became, completed, f"{name}: {shell.said}")

    def test_a_shell_completes_what_the_tools_and_the_set_know(self):
        with installed_set(self.prefix) as user:
            run(["settingsctl", "disable", "contrast", "--app", "org.example.game"], user)
            run(["setctl", "source", "add", "hdmi3", "My Console"], user)
            run(["setctl", "key", "set", "db/example/number", "1"], user)
            expected = {
                "settingsctl desc": "settingsctl describe ",
                "settingsctl get picturem": "settingsctl get picturemode ",
                "settingsctl set picturemode fil": "settingsctl set picturemode filmmaker ",
                "settingsctl visible contrast --pa": "settingsctl visible contrast --path ",
                "settingsctl --bus=sys": "settingsctl --bus=system ",
                "settingsctl --bus=session get picturem":
                    "settingsctl --bus=session get picturemode ",
                "settingsctl enable contrast --app org.e":
                    "settingsctl enable contrast --app org.example.game ",
                "settingsctl help desc": "settingsctl help describe ",
                "settingsctl call SetItemValue contrast Val":
                    "settingsctl call SetItemValue contrast Value=",
                "settingsctl call SetItemValue contrast Pre":
                    "settingsctl call SetItemValue contrast PreViewFlag:=",
                "setctl source switch hdmi3": "setctl source switch hdmi3 ",
                "setctl power pic": "setctl power picture-off ",
                "setctl key get db/ex": "setctl key get db/example/number ",
                "setctl app start org.pavix.m": "setctl app start org.pavix.menu ",
            }
            self.expect_lines(expected, user)
            for line, completed in expected.items():
                word = completed.split()[-1]
                end = time.monotonic() + PATIENCE
                offered = []
                while not offered and time.monotonic() < end:
                    offered = self.offered_by_fish(line, user)
                self.assertEqual([each.split("\t")[0] for each in offered], [word])
            self.assertIn("hdmi3\tMy Console", self.offered_by_fish("setctl source switch h", user))

    def test_a_shell_stays_silent_when_nothing_runs(self):
        user = surroundings(
            PATH=f"{self.prefix}/bin:/usr/bin:/bin",
            SETTINGS_ROOT=str(self.home / "none"),
            DBUS_SESSION_BUS_ADDRESS=f"unix:path={self.home}/none",
        )
        lines = ["settingsctl get picturem", "setctl key get db/", "setctl source switch h"]
        self.expect_lines({line: line for line in lines}, user)
        for line in lines:
            self.assertEqual(self.offered_by_fish(line, user), [])

    def test_an_answer_takes_less_than_50_ms(self):
        with installed_set(self.prefix) as user:
            run(["settingsctl", "get", "picturemode"], user)
            for line, among in {
                "settingsctl complete -- get ": "\nbrightness\t",
                "setctl complete -- key get ": "\nmemory/set/power\t",
            }.items():
                taken, offered = 1.0, ""
                end = time.monotonic() + PATIENCE
                # The machine may be busy with something else at any single time.
                while (taken >= 0.05 or not offered) and time.monotonic() < end:
                    begin = time.monotonic()
                    offered = run(line.split(" "), user)
                    taken = time.monotonic() - begin
                self.assertLess(taken, 0.05)
                self.assertIn(among, offered)


if __name__ == "__main__":
    unittest.main()
