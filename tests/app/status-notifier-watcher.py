#!/usr/bin/env python3
"""A minimal org.kde.StatusNotifierWatcher for the tray tests: it accepts items and says a
host is registered, which is all Qt asks before it offers a system tray. Qt reads the
properties through introspection, so they are declared there too."""
import dbus
import dbus.service
from dbus.mainloop.glib import DBusGMainLoop
from gi.repository import GLib

INTERFACE = "org.kde.StatusNotifierWatcher"


class Watcher(dbus.service.Object):
    def __init__(self, bus):
        self.items = []
        super().__init__(bus, "/StatusNotifierWatcher")

    @dbus.service.method(INTERFACE, in_signature="s", sender_keyword="sender")
    def RegisterStatusNotifierItem(self, service, sender=None):
        item = service if service.startswith(":") else sender + service
        if item not in self.items:
            self.items.append(item)
            self.StatusNotifierItemRegistered(item)

    @dbus.service.method(INTERFACE, in_signature="s")
    def RegisterStatusNotifierHost(self, service):
        pass

    @dbus.service.signal(INTERFACE, signature="s")
    def StatusNotifierItemRegistered(self, item):
        pass

    @dbus.service.signal(INTERFACE, signature="s")
    def StatusNotifierItemUnregistered(self, item):
        pass

    @dbus.service.signal(INTERFACE, signature="")
    def StatusNotifierHostRegistered(self):
        pass

    def properties(self):
        return {
            "RegisteredStatusNotifierItems": dbus.Array(self.items, signature="s"),
            "IsStatusNotifierHostRegistered": dbus.Boolean(True),
            "ProtocolVersion": dbus.Int32(0),
        }

    @dbus.service.method(dbus.INTROSPECTABLE_IFACE, in_signature="", out_signature="s",
                         path_keyword="object_path", connection_keyword="connection")
    def Introspect(self, object_path, connection):
        xml = super().Introspect(object_path, connection)
        declared = ('<property name="RegisteredStatusNotifierItems" type="as" access="read"/>'
                    '<property name="IsStatusNotifierHostRegistered" type="b" access="read"/>'
                    '<property name="ProtocolVersion" type="i" access="read"/>')
        opening = f'<interface name="{INTERFACE}">'
        return xml.replace(opening, opening + declared)

    @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature="ss", out_signature="v")
    def Get(self, interface, name):
        return self.properties()[name]

    @dbus.service.method(dbus.PROPERTIES_IFACE, in_signature="s", out_signature="a{sv}")
    def GetAll(self, interface):
        return self.properties()


DBusGMainLoop(set_as_default=True)
bus = dbus.SessionBus()
watcher = Watcher(bus)
name = dbus.service.BusName("org.kde.StatusNotifierWatcher", bus)
GLib.MainLoop().run()
