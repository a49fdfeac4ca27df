#!/usr/bin/env python3
"""Hostile backups, each made from a recipe: veldrake-devicesim --write-backup writes a
valid backup, then the recipe damages it the way an attacker or an unlucky copy would.
Nothing here is a stored binary: every backup is built again at each run.

The changes go through the same independent readers as the backup writer's own check
(tests/backup_writer/backup_oracle.py: Manifest.db rows, MBFile records) and Python's
plistlib and sqlite3, so that a store replaced in a backup keeps a record that matches it,
as a phone would write it.

usage: hostile_backup.py --seeds FUZZ_CORPUS_DIR   writes the fuzz seeds made from the
       same recipes (the escaped device name, a note body just under the cap)."""
import json
import os
import plistlib
import shutil
import sqlite3
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [os.path.join(HERE, '..', 'backup_writer'), os.path.join(HERE, '..', 'host'),
                os.path.join(HERE, '..', '..', 'fuzz', 'notebody')]

import backup_oracle as oracle  # noqa: E402
import make_seeds as notebody  # noqa: E402

UDID = '00008110-000A1B2C3D4E5F60'
HOME, NOTES = 'HomeDomain', 'AppDomainGroup-group.com.apple.notes'
BOOK = 'Library/AddressBook/AddressBook.sqlitedb'
NOTE_STORE = 'NoteStore.sqlite'
FAST_KEYS = ['--backup-iterations', '10', '--backup-sha1-iterations', '10']
MIB = 1 << 20


def devicesim():
    return os.environ['DEVICESIM']


def samples():
    return os.environ['SAMPLES']


def write_valid(out, *source, password_file=None):
    """A valid backup of `source` (veldrake-devicesim's book arguments; the samples when
    empty) under out/; returns its folder."""
    source = source or ('--contacts', os.path.join(samples(), 'addressbook.vcf'),
                        '--notes', os.path.join(samples(), 'notes.json'))
    extra = ['--password-file', password_file] if password_file else []
    subprocess.run([devicesim(), *source, '--write-backup', out, *FAST_KEYS, *extra],
                   check=True, capture_output=True, timeout=300)
    return os.path.join(out, UDID)


def write_notes(out, notes):
    """A valid backup whose notes are `notes` [(title, text)], with the sample book."""
    path = os.path.join(out, 'notes.json')
    os.makedirs(out, exist_ok=True)
    with open(path, 'w', encoding='utf-8') as f:
        json.dump([{'subject': t, 'content': c, 'modified': 700000000} for t, c in notes], f)
    return write_valid(os.path.join(out, 'backup'), '--contacts',
                       os.path.join(samples(), 'addressbook.vcf'), '--notes', path)


def manifest_rows(folder):
    db = sqlite3.connect(os.path.join(folder, 'Manifest.db'))
    try:
        return db.execute('SELECT fileID, domain, relativePath, file FROM Files').fetchall()
    finally:
        db.close()


def content_path(folder, domain, path):
    for file_id, d, p, _ in manifest_rows(folder):
        if (d, p) == (domain, path):
            return os.path.join(folder, file_id[:2], file_id)
    raise KeyError(f'{domain}-{path}')


def record_with_size(blob, size):
    """The MBFile record `blob` (NSKeyedArchiver, binary) with its Size changed."""
    archive = plistlib.loads(blob)
    archive['$objects'][archive['$top']['root'].data]['Size'] = size
    return plistlib.dumps(archive, fmt=plistlib.FMT_BINARY)


def replace_content(folder, domain, path, data):
    """Replaces a plain backup's file and the Size its record in Manifest.db keeps."""
    with open(content_path(folder, domain, path), 'wb') as out:
        out.write(data)
    db = sqlite3.connect(os.path.join(folder, 'Manifest.db'), isolation_level=None)
    try:
        (blob,), = db.execute('SELECT file FROM Files WHERE domain = ? AND relativePath = ?',
                              (domain, path)).fetchall()
        db.execute('UPDATE Files SET file = ? WHERE domain = ? AND relativePath = ?',
                   (record_with_size(blob, len(data)), domain, path))
    finally:
        db.close()


def edit_store(folder, domain, path, script, *values):
    """Runs the SQL `script` (one statement when `values` are bound, else several) on a
    plain backup's database, compacts it and stores the result back."""
    work = tempfile.mkdtemp(prefix='veldrake-hostile-')
    try:
        copy = os.path.join(work, 'store.sqlite')
        shutil.copyfile(content_path(folder, domain, path), copy)
        db = sqlite3.connect(copy, isolation_level=None)
        if values:
            db.execute(script, values)
        else:
            db.executescript(script)
        db.execute('VACUUM')
        db.close()
        with open(copy, 'rb') as f:
            replace_content(folder, domain, path, f.read())
    finally:
        shutil.rmtree(work)


def rewrite_plist(folder, name, change, fmt):
    path = os.path.join(folder, name)
    value = oracle.load_plist(path)
    change(value)
    with open(path, 'wb') as out:
        plistlib.dump(value, out, fmt=fmt)


# --- The recipes: each makes its backup under `work` and returns the backup's folder. ---

BOMB_CHARS = 60_000_000  # a 60 KB body that inflates to 60 MB of text
CAPPED_CHARS = 8_000_000  # just under the per-note cap (8 MiB)
CAPPED_NOTES = 8  # 64 MB of text together
NOTE_ROWS = 1_000_000  # the recursive view's notes
VIEW_PEOPLE = 300_000  # the virtual table's people
SHARED_REFERENCES = 200_000  # references to one 1 MiB data object
SPARSE_WAL = 2 << 30
DEEP_ARRAYS = 1_000_000
ESCAPED_NAME = 'Evil\x1b]0;owned\x07\x1b[2J\x1b[31mPhone\x9b0m\x7f\r'


def notes_bomb(work, notes=8, chars=BOMB_CHARS):
    """`notes` notes that all point at one small body inflating to `chars` of text."""
    folder = write_notes(work, [(f'note {i}', 'x') for i in range(notes)])
    # The first line is the title; the text after it is what the export renders.
    body = notebody.gzip.compress(notebody.note([('Bomb\n' + 'A' * chars,)]), mtime=0)
    edit_store(folder, NOTES, NOTE_STORE,
               'UPDATE ZICNOTEDATA SET ZDATA = ? WHERE Z_PK = (SELECT min(Z_PK) FROM ZICNOTEDATA)',
               body)
    edit_store(folder, NOTES, NOTE_STORE, '''
        UPDATE ZICCLOUDSYNCINGOBJECT SET ZNOTEDATA = (SELECT min(Z_PK) FROM ZICNOTEDATA)
          WHERE ZNOTEDATA IS NOT NULL;
        DELETE FROM ZICNOTEDATA WHERE Z_PK <> (SELECT min(Z_PK) FROM ZICNOTEDATA);''')
    return folder


def capped_notes_bomb(work):
    """Each note under the per-note cap, together far past the export's limit."""
    return notes_bomb(work, CAPPED_NOTES, CAPPED_CHARS)


def recursive_view(name, rows, columns, values):
    """A view `name`(`columns`) of `rows` rows made by a recursive query: `values` over r(i)."""
    return (f'CREATE VIEW {name}({", ".join(columns)}) AS WITH RECURSIVE r(i) AS (SELECT 1 '
            f'UNION ALL SELECT i + 1 FROM r WHERE i < {rows}) SELECT {values} FROM r;')


def notes_from_a_recursive_view(work):
    """ZICCLOUDSYNCINGOBJECT is an fts5 table (a "table" in sqlite_master) whose content
    is a recursive view of a million notes, each in a folder of its own: a 36 KB store."""
    folder = write_valid(work)
    columns = ('Z_PK', 'Z_ENT', 'ZNOTEDATA', 'ZFOLDER', 'ZFOLDERTYPE', 'ZMARKEDFORDELETION',
               'ZISPASSWORDPROTECTED', 'ZTITLE1', 'ZMODIFICATIONDATE1', 'ZCREATIONDATE3')
    values = ("i, (SELECT Z_ENT FROM Z_PRIMARYKEY WHERE Z_NAME = 'ICNote'), "
              "(SELECT min(Z_PK) FROM ZICNOTEDATA), i, 0, 0, 0, 'note ' || i, 7e8, 7e8")
    edit_store(folder, NOTES, NOTE_STORE, f'''
        DROP TABLE ZICCLOUDSYNCINGOBJECT;
        {recursive_view('ZNOTEROWS', NOTE_ROWS, columns, values)}
        CREATE VIRTUAL TABLE ZICCLOUDSYNCINGOBJECT USING fts5({', '.join(columns)},
          content='ZNOTEROWS', content_rowid='Z_PK');''')
    return folder


def people_from_a_virtual_table(work):
    """ABPerson is an fts5 table over a recursive view of 300,000 people."""
    folder = write_valid(work)
    edit_store(folder, HOME, BOOK, f'''
        DROP TABLE ABPerson;
        {recursive_view('people', VIEW_PEOPLE, ('id', 'First', 'Last'), "i, 'First' || i, 'Last'")}
        CREATE VIRTUAL TABLE ABPerson USING fts5(First, Last, content='people',
          content_rowid='id');''')
    return folder


def shared_reference_manifest(work):
    """Manifest.plist with 200,000 references to one 1 MiB data object (plistlib writes
    equal data once): 1.25 MB on disk, 200 GB if every reference became a copy."""
    folder = write_valid(work)

    def change(manifest):
        icon = bytes(MIB)
        manifest['Applications'] = {'com.example.icons': {'Icons': [icon] * SHARED_REFERENCES}}
    rewrite_plist(folder, 'Manifest.plist', change, plistlib.FMT_BINARY)
    return folder


def sparse_wal(work):
    """The address book's write-ahead log grown to a 2 GiB hole; its record says 0 bytes."""
    folder = write_valid(work)
    os.truncate(content_path(folder, HOME, BOOK + '-wal'), SPARSE_WAL)
    return folder


def deep_info(work):
    """Info.plist of a million nested arrays: 15 MB, under the 16 MB the reader allows."""
    folder = write_valid(work)
    with open(os.path.join(folder, 'Info.plist'), 'w') as out:
        out.write('<?xml version="1.0" encoding="UTF-8"?>\n<plist version="1.0">\n')
        out.write('<array>' * DEEP_ARRAYS + '</array>' * DEEP_ARRAYS + '\n</plist>\n')
    return folder


def damaged_info(work):
    """Info.plist cut off in the middle of its dictionary."""
    folder = write_valid(work)
    with open(os.path.join(folder, 'Info.plist'), 'r+b') as info:
        info.truncate(len(info.read()) // 2)
    return folder


def escaped_name(work):
    """The device name carries terminal escapes (C0, C1 and DEL) in both property lists;
    in Info.plist's XML as raw characters, since plistlib would refuse to write them."""
    folder = write_valid(work)
    mark = 'NAME-TO-BE-REPLACED'

    def rename(value):
        value['Lockdown']['DeviceName'] = ESCAPED_NAME
    rewrite_plist(folder, 'Manifest.plist', rename, plistlib.FMT_BINARY)
    rewrite_plist(folder, 'Info.plist', lambda v: v.update({'Device Name': mark}),
                  plistlib.FMT_XML)
    path = os.path.join(folder, 'Info.plist')
    with open(path, encoding='utf-8') as f:
        xml = f.read().replace(mark, ESCAPED_NAME)
    with open(path, 'w', encoding='utf-8') as f:
        f.write(xml)
    return folder


def unreadable_manifest(work):
    """A backup whose Manifest.plist is no property list."""
    folder = write_valid(work)
    with open(os.path.join(folder, 'Manifest.plist'), 'wb') as out:
        out.write(b'bplist00' + bytes(64))
    return folder


def linked_out(work, name):
    """`name` (a two-hex folder or Manifest.db) moved out of the backup and linked back."""
    folder = write_valid(os.path.join(work, 'backup'))
    outside = os.path.join(work, 'outside', name)
    os.makedirs(os.path.dirname(outside))
    shutil.move(os.path.join(folder, name), outside)
    os.symlink(outside, os.path.join(folder, name))
    return folder


def hex_folder_out(work):
    return linked_out(work, oracle.file_id(NOTES, NOTE_STORE)[:2])


def manifest_db_out(work):
    return linked_out(work, 'Manifest.db')


# Titles that differ only in case or in Unicode normalisation (NFC "é" against NFD).
CLASHING_TITLES = ['Café', 'Cafe\u0301', 'CAFÉ', 'café', 'Report', 'REPORT', 'report']


def clashing_titles(work):
    return write_notes(work, [(t, f'body {i}') for i, t in enumerate(CLASHING_TITLES)])


def encrypted(work, password_file):
    """A valid encrypted backup of the samples."""
    return write_valid(work, password_file=password_file)


def write_seeds(corpus):
    """Fuzz seeds from the same recipes, scaled down to stay small in the corpus (the
    shared-reference Manifest.plist has its seed from the library's own tests)."""
    seeds = {
        ('bplist', 'hostile_escaped_device_name'):
            plistlib.dumps({'Lockdown': {'DeviceName': ESCAPED_NAME}}, fmt=plistlib.FMT_BINARY),
        ('notebody', 'hostile_capped_note.gz'):
            notebody.gzip.compress(notebody.note([('Bomb\n' + 'A' * CAPPED_CHARS,)]), mtime=0),
    }
    for (target, name), data in seeds.items():
        with open(os.path.join(corpus, target, name), 'wb') as out:
            out.write(data)


if __name__ == '__main__':
    if len(sys.argv) != 3 or sys.argv[1] != '--seeds':
        sys.exit(__doc__)
    write_seeds(sys.argv[2])
