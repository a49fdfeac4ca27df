"""The emulator's notes set (samples/noteset) written as each phone generation's store,
read back with notes_oracle.py. Usage: check_notes.py PATH-TO-veldrake-devicesim SOURCE-DIR"""
import datetime
import os
import random
import shutil
import subprocess
import sys
import tempfile
import unittest
import zlib

from cryptography.exceptions import InvalidTag
from cryptography.hazmat.primitives.keywrap import InvalidUnwrap

import backup_oracle
import notes_oracle as oracle

DEVICESIM = sys.argv.pop(1) if len(sys.argv) > 1 else "veldrake-devicesim"
SOURCE = sys.argv.pop(1) if len(sys.argv) > 1 else "."
NOTESET = os.path.join(SOURCE, "samples", "noteset")
UDID = "00008110-000A1B2C3D4E5F60"
DOMAIN = "AppDomainGroup-group.com.apple.notes"
BACKUP_PASSWORD = "backup ⚡ pass"
NOTE_PASSWORD = "hunter2 ⚿"
GENERATIONS = ("11.4", "13.7", "15.8", "16.6", "17.5", "18.1")
ENCRYPTED = ("11.4", "17.5")
HASHTAG, MENTION, LINK = ("com.apple.notes.inlinetextattachment." + k for k in ("hashtag", "mention", "link"))
TABLE = "com.apple.notes.table"

# title -> account, folder path, pinned
PLACES = {
    "Welcome to Veldrake": ("On My iPhone", ["Notes"], 1),
    "Lists and checklists": ("On My iPhone", ["Notes"], 0),
    "Files and cards": ("On My iPhone", ["Notes"], 0),
    "Trip plan": ("On My iPhone", ["Travel"], 0),
    "Tokyo": ("On My iPhone", ["Travel", "Japan"], 0),
    "Meeting notes": ("iCloud", ["Work"], 1),
    "Diary": ("On My iPhone", ["Locked"], 0),
    "Passcode note": ("On My iPhone", ["Locked"], 0),
}


def quoted(major, attrs):
    return dict(attrs, quote=1) if major >= 17 else attrs


def welcome_lines(major):
    return [
        ("Welcome to Veldrake", {"style": 0}), ("Everything a note can hold", {"style": 0}),
        ("Inline styles", {"style": 1}),
        ("bold, italic, bold italic, underlined, struck, x2 and H2O.", {}),
        ("red words and blue bold.", {}), ("A link to example.org and emoji 🦊👩🏽‍💻.", {}),
        ("Right to left", {"style": 2}), ("שלום עולם — مرحبا بالعالم", {}),
        ("A block quote, as newer phones keep it.", quoted(major, {})),
        ("a quoted list item", quoted(major, {"style": 101})),
        ("Characters that look like markup: 1*2*3, #not-a-tag, a pipe | and [brackets].", {}),
    ]


LIST_LINES = [
    ("Lists and checklists", {"style": 0}), ("dotted one", {"style": 100}),
    ("dotted nested", {"style": 100, "indent": 1}), ("deeper", {"style": 100, "indent": 2}),
    ("dotted two", {"style": 100}), ("dashed", {"style": 101}),
    ("dashed nested", {"style": 101, "indent": 1}), ("first", {"style": 102}),
    ("second", {"style": 102}), ("second, a", {"style": 102, "indent": 1}),
    ("third", {"style": 102}), ("buy milk", {"style": 103, "done": 1}),
    ("call Ana", {"style": 103, "done": 0}),
    ("nested open item", {"style": 103, "indent": 1, "done": 0}),
    ("int main() {", {"style": 4}), ("    return 0;", {"style": 4}), ("}", {"style": 4}),
]

# (text of a piece, attributes it must carry) in the welcome note
WELCOME_PIECES = [
    ("bold", {"weight": 1}), ("italic", {"weight": 2}), ("bold italic", {"weight": 3}),
    ("underlined", {"underline": 1}), ("struck", {"strike": 1}),
    ("red words", {"color": (0xD0, 0x20, 0x20)}), ("blue bold", {"color": (0x20, 0x50, 0xC0), "weight": 1}),
    ("link to example.org", {"link": "https://example.org/a?b=c"}),
]


def object_types(major):
    """title -> the type of each object in its text, in order."""
    inline, links = major >= 15, major >= 17
    return {
        "Files and cards": ["com.compuserve.gif", "public.vcard", "com.apple.ical.ics", "public.url"],
        "Trip plan": [HASHTAG, MENTION][:2 * inline] + [LINK][:links] + ["public.jpeg", TABLE],
        "Tokyo": ["com.apple.drawing.2", "com.apple.paper.doc.scan", TABLE] + [HASHTAG, HASHTAG][:2 * inline],
        "Meeting notes": ["public.png", "com.adobe.pdf"],
        "Diary": ["public.jpeg", TABLE],
    }


# title -> (direction, rows of cell texts)
TABLES = {
    "Trip plan": ("CRTableColumnDirectionLeftToRight",
                  [["Day", "City", "Notes"], ["1", "Tokyo", "arrive, jet lag"], ["2", "Kyoto", ""],
                   ["3", "Osaka", "a | pipe"], ["4", "", ""]]),
    "Tokyo": ("CRTableColumnDirectionRightToLeft", [["עמודה א", "עמודה ב"], ["אחת", "שתיים"]]),
    "Diary": ("CRTableColumnDirectionLeftToRight", [["Who", "What"], ["me", "knows"]]),
}
# media file name in the store -> the sample file it must equal
SAMPLE_FILES = {
    "spinner.gif": "spinner.gif", "Ana Lima.vcf": "Ana Lima.vcf", "meeting.ics": "meeting.ics",
    "sunrise.jpg": "Travel/sunrise.jpg", "chart.png": "Work/chart.png", "agenda.pdf": "Work/agenda.pdf",
    "secret photo.jpg": "Locked/secret photo.jpg",
}
FALLBACKS = {"com.apple.drawing.2": ("FallbackImages", ".jpg", "Travel/Japan/route sketch.jpg"),
             "com.apple.paper.doc.scan": ("FallbackPDFs", ".pdf", "Travel/Japan/receipt scan.pdf")}


def sample(path):
    with open(os.path.join(NOTESET, path), "rb") as f:
        return f.read()


def since_2001(text):
    when = datetime.datetime.strptime(text, "%Y-%m-%dT%H:%M:%SZ")
    return (when - datetime.datetime(2001, 1, 1)).total_seconds()


class Store:
    """One generation's store, opened from its backup."""

    def __init__(self, tmp, version, password):
        self.major, self.encrypted = int(version.split(".")[0]), password is not None
        out = tempfile.mkdtemp(dir=tmp)
        args = [DEVICESIM, "--notes", NOTESET, "--write-backup", out, "--backup-os", version]
        if password:
            path = os.path.join(tmp, "password")
            with open(path, "w", encoding="utf-8") as f:
                f.write(password + "\n")
            args += ["--password-file", path, "--backup-iterations", "5", "--backup-sha1-iterations", "3"]
        self.done = subprocess.run(args, capture_output=True, text=True, timeout=60)
        assert self.done.returncode == 0, self.done.stderr
        self.out = out
        self.backup = backup_oracle.Backup(os.path.join(out, UDID), password)
        self.db = self.backup.database(DOMAIN, "NoteStore.sqlite")
        self.entity = dict(self.db.execute("SELECT Z_NAME, Z_ENT FROM Z_PRIMARYKEY"))
        self.columns = {r[1] for r in self.db.execute("PRAGMA table_info(ZICCLOUDSYNCINGOBJECT)")}

    def rows(self, entity, where="1", *args):
        cursor = self.db.execute(f"SELECT * FROM ZICCLOUDSYNCINGOBJECT WHERE Z_ENT = ? AND {where}",
                                 (self.entity[entity],) + args)
        names = [d[0] for d in cursor.description]
        return [dict(zip(names, row)) for row in cursor.fetchall()]

    def row(self, pk):
        return self.rows_by_pk()[pk]

    def rows_by_pk(self):
        cursor = self.db.execute("SELECT * FROM ZICCLOUDSYNCINGOBJECT")
        names = [d[0] for d in cursor.description]
        return {row[0]: dict(zip(names, row)) for row in cursor.fetchall()}

    def notes(self):
        return {n["ZTITLE1"]: n for n in self.rows("ICNote")}

    def data(self, note):
        return self.db.execute("SELECT ZDATA, ZCRYPTOINITIALIZATIONVECTOR, ZCRYPTOTAG FROM ZICNOTEDATA"
                               " WHERE Z_PK = ? AND ZNOTE = ?", (note["ZNOTEDATA"], note["Z_PK"])).fetchone()

    def place(self, note):
        rows, path = self.rows_by_pk(), []
        folder = rows[note["ZFOLDER"]]
        account = rows[folder["ZOWNER"]]
        while folder is not None:
            path.insert(0, folder["ZTITLE2"])
            folder = rows.get(folder["ZPARENT"])
        return account, path

    def prefix(self, note):
        return f"Accounts/{self.place(note)[0]['ZIDENTIFIER']}/" if self.major >= 13 else ""

    def body(self, note, password=None):
        data, iv, tag = self.data(note)
        if password is not None:
            data = oracle.unseal(password, note["ZCRYPTOSALT"], note["ZCRYPTOITERATIONCOUNT"],
                                 note["ZCRYPTOWRAPPEDKEY"], iv, tag, data)
        return oracle.body_runs(data)


STORES, TMP = [], tempfile.mkdtemp()


def setUpModule():
    for version in GENERATIONS:
        for password in (None, BACKUP_PASSWORD) if version in ENCRYPTED else (None,):
            STORES.append(Store(TMP, version, password))


def tearDownModule():
    for store in STORES:
        store.db.close()
        store.backup.close()
    shutil.rmtree(TMP)


class NotesCase(unittest.TestCase):
    def each_store(self):
        for store in STORES:
            with self.subTest(major=store.major, encrypted=store.encrypted):
                yield store


class FolderTest(NotesCase):
    def test_accounts_folders_pins_and_dates(self):
        for store in self.each_store():
            notes = store.notes()
            self.assertEqual(set(notes), set(PLACES))
            for title, (account, path, pinned) in PLACES.items():
                owner, folders = store.place(notes[title])
                self.assertEqual((owner["ZNAME"], folders, notes[title]["ZISPINNED"]), (account, path, pinned), title)
            created = "ZCREATIONDATE3" if store.major >= 15 else "ZCREATIONDATE1"
            welcome = notes["Welcome to Veldrake"]
            self.assertEqual((welcome[created], welcome["ZMODIFICATIONDATE1"]),
                             (since_2001("2024-01-02T09:00:00Z"), since_2001("2024-03-04T10:11:12Z")))
            accounts = {a["ZNAME"]: a["ZACCOUNTTYPE"] for a in store.rows("ICAccount")}
            self.assertEqual(accounts, {"On My iPhone": 3, "iCloud": 1})
            trash = store.rows("ICFolder", "ZFOLDERTYPE = 1")
            self.assertEqual(sorted(store.row(f["ZOWNER"])["ZNAME"] for f in trash), ["On My iPhone", "iCloud"])

    def test_columns_and_entities_by_generation(self):
        seen = {}
        for store in self.each_store():
            table_column = "ZMERGEABLEDATA1" if store.major >= 13 else "ZMERGEABLEDATA"
            self.assertIn(table_column, store.columns)
            self.assertNotIn({"ZMERGEABLEDATA1": "ZMERGEABLEDATA"}.get(table_column, "ZMERGEABLEDATA1"),
                             store.columns)
            self.assertEqual("ZALTTEXT" in store.columns, store.major >= 15)
            self.assertEqual("ICInlineAttachment" in store.entity, store.major >= 15)
            seen.setdefault(tuple(sorted(store.entity.items())), set()).add((store.major - 11) // 2)
        self.assertEqual(len(seen), 4, "every generation numbers its entities its own way")


class BodyTest(NotesCase):
    def test_paragraph_styles(self):
        for store in self.each_store():
            notes = store.notes()
            for title, expected in (("Welcome to Veldrake", welcome_lines(store.major)),
                                    ("Lists and checklists", LIST_LINES)):
                lines = [(text, para) for text, para, _ in oracle.paragraphs(store.body(notes[title]))]
                self.assertEqual(lines, expected, title)

    def test_inline_styles(self):
        for store in self.each_store():
            lines = oracle.paragraphs(store.body(store.notes()["Welcome to Veldrake"]))
            pieces = [piece for _, _, line in lines for piece in line]
            for text, attrs in WELCOME_PIECES:
                found = [a for t, a in pieces if t == text]
                self.assertEqual(len(found), 1, text)
                self.assertEqual({k: found[0].get(k) for k in attrs}, attrs, text)
            self.assertEqual([a.get("script") for t, a in pieces if t == "2"], [1, -1])
            plain = [t for t, a in pieces if not set(a) - {"style", "indent", "quote"}]
            self.assertIn("Characters that look like markup: 1*2*3, #not-a-tag, a pipe | and [brackets].", plain)


def objects_of(runs):
    return [attrs["object"] for _, attrs in runs if "object" in attrs]


class ObjectTest(NotesCase):
    def check_media(self, store, note, attachment, password=None):
        media = store.row(attachment["ZMEDIA"])
        self.assertEqual(media["Z_ENT"], store.entity["ICMedia"])
        path = f"{store.prefix(note)}Media/{media['ZIDENTIFIER']}/{media['ZFILENAME']}"
        if password is None:
            self.assertEqual(store.backup.content(DOMAIN, path), sample(SAMPLE_FILES[media["ZFILENAME"]]))
            return
        sealed = store.backup.content(DOMAIN, path + ".encrypted")
        self.assertNotEqual(sealed, sample(SAMPLE_FILES[media["ZFILENAME"]]))
        plain = oracle.unseal(password, media["ZCRYPTOSALT"], media["ZCRYPTOITERATIONCOUNT"],
                              media["ZCRYPTOWRAPPEDKEY"], media["ZCRYPTOINITIALIZATIONVECTOR"],
                              media["ZCRYPTOTAG"], sealed)
        self.assertEqual(plain, sample(SAMPLE_FILES[media["ZFILENAME"]]))

    def check_inline(self, store, note, row, identifiers):
        self.assertEqual(row["ZNOTE1"], note["Z_PK"])
        expected = {HASHTAG: ({"#travel", "#japan"}, {"travel", "japan"}),
                    MENTION: ({"@Ana Lima"}, {"mention:Ana Lima"}),
                    LINK: ({"Tokyo"}, {"applenotes:note/" + identifiers["Tokyo"]})}[row["ZTYPEUTI"]]
        self.assertIn(row["ZALTTEXT"], expected[0])
        self.assertIn(row["ZTOKENCONTENTIDENTIFIER"], expected[1])

    def check_object(self, store, note, row, identifiers):
        uti = row["ZTYPEUTI"]
        if uti.startswith("com.apple.notes.inlinetextattachment."):
            return self.check_inline(store, note, row, identifiers)
        self.assertEqual(row["ZNOTE"], note["Z_PK"])
        if uti in FALLBACKS:
            folder, ext, source = FALLBACKS[uti]
            path = f"{store.prefix(note)}{folder}/{row['ZIDENTIFIER']}{ext}"
            self.assertEqual(store.backup.content(DOMAIN, path), sample(source))
        elif uti == "public.url":
            self.assertEqual((row["ZURLSTRING"], row["ZTITLE"]), ("https://example.com/", "Example Domain"))
        elif uti != TABLE:
            self.check_media(store, note, row, NOTE_PASSWORD if note["ZISPASSWORDPROTECTED"] else None)

    def test_every_object_has_its_row_and_file(self):
        for store in self.each_store():
            notes, rows = store.notes(), store.rows_by_pk()
            by_id = {r["ZIDENTIFIER"]: r for r in rows.values()}
            identifiers = {title: n["ZIDENTIFIER"] for title, n in notes.items()}
            for title, types in object_types(store.major).items():
                password = NOTE_PASSWORD if title == "Diary" else None
                objects = objects_of(store.body(notes[title], password))
                self.assertEqual([uti for _, uti in objects], types, title)
                for identifier, uti in objects:
                    self.assertEqual(by_id[identifier]["ZTYPEUTI"], uti)
                    self.check_object(store, notes[title], by_id[identifier], identifiers)

    def test_older_phones_keep_inline_objects_as_text(self):
        for store in self.each_store():
            first = oracle.paragraphs(store.body(store.notes()["Trip plan"]))[1]
            text = "".join("{" + a["object"][1].rsplit(".", 1)[1] + "}" if "object" in a else t
                           for t, a in first[2])
            expected = ("#travel plans with @Ana Lima, see Tokyo." if store.major < 15 else
                        "{hashtag} plans with {mention}, see Tokyo." if store.major < 17 else
                        "{hashtag} plans with {mention}, see {link}.")
            self.assertEqual(text, expected)


class TableTest(NotesCase):
    def test_tables_in_the_phones_order(self):
        for store in self.each_store():
            column = "ZMERGEABLEDATA1" if store.major >= 13 else "ZMERGEABLEDATA"
            notes, by_id = store.notes(), {r["ZIDENTIFIER"]: r for r in store.rows("ICAttachment")}
            for title, (direction, cells) in TABLES.items():
                password = NOTE_PASSWORD if title == "Diary" else None
                identifier = [i for i, uti in objects_of(store.body(notes[title], password)) if uti == TABLE][0]
                row = by_id[identifier]
                data = row[column]
                if password:
                    data = oracle.unseal(password, row["ZCRYPTOSALT"], row["ZCRYPTOITERATIONCOUNT"],
                                         row["ZCRYPTOWRAPPEDKEY"], row["ZCRYPTOINITIALIZATIONVECTOR"],
                                         row["ZCRYPTOTAG"], data)
                got_direction, table = oracle.MergeDocument(data).table()
                texts = [["".join(t for t, _ in cell) for cell in r] for r in table]
                self.assertEqual((got_direction, texts), (direction, cells), title)
                if title == "Trip plan":
                    self.assertEqual(table[1][1], [("Tokyo", {"weight": 1})])
                    self.assertEqual(table[1][2], [("arrive, ", {}), ("jet lag", {"weight": 2})])
                    self.assertEqual(table[2][2], [], "an empty cell is left out")


class LockedTest(NotesCase):
    def test_password_locked_note(self):
        for store in self.each_store():
            diary = store.notes()["Diary"]
            self.assertEqual((diary["ZISPASSWORDPROTECTED"], diary["ZPASSWORDHINT"], diary["ZSNIPPET"]),
                             (1, "the usual, with a key", None))
            self.assertEqual((len(diary["ZCRYPTOSALT"]), len(diary["ZCRYPTOWRAPPEDKEY"]),
                              diary["ZCRYPTOITERATIONCOUNT"]), (16, 24, 20000))
            _, iv, tag = store.data(diary)
            self.assertEqual((len(iv), len(tag)), (16, 16))
            lines = oracle.paragraphs(store.body(diary, NOTE_PASSWORD))
            self.assertEqual(lines[1][2], [("Dear diary, ", {}), ("secret", {"weight": 1}), (" things.", {})])
            for wrong, error in (("hunter2", InvalidUnwrap), ("", InvalidUnwrap)):
                with self.assertRaises(error):
                    store.body(diary, wrong)
            data, iv, tag = store.data(diary)
            with self.assertRaises((InvalidTag, InvalidUnwrap)):
                oracle.unseal(NOTE_PASSWORD, diary["ZCRYPTOSALT"], diary["ZCRYPTOITERATIONCOUNT"],
                              diary["ZCRYPTOWRAPPEDKEY"], iv, tag, data[:-1] + bytes([data[-1] ^ 1]))

    def test_passcode_locked_note(self):
        for store in self.each_store():
            note = store.notes()["Passcode note"]
            data = store.data(note)[0]
            if store.major >= 16:
                self.assertEqual((note["ZISPASSWORDPROTECTED"], note["ZCRYPTOSALT"], note["ZCRYPTOWRAPPEDKEY"]),
                                 (1, None, None))
                self.assertTrue(data.startswith(b"bplist00"))
            else:
                self.assertEqual(note["ZISPASSWORDPROTECTED"], 0)
                self.assertEqual(oracle.paragraphs(oracle.body_runs(data))[1][0],
                                 "Only the phone's passcode opens this one.")

    def test_no_password_in_output_or_backup(self):
        secret = NOTE_PASSWORD.encode()
        for store in self.each_store():
            self.assertNotIn(NOTE_PASSWORD, store.done.stdout + store.done.stderr)
            for root, _, files in os.walk(store.out):
                for name in files:
                    with open(os.path.join(root, name), "rb") as f:
                        self.assertNotIn(secret, f.read(), name)


FAULTS = {"Fault: table indexes out of range", "Fault: table cycle", "Fault: a million empty rows",
          "Fault: attachments pointing at each other", "Fault: media is a folder",
          "Fault: media file missing", "Fault: media name climbs out", "Fault: a million runs",
          "Fault: GCM data shorter than its tag", "Fault: huge iteration count",
          "Fault: wrapped key cut short"}


class FaultTest(unittest.TestCase):
    """--notes-faults: each hostile note is there and broken the way its title says."""

    def test_fault_notes(self):
        tmp = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, tmp)
        out = os.path.join(tmp, "out")
        done = subprocess.run([DEVICESIM, "--notes", NOTESET, "--notes-faults", "--write-backup", out,
                               "--backup-os", "17.5"], capture_output=True, text=True, timeout=120)
        self.assertEqual(done.returncode, 0, done.stderr)
        backup = backup_oracle.Backup(os.path.join(out, UDID))
        self.addCleanup(backup.close)
        store = Store.__new__(Store)
        store.major, store.backup = 17, backup
        store.db = backup.database(DOMAIN, "NoteStore.sqlite")
        self.addCleanup(store.db.close)
        store.entity = dict(store.db.execute("SELECT Z_NAME, Z_ENT FROM Z_PRIMARYKEY"))
        notes = store.notes()
        self.assertEqual({t for t in notes if t.startswith("Fault:")}, FAULTS)
        rows = store.rows_by_pk()
        attachment = {t: rows[int(objects_of(store.body(notes[t]))[0][0].rsplit("-", 1)[1])]
                      for t in FAULTS if not t.endswith(("runs", "tag", "count", "short"))}
        with self.assertRaises(IndexError):
            oracle.MergeDocument(attachment["Fault: table indexes out of range"]["ZMERGEABLEDATA1"]).table()
        with self.assertRaises((AssertionError, TypeError, KeyError)):
            oracle.MergeDocument(attachment["Fault: table cycle"]["ZMERGEABLEDATA1"]).table()
        rows_doc = attachment["Fault: a million empty rows"]["ZMERGEABLEDATA1"]
        self.assertLess(len(rows_doc) * 5, len(zlib.decompress(rows_doc, 31)))
        self.assertGreater(len(zlib.decompress(rows_doc, 31)), 10 ** 7)
        first = attachment["Fault: attachments pointing at each other"]
        self.assertEqual(rows[first["ZMEDIA"]]["ZMEDIA"], first["Z_PK"])
        prefix = store.prefix(notes["Fault: media is a folder"])
        media = {t: rows[attachment[t]["ZMEDIA"]] for t in FAULTS if "media" in t}
        folder = f"{prefix}Media/{media['Fault: media is a folder']['ZIDENTIFIER']}/photo.jpg"
        self.assertEqual({(p, flags) for _, d, p, flags, _ in backup.rows if p == folder}, {(folder, 2)})
        self.assertNotIn(f"{prefix}Media/{media['Fault: media file missing']['ZIDENTIFIER']}/missing.jpg",
                         {p for _, _, p, _, _ in backup.rows})
        self.assertEqual(media["Fault: media name climbs out"]["ZFILENAME"], "../../../evil.jpg")
        runs = zlib.decompress(store.data(notes["Fault: a million runs"])[0], 31)
        self.assertGreater(len(runs), 5 * 10 ** 6)
        broken = {t: (notes[t], store.data(notes[t])) for t in FAULTS if t.endswith(("tag", "count", "short"))}
        self.assertEqual(len(broken["Fault: GCM data shorter than its tag"][1][0]), 5)
        self.assertEqual(broken["Fault: huge iteration count"][0]["ZCRYPTOITERATIONCOUNT"], 2 ** 31 - 1)
        self.assertEqual(len(broken["Fault: wrapped key cut short"][0]["ZCRYPTOWRAPPEDKEY"]), 7)


MARKS = [("**", "weight", 1), ("__", "underline", 1), ("~~", "strike", 1), ("*", "weight", 2),
         ("^", "script", 1), ("~", "script", -1)]
PIECES = ["a", "b", " ", "é", "🦊", "\u05d0", "x y"] + [m for m, _, _ in MARKS]


def expected_styles(line):
    """[(character, its look)] of one line of inline marks, by the dialect's rules."""
    look, out, i = {"weight": 0, "underline": 0, "strike": 0, "script": 0}, [], 0
    while i < len(line):
        mark = next((m for m in MARKS if line.startswith(m[0], i)), None)
        if mark is None:
            out.append((line[i], {k: v for k, v in look.items() if v}))
            i += 1
            continue
        token, name, value = mark
        look[name] = (look[name] ^ value) if name == "weight" else (0 if look[name] == value else value)
        i += len(token)
    return out


class RandomInlineTest(unittest.TestCase):
    """Random lines of text and inline marks: every character keeps its place and its look."""

    def test_random_inline_marks(self):
        rng = random.Random(23)
        # each line starts with a letter, so no line is read as a list item
        lines = ["x" + "".join(rng.choice(PIECES) for _ in range(rng.randint(0, 30))) for _ in range(300)]
        tmp = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, tmp)
        os.mkdir(os.path.join(tmp, "set"))
        with open(os.path.join(tmp, "set", "r.md"), "w", encoding="utf-8") as f:
            f.write("---\ntitle: random\n---\n" + "\n".join(lines) + "\n")
        out = os.path.join(tmp, "out")
        done = subprocess.run([DEVICESIM, "--notes", os.path.join(tmp, "set"), "--write-backup", out],
                              capture_output=True, text=True, timeout=60)
        self.assertEqual(done.returncode, 0, done.stderr)
        backup = backup_oracle.Backup(os.path.join(out, UDID))
        self.addCleanup(backup.close)
        db = backup.database(DOMAIN, "NoteStore.sqlite")
        self.addCleanup(db.close)
        body = oracle.body_runs(db.execute("SELECT ZDATA FROM ZICNOTEDATA").fetchone()[0])
        got = oracle.paragraphs(body)[1:]
        self.assertEqual(len(got), len(lines))
        for line, (_, _, pieces) in zip(lines, got):
            chars = [(ch, {k: v for k, v in a.items() if k != "style"}) for t, a in pieces for ch in t]
            self.assertEqual(chars, expected_styles(line), line)


# A bad notes set: files to write (path -> text; None for a link to /etc/passwd), the words
# the error must contain.
BAD_SETS = [
    ({"a.md": "---\n---\n![](../outside.png)\n"}, "relative to the note"),
    ({"a.md": "---\n---\n![](/etc/hostname)\n"}, "relative to the note"),
    ({"a.md": "---\n---\n![](missing.png)\n"}, "not a regular file"),
    ({"a.md": "---\n---\n![](link.png)\n", "link.png": None}, "not a regular file"),
    ({"a.md": "---\n---\n![](folder.png)\n", "folder.png/x": ""}, "not a regular file"),
    ({"a.md": "---\npassword: p\n---\n![drawing](d.jpg)\n", "d.jpg": "x"}, "locked note cannot hold"),
    ({"a.md": "---\n---\nsee [[Nowhere]]\n"}, "no note is titled Nowhere"),
    ({"a.md": "---\ncolour: red\n---\n"}, "unknown key colour"),
    ({"a.md": "---\nmodified: yesterday\n---\n"}, "ISO 8601"),
    ({"a.md": "---\npinned: yes\n---\n"}, "true or false"),
    ({"a.md": "---\ntitle: never closed\n"}, "no closing ---"),
]


class BadSetTest(unittest.TestCase):
    def test_bad_sets_are_refused_and_leave_nothing(self):
        for files, words in BAD_SETS:
            with self.subTest(words=words), tempfile.TemporaryDirectory() as tmp:
                root = os.path.join(tmp, "set")
                for path, text in files.items():
                    os.makedirs(os.path.dirname(os.path.join(root, path)), exist_ok=True)
                    if text is None:
                        os.symlink("/etc/passwd", os.path.join(root, path))
                    else:
                        with open(os.path.join(root, path), "w", encoding="utf-8") as f:
                            f.write(text)
                out = os.path.join(tmp, "out")
                os.mkdir(out)
                done = subprocess.run([DEVICESIM, "--notes", root, "--write-backup", out, "--backup-os", "17.5"],
                                      capture_output=True, text=True, timeout=60)
                self.assertNotEqual(done.returncode, 0)
                self.assertIn(words, done.stderr)
                self.assertEqual(os.listdir(out), [])


if __name__ == "__main__":
    unittest.main()
