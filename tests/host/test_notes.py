"""veldrake's notes as files a person opens: from the sync route's sample device, and from
a backup veldrake-devicesim writes of a notes set made here (a picture, a table, folders,
a pinned note, a locked one), plain and encrypted. The Markdown folder's front matter is
read back by PyYAML, pictures compared byte for byte with the originals, and the web
pages opened in headless Chromium (browser_check.py): every page loads, every picture
decodes, every table shows its cells, nothing runs and nothing but the export's own
files is fetched."""
import json
import struct
import zlib
import os
import re
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest
import urllib.parse

import yaml

import hosttest

HERE = os.path.dirname(os.path.abspath(__file__))


def sample(*args):
    run = hosttest.veldrake('notes', '--device', 'sample', '-q', *args)
    if run.returncode != 0:
        raise AssertionError(run.stderr)
    return run


def front_matter(path):
    with open(path, encoding='utf-8') as f:
        text = f.read()
    head, _, body = text[4:].partition('\n---\n')
    assert text.startswith('---\n'), path
    return yaml.safe_load(head), body


def browse(folder):
    run = subprocess.run([sys.executable, os.path.join(HERE, 'browser_check.py'), folder],
                         capture_output=True, text=True, timeout=hosttest.TIMEOUT)
    if run.returncode != 0:
        raise AssertionError(run.stderr)
    return json.loads(run.stdout)


def words(text):
    return ' '.join(text.split())


class SyncRouteNotes(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp(prefix='veldrake-notes-')
        cls.notes = json.loads(sample('--format', 'json').stdout)

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.folder)

    def export(self, fmt):
        out = os.path.join(self.folder, fmt)
        sample('--format', fmt, '-o', out + '/')
        return out

    def test_markdown_front_matter_reads_back_as_the_json_export(self):
        out = self.export('md')
        got = []
        for name in sorted(os.listdir(out)):
            meta, body = front_matter(os.path.join(out, name))
            self.assertEqual(set(meta), {'title', 'created', 'modified', 'folder', 'pinned', 'id',
                                         'tags'})
            modified = meta['modified'].strftime('%Y-%m-%dT%H:%M:%SZ') if meta['modified'] else None
            got.append((meta['title'], modified, meta['folder'], meta['pinned'], meta['tags']))
            # PyYAML reads a date as a datetime: the file's time is the note's.
            if meta['modified']:
                self.assertEqual(os.stat(os.path.join(out, name)).st_mtime,
                                 meta['modified'].timestamp())
        expected = [(n['subject'] or '', n['modified'], '', False, []) for n in self.notes]
        self.assertEqual(sorted(got, key=repr), sorted(expected, key=repr))

    def test_web_pages_show_every_note_offline(self):
        out = self.export('html')
        report = browse(out)
        self.assertEqual(len(report), len(self.notes) + 1)
        index = report.pop('index.html')
        self.assertEqual(sorted(urllib.parse.unquote(link) for link in index['links']),
                         sorted(report))
        shown = {words(page['text']) for page in report.values()}
        for note in self.notes:
            content = words(note['content'] or '')
            self.assertTrue(any(content in text for text in shown), note['subject'])
        for name, page in report.items():
            self.assertEqual((page['ready'], page['scripts'], page['images']), ('complete', 0, []))
            own = pathlib.Path(out).as_uri() + '/'
            self.assertTrue(all(u.startswith(own) for u in page['requests']), name)

    def test_html_needs_a_folder(self):
        run = hosttest.veldrake('notes', '--device', 'sample', '--format', 'html')
        self.assertEqual(run.returncode, 2)
        self.assertIn('-o DIR/', run.stderr)


def png(width, height):
    def chunk(kind, data):
        return struct.pack('>I', len(data)) + kind + data + struct.pack('>I', zlib.crc32(kind + data))
    rows = b''.join(b'\0' + bytes([x * 40 % 256, y * 40 % 256, 128]) * width
                    for y in range(height) for x in [y])
    return (b'\x89PNG\r\n\x1a\n' + chunk(b'IHDR', struct.pack('>IIBBBBB', width, height, 8, 2, 0, 0, 0))
            + chunk(b'IDAT', zlib.compress(rows)) + chunk(b'IEND', b''))


PICTURE = png(3, 2)
SECRET = 'correct horse battery'
NOTE_SECRET = 'open sesame 42'
FAST_KEYS = ['--backup-iterations', '10', '--backup-sha1-iterations', '10']
NOTE_SET = {
    'Work/Projects/Plan.md': ('---\ntitle: Plan\ncreated: 2023-01-02T03:04:05Z\n'
                              'modified: 2023-11-14T22:13:20Z\npinned: true\n---\n'
                              'Plan\n\n**bold** and *italic* #plan\n\n![](photo.png)\n\n'
                              '| a | b |\n|---|---|\n| 1 |  |\n'),
    'Personal/Locked.md': ('---\ntitle: Locked\nmodified: 2022-05-06T07:08:09Z\n'
                           'password: ' + NOTE_SECRET + '\nhint: the usual one\n---\n'
                           'Locked\n\nthe secret text\n'),
}


def notes_whole_available():
    # nm, not ctypes: a sanitizer build's library cannot be loaded into Python.
    library = os.path.join(os.path.dirname(hosttest.VELDRAKE), 'libVeldrakeBackup.so')
    run = subprocess.run(['nm', '-D', '--defined-only', library], capture_output=True,
                         text=True)
    return run.returncode == 0 and ' VeldrakeBackupGetNotes\n' in run.stdout


def write_backups(cls, notes, note_passwords):
    """cls.backups: the notes set at `notes` as a plain and an encrypted backup."""
    cls.secret = os.path.join(cls.folder, 'secret.txt')
    cls.note_secret = os.path.join(cls.folder, 'note-secret.txt')
    for path, text in ((cls.secret, SECRET), (cls.note_secret, note_passwords)):
        with open(path, 'w', encoding='utf-8') as f:
            f.write(text + '\n')
    cls.backups = {}
    for kind, extra in (('plain', []), ('encrypted', ['--password-file', cls.secret])):
        cls.backups[kind] = os.path.join(cls.folder, kind)
        subprocess.run([hosttest.DEVICESIM, '--notes', notes, '--write-backup',
                        cls.backups[kind], *FAST_KEYS, *extra], check=True,
                       capture_output=True, env=hosttest.ENV, timeout=hosttest.TIMEOUT)


def tree(folder):
    """Every file under `folder`: its relative path and bytes."""
    files = {}
    for root, _, names in os.walk(folder):
        for name in names:
            with open(os.path.join(root, name), 'rb') as f:
                files[os.path.relpath(os.path.join(root, name), folder)] = f.read()
    return files


@unittest.skipUnless(notes_whole_available(),
                     'libVeldrakeBackup has no VeldrakeBackupGetNotes yet (branch n-lib)')
class BackupNotes(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp(prefix='veldrake-note-backups-')
        notes = os.path.join(cls.folder, 'set')
        for name, text in NOTE_SET.items():
            os.makedirs(os.path.dirname(os.path.join(notes, name)), exist_ok=True)
            with open(os.path.join(notes, name), 'w', encoding='utf-8') as f:
                f.write(text)
        with open(os.path.join(notes, 'Work/Projects/photo.png'), 'wb') as f:
            f.write(PICTURE)
        write_backups(cls, notes, 'wrong\n' + NOTE_SECRET)

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.folder)

    def export(self, kind, fmt, *args, out=None):
        target = out or os.path.join(self.folder, kind + '-' + fmt + '-' + str(len(args)))
        run = hosttest.veldrake('notes', '--backup', self.backups[kind], '--password-file',
                                self.secret, '--format', fmt, '-o', target + '/', *args)
        self.assertEqual(run.returncode, 0, run.stderr)
        for secret in (SECRET, NOTE_SECRET):
            self.assertNotIn(secret, run.stdout + run.stderr)
        return target, run.stderr

    def test_markdown_folder_has_the_notes_where_the_phone_keeps_them(self):
        for kind in self.backups:
            with self.subTest(kind=kind):
                out, said = self.export(kind, 'md')
                self.assertIn('the usual one', said)  # the locked note's hint
                self.assertFalse(os.path.exists(os.path.join(out, 'Personal', 'Locked.md')))
                meta, body = front_matter(os.path.join(out, 'Work', 'Projects', 'Plan.md'))
                self.assertEqual((meta['title'], meta['folder'], meta['pinned'], meta['tags']),
                                 ('Plan', 'Work/Projects', True, ['plan']))
                self.assertEqual(meta['modified'].timestamp(), 1700000000)
                self.assertIn('**bold**', body)
                self.assertIn('| 1 |', body)
                pictures = [link for link in body.split('(')[1:] if '.png' in link.split(')')[0]]
                self.assertEqual(len(pictures), 1, body)
                picture = urllib.parse.unquote(pictures[0].split(')')[0])
                with open(os.path.join(out, 'Work', 'Projects', picture), 'rb') as f:
                    self.assertEqual(f.read(), PICTURE)

    def test_the_locked_note_opens_with_its_password_from_a_file(self):
        out, said = self.export('encrypted', 'md', '--note-password-file', self.note_secret)
        meta, body = front_matter(os.path.join(out, 'Personal', 'Locked.md'))
        self.assertIn('the secret text', body)

    def test_web_pages_show_picture_and_table(self):
        out, _ = self.export('encrypted', 'html')
        report = browse(out)
        plan = report['Work/Projects/Plan.html']
        self.assertEqual([(i['decoded'], i['width']) for i in plan['images']], [(True, 3)])
        self.assertEqual([[c['text'] for c in row] for row in plan['tables'][0]],
                         [['a', 'b'], ['1', '']])
        self.assertEqual([urllib.parse.unquote(l) for l in report['index.html']['links']],
                         ['Work/Projects/Plan.html'])

    def test_one_document_names_the_attachments_and_says_how_to_get_them(self):
        for fmt in ('md', 'json'):
            with self.subTest(fmt=fmt):
                run = hosttest.veldrake('notes', '--backup', self.backups['plain'], '--format',
                                        fmt)
                self.assertEqual(run.returncode, 0, run.stderr)
                self.assertIn('photo.png', run.stdout)
                self.assertIn('1 attachment is named but not written: -o DIR/ writes them',
                              run.stderr)

    def test_the_older_store_of_phones_before_ios_9_comes_as_the_sync_route_has_it(self):
        old = os.path.join(self.folder, 'old')
        subprocess.run([hosttest.DEVICESIM, '--notes', os.path.join(hosttest.SAMPLES, 'notes.json'),
                        '--backup-os', '8.4', '--write-backup', old], check=True,
                       capture_output=True, env=hosttest.ENV, timeout=hosttest.TIMEOUT)
        synced = json.loads(sample('--format', 'json').stdout)
        run = hosttest.veldrake('notes', '--backup', old, '-q', '--format', 'md', '-o',
                                old + '-md/')
        self.assertEqual(run.returncode, 0, run.stderr)
        titles = sorted(front_matter(os.path.join(old + '-md', name))[0]['title']
                        for name in os.listdir(old + '-md'))
        self.assertEqual(titles, sorted(n['subject'] for n in synced))

    def test_json_names_each_attachment_and_its_path(self):
        out, _ = self.export('plain', 'json')
        with open(os.path.join(out, 'notes.json'), encoding='utf-8') as f:
            notes = json.load(f)
        plan = next(n for n in notes if n['subject'] == 'Plan')
        self.assertEqual(plan['tables'], [[['a', 'b'], ['1', '']]])
        images = [a for a in plan['attachments'] if a['kind'] == 'image']
        self.assertEqual(len(images), 1)
        with open(os.path.join(out, images[0]['path']), 'rb') as f:
            self.assertEqual(f.read(), PICTURE)


@unittest.skipUnless(notes_whole_available(),
                     'libVeldrakeBackup has no VeldrakeBackupGetNotes yet (branch n-lib)')
class SampleNoteSet(unittest.TestCase):
    """samples/noteset, every kind of note a phone keeps, as a person exports it."""
    SAMPLE = os.path.join(hosttest.SAMPLES, 'noteset')

    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp(prefix='veldrake-noteset-')
        write_backups(cls, cls.SAMPLE, 'hunter2 ⚿')

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.folder)

    export = BackupNotes.export

    def test_plain_and_encrypted_give_the_same_files_and_every_link_lands(self):
        trees = {}
        for kind in self.backups:
            out, said = self.export(kind, 'md', '--note-password-file', self.note_secret)
            self.assertIn('device passcode', said)
            trees[kind] = tree(out)
            for name, data in trees[kind].items():
                if not name.endswith('.md'):
                    continue
                for link in re.findall(r'\]\(([^)#:]+)\)', data.decode('utf-8')):
                    target = os.path.join(out, os.path.dirname(name), urllib.parse.unquote(link))
                    self.assertTrue(os.path.isfile(target), (name, link))
        self.assertEqual(trees['plain'], trees['encrypted'])
        diary = [name for name in trees['plain'] if name.endswith('Diary.md')]
        self.assertEqual(len(diary), 1)
        self.assertIn(b'**secret**', trees['plain'][diary[0]])
        # Each sample file comes out byte for byte under its own name.
        for name in ('Work/chart.png', 'Travel/sunrise.jpg', 'Locked/secret photo.jpg'):
            with open(os.path.join(self.SAMPLE, name), 'rb') as f:
                original = f.read()
            self.assertIn(original, [data for path, data in trees['plain'].items()
                                     if path.endswith('/' + os.path.basename(name))])

    def test_web_pages_load_with_every_picture_offline(self):
        out, _ = self.export('encrypted', 'html', '--note-password-file', self.note_secret)
        report = browse(out)
        own = pathlib.Path(out).as_uri() + '/'
        pictures = 0
        for name, page in report.items():
            self.assertEqual((page['ready'], page['scripts']), ('complete', 0), name)
            self.assertTrue(all(u.startswith(own) for u in page['requests']), name)
            self.assertTrue(all(i['decoded'] and i['shown'] for i in page['images']), name)
            self.assertTrue(all(c['shown'] for t in page['tables'] for r in t for c in r), name)
            pictures += len(page['images'])
        self.assertEqual(pictures, 5)  # the GIF, the drawing, the JPEG, the PNG, the diary's photo
        self.assertEqual(sorted(urllib.parse.unquote(l) for l in report['index.html']['links']),
                         sorted(name for name in report if name != 'index.html'))


if __name__ == '__main__':
    unittest.main()
