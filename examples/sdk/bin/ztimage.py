"""Filesystem images and firmware files: how the sample SDK's tools read them."""

import hashlib
import hmac
import json
import os
import posixpath
import struct
from typing import NamedTuple

import ztsdk
from ztsdk import ToolError

ROMFS_MAGIC = b"-rom1fs-"
FIRMWARE_MAGIC = b"ZTFIRMW1"
KERNEL_MAGIC = b"ZTKERNEL"
MAC_SIZE = 32


class Entry(NamedTuple):
    """One object of a filesystem image."""

    kind: str  # "directory", "file", "link" or "device"
    data: bytes = b""  # a file's content, a link's target, or a device such as b"c,5,1"
    executable: bool = False
    source: str | None = None  # where a file's content is when it is not here

    def content(self):
        """A file's content, wherever it is."""
        return self.data if self.source is None else ztsdk.read_bytes(self.source)


DIRECTORY = Entry("directory", executable=True)


def read_romfs(image, name):
    """The entries of a romfs image by their paths without a leading "/"."""
    if image[:8] != ROMFS_MAGIC or len(image) < 32:
        raise ToolError(f"{name}: not a romfs image")
    size = struct.unpack_from(">I", image, 8)[0]
    checked = image[: min(size, 512)]
    words = struct.unpack(f">{len(checked) // 4}I", checked[: len(checked) // 4 * 4])
    if not 32 <= size <= len(image) or sum(words) & 0xFFFFFFFF != 0:
        raise ToolError(f"{name}: damaged romfs image")
    entries = {}
    try:
        read_directory(image, name_end(image, 16), "", entries)
    except (struct.error, ValueError, RecursionError):
        raise ToolError(f"{name}: damaged romfs image") from None
    return dict(sorted(entries.items()))


def name_end(image, start):
    """Where the padded name that starts at an offset ends."""
    return (image.index(b"\0", start) + 16) & ~15


def read_directory(image, offset, path, entries):
    """Adds the objects of the directory whose first file header is at an offset."""
    seen = set()
    while offset:
        if offset in seen:
            raise ValueError("the directory never ends")
        seen.add(offset)
        following, info, size = struct.unpack_from(">III", image, offset)
        name = os.fsdecode(image[offset + 16 : image.index(b"\0", offset + 16)])
        if name not in (".", ".."):
            if not name or "/" in name:
                raise ValueError("impossible name")
            read_object(image, offset, f"{path}{name}", entries)
        offset = following & ~15


def read_object(image, offset, path, entries):
    """Adds the object whose file header is at an offset."""
    following, info, size = struct.unpack_from(">III", image, offset)
    kind, executable = following & 7, bool(following & 8)
    start = name_end(image, offset + 16)
    content = image[start : start + size]
    if len(content) != size:
        raise ValueError("content behind the end")
    if kind == 0:
        read_object(image, info & ~15, path, entries)
    elif kind == 1:
        entries[path] = DIRECTORY
        read_directory(image, info & ~15, path + "/", entries)
    elif kind == 2:
        entries[path] = Entry("file", content, executable)
    elif kind == 3:
        entries[path] = Entry("link", content)
    elif kind in (4, 5):
        device = f"{'bc'[kind - 4]},{info >> 16},{info & 0xFFFF}"
        entries[path] = Entry("device", device.encode())
    else:
        raise ValueError("sockets and pipes are not supported")


class Writer:
    """Writes a romfs image, in the order of the paths.

    An object is a header, which leads to the next object of its directory, and its content, for a
    directory its objects. As genromfs does it, a directory has "." and ".." among its objects,
    which are hard links, but for the "." of the root.
    """

    KINDS = {"hard": 0, "directory": 1, "file": 2, "link": 3, "b": 4, "c": 5}

    def __init__(self, entries, label):
        self.entries = entries
        self.names = {"": []}
        for path in sorted(entries):
            self.names.setdefault(posixpath.dirname(path), []).append(posixpath.basename(path))
        self.image = bytearray(ROMFS_MAGIC + bytes(8) + padded_name(os.fsencode(label)))
        start = len(self.image)
        self.last = None  # the header that leads to the next one of its directory
        self.add_header(b".", "directory", start, 0, True)
        self.add_directory("", start, start)
        struct.pack_into(">I", self.image, 8, len(self.image))
        add_checksum(self.image, 0, min(len(self.image), 512), 12)
        self.image += bytes(-len(self.image) % 1024)

    def add_directory(self, path, start, above):
        """Adds the objects of a directory whose header, like that of the one above, is known."""
        if path:
            self.last = None
            self.add_header(b".", "hard", start)
        self.add_header(b"..", "hard", above)
        for name in self.names.get(path, []):
            self.add(posixpath.join(path, name), os.fsencode(name), start)

    def add(self, path, name, above):
        """Adds one object."""
        entry = self.entries[path]
        if entry.kind == "directory":
            size = 16 + len(padded_name(name))
            header = self.add_header(name, entry.kind, len(self.image) + size, 0, True)
            self.add_directory(path, header, above)
            self.last = header
        elif entry.kind == "device":
            kind, major, minor = entry.data.decode().split(",")
            self.add_header(name, kind, int(major) << 16 | int(minor))
        else:
            content = entry.content()
            self.add_header(name, entry.kind, 0, len(content), entry.executable)
            self.image += content + bytes(-len(content) % 16)

    def add_header(self, name, kind, info, size=0, executable=False):
        """Adds a header, and makes the one before it lead to it; gives its place."""
        place = len(self.image)
        if self.last is not None:
            self.set_next(self.last, place)
        self.last = place
        bits = self.KINDS[kind] | (8 if executable else 0)
        self.image += struct.pack(">IIII", bits, info, size, 0) + padded_name(name)
        add_checksum(self.image, place, len(self.image), place + 12)
        return place

    def set_next(self, header, following):
        """Makes a header lead to another one."""
        bits, checksum = self.image[header + 3], struct.unpack_from(">I", self.image, header + 12)
        struct.pack_into(">I", self.image, header, following | bits)
        struct.pack_into(">I", self.image, header + 12, (checksum[0] - following) & 0xFFFFFFFF)


def padded_name(name):
    """A name as it stands in an image."""
    return name + bytes(16 - len(name) % 16)


def add_checksum(image, start, end, place):
    """Makes the words of a part of an image add up to zero by the one at a place."""
    words = struct.unpack_from(f">{(end - start) // 4}I", image, start)
    struct.pack_into(">I", image, place, -sum(words) & 0xFFFFFFFF)


def write_tree(entries, directory):
    """Writes entries below a directory; a device becomes an empty file "@name,type,major,minor"."""
    for path, entry in sorted(entries.items()):
        target = os.path.join(directory, path)
        if entry.kind == "directory":
            os.makedirs(target, exist_ok=True)
        elif entry.kind == "link":
            os.symlink(os.fsdecode(entry.data), target)
        elif entry.kind == "device":
            folder, name = os.path.split(target)
            ztsdk.write_file(os.path.join(folder, f"@{name},{entry.data.decode()}"), b"")
        else:
            ztsdk.write_file(target, entry.content())
            os.chmod(target, 0o755 if entry.executable else 0o644)


class Firmware(NamedTuple):
    """A firmware file taken apart."""

    manifest: dict
    kernel: bytes
    data: bytes
    mac: bytes  # empty when the file was linked without a key
    signed: bytes  # what the mac covers


def part(content):
    """The description of a kernel or image in a manifest."""
    return {"size": len(content), "sha256": hashlib.sha256(content).hexdigest()}


def mac_of(key, content):
    """The keyed hash that ends a firmware file linked with a key."""
    return hmac.new(key, content, hashlib.sha256).digest()


def read_key(path):
    """The key in a key file: its content without blanks at the ends."""
    key = ztsdk.read_bytes(path).strip()
    if not key:
        raise ToolError(f"{path}: empty key")
    return key


def read_firmware(path):
    """Takes a firmware file apart and checks its sizes and hashes."""
    content = ztsdk.read_bytes(path)
    if content[:8] != FIRMWARE_MAGIC:
        raise ToolError(f"{path}: not a firmware file")
    try:
        start = 12 + struct.unpack_from(">I", content, 8)[0]
        manifest = json.loads(content[12:start])
        middle = start + manifest["kernel"]["size"]
        end = middle + manifest["data"]["size"]
        kernel, data, mac = content[start:middle], content[middle:end], content[end:]
        whole = len(mac) == (MAC_SIZE if manifest["authenticated"] else 0)
    except (struct.error, ValueError, KeyError, TypeError):
        raise ToolError(f"{path}: damaged manifest") from None
    if not whole or part(kernel) != manifest["kernel"] or part(data) != manifest["data"]:
        raise ToolError(f"{path}: damaged content")
    return Firmware(manifest, kernel, data, mac, content[:end])
