"""veldrake on a phone's backup written by veldrake-devicesim --write-backup: the same
records as the sync route, every way to give the password (and none leaking), the list
of backups, and each backup failure's status."""
import collections
import json
import os
import re
import shutil
import subprocess
import tempfile
import unittest

import hosttest

# The sample book: the backup route must give it card for card, byte for byte.
DEMO = os.path.join(hosttest.SAMPLES, 'addressbook.vcf')
NOTES = os.path.join(hosttest.SAMPLES, 'notes.json')
SOURCE = ['--contacts', DEMO, '--notes', NOTES]
SECRET = 'correct horse battery'
FAST_KEYS = ['--backup-iterations', '10', '--backup-sha1-iterations', '10']


# The sync route lists a batch's records in the order of their text keys ("10" before "2"),
# and so a person's items once they are ten or more; the backup keeps record ids and the
# phone's order. So: the same records in any order, each byte for byte, but for the items
# of a person with ten or more, which may come in any order.
ITEM = re.compile(r'(?:item\d+\.)?(?:TEL|EMAIL|ADR|URL|IMPP|X-SOCIALPROFILE|X-ABDATE|'
                  r'X-ABRELATEDNAMES|X-VELDRAKE-OTHER)[;:]')


# What only the backup route carries (the sync service has no photos, groups, accounts or
# dates); test_backup_contacts.py checks them.
BACKUP_ONLY_KEYS = {'account', 'accountType', 'groups', 'created', 'modified', 'photo'}
BACKUP_ONLY_LINE = re.compile(r'(?:REV|CATEGORIES|PHOTO)[;:]')


def comparable_card(card):
    lines = [line for line in card.replace('\r\n ', '').split('\r\n')
             if not BACKUP_ONLY_LINE.match(line)]
    card = '\r\n'.join(lines)
    if sum(1 for line in lines if ITEM.match(line)) < 10:
        return card
    groups, rest = collections.defaultdict(list), []
    for line in lines:
        grouped = re.match(r'item(\d+)\.(.*)', line)
        (groups[grouped[1]] if grouped else rest).append(grouped[2] if grouped else line)
    return repr((sorted(rest), sorted(sorted(group) for group in groups.values())))


def comparable_record(record):
    record = {k: v for k, v in record.items() if k not in BACKUP_ONLY_KEYS}
    if sum(len(v) for v in record.values() if isinstance(v, list)) >= 10:
        record = {k: sorted(v, key=json.dumps) if isinstance(v, list) else v
                  for k, v in record.items()}
    return json.dumps(record, sort_keys=True)


def comparable(fmt, text):
    if fmt == 'json':
        return sorted(comparable_record(record) for record in json.loads(text))
    return sorted(comparable_card('BEGIN:VCARD' + card) for card in text.split('BEGIN:VCARD')[1:])


def sync_keys(kind, text):
    """Notes as the sync route knows them: a backup adds folders, ids, dates and more."""
    if kind != 'notes':
        return text
    return json.dumps([{k: n[k] for k in ('subject', 'content', 'modified')}
                       for n in json.loads(text)])


class Backups(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp(prefix='veldrake-backups-')
        cls.secret = os.path.join(cls.folder, 'secret.txt')
        with open(cls.secret, 'w') as out:
            out.write(SECRET + '\n')
        cls.plain = os.path.join(cls.folder, 'plain')
        cls.locked = os.path.join(cls.folder, 'locked')
        for folder, extra in ((cls.plain, []), (cls.locked, ['--password-file', cls.secret])):
            subprocess.run([hosttest.DEVICESIM, *SOURCE, '--write-backup', folder, *FAST_KEYS,
                            *extra], check=True, capture_output=True, env=hosttest.ENV,
                           timeout=hosttest.TIMEOUT)

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.folder)

    def run_veldrake(self, *args, password=None):
        env = dict(hosttest.ENV)
        env.pop('VELDRAKE_BACKUP_PASSWORD', None)
        if password is not None:
            env['VELDRAKE_BACKUP_PASSWORD'] = password
        run = hosttest.veldrake(*args, env=env)
        self.assertNotIn(SECRET, run.stdout + run.stderr)
        return run

    def test_a_backup_gives_what_the_phone_sends(self):
        for kind, fmt in (('contacts', 'json'), ('notes', 'json'), ('contacts', 'vcf')):
            with self.subTest(kind=kind, fmt=fmt):
                synced = hosttest.export(kind, SOURCE, '--format', fmt)
                for args, password in (([self.plain], None),
                                       ([self.locked, '--password-file', self.secret], None),
                                       ([self.locked], SECRET)):
                    run = self.run_veldrake(kind, '--format', fmt, '-q', '--backup', *args,
                                            password=password)
                    self.assertEqual(run.returncode, 0, run.stderr)
                    self.assertEqual(comparable(fmt, sync_keys(kind, run.stdout)),
                                     comparable(fmt, sync_keys(kind, synced)))

    def test_each_backup_failure_has_its_status(self):
        wrong = os.path.join(self.folder, 'wrong.txt')
        with open(wrong, 'w') as out:
            out.write('not it\n')
        cases = [
            (['contacts', '--backup', self.folder + '/nothing'], None, 21),
            (['contacts', '--backup', hosttest.SAMPLES], None, 21),
            (['notes', '--backup', self.locked], None, 22),
            (['notes', '--backup', self.locked, '--password-file', wrong], None, 23),
            (['contacts', '--backup', self.locked], 'not it', 23),
            (['contacts', '--backup', self.plain, '--device', 'usb'], None, 2),
        ]
        for args, password, status in cases:
            with self.subTest(args=args):
                run = self.run_veldrake(*args, password=password)
                self.assertEqual(run.returncode, status, run.stderr)
                self.assertEqual(run.stdout, '')

    def test_backups_are_listed(self):
        run = self.run_veldrake('backups', self.plain)
        self.assertEqual(run.returncode, 0, run.stderr)
        header, row = run.stdout.splitlines()
        self.assertEqual(header.split()[:3], ['UDID', 'NAME', 'VERSION'])
        self.assertTrue(row.startswith('00008110-000A1B2C3D4E5F60'), row)
        self.assertTrue(row.rstrip().endswith('no'), row)
        locked = self.run_veldrake('backups', self.locked).stdout.splitlines()[1]
        self.assertTrue(locked.rstrip().endswith('yes'), locked)
        doctor = self.run_veldrake('doctor', '--backup', self.locked)
        self.assertIn('complete, encrypted', doctor.stdout)


if __name__ == '__main__':
    unittest.main()
