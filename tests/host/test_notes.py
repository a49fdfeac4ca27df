"""veldrake's notes as files a person opens, from the sync route's sample device: the
Markdown folder's front matter read back by PyYAML against the JSON export, and the web
pages opened in headless Chromium (browser_check.py): every page loads, shows its note,
runs nothing and fetches nothing but the export's own files."""
import json
import os
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


if __name__ == '__main__':
    unittest.main()
