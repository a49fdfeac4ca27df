#!/usr/bin/env python3
"""Writes random binary property lists with plistlib, an independent writer, each with
a JSON description of its tree, for the reader's differential test.

usage: make_random_plists.py OUTDIR COUNT SEED

For each i: OUTDIR/NNN.bplist and OUTDIR/NNN.json. The description gives every value
in the form the reader must produce: integers as signed 64-bit decimals, reals and dates
as the bits of their double, strings as UTF-16 code units (or one unit repeated: "fill", "n"), dates also as the text
"%m-%d-%Y %H:%M:%S" of their whole seconds truncated toward the reference instant.
"""
import datetime
import json
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


def bits(value):
    return struct.pack(">d", value).hex()


def units(text):
    raw = text.encode("utf-16be")
    return [int.from_bytes(raw[i:i + 2], "big") for i in range(0, len(raw), 2)]


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
            return None, {"t": "null"}
        if kind == "bool":
            v = rng.random() < 0.5
            return v, {"t": "bool", "v": v}
        if kind == "int":
            v = rng.choice([rng.randint(0, 255), rng.randint(256, 65535),
                            rng.randint(65536, 2**32 - 1), rng.randint(2**32, 2**63 - 1),
                            rng.randint(2**63, 2**64 - 1), rng.randint(-2**63, -1)])
            signed = v - 2**64 if v >= 2**63 else v
            return v, {"t": "int", "v": str(signed)}
        if kind == "real":
            # No -0.0: plistlib shares it with an equal 0.0 written earlier.
            v = rng.choice([rng.uniform(-1e6, 1e6), rng.uniform(-1e300, 1e300), 0.0,
                            float("inf"), float("-inf"), float("nan"), 1e-310])
            return v, {"t": "real", "bits": bits(v)}
        if kind == "date":
            seconds = rng.randint(-31 * 10**9, 31 * 10**9)  # about 1018 to 2983
            v = REFERENCE + datetime.timedelta(seconds=seconds,
                                               microseconds=rng.choice([0, rng.randint(0, 999999)]))
            f = (v - REFERENCE).total_seconds()
            whole = REFERENCE + datetime.timedelta(seconds=int(f))
            text = "%02d-%02d-%d %02d:%02d:%02d" % (whole.month, whole.day, whole.year,
                                                    whole.hour, whole.minute, whole.second)
            return v, {"t": "date", "bits": bits(f), "text": text}
        if kind == "data":
            v = bytes(rng.randrange(256) for _ in range(rng.choice([0, 3, 14, 15, 40, 300])))
            return v, {"t": "data", "hex": v.hex()}
        if kind == "uid":  # plistlib writes wider UIDs with another width rule
            v = rng.randint(0, 65535)
            return plistlib.UID(v), {"t": "uid", "v": v}
        v = self.text(60)
        if all(ord(c) < 128 for c in v):
            return v, {"t": "ascii", "u": units(v)}
        return v, {"t": "utf16", "u": units(v)}

    def value(self, depth):
        rng = self.rng
        self.room -= 1
        if self.finished and rng.random() < 0.05:
            return rng.choice(self.finished)
        if depth <= 0 or self.room <= 0 or rng.random() < 0.55:
            return self.scalar()
        size = rng.choice([0, 1, 3, rng.randint(0, 14), rng.randint(15, 40)])
        if rng.random() < 0.5:
            pairs = [self.value(depth - 1) for _ in range(size)]
            made = ([p[0] for p in pairs], {"t": "array", "v": [p[1] for p in pairs]})
        else:
            entries = {}
            for _ in range(size):
                entries[self.text(20)] = self.value(depth - 1)
            made = ({k: v[0] for k, v in entries.items()},
                    {"t": "dict", "k": [units(k) for k in entries],
                     "v": [v[1] for v in entries.values()]})
        self.finished.append(made)
        return made


def main():
    outdir, count, seed = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
    os.makedirs(outdir, exist_ok=True)
    rng = random.Random(seed)
    for i in range(count):
        generator = Generator(rng)
        if i % 50 == 49:  # wide references and offsets: over 255 objects, over 64 KiB
            items = [generator.scalar() for _ in range(400)]
            items.append(("y" * 70000, {"t": "ascii", "fill": ord("y"), "n": 70000}))
            root = ([v for v, _ in items], {"t": "array", "v": [d for _, d in items]})
        else:
            root = generator.value(rng.randint(0, 5))
        data = plistlib.dumps(root[0], fmt=plistlib.FMT_BINARY)
        with open(os.path.join(outdir, "%03d.bplist" % i), "wb") as f:
            f.write(data)
        with open(os.path.join(outdir, "%03d.json" % i), "w") as f:
            json.dump(root[1], f)


if __name__ == "__main__":
    main()
