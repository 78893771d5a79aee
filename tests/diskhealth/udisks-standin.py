#!/usr/bin/python3
"""A stand-in for the UDisks2 daemon and a file manager, for the EFI action tests: every block
device with the Filesystem interface's Mount and Unmount, and org.freedesktop.FileManager1's
ShowFolders, which writes the URIs it is given to the file named as the first argument.
Errors are the ones the real daemon sends."""
import re
import sys

import dbus
import dbus.service
from dbus.mainloop.glib import DBusGMainLoop
from gi.repository import GLib

FILESYSTEM = "org.freedesktop.UDisks2.Filesystem"


class UDisksError(dbus.DBusException):
    def __init__(self, name, message):
        super().__init__(message)
        self._dbus_error_name = "org.freedesktop.UDisks2.Error." + name


def device_name(path):
    """The device of an object path's last part: "dm_2d0" is dm-0."""
    return re.sub(r"_([0-9a-f]{2})", lambda m: chr(int(m.group(1), 16)), path.lstrip("/"))


class BlockDevices(dbus.service.FallbackObject):
    def __init__(self, bus):
        super().__init__(bus, "/org/freedesktop/UDisks2/block_devices")
        self.mounted = {}

    @dbus.service.method(FILESYSTEM, in_signature="a{sv}", out_signature="s",
                         rel_path_keyword="path")
    def Mount(self, options, path):
        device = device_name(path)
        if device in self.mounted:
            raise UDisksError("AlreadyMounted", "Device /dev/%s is already mounted at `%s'."
                              % (device, self.mounted[device]))
        self.mounted[device] = "/run/media/velmox/EFI " + device
        return self.mounted[device]

    @dbus.service.method(FILESYSTEM, in_signature="a{sv}", rel_path_keyword="path")
    def Unmount(self, options, path):
        device = device_name(path)
        if device not in self.mounted:
            raise UDisksError("NotMounted", "Device `/dev/%s' is not mounted" % device)
        del self.mounted[device]


class FileManager(dbus.service.Object):
    def __init__(self, bus, record):
        super().__init__(bus, "/org/freedesktop/FileManager1")
        self.record = record

    @dbus.service.method("org.freedesktop.FileManager1", in_signature="ass")
    def ShowFolders(self, uris, startup_id):
        with open(self.record, "a") as out:
            out.write("\n".join(uris) + "\n")


DBusGMainLoop(set_as_default=True)
bus = dbus.SessionBus()
devices = BlockDevices(bus)
manager = FileManager(bus, sys.argv[1])
names = [dbus.service.BusName("org.freedesktop.FileManager1", bus),
         dbus.service.BusName("org.freedesktop.UDisks2", bus)]
GLib.MainLoop().run()
