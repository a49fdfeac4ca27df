#!/usr/bin/env python3
"""Loads every .bplist the writer produced with plistlib and compares it with the
.json description written beside it. Also checks the layout promises plistlib does not
see: root first after the header, and the narrowest reference and offset widths."""
import datetime
import json
import os
import plistlib
import struct
import subprocess
import sys
import tempfile

EPOCH = datetime.datetime(2001, 1, 1, tzinfo=datetime.timezone.utc)


def expected(node):
    t, v = node["t"], node["v"]
    if t in ("bool", "int", "real", "str"):
        return v
    if t == "date":
        return (EPOCH + datetime.timedelta(seconds=v)).replace(tzinfo=None)
    if t == "data":
        return bytes.fromhex(v)
    if t == "uid":
        return plistlib.UID(v)
    if t == "array":
        return [expected(x) for x in v]
    return {k: expected(x) for k, x in v.items()}


def width(n):
    return 1 if n < 1 << 8 else 2 if n < 1 << 16 else 4 if n < 1 << 32 else 8


def check_layout(raw, name):
    offset_size, ref_size, count, top, table = struct.unpack(">6xBBQQQ", raw[-32:])
    offsets = [int.from_bytes(raw[table + i * offset_size:table + (i + 1) * offset_size], "big")
               for i in range(count)]
    assert top == 0 and offsets[0] == 8, name + ": the root is not object 0 right after the header"
    assert ref_size == width(count - 1), name + ": reference width %d for %d objects" % (ref_size, count)
    assert offset_size == width(max(offsets)), name + ": offset width %d" % offset_size


def main(writer, workdir):
    count = 300
    subprocess.run([writer, workdir, str(count), "20240601"], check=True)
    for i in range(count):
        name = os.path.join(workdir, "%d" % i)
        raw = open(name + ".bplist", "rb").read()
        want = expected(json.load(open(name + ".json", encoding="utf-8")))
        got = plistlib.loads(raw)
        if got != want:
            print("%s.bplist: plistlib read\n  %r\nexpected\n  %r" % (name, got, want))
            return 1
        check_layout(raw, name)
    print("plistlib loaded %d written lists to the expected values" % count)
    return 0


if __name__ == "__main__":
    with tempfile.TemporaryDirectory() as tmp:
        sys.exit(main(sys.argv[1], tmp))
