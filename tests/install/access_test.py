#!/usr/bin/python3
"""Who may do what on a system bus: an installed daemon as a user of its own, and several others.

Usage: access_test.py SOURCES BUILD

Only root can be several users. Another user's run says so and counts as skipped.
"""

import contextlib
import json
import os
import pathlib
import re
import shutil
import signal
import stat
import subprocess
import sys
import tempfile
import time
import unittest

from installation import PATIENCE, install, surroundings

SKIPPED = 77
PYTHON = "/usr/bin/python3"

BUILD = pathlib.Path(sys.argv[-1])
SOURCES = pathlib.Path(sys.argv[-2])
CALLER = (SOURCES / "tests/install/caller.py").read_text(encoding="utf-8")
SECURITY = (SOURCES / "docs/security.md").read_text(encoding="utf-8")
WIRE = (SOURCES / "docs/wire.md").read_text(encoding="utf-8")

SERVICE = "org.nuvra.service.settings_service"
DENIED = "org.freedesktop.DBus.Error.AccessDenied"
GAME = "org.example.game"
OTHER_GAME = "org.example.othergame"

# Of /etc/passwd and /etc/group, as these processes see them.
GROUPS = {"settings-service": 64001, "menu": 64010, "people": 64011}
USERS = {
    "settings-service": (64001, "settings-service", []),
    "member": (64002, "people", ["menu"]),
    "other": (64003, "people", []),
    "player": (64004, "people", []),
    "former": (64005, "people", []),
    "root": (0, "root", []),
}

# What the system's bus begins with, and what applications bring.
BUS_CONFIGURATION = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>system</type>
  <listen>unix:path={directory}/bus</listen>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/>
    <deny own="*"/>
    <deny send_type="method_call"/>
    <allow send_type="signal"/>
    <allow send_requested_reply="true" send_type="method_return"/>
    <allow send_requested_reply="true" send_type="error"/>
    <allow receive_type="method_call"/>
    <allow receive_type="method_return"/>
    <allow receive_type="error"/>
    <allow receive_type="signal"/>
    <allow send_destination="org.freedesktop.DBus"/>
  </policy>
  <policy user="player"><allow own="org.example.game"/><allow own="org.example.othergame"/></policy>
  <policy user="former"><allow own="org.example.game"/></policy>
  <includedir>{policies}</includedir>
</busconfig>
"""

SETTING = ["SetItemValue"]
DISABLING = ["DisableItem", "EnableItem", "DisableItemsByList", "RemoveDisabledItemsByAppname"]


def wait_until(done):
    end = time.monotonic() + PATIENCE
    while not done():
        if time.monotonic() > end:
            raise AssertionError("it takes too long")
        time.sleep(0.01)


def as_user(user):
    uid, group, others = USERS[user]
    gid = GROUPS.get(group, 0)
    groups = ",".join(str(number) for number in [gid, *(GROUPS[other] for other in others)])
    return ["setpriv", f"--reuid={uid}", f"--regid={gid}", f"--groups={groups}"]


def table_after(text, title):
    """The rows of the first table below a title, each as its cells."""
    lines = text[text.index(f"\n{title}\n") :].splitlines()
    start = next(number for number, line in enumerate(lines) if line.startswith("|"))
    rows = []
    for line in lines[start:]:
        if not line.startswith("|"):
            break
        rows.append([cell.strip() for cell in line.strip("|").split("|")])
    return [rows[0], *rows[2:]]


class Caller:
    """A connection of a user."""

    def __init__(self, machine, user):
        self.process = subprocess.Popen(
            [*as_user(user), PYTHON, "-B", "-c", CALLER],
            env=machine.environment,
            cwd="/",
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            text=True,
        )
        self.name = self.ask(name="")["reply"]

    def ask(self, **what):
        self.process.stdin.write(json.dumps(what) + "\n")
        self.process.stdin.flush()
        line = self.process.stdout.readline()
        if not line:
            raise AssertionError(f"the caller ended at {what}")
        return json.loads(line)

    def request(self, method, **data):
        return self.ask(request={"method": method, "data": data})

    def set(self, value):
        return self.request("SetItemValue", menuID="brightness", Value=value)

    def disable(self, app, method="DisableItem"):
        return self.request(method, menuID="contrast", appName=app)

    def post(self, method, **data):
        self.ask(post={"method": method, "data": data})

    def value(self, item):
        return json.loads(self.request("GetItemValue", menuID=item)["reply"][1])["return_data"]

    def end(self):
        self.process.stdin.close()
        self.process.wait(PATIENCE)
        self.process.stdout.close()


class Machine:
    """A bus and an installed daemon on it."""

    def __init__(self, directory):
        self.directory = directory
        directory.chmod(0o755)
        self.prefix = directory / "usr"
        for component in ["service", "tools", "virtual-set", "client"]:
            install(BUILD, "--prefix", self.prefix, "--component", component)
        self.access = self.prefix / "etc/settings-service/access.json"
        self.delivered = self.access.read_text(encoding="utf-8")
        self.root = directory / "set"
        self.log = self.root / "var/log/settings-service.log"
        self.environment = surroundings(
            DBUS_SYSTEM_BUS_ADDRESS=f"unix:path={directory}/bus",
            SETTINGS_ROOT=str(self.root),
            HOME="/",
        )
        self.environment["PATH"] = f"{self.prefix}/bin:" + self.environment["PATH"]
        (directory / "bus.conf").write_text(
            BUS_CONFIGURATION.format(
                directory=directory, policies=self.prefix / "share/dbus-1/system.d"
            ),
            encoding="utf-8",
        )
        with (directory / "bus.log").open("w", encoding="utf-8") as log:
            self.bus = subprocess.Popen(
                ["dbus-daemon", "--nofork", "--nopidfile", "--print-address"]
                + [f"--config-file={directory}/bus.conf"],
                stdout=subprocess.PIPE,
                stderr=log,
                text=True,
            )
        if not self.bus.stdout.readline():
            raise AssertionError((directory / "bus.log").read_text(encoding="utf-8"))
        self.daemon = None

    def allow(self, rules):
        text = rules if isinstance(rules, str) else json.dumps(rules)
        self.access.write_text(text, encoding="utf-8")

    def start(self):
        self.root.mkdir()
        (self.root / "var/log").mkdir(parents=True)
        for path in [self.root, self.root / "var", self.root / "var/log"]:
            shutil.chown(path, *[USERS["settings-service"][0]] * 2)
        with (self.directory / "daemon.err").open("w", encoding="utf-8") as errors:
            self.daemon = subprocess.Popen(
                [*as_user("settings-service")]
                + [self.prefix / "libexec/settings-service/settings-service"]
                + ["--bus", "system", "--log", self.log],
                env=self.environment,
                umask=0,
                stderr=errors,
            )
        ready = self.root / "tmp/settings-service_ready"
        wait_until(lambda: ready.exists() or self.daemon.poll() is not None)
        if self.daemon.poll() is not None:
            raise AssertionError(self.text_of_log())

    def stop(self):
        if self.daemon is not None:
            self.daemon.send_signal(signal.SIGCONT)
            self.daemon.terminate()
            self.daemon.wait(PATIENCE)
            self.daemon = None
            shutil.rmtree(self.root)

    def end(self):
        self.stop()
        self.bus.terminate()
        self.bus.wait(PATIENCE)
        self.bus.stdout.close()

    def text_of_log(self):
        errors = (self.directory / "daemon.err").read_text(encoding="utf-8")
        return errors + (self.log.read_text(encoding="utf-8") if self.log.exists() else "")

    def await_log(self, text):
        wait_until(lambda: text in self.text_of_log())

    def read_rules_again(self, said):
        """SIGHUP, until the log has `said` once more."""
        before = self.text_of_log().count(said)
        self.daemon.send_signal(signal.SIGHUP)
        wait_until(lambda: self.text_of_log().count(said) > before)

    @contextlib.contextmanager
    def frozen(self):
        """What is sent meanwhile reaches the daemon at once."""
        self.daemon.send_signal(signal.SIGSTOP)
        try:
            yield
        finally:
            self.daemon.send_signal(signal.SIGCONT)

    def tool(self, user, *arguments):
        return subprocess.run(
            [*as_user(user), "settingsctl", "--bus", "system", *arguments],
            env=self.environment,
            cwd="/",
            capture_output=True,
            text=True,
            timeout=PATIENCE,
            check=False,
        )


MENU = {"users": ["root"], "groups": ["menu"]}
RULES = {method: MENU for method in SETTING + DISABLING}


class AccessTest(unittest.TestCase):
    rules = RULES

    @classmethod
    def setUpClass(cls):
        scratch = tempfile.TemporaryDirectory()
        cls.addClassCleanup(scratch.cleanup)
        cls.machine = Machine(pathlib.Path(scratch.name))
        cls.addClassCleanup(cls.machine.end)

    def setUp(self):
        self.machine.allow(self.rules)
        self.machine.start()
        self.addCleanup(self.machine.stop)
        self.failures_before = self.failures()
        self.addCleanup(self.show_log)

    def failures(self):
        result = self._outcome.result
        return len(result.failures) + len(result.errors)

    def show_log(self):
        if self.failures() > self.failures_before:
            print(self.machine.text_of_log()[-4000:])

    def caller(self, user):
        caller = Caller(self.machine, user)
        self.addCleanup(caller.end)
        return caller

    def assert_refused(self, outcome, *texts):
        self.assertEqual(outcome.get("error"), DENIED, outcome)
        for text in texts:
            self.assertIn(text, outcome["message"])

    def assert_served(self, outcome):
        self.assertNotIn("error", outcome)


class Matrix(AccessTest):
    """What docs/security.md says, cell by cell."""

    QUESTIONS = {
        "GetItemDisplayName": {"menuID": "brightness"},
        "GetItemDisplayID": {"menuID": "brightness"},
        "GetItemEnable": {"menuID": "brightness"},
        "GetItemVisible": {"menuID": "brightness"},
        "GetItemVisibleAsync": {"menuID": "brightness"},
        "GetItemPathEnable": {"menuID": "brightness"},
        "GetItemPathEnableAsync": {"menuID": "brightness"},
        "GetItemPathVisible": {"menuID": "brightness"},
        "GetItemValueName": {"menuID": "brightness"},
        "GetItemValue": {"menuID": "brightness"},
        "GetItemChildList": {"menuID": "picture"},
        "GetItemDataList": {"menuID": "picturemode"},
        "GetItemDataEnable": {"menuID": "picturemode", "Value": "movie"},
        "GetItemDataVisible": {"menuID": "picturemode", "Value": "movie"},
        "GetItemPath": {"menuID": "brightness"},
        "GetItemMinMaxStepValue": {"menuID": "brightness"},
        "IsItemEnabled": {"menuID": "brightness"},
        "GetDisablerAppNamesByMenuId": {"menuID": "brightness"},
        "GetDisabledItemsList": {},
        "NoSuchMethod": {},
    }

    SET = {"menuID": "brightness", "Value": "7"}

    # The columns of the table, in its order.
    COLUMNS = ["root", "settings-service", "member", "other", "player", "former"]

    @classmethod
    def allowed(cls):
        """{row: {user: whether}}, from the table."""
        head, *rows = table_after(SECURITY, "## Who may do what")
        if len(head) != len(cls.COLUMNS) + 1:
            raise AssertionError(head)
        return {
            row[0]: dict(zip(cls.COLUMNS, (cell == "yes" for cell in row[1:]))) for row in rows
        }

    @staticmethod
    def disabling(app):
        both = {"menuID": "contrast", "appName": app}
        return [
            ("DisableItem", both),
            ("EnableItem", both),
            ("DisableItemsByList", {"menuIDList": ["contrast"], "appName": app}),
            ("RemoveDisabledItemsByAppname", {"appName": app}),
        ]

    def expectations(self, user):
        """[(method, data, whether it is served)]"""
        allowed = self.allowed()
        return (
            [(method, data, allowed["a question"][user]) for method, data in self.QUESTIONS.items()]
            + [("SetItemValue", self.SET, allowed["`SetItemValue`"][user])]
            + [
                (*request, allowed[f"disabling and enabling {whose}"][user])
                for app, whose in [
                    (GAME, "in the application's name"),
                    (OTHER_GAME, "in another's name"),
                ]
                for request in self.disabling(app)
            ]
        )

    def callers(self):
        former = self.caller("former")
        self.assertEqual(former.ask(own=GAME)["reply"], [1])
        self.assertEqual(former.ask(release=GAME)["reply"], [1])
        player = self.caller("player")
        self.assertEqual(player.ask(own=GAME)["reply"], [1])
        self.assertEqual(self.caller("player").ask(own=OTHER_GAME)["reply"], [1])
        for user in self.COLUMNS:
            yield user, {"former": former, "player": player}.get(user) or self.caller(user)

    def test_the_table_has_every_method_of_the_service(self):
        rows = table_after(WIRE, "## Request")
        methods = {name for row in rows[1:] for name in re.findall(r"`(\w+)`", row[0])}
        self.assertEqual(len(methods), 24)
        self.assertEqual({*self.QUESTIONS, *SETTING, *DISABLING} - {"NoSuchMethod"}, methods)
        self.assertEqual(len(self.allowed()), 5)

    def test_each_request(self):
        for user, caller in self.callers():
            for method, data, is_served in self.expectations(user):
                with self.subTest(user=user, method=method, data=data):
                    outcome = caller.request(method, **data)
                    if is_served:
                        self.assert_served(outcome)
                    else:
                        asker = f"user {USERS[user][0]}"
                        self.assert_refused(outcome, method, asker, str(self.machine.access))

    def test_each_request_of_a_batch(self):
        for user, caller in self.callers():
            expected = self.expectations(user)
            requests = [{"method": method, "data": data} for method, data, _ in expected]
            replies = caller.ask(all=requests)["reply"][0]
            self.assertEqual(len(replies), len(expected))
            for (method, data, is_served), (kind, body) in zip(expected, replies):
                with self.subTest(user=user, method=method, data=data):
                    self.assertEqual(kind, 0 if is_served else -1)
                    self.assertEqual(json.loads(body).get("error"), None if is_served else DENIED)

    def test_what_is_refused_has_no_effect_and_what_is_served_has_one(self):
        values = iter(range(10, 40))
        for user, caller in self.callers():
            with self.subTest(user=user):
                before = caller.value("brightness")
                value = str(next(values))
                caller.set(value)
                is_allowed = self.allowed()["`SetItemValue`"][user]
                self.assertEqual(caller.value("brightness"), value if is_allowed else before)
                caller.disable(GAME)
                enabled = json.loads(caller.request("IsItemEnabled", menuID="contrast")["reply"][1])
                whose = "disabling and enabling in the application's name"
                is_allowed = self.allowed()[whose][user]
                self.assertEqual(enabled["return_data"], not is_allowed)
                outcome = caller.disable(GAME, "EnableItem")
                self.assertEqual(outcome.get("error"), None if is_allowed else DENIED)

    def test_introspection_properties_and_the_methods_of_all_interfaces(self):
        for user, caller in self.callers():
            with self.subTest(user=user):
                self.assertTrue(self.allowed()["introspection, properties, `Explain`, `Describe`"][user])
                introspect = [SERVICE, "org.freedesktop.DBus.Introspectable", "Introspect", "", []]
                (text,) = caller.ask(call=introspect)["reply"]
                ours = re.findall(
                    r'<interface name="(org\.nuvra\.\w+)">(.*?)</interface>', text, re.DOTALL
                )
                self.assertIn("org.nuvra.Service1", [name for name, _ in ours])
                found = set()
                for interface, content in ours:
                    found |= set(re.findall(r'<(?:method|property) name="(\w+)"', content))
                    everything = [SERVICE, "org.freedesktop.DBus.Properties", "GetAll", "s"]
                    self.assert_served(caller.ask(call=[*everything, [interface]]))
                for question, signature, argument in (
                    ("Explain", "s", "brightness"),
                    ("Describe", "as", ["brightness"]),
                ):
                    call = [SERVICE, "org.nuvra.Items1", question, signature, [argument]]
                    self.assert_served(caller.ask(call=call))
                # A new one belongs here and into the table.
                self.assertEqual(
                    found, {"Request", "RequestAll", "Failure", "Explain", "Describe"}
                )
                # And nothing can be written.
                self.assertNotIn("write", re.findall(r'access="(\w+)"', text))

    def test_only_the_services_user_may_have_its_name(self):
        self.machine.daemon.terminate()
        self.assertEqual(self.machine.daemon.wait(PATIENCE), 0)
        for user in self.COLUMNS:
            with self.subTest(user=user):
                caller = self.caller(user)
                outcome = caller.ask(own=SERVICE)
                if user == "settings-service":
                    self.assertEqual(outcome["reply"], [1])
                    caller.ask(release=SERVICE)
                else:
                    self.assert_refused(outcome)


class Callers(AccessTest):
    def test_a_tool_ends_with_13_and_says_what_would_be_needed(self):
        read = self.machine.tool("other", "get", "picturemode")
        self.assertEqual(read.stdout, "standard (Standard)\n")
        refused = self.machine.tool("other", "set", "picturemode", "movie")
        self.assertEqual(refused.returncode, 13)
        self.assertIn(f"user {USERS['other'][0]} may not use SetItemValue", refused.stderr)
        self.assertIn(str(self.machine.access), refused.stderr)
        self.assertNotIn("policy", refused.stderr)
        self.assertEqual(refused.stderr.count("\n"), 1)
        refused = self.machine.tool("other", "disable", "contrast", "--app", GAME)
        self.assertEqual(refused.returncode, 13)
        self.assertIn(f'in the name of "{GAME}"', refused.stderr)
        refused = self.machine.tool("other", "hold", "contrast", "--app", GAME, "--", "true")
        self.assertEqual(refused.returncode, 13)
        self.assertIn(f'does not let this user be "{GAME}"', refused.stderr)
        self.assertIn(f'<allow own="{GAME}"/>', refused.stderr)
        self.assertEqual(self.machine.tool("root", "set", "picturemode", "movie").returncode, 0)
        self.assertEqual(self.machine.tool("other", "get", "picturemode").stdout, "movie (Movie)\n")

    def test_a_refusal_is_logged_with_caller_and_method(self):
        other = self.caller("other")
        self.assert_refused(other.set("7"))
        self.machine.await_log(f"{other.name}: user {USERS['other'][0]} may not use SetItemValue")

    def test_an_application_disables_in_its_own_name_only(self):
        player = self.caller("player")
        no_names = ["", "org.nuvra.service.other", "no name", 5, None, {}]
        for app in [GAME, OTHER_GAME, player.name, *no_names]:
            with self.subTest(app=app):
                self.assert_refused(player.disable(app), "must own")
        player.ask(own=GAME)
        self.assert_served(player.disable(GAME))
        self.assert_refused(self.caller("player").disable(GAME, "EnableItem"))
        player.ask(release=GAME)
        self.assert_refused(player.disable(GAME))

    def test_a_method_is_judged_by_what_the_service_takes_it_for(self):
        other = self.caller("other")
        for body in [
            {"data": {"menuID": "brightness", "Value": "7"}, "method": "SetItemValue"},
            {"method": "SetItemValue"},
            {"method": "DisableItem"},
            {"method": "DisableItem", "data": []},
            {"method": "DisableItem", "data": "text"},
        ]:
            with self.subTest(body=body):
                self.assert_refused(other.ask(request=body))
        for method in ["setitemvalue", "SetItemValue ", 5, True]:
            with self.subTest(method=method):
                outcome = other.ask(request={"method": method})
                self.assertEqual(outcome["reply"], [0, '{"return_data":""}'])

    def test_a_caller_who_is_gone_is_nobody(self):
        root = self.caller("root")
        with self.machine.frozen():
            gone = Caller(self.machine, "root")
            gone.post("SetItemValue", menuID="brightness", Value="7")
            gone.end()
        self.machine.await_log(f"{gone.name}: SetItemValue needs a caller whom the bus knows")
        self.assertNotEqual(root.value("brightness"), "7")
        self.assert_served(root.set("7"))
        self.assertEqual(root.value("brightness"), "7")

    def test_requests_of_a_caller_who_left_after_it_was_known_are_served(self):
        root = self.caller("root")
        leaving = Caller(self.machine, "root")
        self.assert_served(leaving.set("7"))
        with self.machine.frozen():
            for value in range(8, 30):
                leaving.post("SetItemValue", menuID="brightness", Value=str(value))
            leaving.end()
        wait_until(lambda: root.value("brightness") == "29")

    def test_the_order_of_a_clients_requests_is_kept_while_it_is_not_known(self):
        root = self.caller("root")
        with self.machine.frozen():
            for value in ["7", "8", "9"]:
                root.post("SetItemValue", menuID="brightness", Value=value)
        # Behind those three.
        self.assertEqual(root.value("brightness"), "9")

    def test_an_application_that_begins_meanwhile_inherits_nothing(self):
        # The end of the one before comes while the one who asks in its name is not known yet.
        game = Caller(self.machine, "player")
        game.ask(own=GAME)
        newer = self.caller("player")
        root = self.caller("root")
        with self.machine.frozen():
            root.post("DisableItem", menuID="contrast", appName=GAME)
            game.end()
            wait_until(lambda: newer.ask(own=GAME)["reply"] in [[1], [4]])
        disabled = json.loads(root.request("GetDisabledItemsList")["reply"][1])["return_data"]
        self.assertEqual(json.loads(disabled), [])
        self.machine.await_log(f"Disabled contrast from {GAME}")
        self.machine.await_log(f"Remove disabled items by {GAME}")

    def test_nobody_but_the_bus_says_who_came_and_who_went(self):
        game = self.caller("player")
        game.ask(own=GAME)
        self.assert_served(game.disable(GAME))
        liar = self.caller("other")
        bus = "org.freedesktop.DBus"
        (daemon,) = liar.ask(call=[bus, bus, "GetNameOwner", "s", [SERVICE]])["reply"]
        for destination in [[], [f"--dest={daemon}"], [f"--dest={SERVICE}"]]:
            for old, new in [(game.name, ""), (game.name, liar.name), ("", liar.name)]:
                done = subprocess.run(
                    [*as_user("other"), "dbus-send", "--system", "--type=signal", *destination]
                    + ["/org/freedesktop/DBus", "org.freedesktop.DBus.NameOwnerChanged"]
                    + [f"string:{GAME}", f"string:{old}", f"string:{new}"],
                    env=self.machine.environment,
                    check=False,
                )
                self.assertEqual(done.returncode, 0)
        disabled = json.loads(liar.request("GetDisabledItemsList")["reply"][1])["return_data"]
        self.assertEqual(json.loads(disabled), ["contrast"])
        self.assert_refused(liar.disable(GAME, "EnableItem"))
        self.assert_served(game.disable(GAME, "EnableItem"))


class Delivered(AccessTest):
    @property
    def rules(self):
        return self.machine.delivered

    def test_root_may_everything_and_others_ask(self):
        self.assert_served(self.caller("root").set("7"))
        self.assert_served(self.caller("root").disable(GAME))
        self.assert_refused(self.caller("member").set("7"))
        self.assertEqual(self.caller("member").value("brightness"), "7")

    def test_an_installation_keeps_a_file_that_is_there(self):
        self.machine.allow("{}\n")
        install(BUILD, "--prefix", self.machine.prefix, "--component", "service")
        self.assertEqual(self.machine.access.read_text(encoding="utf-8"), "{}\n")


class File(AccessTest):
    def set(self, user="member", value="7"):
        return self.caller(user).set(value)

    def restart(self):
        self.machine.stop()
        self.machine.start()

    def test_is_read_again_on_sighup(self):
        self.assert_served(self.set())
        self.machine.allow({"SetItemValue": {"users": ["other", USERS["former"][0]]}})
        self.assert_served(self.set())
        self.machine.read_rules_again("access.json was read again")
        self.assert_refused(self.set())
        self.assert_refused(self.set("root"))
        self.assert_served(self.set("other"))
        self.assert_served(self.set("former"))

    def test_with_a_mistake_changes_nothing_and_is_named_with_its_line(self):
        self.machine.allow('{\n  "SetItemValue": { "users": [\n    "nobody-of-this-name" ] }\n}\n')
        self.machine.read_rules_again("the rules that were read before stay")
        self.machine.await_log(
            f'{self.machine.access}:3: this machine has no user "nobody-of-this-name"'
        )
        self.assert_served(self.set())
        self.assert_refused(self.set("other"))

    def test_with_a_mistake_at_the_start_lets_nobody_do_more_than_ask(self):
        self.machine.allow('{\n  "SetValue": {}\n}\n')
        self.restart()
        mistake = f'{self.machine.access}:2: "SetValue" is no method that changes something'
        self.machine.await_log(mistake)
        game = self.caller("player")
        game.ask(own=GAME)
        for user in ["root", "settings-service", "member"]:
            self.assert_refused(self.set(user), mistake)
        self.assert_refused(game.disable(GAME), mistake)
        self.assertNotEqual(game.value("brightness"), "7")
        self.machine.allow(RULES)
        self.machine.read_rules_again("access.json was read again")
        self.assert_served(self.set())
        self.assert_served(game.disable(GAME))

    def test_that_is_missing_names_nobody(self):
        self.machine.access.unlink()
        self.restart()
        self.assert_refused(self.set("root"))
        self.assert_served(self.set("settings-service"))
        self.assertEqual(self.caller("other").value("brightness"), "7")


class Files(AccessTest):
    def test_have_the_modes_that_are_documented(self):
        self.assert_served(self.caller("root").set("7"))
        head, *rows = table_after(SECURITY, "## What may be read from files")
        self.assertEqual(head[:2], ["file", "mode"])
        documented = {}
        for names, mode, *_ in rows:
            for name in re.findall("`([^`]+)`", names):
                documented[name] = mode
        found = {}
        for path in sorted(self.machine.root.rglob("*")):
            if stat.S_ISLNK(path.lstat().st_mode):
                raise AssertionError(f"{path} is a link")
            self.assertEqual(path.lstat().st_uid, USERS["settings-service"][0], path)
            name = "/" + str(path.relative_to(self.machine.root))
            found[name] = f"{stat.S_IMODE(path.lstat().st_mode):04o}"
        for path, mode in found.items():
            # What the test itself made.
            if path in ["/var", "/var/log"]:
                continue
            matching = [path] if path in documented else [
                name for name in documented if pathlib.PurePath(path).match(name)
            ]
            with self.subTest(path=path):
                self.assertNotEqual(matching, [], mode)
                self.assertEqual(mode, documented[matching[0]])
        # And the table has no file that there is not.
        for name in documented:
            with self.subTest(name=name):
                self.assertTrue(any(pathlib.PurePath(path).match(name) for path in found))


def main():
    if os.getuid() != 0:
        print("this test is several users, which only root can be; run it as root", file=sys.stderr)
        return SKIPPED
    # The users exist for this process and its children only.
    if "SETTINGS_OWN_MOUNTS" not in os.environ:
        os.environ["SETTINGS_OWN_MOUNTS"] = "yes"
        command = ["unshare", "--mount", "--propagation", "private", PYTHON, "-B", *sys.argv]
        os.execvp(command[0], command)
    with tempfile.TemporaryDirectory() as directory:
        for file, lines in [
            (
                "passwd",
                [
                    f"{name}:x:{uid}:{GROUPS[group]}::/:/bin/sh"
                    for name, (uid, group, _) in USERS.items()
                    if uid != 0
                ],
            ),
            ("group", [f"{name}:x:{gid}:" for name, gid in GROUPS.items()]),
        ]:
            extended = pathlib.Path(directory) / file
            text = pathlib.Path("/etc", file).read_text(encoding="utf-8")
            ours = {*USERS, *GROUPS} - {"root"}
            kept = [line for line in text.splitlines() if line.split(":")[0] not in ours]
            extended.write_text("\n".join([*kept, *lines]) + "\n", encoding="utf-8")
            subprocess.run(["mount", "--bind", extended, f"/etc/{file}"], check=True)
        try:
            del sys.argv[-2:]
            return 0 if unittest.main(exit=False).result.wasSuccessful() else 1
        finally:
            for file in ["passwd", "group"]:
                subprocess.run(["umount", f"/etc/{file}"], check=True)


if __name__ == "__main__":
    sys.exit(main())
