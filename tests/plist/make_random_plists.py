#!/usr/bin/env python3
"""Writes random binary property lists with plistlib, an independent writer, for the
reader's differential test: OUTDIR/NNN.bplist and OUTDIR/NNN.txt, the text form of the
tree the reader must decode, written as the test's Describe writes it.

usage: make_random_plists.py OUTDIR COUNT SEED
"""
import datetime
import os
import plistlib
import random
import struct
import sys

REFERENCE = datetime.datetime(2001, 1, 1)
ALPHABETS = [
    "abcdefghijklmnopqrstuvwxyz ABC/._-0123456789",
    "\x00\x01\x1f\x7f",
    "\u00e9\u00fc\u00df\u00c5",
    "\u4e2d\u6587\u0416\u05d0\u20ac",
    "\U0001F600\U0001D11E\U00010348",
]


def units(text):
    raw = text.encode("utf-16be")
    return [int.from_bytes(raw[i:i + 2], "big") for i in range(0, len(raw), 2)]


def quote(text):
    return '"' + "".join(chr(u) if 0x20 <= u < 0x7F and u not in (0x22, 0x5C) else "\\%x;" % u
                         for u in units(text)) + '"'


def bits(value):
    return struct.pack(">d", value).hex()


def describe(v):
    if v is None or isinstance(v, bool):
        return {None: "null", True: "true", False: "false"}[v]
    if isinstance(v, plistlib.UID):
        return "u%d" % v.data
    if isinstance(v, int):
        return "i%d" % (v - 2**64 if v >= 2**63 else v)
    if isinstance(v, float):
        return "r" + bits(v)
    if isinstance(v, datetime.datetime):
        f = (v - REFERENCE).total_seconds()
        w = REFERENCE + datetime.timedelta(seconds=int(f))
        return "d%s %02d-%02d-%d %02d:%02d:%02d" % (bits(f), w.month, w.day, w.year, w.hour,
                                                     w.minute, w.second)
    if isinstance(v, bytes):
        return "x" + v.hex()
    if isinstance(v, str):
        return ("a" if all(ord(c) < 128 for c in v) else "w") + quote(v)
    if isinstance(v, list):
        return "[" + ",".join(describe(e) for e in v) + "]"
    return "{" + ",".join(quote(k) + ":" + describe(v[k]) for k in sorted(v, key=units)) + "}"


class Generator:
    def __init__(self, rng):
        self.rng = rng
        self.finished = []  # containers that may be referred to a second time
        self.room = 300  # values still to make in this list

    def text(self, longest):
        rng = self.rng
        pools = rng.sample(ALPHABETS, rng.randint(1, 2))
        if rng.random() < 0.6:
            pools = [ALPHABETS[0]]
        length = rng.choice([0, 1, 2, rng.randint(0, 14), rng.randint(15, longest)])
        return "".join(rng.choice(rng.choice(pools)) for _ in range(length))

    def scalar(self):
        rng = self.rng
        kind = rng.choice(["none", "bool", "int", "int", "real", "date", "data", "str", "str",
                           "str", "uid"])
        if kind == "none":
            return None
        if kind == "bool":
            return rng.random() < 0.5
        if kind == "int":
            return rng.choice([rng.randint(0, 255), rng.randint(256, 65535),
                               rng.randint(65536, 2**32 - 1), rng.randint(2**32, 2**63 - 1),
                               rng.randint(2**63, 2**64 - 1), rng.randint(-2**63, -1)])
        if kind == "real":
            # No -0.0: plistlib shares it with an equal 0.0 written earlier.
            return rng.choice([rng.uniform(-1e6, 1e6), rng.uniform(-1e300, 1e300), 0.0,
                               float("inf"), float("-inf"), float("nan"), 1e-310])
        if kind == "date":
            seconds = rng.randint(-31 * 10**9, 31 * 10**9)  # about 1018 to 2983
            return REFERENCE + datetime.timedelta(
                seconds=seconds, microseconds=rng.choice([0, rng.randint(0, 999999)]))
        if kind == "data":
            return bytes(rng.randrange(256) for _ in range(rng.choice([0, 3, 14, 15, 40, 300])))
        if kind == "uid":  # plistlib writes wider UIDs with another width rule
            return plistlib.UID(rng.randint(0, 65535))
        return self.text(60)

    def value(self, depth):
        rng = self.rng
        self.room -= 1
        if self.finished and rng.random() < 0.05:
            return rng.choice(self.finished)
        if depth <= 0 or self.room <= 0 or rng.random() < 0.55:
            return self.scalar()
        size = rng.choice([0, 1, 3, rng.randint(0, 14), rng.randint(15, 40)])
        if rng.random() < 0.5:
            made = [self.value(depth - 1) for _ in range(size)]
        else:
            made = {}
            for _ in range(size):
                made[self.text(20)] = self.value(depth - 1)
        self.finished.append(made)
        return made


def main():
    outdir, count, seed = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
    os.makedirs(outdir, exist_ok=True)
    rng = random.Random(seed)
    for i in range(count):
        generator = Generator(rng)
        if i % 50 == 49:  # wide references and offsets: over 255 objects, over 64 KiB
            root = [generator.scalar() for _ in range(400)] + ["y" * 70000]
        else:
            root = generator.value(rng.randint(0, 5))
        with open(os.path.join(outdir, "%03d.bplist" % i), "wb") as f:
            f.write(plistlib.dumps(root, fmt=plistlib.FMT_BINARY))
        with open(os.path.join(outdir, "%03d.txt" % i), "w") as f:
            f.write(describe(root))


if __name__ == "__main__":
    main()
