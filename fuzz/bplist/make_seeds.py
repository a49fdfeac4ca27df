#!/usr/bin/env python3
"""Writes the seed corpus of the bplist fuzz target: well-formed lists (contact- and
note-shaped replies among them, written by plistlib) and one list per limit the reader
enforces. usage: make_seeds.py OUTDIR"""
import datetime
import os
import plistlib
import struct
import sys


def be(value, width):
    return (value % (1 << (8 * width))).to_bytes(width, "big")


def patched(data, position, byte):
    return data[:position] + bytes([byte]) + data[position + 1:]


def assemble(objects, offset_size=1, ref_size=1, top=0, num=None, table=None):
    out = bytearray(b"bplist00")
    offsets = []
    for o in objects:
        offsets.append(len(out))
        out += o
    table_offset = len(out) if table is None else table
    for off in offsets:
        out += be(off, offset_size)
    out += bytes(6) + bytes([offset_size, ref_size])
    out += be(len(objects) if num is None else num, 8) + be(top, 8) + be(table_offset, 8)
    return bytes(out)


def chain(levels, fan_out):
    objs = [bytes([0xA0 | fan_out]) + be(i + 1, 2) * fan_out for i in range(levels)]
    return assemble(objs + [b"\x51x"], 2, 2)


def contacts():
    when = datetime.datetime(1984, 5, 17, 8, 30)
    batch = {
        "1": {"first name": "Ada", "last name": "Lovelace", "birthday": when,
              "company name": "Analytical Engines", "notes": "Zahlen \u00fcber alles"},
        "2": {"first name": "\u674e", "last name": "\u5c0f\u9f99", "nickname": "\U0001F409"},
        "com.apple.contacts.Phone/1/0": {"type": "work", "value": "+44 20 7946 0000",
                                         "label": "work"},
        "com.apple.contacts.Email Address/2/0": {"value": "li@example.com", "label": "home"},
        "com.apple.contacts.Street Address/1/0": {"street": "12 St James's Square",
                                                  "city": "London", "postal code": "SW1Y 4JH",
                                                  "country": "United Kingdom"},
    }
    return ["SDMessageProcessChanges", "com.apple.Contacts", batch, True]


def notes():
    batch = {"7": {"subject": "Shopping", "content": "milk\neggs \u2615",
                   "dateModified": datetime.datetime(2023, 3, 1, 12, 0, 5)}}
    return ["SDMessageProcessChanges", "com.apple.Notes", batch, False]


def main():
    out = sys.argv[1]
    os.makedirs(out, exist_ok=True)
    seeds = {
        "valid_contacts": plistlib.dumps(contacts(), fmt=plistlib.FMT_BINARY),
        "valid_contacts_last": plistlib.dumps(
            ["SDMessageProcessChanges", "com.apple.Contacts", {}, False], fmt=plistlib.FMT_BINARY),
        "valid_notes": plistlib.dumps(notes(), fmt=plistlib.FMT_BINARY),
        "valid_version": plistlib.dumps(["DLMessageVersionExchange", "DLVersionsOk", 300],
                                        fmt=plistlib.FMT_BINARY),
        "valid_scalars": plistlib.dumps([None, 1.5, -7, 2**64 - 1, b"\x00\xff", plistlib.UID(300),
                                         "x" * 40], fmt=plistlib.FMT_BINARY),
        "valid_true_42_bytes": assemble([b"\x09"]),
        "valid_wide_integer": assemble([b"\x14" + be(1, 8) + be(2, 8)]),
        "valid_uid_8_bytes": assemble([b"\x83" + be(0x0102030405060708, 8)]),
        "valid_real_single": assemble([b"\x22\x3f\x80\x00\x00"]),
        "valid_offset_width_0": assemble([b"\x09"], 0),
        "valid_ref_width_0": assemble([b"\x51z", b"\xa2"], 1, 0, 1),
        "hostile_version_01": assemble([b"\x09"]).replace(b"bplist00", b"bplist01"),
        "hostile_33_bytes": assemble([b"\x09"])[:33],
        "hostile_offset_size_9": assemble([b"\x09"], 9),
        "hostile_ref_size_9": assemble([b"\x09"], 1, 9),
        "hostile_num_objects_2_60": assemble([b"\x09"], 8, 1, 0, 1 << 60),
        "hostile_table_outside": assemble([b"\x09"], 1, 1, 0, None, 5000),
        "hostile_top_past_table": assemble([b"\x09"], 1, 1, 3),
        "hostile_ref_out_of_range": assemble([b"\xa1\x05"]),
        # Entry 1 of the offset table (the byte before the trailer) points past the end.
        "hostile_offset_out_of_range": patched(assemble([b"\xa1\x01", b"\x09"]), -33, 0xC8),
        "hostile_real_width_2": assemble([b"\x21\x00\x00"]),
        "hostile_date_width_4": assemble([b"\x32\x00\x00\x00\x00"]),
        "hostile_count_not_integer": assemble([b"\x5f\x51xx"]),
        "hostile_count_beyond_data": assemble([b"\x5f\x13" + be(1 << 40, 8) + b"ab"]),
        "hostile_negative_count": assemble([b"\x4f\x13" + b"\xff" * 8]),
        "hostile_utf16_count": assemble([b"\x6f\x10\x1e"]),
        "hostile_ref_list_beyond_data": assemble([b"\xaf\x12" + be(0xFFFFFF, 4)]),
        "hostile_key_not_string": assemble([b"\xd1\x01\x02", b"\x10\x01", b"\x09"]),
        "hostile_key_null": assemble([b"\xd1\x01\x02", b"\x00", b"\x09"]),
        "hostile_key_byte_ff": assemble([b"\xd1\x01\x02", b"\x52k\xff", b"\x09"]),
        "hostile_cycle": assemble([b"\xa1\x01", b"\xd1\x02\x00", b"\x51k"]),
        "hostile_deep_nesting": chain(600, 1),
        "hostile_exponential_sharing": chain(60, 2),
        "hostile_nan_date": assemble([b"\x33\x7f\xf8" + bytes(6)]),
        "hostile_integer_too_wide": assemble([b"\x1f\x00"]),
        # Many references to one large object: few objects, but far more decoded bytes
        # than the byte budget allows (a hostile Manifest.plist's shape, made small).
        "hostile_shared_large_data": assemble(
            [b"\xaf\x11" + be(1000, 2) + be(1, 2) * 1000, b"\x4f\x11" + be(16384, 2) + bytes(16384)],
            2, 2),
        "hostile_shared_wide_text": assemble(
            [b"\xaf\x11" + be(300, 2) + be(1, 2) * 300, b"\x6f\x11" + be(4000, 2) + b"\x00A" * 4000],
            2, 2),
    }
    for name, data in seeds.items():
        with open(os.path.join(out, name), "wb") as f:
            f.write(data)


if __name__ == "__main__":
    main()
