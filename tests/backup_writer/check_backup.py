"""veldrake-devicesim --write-backup, checked with independent readers (backup_oracle.py).
Usage: check_backup.py PATH-TO-veldrake-devicesim"""
import base64
import datetime
import os
import shutil
import sqlite3
import subprocess
import sys
import tempfile
import unittest
import zlib

from cryptography.hazmat.primitives.keywrap import InvalidUnwrap

import backup_oracle as oracle

DEVICESIM = sys.argv.pop(1) if len(sys.argv) > 1 else "veldrake-devicesim"
UDID = "00008110-000A1B2C3D4E5F60"
HOME, NOTES = "HomeDomain", "AppDomainGroup-group.com.apple.notes"
BOOK = "Library/AddressBook/AddressBook.sqlitedb"
IMAGES = "Library/AddressBook/AddressBookImages.sqlitedb"
PASSWORD = "correct horse ⚡ battery"

VCARDS = """BEGIN:VCARD
VERSION:3.0
N:Doe;Jane;Q;;Jr.
ORG:Acme;Sales
TITLE:Boss
NOTE:Likes tea
BDAY:1990-01-02
TEL;type=CELL:+1 555 0100
EMAIL;type=WORK:jane@example.com
ADR;type=HOME:;;1 Main St;Springfield;IL;62701;USA
IMPP;X-SERVICE-TYPE=Skype;type=HOME:skype:jane.doe
END:VCARD
BEGIN:VCARD
VERSION:3.0
N:Ström;Åsa;;;
TEL;type=WORK:+46 8 123
URL:https://example.se
X-SOCIALPROFILE;type=twitter;x-user=asa:https://twitter.com/asa
END:VCARD
BEGIN:VCARD
VERSION:3.0
N:Third;Tom;;;
END:VCARD
"""
NOTES_JSON = """[
 {"subject": "Shopping", "content": "milk & eggs\\n\\n<b>not bold</b> 🥚", "modified": 700000000},
 {"subject": "Ünïcode 𝄞", "content": "one line", "modified": "2023-04-05T06:07:08Z"}
]"""
NOTES_EXPECTED = [("Shopping", "milk & eggs\n\n<b>not bold</b> 🥚", 700000000.0),
                  ("Ünïcode 𝄞", "one line", 702367628.0)]


def since_2001(y, m, d):
    return (datetime.datetime(y, m, d) - datetime.datetime(2001, 1, 1)).total_seconds()


class BackupCase(unittest.TestCase):
    def setUp(self):
        self.tmp = tempfile.mkdtemp()
        self.vcf = os.path.join(self.tmp, "book.vcf")
        self.notes = os.path.join(self.tmp, "notes.json")
        with open(self.vcf, "w", encoding="utf-8") as f:
            f.write(VCARDS)
        with open(self.notes, "w", encoding="utf-8") as f:
            f.write(NOTES_JSON)
        self.opened = []

    def tearDown(self):
        for backup in self.opened:
            backup.close()
        shutil.rmtree(self.tmp)

    def run_sim(self, out, *extra, password=None):
        args = [DEVICESIM, "--contacts", self.vcf, "--notes", self.notes, "--write-backup", out]
        if password is not None:
            path = os.path.join(self.tmp, "password")
            with open(path, "w", encoding="utf-8") as f:
                f.write(password + "\nsecond line is not the password\n")
            args += ["--password-file", path, "--backup-iterations", "7",
                     "--backup-sha1-iterations", "3"]
        return subprocess.run(args + list(extra), capture_output=True, text=True, timeout=60)

    def write(self, *extra, password=None):
        out = tempfile.mkdtemp(dir=self.tmp)
        done = self.run_sim(out, *extra, password=password)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertEqual(os.listdir(out), [UDID], "nothing but the backup beside it")
        backup = oracle.Backup(os.path.join(out, UDID), password)
        self.opened.append(backup)
        return backup


class LayoutTest(BackupCase):
    def test_every_row_names_its_file_and_folders(self):
        for password in (None, PASSWORD):
            with self.subTest(encrypted=password is not None):
                backup = self.write(password=password)
                listed = {(d, p): flags for _, d, p, flags, _ in backup.rows}
                on_disk = set()
                for name in os.listdir(backup.folder):
                    if len(name) == 2:
                        on_disk |= {f"{name}/{f}" for f in os.listdir(os.path.join(backup.folder, name))}
                expected = set()
                for file_id, domain, path, flags, blob in backup.rows:
                    self.assertEqual(file_id, oracle.file_id(domain, path))
                    record = oracle.mbfile(blob)
                    self.assertEqual((record["$classname"], record["RelativePath"]), ("MBFile", path))
                    self.assertEqual(record["Mode"] & 0o170000, 0o100000 if flags == 1 else 0o040000)
                    self.assertEqual("EncryptionKey" in record, flags == 1 and password is not None)
                    if "EncryptionKey" in record:
                        stored = record["EncryptionKey"]
                        self.assertEqual((len(stored), int.from_bytes(stored[:4], "little")),
                                         (44, record["ProtectionClass"]))
                    if flags == 1:
                        expected.add(f"{file_id[:2]}/{file_id}")
                        parent = path.rpartition("/")[0]
                        self.assertEqual(listed.get((domain, parent)), 2, f"folder of {path}")
                self.assertEqual(on_disk, expected)

    def test_property_lists(self):
        backup = self.write("--device-name", "Åsa's phone", "--backup-os", "16.1")
        with open(os.path.join(backup.folder, "Info.plist"), "rb") as f:
            self.assertTrue(f.read().startswith(b"<?xml"))
        info = oracle.load_plist(os.path.join(backup.folder, "Info.plist"))
        status = oracle.load_plist(os.path.join(backup.folder, "Status.plist"))
        lockdown = backup.manifest["Lockdown"]
        table = [
            (info, "Device Name", "Åsa's phone"), (info, "Unique Identifier", UDID),
            (info, "Target Identifier", UDID), (info, "Product Version", "16.1"),
            (status, "SnapshotState", "finished"), (status, "Version", "3.3"),
            (status, "BackupState", "new"), (backup.manifest, "Version", "10.0"),
            (backup.manifest, "IsEncrypted", False), (lockdown, "UniqueDeviceID", UDID),
            (lockdown, "ProductVersion", "16.1"), (lockdown, "DeviceName", "Åsa's phone"),
        ]
        for plist, key, value in table:
            with self.subTest(key=key):
                self.assertEqual(plist[key], value)
        for path in ("Status.plist", "Manifest.plist"):
            with open(os.path.join(backup.folder, path), "rb") as f:
                self.assertEqual(f.read(8), b"bplist00")
        self.assertIn("BackupKeyBag", backup.manifest)
        self.assertNotIn("ManifestKey", backup.manifest)
        self.assertEqual(status["UUID"], info["GUID"])

    def test_existing_backup_is_kept_unless_replaced(self):
        out = tempfile.mkdtemp(dir=self.tmp)
        self.assertEqual(self.run_sim(out).returncode, 0)
        first = oracle.load_plist(os.path.join(out, UDID, "Status.plist"))["UUID"]
        for extra, code, replaced in (((), 2, False), (("--replace",), 0, True)):
            with self.subTest(extra=extra):
                self.assertEqual(self.run_sim(out, *extra).returncode, code)
                now = oracle.load_plist(os.path.join(out, UDID, "Status.plist"))["UUID"]
                self.assertEqual(now != first, replaced)
                self.assertEqual(os.listdir(out), [UDID])


class AddressBookTest(BackupCase):
    PEOPLE = [  # ROWID, First, Last, Middle, Suffix, Organization, Department, JobTitle, Note
        (1, "Jane", "Doe", "Q", "Jr.", "Acme", "Sales", "Boss", "Likes tea"),
        (2, "Åsa", "Ström", None, None, None, None, None, None),
        (3, "Tom", "Third", None, None, None, None, None, None),
    ]
    ITEMS = [  # record, property, identifier, label, value, entries
        (1, 3, 0, "_$!<Mobile>!$_", "+1 555 0100", {}),
        (1, 4, 1, "_$!<Work>!$_", "jane@example.com", {}),
        (1, 5, 2, "_$!<Home>!$_", None, {"Street": "1 Main St", "City": "Springfield",
                                          "State": "IL", "ZIP": "62701", "Country": "USA"}),
        (1, 13, 3, "_$!<Home>!$_", None, {"service": "Skype", "username": "jane.doe"}),
        (2, 3, 0, "_$!<Work>!$_", "+46 8 123", {}),
        (2, 22, 1, "_$!<HomePage>!$_", "https://example.se", {}),
        (2, 46, 2, None, None, {"service": "twitter", "username": "asa",
                                "url": "https://twitter.com/asa"}),
    ]

    def rows(self, db):
        people = db.execute("SELECT ROWID, First, Last, Middle, Suffix, Organization, Department,"
                            " JobTitle, Note FROM ABPerson ORDER BY ROWID").fetchall()
        items = []
        for uid, record, prop, ident, label, value in db.execute(
                "SELECT m.UID, record_id, property, identifier, l.value, m.value FROM ABMultiValue m"
                " LEFT JOIN ABMultiValueLabel l ON l.ROWID = m.label ORDER BY m.UID"):
            entries = dict(db.execute(
                "SELECT k.value, e.value FROM ABMultiValueEntry e JOIN ABMultiValueEntryKey k"
                " ON k.ROWID = e.key WHERE parent_id = ?", (uid,)).fetchall())
            items.append((record, prop, ident, label, value, entries))
        return people, items

    def test_people_and_items(self):
        for password in (None, PASSWORD):
            with self.subTest(encrypted=password is not None):
                db = self.write(password=password).database(HOME, BOOK, ("-wal", "-shm"))
                self.assertEqual(self.rows(db), (self.PEOPLE, self.ITEMS))
                birthday = db.execute("SELECT Birthday FROM ABPerson WHERE ROWID = 1").fetchone()[0]
                self.assertEqual(float(birthday), since_2001(1990, 1, 2))
                self.assertEqual(db.execute("PRAGMA journal_mode").fetchone()[0], "wal")
                db.close()

    def test_last_people_only_in_the_write_ahead_log(self):
        for wal_people in (0, 1, 3, 5):
            with self.subTest(wal_people=wal_people):
                backup = self.write("--wal-people", str(wal_people))
                main_only = os.path.join(backup.scratch, f"main-{wal_people}.sqlitedb")
                with open(main_only, "wb") as f:
                    f.write(backup.content(HOME, BOOK))
                db = sqlite3.connect(main_only)
                in_main = db.execute("SELECT count(*) FROM ABPerson").fetchone()[0]
                db.close()
                full = backup.database(HOME, BOOK, ("-wal", "-shm"))
                self.assertEqual(in_main, max(0, 3 - wal_people))
                self.assertEqual(self.rows(full), (self.PEOPLE, self.ITEMS))
                full.close()


def png(width, height, seed):
    """A small picture made here with zlib: PNG signature, IHDR, one IDAT, IEND."""
    def chunk(kind, data):
        return (len(data).to_bytes(4, "big") + kind + data +
                zlib.crc32(kind + data).to_bytes(4, "big"))
    rows = b"".join(b"\0" + bytes((seed + x * y) % 256 for x in range(3 * width))
                    for y in range(height))
    header = width.to_bytes(4, "big") + height.to_bytes(4, "big") + bytes([8, 2, 0, 0, 0])
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) + chunk(b"IDAT", zlib.compress(rows)) +
            chunk(b"IEND", b""))


class PhotosGroupsAccountsTest(BackupCase):
    """PHOTO (3.0 base64 folded, 4.0 data: URI), X-ABCROP-RECTANGLE (a line of its own, or
    a parameter of PHOTO as phones write it), CATEGORIES and X-VELDRAKE-ACCOUNT, as the
    phone's two address book databases keep them."""
    FIRST, SECOND, THIRD = png(4, 3, 1), png(9, 9, 7), png(6, 6, 3)

    def setUp(self):
        super().setUp()
        first = base64.b64encode(self.FIRST).decode()
        folded = "\r\n ".join(first[i:i + 60] for i in range(0, len(first), 60))
        cards = [
            "BEGIN:VCARD\r\nVERSION:3.0\r\nN:One;Ann;;;\r\nPHOTO;ENCODING=b;TYPE=PNG:" + folded +
            "\r\nX-ABCROP-RECTANGLE:ABClipRect_1&1&0&3&3&aGFzaA==\r\nCATEGORIES:Friends,Work\\,Team"
            "\r\nX-VELDRAKE-ACCOUNT;TYPE=icloud:iCloud\r\nEND:VCARD\r\n",
            "BEGIN:VCARD\r\nVERSION:4.0\r\nN:Two;Bo;;;\r\nPHOTO:data:image/png;base64," +
            base64.b64encode(self.SECOND).decode() + "\r\nCATEGORIES:Friends,Friends\r\n"
            "X-VELDRAKE-ACCOUNT;TYPE=google:bo@gmail.com\r\nEND:VCARD\r\n",
            "BEGIN:VCARD\r\nVERSION:3.0\r\nN:Three;Cy;;;\r\nEND:VCARD\r\n",
            "BEGIN:VCARD\r\nVERSION:3.0\r\nN:Four;Di;;;\r\nPHOTO;ENCODING=b;TYPE=PNG;"
            "X-ABCROP-RECTANGLE=ABClipRect_1&2&1&5&5&aGFzaA==:" +
            base64.b64encode(self.THIRD).decode() + "\r\nEND:VCARD\r\n",
        ]
        with open(self.vcf, "w", encoding="utf-8", newline="") as f:
            f.write("".join(cards))

    def check_book(self, db):
        stores = db.execute("SELECT s.ROWID, s.Name, s.Type, a.AccountIdentifier IS NOT NULL"
                            " FROM ABStore s LEFT JOIN ABAccount a ON a.ROWID = s.AccountID"
                            " ORDER BY s.ROWID").fetchall()
        self.assertEqual(stores, [(1, "Local", 0, 0), (2, "iCloud", 4, 1), (3, "bo@gmail.com", 4, 1)])
        people = db.execute("SELECT ROWID, StoreID FROM ABPerson ORDER BY ROWID").fetchall()
        self.assertEqual(people, [(1, 2), (2, 3), (3, 1), (4, 1)])
        members = db.execute("SELECT g.Name, g.StoreID, m.member_type, m.member_id FROM ABGroupMembers m"
                             " JOIN ABGroup g ON g.ROWID = m.group_id ORDER BY g.Name, m.member_id")
        self.assertEqual(members.fetchall(), [("Friends", 2, 0, 1), ("Friends", 2, 0, 2),
                                              ("Work,Team", 2, 0, 1)])

    def check_images(self, db):
        full = db.execute("SELECT record_id, crop_x, crop_y, crop_width, data FROM ABFullSizeImage"
                          " ORDER BY record_id")
        self.assertEqual(full.fetchall(), [(1, 1, 0, 3, self.FIRST), (4, 2, 1, 5, self.THIRD)])
        thumbs = db.execute("SELECT record_id, format, data FROM ABThumbnailImage").fetchall()
        self.assertEqual(thumbs, [(2, 0, self.SECOND)])
        self.assertEqual(db.execute("PRAGMA journal_mode").fetchone()[0], "wal")

    def test_each_route_of_a_photo_group_and_account(self):
        for password, wal in ((None, 0), (None, 2), (PASSWORD, 3)):
            with self.subTest(encrypted=password is not None, wal=wal):
                backup = self.write("--wal-people", str(wal), password=password)
                book = backup.database(HOME, BOOK, ("-wal", "-shm"))
                self.check_book(book)
                book.close()
                images = backup.database(HOME, IMAGES, ("-wal", "-shm"))
                self.check_images(images)
                images.close()

    def test_the_sample_book_keeps_every_picture_byte_for_byte(self):
        path = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "samples",
                            "photos", "book.vcf")
        with open(path, encoding="utf-8", newline="") as f:
            lines = f.read().replace("\r\n ", "").split("\r\n")
        photos, person = {}, 0
        for line in lines:
            person += line == "BEGIN:VCARD"
            if line.startswith("PHOTO"):
                photos[person] = base64.b64decode(line.split(";base64,")[-1].split(":")[-1])
        shutil.copy(path, self.vcf)
        images = self.write(password=PASSWORD).database(HOME, IMAGES, ("-wal", "-shm"))
        stored = dict(images.execute("SELECT record_id, data FROM ABFullSizeImage UNION ALL"
                                     " SELECT record_id, data FROM ABThumbnailImage").fetchall())
        images.close()
        self.assertEqual(stored, photos)
        self.assertEqual(sorted(photos), [1, 2, 3])

    def test_bad_photos_are_passed_over_and_a_bad_account_refused(self):
        cards = ("BEGIN:VCARD\nVERSION:3.0\nN:Bad;Photo;;;\nPHOTO;ENCODING=b:not*base64\nEND:VCARD\n"
                 "BEGIN:VCARD\nVERSION:3.0\nN:Cut;Short;;;\nPHOTO;ENCODING=b:QUJDR\nEND:VCARD\n"
                 "BEGIN:VCARD\nVERSION:4.0\nN:Link;Only;;;\nPHOTO:https://example.com/a.jpg\n"
                 "END:VCARD\n")
        with open(self.vcf, "w", encoding="utf-8") as f:
            f.write(cards)
        images = self.write().database(HOME, IMAGES)
        for table in ("ABFullSizeImage", "ABThumbnailImage"):
            self.assertEqual(images.execute(f"SELECT count(*) FROM {table}").fetchone()[0], 0)
        images.close()
        with open(self.vcf, "a", encoding="utf-8") as f:
            f.write("BEGIN:VCARD\nVERSION:3.0\nN:Odd;Account;;;\nX-VELDRAKE-ACCOUNT;TYPE=fax:x\n"
                    "END:VCARD\n")
        done = self.run_sim(tempfile.mkdtemp(dir=self.tmp))
        self.assertNotEqual(done.returncode, 0)
        self.assertIn("book.vcf:19: X-VELDRAKE-ACCOUNT needs TYPE=", done.stderr)


class NotesTest(BackupCase):
    def test_modern_store_by_os_generation(self):
        # OS version -> the column a note's creation date is in
        for version, created in (("9.3", "ZCREATIONDATE1"), ("14.8", "ZCREATIONDATE1"),
                                 ("15.0", "ZCREATIONDATE3"), ("17.5", "ZCREATIONDATE3")):
            with self.subTest(version=version):
                db = self.write("--backup-os", version).database(NOTES, "NoteStore.sqlite")
                columns = {row[1] for row in db.execute("PRAGMA table_info(ZICCLOUDSYNCINGOBJECT)")}
                self.assertEqual("ZCREATIONDATE3" in columns, created == "ZCREATIONDATE3")
                notes = db.execute(
                    f"SELECT n.ZTITLE1, n.{created}, n.ZMODIFICATIONDATE1, d.ZDATA, f.ZTITLE2"
                    " FROM ZICCLOUDSYNCINGOBJECT n JOIN ZICNOTEDATA d ON d.Z_PK = n.ZNOTEDATA"
                    " JOIN ZICCLOUDSYNCINGOBJECT f ON f.Z_PK = n.ZFOLDER"
                    " JOIN Z_PRIMARYKEY e ON e.Z_ENT = n.Z_ENT AND e.Z_NAME = 'ICNote'"
                    " WHERE n.ZMARKEDFORDELETION = 0 ORDER BY n.Z_PK").fetchall()
                self.assertEqual(len(notes), len(NOTES_EXPECTED))
                for (title, born, modified, data, folder), (subject, content, when) in zip(
                        notes, NOTES_EXPECTED):
                    text, runs = oracle.note_body(data)
                    self.assertEqual((title, born, modified, folder), (subject, when, when, "Notes"))
                    self.assertEqual(text, subject + "\n" + content)
                    self.assertEqual(sum(length for length, _ in runs), len(text.encode("utf-16-le")) // 2)
                    self.assertEqual(len(runs), text.count("\n") + 1)
                    self.assertEqual([style for _, style in runs[:2]], [0, None])
                db.close()

    def test_legacy_store_before_ios_9(self):
        backup = self.write("--backup-os", "8.4")
        self.assertNotIn(NOTES, {domain for _, domain, _, _, _ in backup.rows})
        db = backup.database(HOME, "Library/Notes/notes.sqlite")
        notes = db.execute("SELECT n.ZTITLE, n.ZMODIFICATIONDATE, n.ZDELETEDFLAG, b.ZCONTENT FROM ZNOTE n"
                           " JOIN ZNOTEBODY b ON b.Z_PK = n.ZBODY ORDER BY n.Z_PK").fetchall()
        expected = [("Shopping", 700000000.0, 0,
                     "Shopping<div>milk &amp; eggs</div><div><br></div>"
                     "<div>&lt;b&gt;not bold&lt;/b&gt; 🥚</div>"),
                    ("Ünïcode 𝄞", 702367628.0, 0, "Ünïcode 𝄞<div>one line</div>")]
        self.assertEqual(notes, expected)
        db.close()


class EncryptionTest(BackupCase):
    def test_keybag_and_password(self):
        out = tempfile.mkdtemp(dir=self.tmp)
        done = self.run_sim(out, password=PASSWORD)
        self.assertEqual(done.returncode, 0, done.stderr)
        backup = oracle.Backup(os.path.join(out, UDID), PASSWORD)
        self.opened.append(backup)
        head = backup.head
        for tag, size in (("SALT", 20), ("DPSL", 20), ("ITER", 4), ("DPIC", 4), ("TYPE", 4)):
            with self.subTest(tag=tag):
                self.assertEqual(len(head[tag]), size)
        self.assertEqual((int.from_bytes(head["DPIC"], "big"), int.from_bytes(head["ITER"], "big"),
                          int.from_bytes(head["TYPE"], "big")), (7, 3, 1))
        self.assertTrue(backup.manifest["IsEncrypted"])
        manifest_key = backup.manifest["ManifestKey"]
        self.assertEqual((len(manifest_key), int.from_bytes(manifest_key[:4], "little")), (44, 4))
        entries = oracle.parse_tlv(backup.manifest["BackupKeyBag"])[len(head):]
        self.assertEqual([tag for tag, _ in entries[:5]], ["UUID", "CLAS", "WRAP", "KTYP", "WPKY"])
        for tag, expected in (("WRAP", {(2).to_bytes(4, "big")}), ("KTYP", {bytes(4)})):
            self.assertEqual({value for t, value in entries if t == tag}, expected, tag)
        self.assertEqual({len(value) for t, value in entries if t == "WPKY"}, {40})
        self.assertEqual(sorted(backup.keys), list(range(1, 12)))
        for wrong in ("", "correct horse", PASSWORD + " "):
            with self.subTest(wrong=wrong), self.assertRaises(InvalidUnwrap):
                oracle.class_keys(backup.manifest["BackupKeyBag"], wrong)
        secret = PASSWORD.encode()
        self.assertNotIn(PASSWORD, done.stdout + done.stderr)
        for root, _, files in os.walk(out):
            for name in files:
                with open(os.path.join(root, name), "rb") as f:
                    self.assertNotIn(secret, f.read(), name)


if __name__ == "__main__":
    unittest.main()
