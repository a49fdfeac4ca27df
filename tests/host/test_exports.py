"""The other export formats, read back by independent parsers: CSV (csv module),
contacts and notes as JSON (json module, notes compared with the input notes file),
vCard 4.0 (vobject's line parser), notes as one Markdown file per note, and --limit."""
import csv
import datetime
import io
import json
import os
import shutil
import tempfile
import unittest

import hosttest
import vcard_model

DEMO = os.path.join(hosttest.SAMPLES, 'vcards', 'veldrake_demo.vcf')
GMAIL = os.path.join(hosttest.SAMPLES, 'vcards', 'ezvcard_gmail-single2.vcf')
NOTES = os.path.join(hosttest.SAMPLES, 'notes.json')


def iso(modified):
    """The notes file's date (ISO text, or seconds since 2001-01-01 UTC) as veldrake's."""
    if isinstance(modified, str):
        return modified
    when = datetime.datetime(2001, 1, 1) + datetime.timedelta(seconds=int(modified))
    return when.strftime('%Y-%m-%dT%H:%M:%SZ')


def by_first_name(rows, key):
    return {row[key]: row for row in rows}


class ContactFormats(unittest.TestCase):
    def test_csv_has_one_row_per_contact_and_numbered_item_columns(self):
        text = hosttest.export('contacts', ['--contacts', DEMO, '--contacts', GMAIL],
                               '--format', 'csv')
        self.assertTrue(text.endswith('\r\n'))
        rows = list(csv.DictReader(io.StringIO(text, newline='')))
        self.assertEqual(len(rows), 3)
        header = list(rows[0].keys())
        self.assertEqual(header[:3], ['First Name', 'Middle Name', 'Last Name'])
        # The gmail card has 11 phones, 5 addresses and 8 messaging accounts.
        self.assertIn('Phone 11 Value', header)
        self.assertNotIn('Phone 12 Value', header)
        self.assertIn('Address 5 Postal Code', header)
        self.assertIn('IM 8 Service', header)
        people = by_first_name(rows, 'First Name')
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

    def test_json_keeps_device_labels_and_iso_dates(self):
        people = json.loads(hosttest.export('contacts', ['--contacts', DEMO], '--format', 'json'))
        hanako = by_first_name(people, 'firstName')['花子']
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
        cards = vcard_model.cards(text)
        self.assertEqual(len(cards), 3)
        for card in cards:
            self.assertEqual([l.value for l in card if l.name == 'VERSION'], ['4.0'])
        self.assertIn('BDAY:--0303\r\n', text)
        self.assertIn('BDAY:19120623\r\n', text)
        with open(GMAIL, encoding='utf-8', newline='') as a, \
                open(DEMO, encoding='utf-8', newline='') as b:
            self.assertEqual(vcard_model.book(text), vcard_model.book(a.read() + b.read()))

    def test_limit_stops_a_contact_export_after_n_records(self):
        # The library closes the session itself when the host stops a contact export.
        text = hosttest.export('contacts', ['--contacts', GMAIL, '--contacts', DEMO],
                               '--format', 'json', '--limit', '2')
        self.assertEqual(len(json.loads(text)), 2)


class NoteFormats(unittest.TestCase):
    def test_json_round_trip_keeps_subjects_contents_and_dates(self):
        with open(NOTES, encoding='utf-8') as f:
            expected = json.load(f)
        got = json.loads(hosttest.export('notes', ['--notes', NOTES]))
        self.assertEqual(len(got), len(expected))
        # Delivered by the order of their keys as text: "0", "1", "10", "11", ... "2".
        order = sorted(range(len(expected)), key=str)
        for index, note in zip(order, got):
            self.assertEqual(note['subject'], expected[index]['subject'])
            self.assertEqual(note['content'], expected[index]['content'])
            self.assertEqual(note['modified'], iso(expected[index]['modified']))

    def test_markdown_folder_gets_one_safe_file_per_note(self):
        folder = tempfile.mkdtemp(prefix='veldrake-notes-')
        try:
            hosttest.export('notes', ['--notes', NOTES], '--format', 'md', '-o', folder + '/')
            names = sorted(os.listdir(folder))
            self.assertEqual(len(names), 16)
            self.assertTrue(all(n.endswith('.md') and '/' not in n and not n.startswith('.')
                                for n in names))
            with open(os.path.join(folder, 'Untitled.md'), encoding='utf-8') as f:
                self.assertEqual(f.read(), '# Untitled\n\n*Modified 2018-10-06T10:14:36Z*\n\n'
                                           'text1\n')
        finally:
            shutil.rmtree(folder)

    def test_limit_stops_a_note_export_after_n_records(self):
        # A stopped note export returns 0 with the session open; veldrake closes it.
        got = json.loads(hosttest.export('notes', ['--notes', NOTES], '--limit', '3'))
        self.assertEqual(len(got), 3)


if __name__ == '__main__':
    unittest.main()
