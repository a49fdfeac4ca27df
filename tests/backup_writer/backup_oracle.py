"""Reads a backup written by veldrake-devicesim with tools nobody here wrote: hashlib for
the file names, plistlib for the property lists and file records, sqlite3 for the
databases, zlib for the note bodies and python3-cryptography for the keybag and ciphers.
Shared by the checks in check_backup.py."""
import hashlib
import os
import plistlib
import shutil
import sqlite3
import struct
import tempfile
import zlib

from cryptography.hazmat.primitives.ciphers import Cipher, algorithms, modes
from cryptography.hazmat.primitives.keywrap import aes_key_unwrap


def file_id(domain, path):
    return hashlib.sha1(f"{domain}-{path}".encode()).hexdigest()


def load_plist(path):
    with open(path, "rb") as f:
        return plistlib.load(f)


def parse_tlv(blob):
    """The keybag: 4-byte tag, 4-byte big-endian length, value."""
    items, pos = [], 0
    while pos < len(blob):
        tag, length = blob[pos:pos + 4].decode(), struct.unpack(">I", blob[pos + 4:pos + 8])[0]
        items.append((tag, blob[pos + 8:pos + 8 + length]))
        pos += 8 + length
    return items


def class_keys(keybag, password):
    """Unwraps every class key; the unwrap's integrity check fails on a wrong password."""
    items = parse_tlv(keybag)
    head = {}
    for tag, value in items:
        if tag == "UUID" and "UUID" in head:
            break
        head[tag] = value
    num = lambda v: struct.unpack(">I", v)[0]
    first = hashlib.pbkdf2_hmac("sha256", password.encode(), head["DPSL"], num(head["DPIC"]), 32)
    passcode = hashlib.pbkdf2_hmac("sha1", first, head["SALT"], num(head["ITER"]), 32)
    keys, current = {}, None
    for tag, value in items[len(head):]:
        if tag == "CLAS":
            current = num(value)
        elif tag == "WPKY":
            keys[current] = aes_key_unwrap(passcode, value)
    return head, keys


def decrypt(key, data, size=None):
    plain = Cipher(algorithms.AES(key), modes.CBC(b"\0" * 16)).decryptor()
    out = plain.update(data) + plain.finalize()
    pad = out[-1]
    assert 1 <= pad <= 16 and out[-pad:] == bytes([pad]) * pad, "bad PKCS#7 padding"
    out = out[:-pad]
    assert size is None or len(out) == size, (len(out), size)
    return out


def unwrap_stored(keys, stored):
    """4-byte little-endian class, then a wrapped key."""
    return aes_key_unwrap(keys[struct.unpack("<I", stored[:4])[0]], stored[4:])


def mbfile(blob):
    """The MBFile of an NSKeyedArchiver record, with its UIDs resolved one level."""
    archive = plistlib.loads(blob)
    assert archive["$archiver"] == "NSKeyedArchiver" and archive["$version"] == 100000
    objects = archive["$objects"]
    assert objects[0] == "$null"
    root = objects[archive["$top"]["root"].data]
    record = dict(root)
    record["$classname"] = objects[root["$class"].data]["$classname"]
    record["RelativePath"] = objects[root["RelativePath"].data]
    if "EncryptionKey" in root:
        record["EncryptionKey"] = objects[root["EncryptionKey"].data]["NS.data"]
    return record


class Backup:
    """One backup folder, opened: plain copies of its files in a private folder."""

    def __init__(self, folder, password=None):
        self.folder = folder
        self.scratch = tempfile.mkdtemp()
        self.manifest = load_plist(os.path.join(folder, "Manifest.plist"))
        self.keys = None
        manifest_db = os.path.join(folder, "Manifest.db")
        if self.manifest["IsEncrypted"]:
            self.head, self.keys = class_keys(self.manifest["BackupKeyBag"], password)
            key = unwrap_stored(self.keys, self.manifest["ManifestKey"])
            with open(manifest_db, "rb") as f:
                plain = decrypt(key, f.read())
            manifest_db = os.path.join(self.scratch, "Manifest.db")
            with open(manifest_db, "wb") as f:
                f.write(plain)
        db = sqlite3.connect(manifest_db)
        self.rows = db.execute("SELECT fileID, domain, relativePath, flags, file FROM Files").fetchall()
        db.close()

    def close(self):
        shutil.rmtree(self.scratch)

    def content(self, domain, path):
        for file_id_, d, p, flags, blob in self.rows:
            if (d, p) == (domain, path):
                record = mbfile(blob)
                with open(os.path.join(self.folder, file_id_[:2], file_id_), "rb") as f:
                    data = f.read()
                if self.keys is None:
                    assert len(data) == record["Size"]
                    return data
                return decrypt(unwrap_stored(self.keys, record["EncryptionKey"]), data, record["Size"])
        raise KeyError(f"{domain}-{path}")

    def database(self, domain, path, companions=()):
        """The database as a plain file beside its companions (-wal, -shm)."""
        target = os.path.join(self.scratch, os.path.basename(path))
        for suffix in ("",) + tuple(companions):
            with open(target + suffix, "wb") as f:
                f.write(self.content(domain, path + suffix))
        return sqlite3.connect(target)


def varint(data, pos):
    value = shift = 0
    while True:
        byte = data[pos]
        value |= (byte & 0x7F) << shift
        pos += 1
        shift += 7
        if byte < 0x80:
            return value, pos


def proto_fields(data):
    """(field, value) pairs of one message: varints as ints, length-delimited and fixed-size
    values as bytes."""
    fields, pos = [], 0
    while pos < len(data):
        key, pos = varint(data, pos)
        if key & 7 == 0:
            value, pos = varint(data, pos)
        elif key & 7 == 2:
            length, pos = varint(data, pos)
            value, pos = data[pos:pos + length], pos + length
        elif key & 7 in (1, 5):
            size = 8 if key & 7 == 1 else 4
            value, pos = data[pos:pos + size], pos + size
        else:
            raise ValueError(f"wire type {key & 7}")
        fields.append((key >> 3, value))
    return fields


def field(fields, number):
    return [value for n, value in fields if n == number]


def note_body(gzipped):
    """(text, [(run length, style type or None)]) of a note body."""
    document = field(proto_fields(zlib.decompress(gzipped, 16 + 15)), 2)[0]
    note = proto_fields(field(proto_fields(document), 3)[0])
    runs = []
    for run in field(note, 5):
        fields = proto_fields(run)
        styles = field(fields, 2)
        style = field(proto_fields(styles[0]), 1)[0] if styles else None
        runs.append((field(fields, 1)[0], style))
    return field(note, 2)[0].decode(), runs
