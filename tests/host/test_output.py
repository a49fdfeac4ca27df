"""What veldrake leaves on disk and says: the output file's mode, a symbolic link's
target, a folder made for -o DIR/, CSV's byte order mark, vCard 4.0 anniversaries, the
platform's trace lines only with -v, and the README's exit status table as --help has it."""
import os
import re
import shutil
import stat
import tempfile
import unittest

import hosttest

README = os.path.join(os.path.dirname(hosttest.SAMPLES), 'README.md')
MISSING = 'unix:/nonexistent/veldrake.sock'


def sample(*args, umask=None):
    """veldrake on the built-in device, under `umask` when given."""
    if umask is None:
        return hosttest.veldrake(*args, '--device', 'sample', '-q')
    old = os.umask(umask)
    try:
        return hosttest.veldrake(*args, '--device', 'sample', '-q')
    finally:
        os.umask(old)


class Files(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix='veldrake-out-')
        self.addCleanup(shutil.rmtree, self.folder)

    def path(self, *names):
        return os.path.join(self.folder, *names)

    def mode(self, path):
        return stat.S_IMODE(os.stat(path).st_mode)

    def test_a_new_file_follows_the_umask_and_a_replaced_one_keeps_its_mode(self):
        for umask, before, after in ((0o022, None, 0o644), (0o077, None, 0o600),
                                     (0o022, 0o640, 0o640), (0o077, 0o604, 0o604)):
            with self.subTest(umask=oct(umask), before=before):
                target = self.path('book.vcf')
                if before is not None:
                    with open(target, 'w') as old:
                        old.write('old')
                    os.chmod(target, before)
                run = sample('contacts', '-o', target, umask=umask)
                self.assertEqual(run.returncode, 0, run.stderr)
                self.assertEqual(self.mode(target), after)
                os.remove(target)

    def test_a_symbolic_link_keeps_pointing_at_the_file_written(self):
        os.mkdir(self.path('real'))
        os.symlink(os.path.join('real', 'book.vcf'), self.path('link.vcf'))
        run = sample('contacts', '-o', self.path('link.vcf'))
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertTrue(os.path.islink(self.path('link.vcf')))
        with open(self.path('real', 'book.vcf')) as book:
            self.assertIn('BEGIN:VCARD', book.read())
        self.assertEqual(sorted(os.listdir(self.folder)), ['link.vcf', 'real'])

    def test_a_folder_named_with_a_slash_is_made_and_removed_again_on_failure(self):
        for args, files in ((['notes', '--format', 'md'], 'md'),
                            (['contacts'], ['contacts.vcf'])):
            with self.subTest(args=args):
                folder = self.path('new')
                run = sample(*args, '-o', folder + '/')
                self.assertEqual(run.returncode, 0, run.stderr)
                made = os.listdir(folder)
                if files == 'md':
                    self.assertTrue(made and all(name.endswith('.md') for name in made), made)
                else:
                    self.assertEqual(made, files)
                shutil.rmtree(folder)
        run = hosttest.veldrake('contacts', '--device', MISSING, '-o', self.path('new') + '/')
        self.assertEqual(run.returncode, 6, run.stderr)
        self.assertEqual(os.listdir(self.folder), [])

    def test_formats_options(self):
        bom = sample('contacts', '--format', 'csv', '--bom').stdout
        self.assertTrue(bom.startswith('\ufeffFirst Name,'), bom[:20])
        self.assertFalse(sample('contacts', '--format', 'csv').stdout.startswith('\ufeff'))
        vcf4 = sample('contacts', '--format', 'vcf4').stdout
        cards = vcf4.split('END:VCARD')
        self.assertTrue(any('ANNIVERSARY:' in card for card in cards))
        # One per card, as vCard 4.0 allows; a second stays a labelled date.
        self.assertTrue(all(card.count('ANNIVERSARY:') <= 1 for card in cards))
        self.assertTrue(all('ANNIVERSARY:' in card for card in cards
                            if '_$!<Anniversary>!$_' in card))


class Messages(unittest.TestCase):
    def test_trace_lines_only_with_verbose(self):
        quiet = hosttest.veldrake('notes', '--device', MISSING)
        loud = hosttest.veldrake('notes', '--device', MISSING, '-v')
        self.assertEqual((quiet.returncode, loud.returncode), (6, 6))
        self.assertNotIn('[RET]', quiet.stderr)
        self.assertIn('[RET]AMDeviceSecureStartService', loud.stderr)
        self.assertEqual(quiet.stderr.splitlines(), [loud.stderr.splitlines()[-1]])

    def test_the_readme_tables_the_exit_statuses_as_help_does(self):
        help_text = hosttest.veldrake('--help').stdout
        helped = re.findall(r'^  (\d+) +(.+)$', help_text.split('Exit status:')[1], re.M)
        with open(README) as readme:
            text = readme.read()
        table = text.split('| Exit status | Meaning |')[1].split('\n\n')[0]
        documented = [(code, meaning.replace('`', '').strip())
                      for code, meaning in re.findall(r'^\| (\d+) \| (.+) \|$', table, re.M)]
        self.assertEqual(documented, helped)


if __name__ == '__main__':
    unittest.main()
