#!/usr/bin/env python3
"""Makes book.vcf: five people with photos drawn here (faces.html, rendered by
chromium-headless-shell), groups and two accounts beside the phone's own.
Run from this folder, as root: python3 make_book.py"""
import base64
import os
import re
import subprocess

HERE = os.path.dirname(os.path.abspath(__file__))


def pictures():
    dom = subprocess.run(["chromium-headless-shell", "--no-sandbox", "--headless", "--disable-gpu",
                          "--dump-dom", "file://" + os.path.join(HERE, "faces.html")],
                         capture_output=True, text=True, timeout=60, check=True).stdout
    return {m.group(1): base64.b64decode(m.group(2))
            for m in re.finditer(r"([ABC]) data:image/\w+;base64,([A-Za-z0-9+/=]+)", dom)}


def fold(line):
    """vCard folding at 75 octets (the pieces here are ASCII where they are long)."""
    pieces, rest = [], line.encode()
    while len(rest) > 75:
        cut = 75 if not pieces else 74
        pieces.append(rest[:cut].decode())
        rest = rest[cut:]
    return "\r\n ".join(pieces + [rest.decode()])


def cards(p):
    b64 = lambda name: base64.b64encode(p[name]).decode()
    return [
        ["VERSION:3.0", "N:Andersen;Jonas;;;", "FN:Jonas Andersen", "TEL;TYPE=CELL:+45 20 12 34 56",
         "EMAIL;TYPE=HOME:jonas@example.dk", "CATEGORIES:Family,Climbing",
         "X-VELDRAKE-ACCOUNT;TYPE=icloud:iCloud", "PHOTO;ENCODING=b;TYPE=JPEG:" + b64("A"),
         "X-ABCROP-RECTANGLE:ABClipRect_1&8&8&80&80&ZmFjZQ=="],
        ["VERSION:4.0", "N:Schulz;Hanna;;;", "FN:Hanna Schulz", "TEL;TYPE=work:+49 30 1234567",
         "CATEGORIES:Work\\, Berlin", "X-VELDRAKE-ACCOUNT;TYPE=google:hanna.schulz@gmail.com",
         "PHOTO:data:image/png;base64," + b64("B")],
        ["VERSION:3.0", "N:Kato;Mei;;;", "FN:Mei Kato", "EMAIL;TYPE=WORK:mei@example.jp",
         "CATEGORIES:Work\\, Berlin,Climbing", "X-VELDRAKE-ACCOUNT;TYPE=icloud:iCloud",
         "PHOTO;ENCODING=b;TYPE=JPEG:" + b64("C")],
        ["VERSION:3.0", "N:Ó Briain;Siobhán;;;", "FN:Siobhán Ó Briain",
         "TEL;TYPE=HOME:+353 1 555 0199", "CATEGORIES:Family"],
        ["VERSION:3.0", "N:Novak;Petr;;;", "FN:Petr Novak",
         "NOTE:No photo, no group: on the phone itself."],
    ]


if __name__ == "__main__":
    text = "".join("BEGIN:VCARD\r\n" + "".join(fold(line) + "\r\n" for line in card) + "END:VCARD\r\n"
                   for card in cards(pictures()))
    with open(os.path.join(HERE, "book.vcf"), "w", encoding="utf-8", newline="") as f:
        f.write(text)
