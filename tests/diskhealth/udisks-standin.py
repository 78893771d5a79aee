#!/usr/bin/python3
"""A stand-in for the UDisks2 daemon and a file manager, for the EFI action tests: block
devices loop7p1 and dm-0 with the Filesystem interface's Mount and Unmount, and
org.freedesktop.FileManager1's ShowFolders, which writes the URIs it is given to the file
named as the first argument. Errors are the ones the real daemon sends."""
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


class Filesystem(dbus.service.Object):
    def __init__(self, bus, object_name, device):
        super().__init__(bus, "/org/freedesktop/UDisks2/block_devices/" + object_name)
        self.device = device
        self.mounted = None

    @dbus.service.method(FILESYSTEM, in_signature="a{sv}", out_signature="s")
    def Mount(self, options):
        if self.mounted:
            raise UDisksError("AlreadyMounted", "Device /dev/%s is already mounted at `%s'."
                              % (self.device, self.mounted))
        self.mounted = "/run/media/velmox/EFI " + self.device
        return self.mounted

    @dbus.service.method(FILESYSTEM, in_signature="a{sv}")
    def Unmount(self, options):
        if not self.mounted:
            raise UDisksError("NotMounted", "Device `/dev/%s' is not mounted" % self.device)
        self.mounted = None


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
devices = [Filesystem(bus, "loop7p1", "loop7p1"), Filesystem(bus, "dm_2d0", "dm-0")]
manager = FileManager(bus, sys.argv[1])
names = [dbus.service.BusName("org.freedesktop.FileManager1", bus),
         dbus.service.BusName("org.freedesktop.UDisks2", bus)]
GLib.MainLoop().run()
