"""Contacts whole from a backup veldrake-devicesim writes from a book with photos, groups and
two accounts, plain and encrypted: each photo byte for byte and a real image (Pillow opens
it), groups and accounts as the book has them, in every format, read back by vobject, json
and csv; --split, --account, --no-photos, the photo files of -o DIR/, and doctor --backup."""
import base64
import csv
import glob
import hashlib
import io
import json
import os
import shutil
import subprocess
import tempfile
import unittest

from PIL import Image

import hosttest
import vcard_model

SECRET = 'correct horse battery'
FAST_KEYS = ['--backup-iterations', '10', '--backup-sha1-iterations', '10']


def image(fmt, size, seed):
    picture = Image.new('RGB', size)
    picture.putdata([((x * seed) % 256, (y * 7) % 256, (x + y + seed) % 256)
                     for y in range(size[1]) for x in range(size[0])])
    out = io.BytesIO()
    picture.save(out, fmt)
    return out.getvalue()


def fold(line):
    return '\r\n '.join(line[i:i + 74] for i in range(0, len(line), 74)) + '\r\n'


# name -> (photo bytes or None, crop side or None, groups, account (type, name) or None)
PEOPLE = {
    'Ann Lee': (image('JPEG', (64, 48), 3), 48, ['Friends', 'Work'], ('icloud', 'iCloud')),
    'Bo Chen': (image('PNG', (40, 40), 5), None, ['Family, close'], ('icloud', 'iCloud')),
    'Cy Diaz': (None, None, ['Work'], ('exchange', 'Work Exchange')),
    'Di Eve': (image('JPEG', (300, 200), 11), None, [], None),
}


def book():
    cards = []
    for name, (photo, crop, groups, account) in PEOPLE.items():
        first, last = name.split(' ')
        lines = ['BEGIN:VCARD\r\n', 'VERSION:3.0\r\n', 'N:%s;%s;;;\r\n' % (last, first),
                 'FN:%s\r\n' % name]
        if photo:
            lines.append(fold('PHOTO;ENCODING=b;TYPE=%s:%s' % (
                'PNG' if photo.startswith(b'\x89PNG') else 'JPEG', base64.b64encode(photo).decode())))
        if crop:
            lines.append('X-ABCROP-RECTANGLE:ABClipRect_1&0&0&%d&%d&x\r\n' % (crop, crop))
        if groups:
            lines.append('CATEGORIES:%s\r\n' % ','.join(g.replace(',', '\\,') for g in groups))
        if account:
            lines.append('X-VELDRAKE-ACCOUNT;TYPE=%s:%s\r\n' % account)
        cards.append(''.join(lines) + 'END:VCARD\r\n')
    return ''.join(cards) + cards[0]  # Ann Lee twice: split files must not clash


def crop_of(photo, side):
    """The phone's X-ABCROP-RECTANGLE: corner, sides and the base64 MD5 of the image."""
    return 'ABClipRect_1&0&0&%d&%d&%s' % (side, side,
                                          base64.b64encode(hashlib.md5(photo).digest()).decode())


class BackupContacts(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp(prefix='veldrake-photos-')
        source = os.path.join(cls.folder, 'book.vcf')
        with open(source, 'w', newline='') as out:
            out.write(book())
        cls.secret = os.path.join(cls.folder, 'secret.txt')
        with open(cls.secret, 'w') as out:
            out.write(SECRET + '\n')
        cls.plain, cls.locked = (os.path.join(cls.folder, n) for n in ('plain', 'locked'))
        for target, extra in ((cls.plain, []), (cls.locked, ['--password-file', cls.secret])):
            subprocess.run([hosttest.DEVICESIM, '--contacts', source, '--write-backup', target,
                            *FAST_KEYS, *extra], check=True, capture_output=True,
                           env=hosttest.ENV, timeout=hosttest.TIMEOUT)
        cls.backups = ((cls.plain, []), (cls.locked, ['--password-file', cls.secret]))

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.folder)

    def run_ok(self, *args):
        run = hosttest.veldrake('contacts', '-q', *args)
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertNotIn(SECRET, run.stdout + run.stderr)
        return run

    def assert_photo(self, name, data, crop=None):
        photo, side = PEOPLE[name][0], PEOPLE[name][1]
        self.assertEqual(data, photo, name)
        Image.open(io.BytesIO(data)).verify()
        if crop is not None:
            self.assertEqual(crop, crop_of(photo, side) if side else '', name)

    def check_cards(self, text):
        cards = vcard_model.cards(text)
        self.assertEqual(len(cards), len(PEOPLE) + 1)
        raw = {}
        for card in vobject_cards(text):
            name = card.fn.value
            photo, _, groups, _ = PEOPLE[name]
            self.assertEqual(card.categories.value if 'categories' in card.contents else [],
                             groups, name)
            self.assertIn('rev', card.contents, name)
            self.assertEqual('photo' in card.contents, photo is not None, name)
            raw[name] = card
        return raw

    def test_every_format_carries_photos_groups_and_accounts(self):
        for backup, password in self.backups:
            for fmt in ('vcf', 'vcf4'):
                with self.subTest(backup=backup, fmt=fmt):
                    text = self.run_ok('--backup', backup, *password, '--format', fmt).stdout
                    self.check_cards(text)
                    for name, data, crop in photos_of(text):
                        self.assert_photo(name, data, crop)
            with self.subTest(backup=backup, fmt='json'):
                people = json.loads(self.run_ok('--backup', backup, *password, '--format',
                                                'json').stdout)
                for person in people:
                    name = person['firstName'] + ' ' + person['lastName']
                    photo, _, groups, account = PEOPLE[name]
                    self.assertEqual(person.get('groups', []), groups)
                    if account:
                        self.assertEqual((person['accountType'], person['account']), account)
                    if photo:
                        self.assertEqual(person['photo']['type'],
                                         'image/png' if photo[:4] == b'\x89PNG' else 'image/jpeg')
                        self.assert_photo(name, base64.b64decode(person['photo']['data']))
                    self.assertRegex(person['created'], r'^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ$')

    def test_own_export_read_back_by_the_emulator_gives_the_same_cards(self):
        # The crop rides on the PHOTO line as a parameter; losing it changes the second export.
        for fmt in ('vcf', 'vcf4'):
            with self.subTest(fmt=fmt):
                first = self.run_ok('--backup', self.plain, '--format', fmt).stdout
                self.assertIn(';X-ABCROP-RECTANGLE=', first)
                source = os.path.join(self.folder, 'again-%s.vcf' % fmt)
                with open(source, 'w', newline='') as out:
                    out.write(first)
                again = os.path.join(self.folder, 'again-' + fmt)
                subprocess.run([hosttest.DEVICESIM, '--contacts', source, '--write-backup', again,
                                *FAST_KEYS], check=True, capture_output=True,
                               env=hosttest.ENV, timeout=hosttest.TIMEOUT)
                second = self.run_ok('--backup', again, '--format', fmt).stdout
                self.assertEqual(without_rev(second), without_rev(first))

    def test_import_tables_name_groups_and_accounts(self):
        google = list(csv.DictReader(io.StringIO(self.run_ok(
            '--backup', self.plain, '--format', 'google-csv').stdout, newline='')))
        outlook = list(csv.DictReader(io.StringIO(self.run_ok(
            '--backup', self.plain, '--format', 'outlook-csv').stdout, newline='')))
        ours = list(csv.DictReader(io.StringIO(self.run_ok(
            '--backup', self.plain, '--format', 'csv').stdout, newline='')))
        for g, o, row in zip(google, outlook, ours):
            name = g['First Name'] + ' ' + g['Last Name']
            groups, account = PEOPLE[name][2], PEOPLE[name][3]
            self.assertEqual(g['Labels'].split(' ::: '), ['* myContacts'] + groups)
            self.assertEqual(o['Categories'], ';'.join(groups))
            self.assertEqual(row['Groups'], ' ::: '.join(groups))
            if account:
                self.assertEqual(row['Account'], account[1])

    def test_split_and_photo_files_in_a_folder(self):
        out = os.path.join(self.folder, 'split')
        self.run_ok('--backup', self.plain, '--split', '-o', out + '/')
        files = sorted(os.listdir(out))
        self.assertEqual(files, ['Ann Lee 2.vcf', 'Ann Lee.vcf', 'Bo Chen.vcf', 'Cy Diaz.vcf',
                                 'Di Eve.vcf'])
        whole = self.run_ok('--backup', self.plain).stdout
        parts = ''
        for name in files:
            with open(os.path.join(out, name), newline='') as card:
                text = card.read()
            self.assertEqual(text.count('BEGIN:VCARD'), 1, name)
            parts += text
        self.assertEqual(vcard_model.book(parts), vcard_model.book(whole))
        self.check_cards(parts)
        folder = os.path.join(self.folder, 'json')
        self.run_ok('--backup', self.locked, '--password-file', self.secret, '--format', 'json',
                    '-o', folder + '/')
        with open(os.path.join(folder, 'contacts.json')) as document:
            people = json.load(document)
        paths = [p['photo']['path'] for p in people if 'photo' in p]
        self.assertEqual(sorted(paths), sorted(os.path.relpath(f, folder) for f in
                                               glob.glob(folder + '/photos/*')))
        for person in people:
            if 'photo' in person:
                self.assertNotIn('data', person['photo'])
                self.assertRegex(person['photo']['path'], r'^photos/%d\.(jpg|png)$' % person['id'])
                with open(os.path.join(folder, person['photo']['path']), 'rb') as data:
                    self.assert_photo(person['firstName'] + ' ' + person['lastName'], data.read())

    def test_account_choice_and_no_photos(self):
        chosen = json.loads(self.run_ok('--backup', self.plain, '--account', 'icloud',
                                        '--format', 'json').stdout)
        self.assertEqual(sorted(p['firstName'] for p in chosen), ['Ann', 'Ann', 'Bo'])
        exchange = json.loads(self.run_ok('--backup', self.plain, '--account', 'Work Exchange',
                                          '--format', 'json').stdout)
        self.assertEqual([p['firstName'] for p in exchange], ['Cy'])
        none = hosttest.veldrake('contacts', '--backup', self.plain, '--account', 'Gmail')
        self.assertEqual((none.returncode, none.stdout), (2, ''))
        self.assertIn('iCloud (3)', none.stderr)
        self.assertIn('Work Exchange (1)', none.stderr)
        bare = self.run_ok('--backup', self.plain, '--no-photos').stdout
        self.assertNotIn('PHOTO', bare)
        self.assertIn('CATEGORIES:Family\\, close', bare)

    def test_doctor_opens_the_backup_and_counts_what_it_holds(self):
        env = dict(hosttest.ENV, VELDRAKE_BACKUP_PASSWORD=SECRET)
        for args, run_env, status, lines in (
                ([self.plain], None, 0, ['not encrypted', 'address book: 5 people',
                                         'notes store: 0 notes']),
                ([self.locked], env, 0, ['password: it opens the backup', '5 people']),
                ([self.locked, '--password-file', self.secret], None, 0, ['5 people']),
                ([self.locked], dict(env, VELDRAKE_BACKUP_PASSWORD='nope'), 23,
                 ['it does not open the backup'])):
            with self.subTest(args=args):
                run = hosttest.veldrake('doctor', '--backup', *args, env=run_env)
                self.assertNotIn(SECRET, run.stdout + run.stderr)
                self.assertEqual(run.returncode, status, run.stdout + run.stderr)
                for line in lines:
                    self.assertIn(line, run.stdout)
                self.assertNotIn('usbmux', run.stdout)


def without_rev(text):
    """The cards without REV: a backup written later dates its people anew."""
    return [line for line in text.split('\r\n') if not line.startswith('REV:')]


def vobject_cards(text):
    import vobject
    return list(vobject.readComponents(text))


def photos_of(text):
    """(name, bytes, crop parameter) of each card with a PHOTO, read by vobject; a 4.0
    data: URI from its content line (vobject's decoding cuts it at the comma)."""
    found = []
    for card in vcard_model.cards(text):
        fields = {line.name: line for line in card}
        if 'PHOTO' not in fields:
            continue
        line = fields['PHOTO']
        value = line.value
        if isinstance(value, str) and value.startswith('data:'):
            value = base64.b64decode(value.split(',', 1)[1], validate=True)
        elif isinstance(value, str):
            value = base64.b64decode(value, validate=True)
        crop = line.params.get('X-ABCROP-RECTANGLE', [''])[0]
        found.append((vcard_model.text(fields['FN'].value), value, crop))
    return found


if __name__ == '__main__':
    unittest.main()
