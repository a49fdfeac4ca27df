#!/usr/bin/env python3
"""Makes a plain backup's Manifest.db claim SIZE bytes for every file whose relativePath
ends with SUFFIX (the file itself is left as it is), with plistlib as the phone writes the
record. Usage: claim_size.py BACKUP_DIR SUFFIX SIZE"""
import os
import plistlib
import sqlite3
import sys

backup, suffix, size = sys.argv[1], sys.argv[2], int(sys.argv[3])
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
sys.exit(0 if changed else 1)
