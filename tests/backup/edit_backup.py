#!/usr/bin/env python3
"""Edits a plain backup the way a damaged or unusual phone would have written it, with
plistlib and sqlite3 (independent of the library's reader).
  edit_backup.py BACKUP_DIR size SUFFIX SIZE   Manifest.db claims SIZE bytes for every file
                                               whose relativePath ends with SUFFIX
  edit_backup.py BACKUP_DIR notes SQL          runs SQL (statements) on the notes store"""
import hashlib
import os
import plistlib
import sqlite3
import sys


def claim_size(backup, suffix, size):
    db = sqlite3.connect(os.path.join(backup, "Manifest.db"))
    rows = db.execute("SELECT fileID, file FROM Files WHERE relativePath LIKE ?", ("%" + suffix,))
    changed = 0
    for file_id, blob in rows.fetchall():
        archive = plistlib.loads(blob)
        for value in archive["$objects"]:
            if isinstance(value, dict) and "Size" in value:
                value["Size"] = size
        db.execute("UPDATE Files SET file = ? WHERE fileID = ?",
                   (plistlib.dumps(archive, fmt=plistlib.FMT_BINARY), file_id))
        changed += 1
    db.commit()
    return changed


def run_on_notes(backup, sql):
    file_id = hashlib.sha1(b"AppDomainGroup-group.com.apple.notes-NoteStore.sqlite").hexdigest()
    db = sqlite3.connect(os.path.join(backup, file_id[:2], file_id))
    before = db.total_changes
    db.executescript(sql)
    changed = db.total_changes - before
    db.execute("PRAGMA journal_mode = DELETE")  # no log beside it: the record stays true
    return changed


backup, command = sys.argv[1], sys.argv[2]
done = claim_size(backup, sys.argv[3], int(sys.argv[4])) if command == "size" \
    else run_on_notes(backup, sys.argv[3])
sys.exit(0 if done else 1)
