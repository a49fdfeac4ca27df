#!/usr/bin/python3
"""Writes the notetable fuzz target's seeds into fuzz/corpus/notetable: the stored table
documents (gzip) of a plain backup the emulator wrote of samples/noteset with its hostile
notes, named after their notes. Run from the repository root:
  build/debug/emulator/veldrake-devicesim --notes samples/noteset --notes-faults --write-backup /tmp/nt
  /usr/bin/python3 fuzz/notetable/make_seeds.py /tmp/nt/<UDID>"""
import hashlib
import os
import re
import sqlite3
import sys

OUT = "fuzz/corpus/notetable"
LIMIT = 200_000  # bytes: a seed that large would slow every replay


def main(backup):
    file_id = hashlib.sha1(b"AppDomainGroup-group.com.apple.notes-NoteStore.sqlite").hexdigest()
    db = sqlite3.connect(os.path.join(backup, file_id[:2], file_id))
    tables = db.execute(
        "SELECT n.ZTITLE1, a.ZMERGEABLEDATA1 FROM ZICCLOUDSYNCINGOBJECT AS a "
        "JOIN ZICCLOUDSYNCINGOBJECT AS n ON n.Z_PK = a.ZNOTE "
        "WHERE a.ZTYPEUTI = 'com.apple.notes.table' AND a.ZMERGEABLEDATA1 IS NOT NULL")
    os.makedirs(OUT, exist_ok=True)
    for title, data in tables:
        if len(data) > LIMIT:
            continue
        name = re.sub(r"[^a-z0-9]+", "_", title.lower()).strip("_")
        with open(os.path.join(OUT, name + ".gz"), "wb") as out:
            out.write(data)


main(sys.argv[1])
