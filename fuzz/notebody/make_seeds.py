#!/usr/bin/env python3
"""Writes the seed corpus of the notebody fuzz target: gzip-compressed note bodies
(NoteStoreProto messages encoded here by hand) with every paragraph style, links,
attachments and emoji, the same bodies uncompressed, a few damaged ones, and legacy HTML
bodies. usage: make_seeds.py OUTDIR"""
import gzip
import os
import sys
import zlib


def varint(value):
    out = bytearray()
    while True:
        byte = value & 0x7F
        value >>= 7
        out.append(byte | (0x80 if value else 0))
        if not value:
            return bytes(out)


def field_varint(number, value):
    return varint(number << 3) + varint(value)


def field_bytes(number, payload):
    return varint(number << 3 | 2) + varint(len(payload)) + payload


def run(text, style=None, indent=0, checked=None, link=None, uti=None):
    out = field_varint(1, len(text.encode("utf-16-le")) // 2)
    paragraph = b""
    if style is not None:
        paragraph += field_varint(1, style)
    if indent:
        paragraph += field_varint(4, indent)
    if checked is not None:
        paragraph += field_bytes(5, field_bytes(1, b"\x01" * 16) + field_varint(2, checked))
    if paragraph:
        out += field_bytes(2, paragraph)
    if link:
        out += field_bytes(9, link.encode())
    if uti is not None:
        out += field_bytes(12, field_bytes(1, b"ID") + field_bytes(2, uti.encode()))
    return field_bytes(5, out)


def note(runs):
    text = "".join(r[0] for r in runs)
    body = field_bytes(2, text.encode()) + b"".join(run(*r) for r in runs)
    document = field_varint(2, 0) + field_bytes(3, body)
    return field_varint(1, 0) + field_bytes(2, document)


BODIES = {
    "plain": note([("Title\nSome text\n",)]),
    "styles": note([("T\n", 0), ("Head\n", 1), ("Sub\n", 2), ("code\n", 4), ("a\n", 100),
                    ("b\n", 101, 1), ("c\n", 102), ("d\n", 102, 2), ("e", 103, 0, 1)]),
    "links_emoji": note([("T\n\U0001F600 ",), ("link", None, 0, None, "https://example.org"),
                         (" \uFFFC",), ("\uFFFC", None, 0, None, None, "public.jpeg")]),
}


def main(outdir):
    os.makedirs(outdir, exist_ok=True)
    seeds = {}
    for name, body in BODIES.items():
        seeds[name + ".gz"] = gzip.compress(body, mtime=0)
        seeds[name + ".zlib"] = zlib.compress(body)
        seeds[name + ".raw"] = body
    # No runs: the text comes back exactly, bytes that are not UTF-8 replaced.
    bare = field_bytes(2, field_bytes(3, field_bytes(2, b"T\nline \xff\x00two\n")))
    seeds["no_runs.gz"] = gzip.compress(bare, mtime=0)
    seeds["truncated.gz"] = seeds["styles.gz"][:40]
    seeds["bomb.gz"] = gzip.compress(b"\0" * (2 << 20), mtime=0)
    seeds["length_past_end.raw"] = field_bytes(2, field_bytes(3, b"\x12\x7f" + b"x" * 4))
    seeds["legacy.html"] = (b"Title<div>line &amp; more</div><ul><li>a</li><ol><li>b</li></ol>"
                            b"</ul><h2>h</h2><a href='u'>x</a><img src=x>&#x1F600;<!-- c -->")
    for name, data in seeds.items():
        with open(os.path.join(outdir, name), "wb") as f:
            f.write(data)


if __name__ == "__main__":
    main(sys.argv[1])
