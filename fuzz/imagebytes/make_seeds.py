#!/usr/bin/env python3
"""Seeds for fuzz_imagebytes: a small whole JPEG, PNG and HEIC (structure only), each also
cut short and with its size fields zeroed. Usage: make_seeds.py OUT-DIR"""
import os
import sys
import zlib


def be(n, width):
    return n.to_bytes(width, "big")


def jpeg(w, h):
    seg = lambda marker, body: b"\xff" + bytes([marker]) + be(len(body) + 2, 2) + body
    return (b"\xff\xd8" + seg(0xE0, b"JFIF\0\1\1\0\0\1\0\1\0\0") +
            seg(0xC0, b"\x08" + be(h, 2) + be(w, 2) + b"\x03\x01\x11\0\x02\x11\x01\x03\x11\x01") +
            seg(0xDA, b"\x03\x01\0\x02\x11\x03\x11\0\x3f\0") + bytes(range(1, 60)) + b"\xff\xd9")


def png(w, h):
    chunk = lambda kind, data: be(len(data), 4) + kind + data + be(zlib.crc32(kind + data), 4)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", be(w, 4) + be(h, 4) + b"\x08\x02\0\0\0") +
            chunk(b"IDAT", zlib.compress(bytes(3 * w * h + h))) + chunk(b"IEND", b""))


def heic(w, h):
    box = lambda kind, body: be(len(body) + 8, 4) + kind + body
    ispe = box(b"ispe", bytes(4) + be(w, 4) + be(h, 4))
    return (box(b"ftyp", b"heic\0\0\0\0mif1heic") + box(b"meta", bytes(4) + box(b"iprp", box(b"ipco", ispe))) +
            box(b"mdat", bytes(range(40))))


if __name__ == "__main__":
    out = sys.argv[1]
    os.makedirs(out, exist_ok=True)
    for name, data in (("jpeg", jpeg(16, 9)), ("png", png(3, 2)), ("heic", heic(64, 48))):
        for variant, body in (("whole", data), ("cut", data[:len(data) * 2 // 3]),
                              ("zero", data.replace(be(16, 2), bytes(2)).replace(be(3, 4), bytes(4))
                               .replace(be(64, 4), bytes(4)))):
            with open(os.path.join(out, f"{name}-{variant}"), "wb") as f:
                f.write(body)
