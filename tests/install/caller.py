"""A client of the system bus that does what each line of its input says and prints the outcome.

Both are JSON. A line is one of {"own": NAME}, {"release": NAME}, {"request": BODY},
{"all": [BODY...]}, {"call": [DESTINATION, INTERFACE, MEMBER, SIGNATURE, [ARGUMENT...]]},
{"post": BODY}, which waits for no reply, and {"name": ""}, its unique name.
"""

import json
import os
import sys

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

SERVICE = "org.nuvra.service.settings_service"
PATH = "/org/nuvra/service/settings_service"
BUS = ("org.freedesktop.DBus", "/org/freedesktop/DBus")

connection = Gio.DBusConnection.new_for_address_sync(
    os.environ["DBUS_SYSTEM_BUS_ADDRESS"],
    Gio.DBusConnectionFlags.AUTHENTICATION_CLIENT
    | Gio.DBusConnectionFlags.MESSAGE_BUS_CONNECTION,
    None,
    None,
)


def call(destination, path, interface, member, signature, *arguments):
    reply = connection.call_sync(
        destination,
        path,
        interface,
        member,
        GLib.Variant(f"({signature})", arguments) if signature else None,
        None,
        Gio.DBusCallFlags.NO_AUTO_START,
        60_000,
        None,
    )
    return reply.unpack()


def send(body):
    message = Gio.DBusMessage.new_method_call(SERVICE, PATH, "org.nuvra.Service1", "Request")
    message.set_body(GLib.Variant("(is)", (0, json.dumps(body))))
    message.set_flags(Gio.DBusMessageFlags.NO_REPLY_EXPECTED)
    connection.send_message(message, Gio.DBusSendMessageFlags.NONE)
    connection.flush_sync(None)
    # The bus answers in order.
    call(*BUS, BUS[0], "GetId", "")


def do(what, argument):
    if what == "own":
        return call(*BUS, BUS[0], "RequestName", "su", argument, 4)
    if what == "release":
        return call(*BUS, BUS[0], "ReleaseName", "s", argument)
    if what == "request":
        return call(SERVICE, PATH, "org.nuvra.Service1", "Request", "is", 0, json.dumps(argument))
    if what == "all":
        requests = [(0, json.dumps(body)) for body in argument]
        return call(SERVICE, PATH, "org.nuvra.Service1", "RequestAll", "a(is)", requests)
    if what == "call":
        destination, interface, member, signature, arguments = argument
        return call(destination, PATH, interface, member, signature, *arguments)
    if what == "post":
        return send(argument)
    if what == "name":
        return connection.get_unique_name()
    raise ValueError(what)


for line in sys.stdin:
    ((asked, details),) = json.loads(line).items()
    try:
        outcome = {"reply": do(asked, details)}
    except GLib.Error as error:
        name = Gio.DBusError.get_remote_error(error)
        Gio.DBusError.strip_remote_error(error)
        outcome = {"error": name, "message": error.message}
    print(json.dumps(outcome), flush=True)
