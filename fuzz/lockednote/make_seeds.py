#!/usr/bin/python3
"""Writes the lockednote fuzz target's seeds into fuzz/corpus/lockednote: note bodies sealed
with the password "pw" the way a phone seals a locked note (PBKDF2-SHA256, RFC 3394 wrap,
AES-128-GCM), in the target's input layout, and broken ones beside them.
Run from the repository root: /usr/bin/python3 fuzz/lockednote/make_seeds.py"""
import gzip
import os

from cryptography.hazmat.primitives import hashes
from cryptography.hazmat.primitives.ciphers.aead import AESGCM
from cryptography.hazmat.primitives.kdf.pbkdf2 import PBKDF2HMAC
from cryptography.hazmat.primitives.keywrap import aes_key_wrap

OUT = "fuzz/corpus/lockednote"
ROUNDS = 3  # the input's first byte 2 means 1 + 2 % 8 = 3 rounds


def field(number, payload):
    key, length = bytes([number << 3 | 2]), len(payload)
    varint = b""
    while True:
        varint += bytes([length & 0x7F | (0x80 if length > 0x7F else 0)])
        length >>= 7
        if not length:
            break
    return key + varint + payload


def body(text):
    note = field(2, text.encode()) + field(5, bytes([8, len(text)]))
    return gzip.compress(field(2, field(3, note)))


def seal(password, plain, iv_length=16):
    salt, key, iv = os.urandom(16), os.urandom(16), os.urandom(iv_length)
    kek = PBKDF2HMAC(hashes.SHA256(), 16, salt, ROUNDS).derive(password.encode())
    sealed = AESGCM(key).encrypt(iv, plain, None)
    data, tag = sealed[:-16], sealed[-16:]
    return bytes([2]) + salt + aes_key_wrap(kek, key) + bytes([iv_length]) + iv + bytes([16]) + tag + data


def main():
    os.makedirs(OUT, exist_ok=True)
    seeds = {
        "opens": seal("pw", body("Diary\nsecret things")),
        "empty_password": seal("", body("T\nx")),
        "iv_12": seal("pw", body("T\ntwelve"), 12),
        "wrong_password": seal("other", body("T\nx")),
        "data_shorter_than_tag": seal("pw", b"abcde"),
        "not_gzip": seal("pw", b"plain bytes, no gzip"),
    }
    flipped = bytearray(seeds["opens"])
    flipped[1 + 16 + 24 + 1 + 16] ^= 1  # the tag's first byte
    seeds["tag_flipped"] = bytes(flipped)
    seeds["wrapped_cut_short"] = seeds["opens"][:1 + 16 + 7]
    for name, data in seeds.items():
        with open(os.path.join(OUT, name), "wb") as out:
            out.write(data)


main()
