"""vCard round trip: sample book -> veldrake-devicesim -> library -> veldrake contacts ->
vobject, compared with the input file read by vobject, both reduced to what the device
stores (vcard_model.py). In scope: every sample file vobject can read, i.e. the UTF-8
3.0 and 4.0 files; the 2.1 quoted-printable, Shift_JIS and Windows-1252 files have no
independent reading here and are covered by the emulator's own loader tests."""
import os
import unittest

import vobject

import hosttest
import vcard_model

BOOKS = ['veldrake_demo.vcf', 'ezvcard_gmail-single2.vcf', 'ezvcard_fullcontact.vcf',
         'calcard_051.vcf', 'aosp_v40_sort_as.vcf', 'vobject_simple_3_0_test.vcf']


def read(path):
    with open(path, encoding='utf-8', newline='') as f:
        return f.read()


class VCardRoundTrip(unittest.TestCase):
    def check_book(self, name):
        path = os.path.join(hosttest.SAMPLES, 'vcards', name)
        exported = hosttest.export('contacts', ['--contacts', path], '--format', 'vcf')
        expected = vcard_model.book(read(path))
        got = vcard_model.book(exported)
        self.assertEqual(len(got), len(expected))
        for want, have in zip(expected, got):
            for key in want:
                self.assertEqual(have[key], want[key], '%s: %s of %r' % (name, key, want['first']))

    def test_every_book_in_scope_survives_the_device(self):
        for name in BOOKS:
            with self.subTest(book=name):
                self.check_book(name)

    def test_builtin_book_is_folded_crlf_vcard_3(self):
        run = hosttest.veldrake('contacts')
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertIn('exported 17 contacts', run.stderr)
        lines = run.stdout.split('\r\n')
        self.assertEqual(lines[-1], '')
        for line in lines:
            self.assertNotIn('\n', line)
            self.assertLessEqual(len(line.encode('utf-8')), 75, line)
        cards = list(vobject.readComponents(run.stdout))
        self.assertEqual(len(cards), 17)
        self.assertTrue(all(card.version.value == '3.0' for card in cards))


if __name__ == '__main__':
    unittest.main()
