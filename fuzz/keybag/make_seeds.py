#!/usr/bin/env python3
"""Writes the seed corpora of the keybag and file record fuzz targets: well-formed keybags
whose class keys are wrapped with the target's fixed passcode key (0x11 x 32), keybags cut
or lengthened, and MBFile archives (plain, encrypted, self-referencing, out of range).
usage: make_seeds.py KEYBAG_DIR FILERECORD_DIR"""
import os
import plistlib
import struct
import sys

from cryptography.hazmat.primitives.keywrap import aes_key_wrap

PASSCODE = b"\x11" * 32


def tlv(tag, value):
    if isinstance(value, int):
        value = struct.pack(">I", value)
    return tag.encode() + struct.pack(">I", len(value)) + value


def keybag(classes, wrap=2, double=True):
    bag = tlv("VERS", 3) + tlv("TYPE", 1) + tlv("UUID", b"u" * 16) + tlv("WRAP", 0)
    bag += tlv("SALT", b"s" * 20) + tlv("ITER", 10000)
    if double:
        bag += tlv("DPWT", 1) + tlv("DPIC", 10000000) + tlv("DPSL", b"d" * 20)
    for c in classes:
        bag += tlv("UUID", bytes([c]) * 16) + tlv("CLAS", c) + tlv("WRAP", wrap)
        bag += tlv("KTYP", 0) + tlv("WPKY", aes_key_wrap(PASSCODE, bytes([c]) * 32))
    return bag


def archive(root_extra, objects_extra=(), root=1):
    record = {"$class": plistlib.UID(3), "RelativePath": plistlib.UID(2), "Size": 4096,
              "ProtectionClass": 3}
    record.update(root_extra)
    objects = ["$null", record, "Library/AddressBook/AddressBook.sqlitedb",
               {"$classname": "MBFile", "$classes": ["MBFile", "NSObject"]}] + list(objects_extra)
    return plistlib.dumps({"$archiver": "NSKeyedArchiver", "$version": 100000,
                           "$top": {"root": plistlib.UID(root)}, "$objects": objects},
                          fmt=plistlib.FMT_BINARY)


def main():
    bags, records = sys.argv[1], sys.argv[2]
    good = keybag(range(1, 12))
    seeds = {
        "valid_all_classes": good,
        "valid_single_step": keybag([3], double=False),
        "device_wrapped_only": keybag([3], wrap=1),
        "cut_inside_value": good[:-7],
        "cut_inside_header": good[:5],
        "length_past_end": good[:8] + b"\xff\xff\xff\xff" + good[12:],
        "short_wpky": good.replace(tlv("WPKY", aes_key_wrap(PASSCODE, b"\x03" * 32)),
                                   tlv("WPKY", b"w" * 39)),
        "empty": b"",
        # Iteration counts no phone writes: refused before any derivation runs for hours.
        "hostile_iterations": good.replace(tlv("DPIC", 10000000), tlv("DPIC", 0xFFFFFFFF)),
        "hostile_many_classes": keybag([3] * 200, double=False),
    }
    for name, data in seeds.items():
        with open(os.path.join(bags, name), "wb") as out:
            out.write(data)
    key = {"NS.data": struct.pack("<I", 3) + b"k" * 40, "$class": plistlib.UID(3)}
    seeds = {
        "plain": archive({}),
        "encrypted": archive({"EncryptionKey": plistlib.UID(4)}, [key]),
        "key_is_itself": archive({"EncryptionKey": plistlib.UID(1)}),
        "key_out_of_range": archive({"EncryptionKey": plistlib.UID(400)}),
        "root_out_of_range": archive({}, root=77),
        "negative_size": archive({"Size": -5}),
        "huge_size": archive({"Size": 2 ** 63 - 1}),
    }
    for name, data in seeds.items():
        with open(os.path.join(records, name), "wb") as out:
            out.write(data)


if __name__ == "__main__":
    main()
