"""Every export format, read back by independent parsers: vCard 3.0 and 4.0 (vobject,
compared with the input books read by vobject, both reduced to what the device stores:
vcard_model.py), CSV (csv module), contacts and notes as JSON (json module, notes compared
with the input notes file), notes as one Markdown file per note, and --limit.

The vCard round trip takes every sample book vobject can read, i.e. the UTF-8 3.0 and 4.0
files; the 2.1 quoted-printable, Shift_JIS and Windows-1252 ones have no independent
reading here and are covered by the emulator's own loader tests."""
import csv
import datetime
import io
import json
import os
import shutil
import tempfile
import unittest

import vobject

import hosttest
import vcard_model

DEMO = os.path.join(hosttest.SAMPLES, 'vcards', 'veldrake_demo.vcf')
GMAIL = os.path.join(hosttest.SAMPLES, 'vcards', 'ezvcard_gmail-single2.vcf')
NOTES = os.path.join(hosttest.SAMPLES, 'notes.json')
BOOKS = ['veldrake_demo.vcf', 'ezvcard_gmail-single2.vcf', 'ezvcard_fullcontact.vcf',
         'calcard_051.vcf', 'aosp_v40_sort_as.vcf', 'vobject_simple_3_0_test.vcf']


def read(*paths):
    texts = []
    for path in paths:
        with open(path, encoding='utf-8', newline='') as f:
            texts.append(f.read())
    return ''.join(texts)


def iso(modified):
    """The notes file's date (ISO text, or seconds since 2001-01-01 UTC) as veldrake's."""
    if isinstance(modified, str):
        return modified
    when = datetime.datetime(2001, 1, 1) + datetime.timedelta(seconds=int(modified))
    return when.strftime('%Y-%m-%dT%H:%M:%SZ')


class Exports(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix='veldrake-exports-')
        self.addCleanup(shutil.rmtree, self.folder)

    def test_every_book_in_scope_survives_the_device_as_vcard_3(self):
        for name in BOOKS:
            path = os.path.join(hosttest.SAMPLES, 'vcards', name)
            exported = hosttest.export('contacts', ['--contacts', path], '--format', 'vcf')
            expected, got = vcard_model.book(read(path)), vcard_model.book(exported)
            self.assertEqual(len(got), len(expected), name)
            for want, have in zip(expected, got):
                for key in want:
                    self.assertEqual(have[key], want[key],
                                     '%s: %s of %r' % (name, key, want['first']))

    def test_builtin_book_is_vcard_3(self):
        run = hosttest.veldrake('contacts', '--device', 'sample')
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertIn('exported 17 contacts', run.stderr)
        # The sync service carries no photos or groups: said once, in one line.
        self.assertEqual(run.stderr.count('an export from a backup has them'), 1, run.stderr)
        self.assertTrue(run.stdout.endswith('\r\n'))
        cards = list(vobject.readComponents(run.stdout))
        self.assertEqual(len(cards), 17)
        self.assertTrue(all(card.version.value == '3.0' for card in cards))

    def test_csv_file_replaces_the_target_with_one_row_per_contact(self):
        path = os.path.join(self.folder, 'book.csv')
        with open(path, 'w') as f:
            f.write('older and longer content than a header row\n' * 1000)
        self.assertEqual(hosttest.export('contacts', ['--contacts', DEMO, '--contacts', GMAIL],
                                         '--format', 'csv', '-o', path), '')
        self.assertEqual(os.listdir(self.folder), ['book.csv'])
        text = read(path)
        self.assertTrue(text.endswith('\r\n'))
        rows = list(csv.DictReader(io.StringIO(text, newline='')))
        header = list(rows[0].keys())
        self.assertEqual(header[:3], ['First Name', 'Middle Name', 'Last Name'])
        # The gmail card has 11 phones, 5 addresses and 8 messaging accounts.
        for column, present in [('Phone 11 Value', True), ('Phone 12 Value', False),
                                ('Address 5 Postal Code', True), ('IM 8 Service', True)]:
            self.assertEqual(column in header, present, column)
        people = {row['First Name']: row for row in rows}
        self.assertEqual(len(people), 3)
        hanako = people['花子']
        self.assertEqual(hanako['Notes'],
                         'Loves ramen 🍜 and mountains ⛰️.\nSecond line, with a comma.')
        self.assertEqual(hanako['Birthday'], '--03-03')
        phones = {hanako['Phone %d Value' % n]: hanako['Phone %d Label' % n] for n in (1, 2, 3)}
        self.assertEqual(phones, {'+81 90 1234 5678': 'Mobile', '+81 80 8765 4321': 'Mobile',
                                  '+81 3 1111 2222': 'Studio 🎨'})
        self.assertEqual(hanako['Phone 4 Value'], '')
        self.assertEqual(people['Siobhán']['Address 1 Street'], 'Unit 4\nSráid an Mhuilinn 12')
        self.assertEqual(people['Siobhán']['Company'], 'Ørsted Lab 🚀')
        self.assertEqual(people['VCard']['Birthday'], '1912-06-23')

    def test_contacts_json_keeps_device_labels_and_iso_dates(self):
        people = json.loads(hosttest.export('contacts', ['--contacts', DEMO], '--format', 'json'))
        hanako = {p['firstName']: p for p in people}['花子']
        self.assertEqual(hanako['phoneticLastName'], 'やまだ')
        self.assertEqual(hanako['birthday'], '--03-03')
        self.assertIn({'label': 'Mobile', 'deviceLabel': '_$!<Mobile>!$_',
                       'value': '+81 90 1234 5678'}, hanako['phones'])
        self.assertIn({'label': 'Studio 🎨', 'value': '+81 3 1111 2222'}, hanako['phones'])
        self.assertEqual(hanako['dates'], [{'label': 'Anniversary',
                                            'deviceLabel': '_$!<Anniversary>!$_',
                                            'value': '2015-06-20'}])
        self.assertEqual(hanako['instantMessaging'], [{'service': 'Skype',
                                                       'user': 'hanako.yamada'}])
        self.assertEqual(hanako['socialProfiles'], [{'service': 'twitter',
                                                     'user': 'hanako_example'}])
        self.assertEqual(hanako['addresses'][0]['postalCode'], '150-0002')
        self.assertNotIn('middleName', hanako)

    def test_vcard_4_is_read_back_to_the_same_book(self):
        text = hosttest.export('contacts', ['--contacts', GMAIL, '--contacts', DEMO],
                               '--format', 'vcf4')
        for card in vcard_model.cards(text):
            self.assertEqual([l.value for l in card if l.name == 'VERSION'], ['4.0'])
        self.assertIn('BDAY:--0303\r\n', text)
        self.assertIn('BDAY:19120623\r\n', text)
        self.assertEqual(vcard_model.book(text), vcard_model.book(read(GMAIL, DEMO)))

    def test_notes_json_keeps_subjects_contents_and_dates(self):
        with open(NOTES, encoding='utf-8') as f:
            expected = json.load(f)
        got = json.loads(hosttest.export('notes', ['--notes', NOTES]))
        self.assertEqual(len(got), len(expected))
        # Delivered by the order of their keys as text: "0", "1", "10", "11", ... "2".
        for index, note in zip(sorted(range(len(expected)), key=str), got):
            self.assertEqual(note, {'subject': expected[index]['subject'],
                                    'content': expected[index]['content'],
                                    'modified': iso(expected[index]['modified']),
                                    # What the sync route cannot know.
                                    'folder': None, 'account': None, 'created': None,
                                    'pinned': False, 'id': None, 'tags': [],
                                    'attachments': [], 'tables': []})

    def test_markdown_folder_gets_one_safe_file_per_note(self):
        hosttest.export('notes', ['--notes', NOTES], '--format', 'md', '-o', self.folder + '/')
        names = os.listdir(self.folder)
        self.assertEqual(len(names), 16)
        self.assertTrue(all(n.endswith('.md') and not n.startswith('.') for n in names))
        with open(os.path.join(self.folder, 'Untitled.md'), encoding='utf-8') as f:
            self.assertEqual(f.read(), '---\ntitle: "Untitled"\ncreated: null\n'
                                       'modified: 2018-10-06T10:14:36Z\nfolder: ""\npinned: false\n'
                                       'id: null\ntags: []\n---\n\n# Untitled\n\ntext1\n')

    def test_limit_stops_either_export_after_n_records(self):
        # The library closes a stopped contact export itself; veldrake closes a note export.
        for kind, source, limit in [('contacts', ['--contacts', GMAIL, '--contacts', DEMO], 2),
                                    ('notes', ['--notes', NOTES], 3)]:
            text = hosttest.export(kind, source, '--format', 'json', '--limit', str(limit))
            self.assertEqual(len(json.loads(text)), limit, kind)


if __name__ == '__main__':
    unittest.main()
