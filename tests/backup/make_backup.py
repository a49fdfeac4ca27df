#!/usr/bin/env python3
"""Writes a phone backup folder from a JSON description on stdin, independently of the
library's reader: plistlib for the property lists and the file records, sqlite3 for the
databases, hashlib and `cryptography` for the keybag and the encryption. It follows the
published descriptions of the layout, so a reader that agrees with it agrees with them.

Usage: make_backup.py OUT_DIR < recipe.json; the backup goes to OUT_DIR/<udid>/. The JSON
is one recipe, or a list of recipes, each then written under OUT_DIR/<its "dir">/<udid>/.
Recipe keys (all optional):
  udid, name, version          the phone's values
  password                     encrypt with it (sha256/sha1 iteration counts: iterations)
  book_sql                     statements run on a fresh address book (schema made here)
  wal_sql                      statements that stay in the write-ahead log only
  status                       SnapshotState (default "finished")
  file_id                      overrides the address book's fileID in Manifest.db
  drop_content                 leaves the address book's content file out
  truncate_content             cuts the content file to this many bytes
  bad_manifest_key             writes a ManifestKey of the wrong length
  keybag                       hex of a keybag to write instead of the real one
  wal_size                     records the write-ahead log as this long and extends its
                               file to it, sparsely (a hostile log costs no disk here)
  pad_content                  appends this many bytes to the address book's content
                               file after its size was recorded
  notes_sql                    statements run on an empty NoteStore.sqlite, which the
                               backup then holds (no schema is made: the recipe's own)
"""
import datetime
import hashlib
import json
import os
import plistlib
import shutil
import sqlite3
import struct
import sys
import tempfile

from cryptography.hazmat.primitives import padding
from cryptography.hazmat.primitives.ciphers import Cipher, algorithms, modes
from cryptography.hazmat.primitives.keywrap import aes_key_wrap

SCHEMA = """
CREATE TABLE ABPerson (ROWID INTEGER PRIMARY KEY AUTOINCREMENT, First TEXT, Last TEXT,
  Middle TEXT, FirstPhonetic TEXT, MiddlePhonetic TEXT, LastPhonetic TEXT, Organization TEXT,
  Department TEXT, Note TEXT, Kind INTEGER, Birthday TEXT, JobTitle TEXT, Nickname TEXT,
  Prefix TEXT, Suffix TEXT, FirstSort TEXT, LastSort TEXT, CreationDate INTEGER,
  ModificationDate INTEGER);
CREATE TABLE ABMultiValue (UID INTEGER PRIMARY KEY, record_id INTEGER, property INTEGER,
  identifier INTEGER, label INTEGER, value TEXT);
CREATE TABLE ABMultiValueLabel (value TEXT, UNIQUE(value));
CREATE TABLE ABMultiValueEntry (parent_id INTEGER, key INTEGER, value TEXT);
CREATE TABLE ABMultiValueEntryKey (value TEXT, UNIQUE(value));
"""
CLASS = 3  # the protection class the address book's files get
HOME = "HomeDomain"
NOTES_DOMAIN = "AppDomainGroup-group.com.apple.notes"
BOOK = "Library/AddressBook/AddressBook.sqlitedb"


def tlv(tag, value):
    if isinstance(value, int):
        value = struct.pack(">I", value)
    return tag.encode() + struct.pack(">I", len(value)) + value


def cbc(key, data):
    padder = padding.PKCS7(128).padder()
    plain = padder.update(data) + padder.finalize()
    enc = Cipher(algorithms.AES(key), modes.CBC(b"\0" * 16)).encryptor()
    return enc.update(plain) + enc.finalize()


class Keys:
    def __init__(self, password, iterations):
        self.salt, self.dpsl = os.urandom(20), os.urandom(20)
        self.dpic, self.iter = iterations
        first = hashlib.pbkdf2_hmac("sha256", password.encode(), self.dpsl, self.dpic, 32)
        self.passcode = hashlib.pbkdf2_hmac("sha1", first, self.salt, self.iter, 32)
        self.classes = {c: os.urandom(32) for c in (1, 2, 3, 4)}

    def keybag(self):
        bag = tlv("VERS", 3) + tlv("TYPE", 1) + tlv("UUID", os.urandom(16))
        bag += tlv("HMCK", os.urandom(40)) + tlv("WRAP", 0) + tlv("SALT", self.salt)
        bag += tlv("ITER", self.iter) + tlv("DPWT", 1) + tlv("DPIC", self.dpic)
        bag += tlv("DPSL", self.dpsl)
        for c, key in self.classes.items():
            bag += tlv("UUID", os.urandom(16)) + tlv("CLAS", c) + tlv("WRAP", 2)
            bag += tlv("KTYP", 0) + tlv("WPKY", aes_key_wrap(self.passcode, key))
        return bag

    def wrapped_file_key(self, key):
        return struct.pack("<I", CLASS) + aes_key_wrap(self.classes[CLASS], key)


def mbfile(path, size, wrapped):
    root = {"$class": plistlib.UID(3), "RelativePath": plistlib.UID(2), "Size": size,
            "ProtectionClass": CLASS, "Mode": 0o100644, "Birth": 0, "LastModified": 0,
            "LastStatusChange": 0, "InodeNumber": 1, "UserID": 501, "GroupID": 501,
            "Flags": 0}
    objects = ["$null", root, path, {"$classname": "MBFile", "$classes": ["MBFile", "NSObject"]}]
    if wrapped is not None:
        root["EncryptionKey"] = plistlib.UID(4)
        objects.append({"NS.data": wrapped, "$class": plistlib.UID(5)})
        objects.append({"$classname": "NSMutableData", "$classes": ["NSMutableData", "NSData"]})
    return plistlib.dumps({"$archiver": "NSKeyedArchiver", "$version": 100000,
                           "$top": {"root": plistlib.UID(1)}, "$objects": objects},
                          fmt=plistlib.FMT_BINARY)


def make_book(work, recipe):
    """The address book's bytes and, when wal_sql is given, its write-ahead log's."""
    path = os.path.join(work, "book.sqlite")
    db = sqlite3.connect(path, isolation_level=None)
    db.executescript(SCHEMA)
    for statement in recipe.get("book_sql", []):
        db.execute(statement)
    if not recipe.get("wal_sql"):
        db.close()
        return open(path, "rb").read(), None
    db.execute("PRAGMA journal_mode=WAL")
    db.execute("PRAGMA wal_autocheckpoint=0")
    for statement in recipe["wal_sql"]:
        db.execute(statement)
    # Read while the connection is open: closing would fold the log into the database.
    main, wal = open(path, "rb").read(), open(path + "-wal", "rb").read()
    db.close()
    return main, wal


def make_notes(work, recipe):
    path = os.path.join(work, "NoteStore.sqlite")
    db = sqlite3.connect(path, isolation_level=None)
    for statement in recipe["notes_sql"]:
        db.execute(statement)
    db.close()
    return open(path, "rb").read()


def write_files(folder, recipe, keys, files):
    manifest = sqlite3.connect(os.path.join(folder, "Manifest.db"), isolation_level=None)
    manifest.executescript("CREATE TABLE Files (fileID TEXT PRIMARY KEY, domain TEXT, "
                           "relativePath TEXT, flags INTEGER, file BLOB);"
                           "CREATE TABLE Properties (key TEXT PRIMARY KEY, value BLOB);")
    for domain, rel, data in files:
        file_id = hashlib.sha1(f"{domain}-{rel}".encode()).hexdigest()
        if rel == BOOK and "file_id" in recipe:
            file_id = recipe["file_id"]
        wrapped, content = None, data
        if keys:
            key = os.urandom(32)
            wrapped, content = keys.wrapped_file_key(key), cbc(key, data)
        if rel == BOOK and "truncate_content" in recipe:
            content = content[:recipe["truncate_content"]]
        size = recipe["wal_size"] if rel == BOOK + "-wal" and "wal_size" in recipe else len(data)
        if rel == BOOK:
            content += b"\0" * recipe.get("pad_content", 0)
        manifest.execute("INSERT INTO Files VALUES (?, ?, ?, 1, ?)",
                         (file_id, domain, rel, mbfile(rel, size, wrapped)))
        if rel == BOOK and recipe.get("drop_content"):
            continue
        if len(file_id) >= 2 and "/" not in file_id:
            os.makedirs(os.path.join(folder, file_id[:2]), exist_ok=True)
            with open(os.path.join(folder, file_id[:2], file_id), "wb") as out:
                out.write(content)
                if size > len(data):
                    out.truncate(size)
    manifest.close()


def write_plists(folder, recipe, keys, manifest_key):
    udid = recipe.get("udid", "00008110-000A1B2C3D4E5F60")
    name, version = recipe.get("name", "Test Phone"), recipe.get("version", "17.5")
    date = datetime.datetime(2024, 5, 6, 7, 8, 9)
    lockdown = {"ProductVersion": version, "UniqueDeviceID": udid, "DeviceName": name}
    manifest = {"IsEncrypted": keys is not None, "Version": "10.0", "Date": date,
                "WasPasscodeSet": False, "Lockdown": lockdown, "Applications": {}}
    if keys:
        manifest["BackupKeyBag"] = bytes.fromhex(recipe["keybag"]) if "keybag" in recipe \
            else keys.keybag()
        manifest["ManifestKey"] = manifest_key
    info = {"Device Name": name, "Display Name": name, "Product Version": version,
            "Unique Identifier": udid, "Target Identifier": udid, "Last Backup Date": date,
            "Product Type": "iPhone14,5", "Serial Number": "F00000000000", "GUID": "0" * 32}
    status = {"SnapshotState": recipe.get("status", "finished"), "IsFullBackup": False,
              "UUID": "0" * 32, "Date": date, "Version": "3.3", "BackupState": "new"}
    for file, value, fmt in (("Manifest.plist", manifest, plistlib.FMT_BINARY),
                             ("Info.plist", info, plistlib.FMT_XML),
                             ("Status.plist", status, plistlib.FMT_BINARY)):
        with open(os.path.join(folder, file), "wb") as out:
            plistlib.dump(value, out, fmt=fmt)


def write_backup(out, recipe):
    folder = os.path.join(out, recipe.get("dir", ""), recipe.get("udid", "00008110-000A1B2C3D4E5F60"))
    os.makedirs(folder, exist_ok=True)
    keys = Keys(recipe["password"], recipe.get("iterations", [1000, 100])) \
        if recipe.get("password") else None
    work = tempfile.mkdtemp()
    try:
        main_db, wal = make_book(work, recipe)
        notes = make_notes(work, recipe) if "notes_sql" in recipe else None
    finally:
        shutil.rmtree(work)
    files = [(HOME, BOOK, main_db)] + ([(HOME, BOOK + "-wal", wal)] if wal else [])
    files += [(NOTES_DOMAIN, "NoteStore.sqlite", notes)] if notes else []
    write_files(folder, recipe, keys, files)
    manifest_key = None
    if keys:
        db_key = os.urandom(32)
        path = os.path.join(folder, "Manifest.db")
        data = open(path, "rb").read()
        with open(path, "wb") as out:
            out.write(cbc(db_key, data))
        manifest_key = keys.wrapped_file_key(db_key)
        if recipe.get("bad_manifest_key"):
            manifest_key = manifest_key[:20]
    write_plists(folder, recipe, keys, manifest_key)


def main():
    recipes = json.load(sys.stdin)
    for recipe in recipes if isinstance(recipes, list) else [recipes]:
        write_backup(sys.argv[1], recipe)


if __name__ == "__main__":
    main()
