"""veldrake against what a careful tool must survive: targets that are not files, output
folders with something planted, export-wide limits, hostile names in a backup's list, an
unreadable backup, and Ctrl-C at the password prompt. One table per behaviour."""
import os
import pty
import select
import shutil
import stat
import subprocess
import tempfile
import termios
import threading
import unicodedata
import unittest

import hosttest

NOTES = os.path.join(hosttest.SAMPLES, 'notes.json')
SECRET = 'correct horse battery'
FAST_KEYS = ['--backup-iterations', '10', '--backup-sha1-iterations', '10']
ESCAPES = 'Evil\x1b[2J\x1b]0;owned\x07\u009b31m\u202eName'


def is_control(c):
    return unicodedata.category(c) == 'Cc' or c in '\u202a\u202b\u202c\u202d\u202e'


class Scratch(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix='veldrake-safety-')

    def tearDown(self):
        shutil.rmtree(self.folder, ignore_errors=True)

    def path(self, name):
        return os.path.join(self.folder, name)


class Targets(Scratch):
    def read_fifo(self, path, into):
        with open(path, 'rb') as fifo:
            into.append(fifo.read())

    def test_targets_that_are_not_files_are_written_in_place(self):
        sample = hosttest.veldrake('contacts', '--device', 'sample', '-q').stdout
        fifo = self.path('fifo')
        os.mkfifo(fifo)
        # (target, its file type afterwards, where the export can be read back)
        cases = [('/dev/null', stat.S_ISCHR, None), (fifo, stat.S_ISFIFO, 'fifo'),
                 ('/dev/stdout', None, 'stdout'), ('-', None, 'stdout')]
        for target, kind, readback in cases:
            with self.subTest(target=target):
                got = []
                reader = threading.Thread(target=self.read_fifo, args=(fifo, got), daemon=True)
                if readback == 'fifo':
                    reader.start()
                run = hosttest.veldrake('contacts', '--device', 'sample', '-q', '-o', target)
                if readback == 'fifo':
                    reader.join(timeout=30)
                self.assertEqual(run.returncode, 0, run.stderr)
                if kind:
                    self.assertTrue(kind(os.stat(target).st_mode), target)
                if readback == 'fifo':
                    self.assertEqual(got, [sample.encode()])
                self.assertEqual(run.stdout, sample if readback == 'stdout' else '')


class Folders(Scratch):
    def plant_link(self, out):
        os.mkdir(out, 0o755)
        os.symlink(self.path('victim'), os.path.join(out, 'contacts.vcf'))

    def plant_foreign(self, out):
        os.mkdir(out, 0o755)
        os.chown(out, 12345, 12345)

    def plant_open(self, out):
        os.mkdir(out, 0o777)
        os.chmod(out, 0o777)

    def plant_link_folder(self, out):
        os.mkdir(self.path('elsewhere'), 0o755)
        os.symlink(self.path('elsewhere'), out)

    def test_an_output_folder_with_something_planted_is_refused(self):
        cases = [(self.plant_link, 'symbolic link'), (self.plant_foreign, 'another user'),
                 (self.plant_open, 'writable by others'), (self.plant_link_folder, 'not a folder')]
        for plant, reason in cases:
            with self.subTest(plant=plant.__name__):
                out = self.path(plant.__name__)
                with open(self.path('victim'), 'w') as victim:
                    victim.write('untouched')
                plant(out)
                before = sorted(os.listdir(out))
                run = hosttest.veldrake('contacts', '--device', 'sample', '-q', '-o', out + '/')
                self.assertEqual(run.returncode, 1, run.stderr)
                self.assertIn(reason, run.stderr)
                self.assertEqual(sorted(os.listdir(out)), before)
                self.assertEqual(sorted(os.listdir(self.path('elsewhere')))
                                 if os.path.isdir(self.path('elsewhere')) else [], [])
                with open(self.path('victim')) as victim:
                    self.assertEqual(victim.read(), 'untouched')


class Limits(Scratch):
    def test_an_export_wide_limit_ends_the_export_with_nothing_written(self):
        # (command, limit option, its value, the target in the scratch folder)
        cases = [('contacts', '--max-records', '3', 'book.vcf'),
                 ('notes', '--max-rendered', '1KiB', 'notes.json'),
                 ('notes', '--max-rendered', '1KiB', 'notes/'),
                 ('notes', '--max-written', '100', 'notes/'),
                 ('contacts', '--max-written', '2KB', 'book/')]
        for command, option, value, target in cases:
            fmt = ['--format', 'md'] if target == 'notes/' else []
            with self.subTest(command=command, option=option, target=target):
                run = hosttest.veldrake(command, '--device', 'sample', '-q', option, value, *fmt,
                                        '-o', self.path(target))
                self.assertEqual(run.returncode, 28, run.stderr)
                self.assertIn(option, run.stderr)
                self.assertEqual(os.listdir(self.folder), [])
                unlimited = hosttest.veldrake(command, '--device', 'sample', '-q', *fmt,
                                              '-o', self.path(target))
                self.assertEqual(unlimited.returncode, 0, unlimited.stderr)
                shutil.rmtree(self.path(target)) if target.endswith('/') else os.remove(
                    self.path(target))

    def test_help_names_the_limits_and_their_defaults(self):
        text = hosttest.veldrake('contacts', '--help').stdout
        for option, default in (('--max-records', '1000000'), ('--max-rendered', '256 MiB'),
                                ('--max-written', '4096 MiB')):
            with self.subTest(option=option):
                described = text.split('  ' + option, 1)[1].split('\n  -', 1)[0]
                self.assertIn(default, described)


class Backups(Scratch):
    def write_backup(self, folder, *extra):
        subprocess.run([hosttest.DEVICESIM, '--notes', NOTES, '--write-backup', folder,
                        *FAST_KEYS, *extra], check=True, capture_output=True,
                       env=hosttest.ENV, timeout=hosttest.TIMEOUT)

    def test_the_list_shows_no_control_characters_and_says_what_it_cannot_read(self):
        hostile = self.path('hostile')
        self.write_backup(hostile, '--device-name', ESCAPES)
        broken = self.path('broken')
        self.write_backup(broken)
        (udid,) = os.listdir(broken)
        with open(os.path.join(broken, udid, 'Manifest.plist'), 'wb') as manifest:
            manifest.write(b'bplist00 not really')
        # (folder, exit status, a text stderr must hold)
        cases = [(hostile, 0, None), (broken, 21, 'cannot be read')]
        for folder, status, said in cases:
            with self.subTest(folder=folder):
                run = hosttest.veldrake('backups', folder)
                self.assertEqual(run.returncode, status, run.stderr)
                shown = run.stdout + run.stderr
                self.assertFalse([c for c in shown if is_control(c) and c != '\n'], shown)
                self.assertEqual(len(run.stdout.splitlines()), 2, run.stdout)
                if said:
                    self.assertIn(said, run.stderr)
        self.assertIn('Evil', hosttest.veldrake('backups', hostile).stdout)


class Prompt(Scratch):
    def test_ctrl_c_at_the_password_prompt_gives_the_terminal_its_echo_back(self):
        locked = self.path('locked')
        secret = self.path('secret')
        with open(secret, 'w') as out:
            out.write(SECRET + '\n')
        subprocess.run([hosttest.DEVICESIM, '--notes', NOTES, '--write-backup', locked,
                        *FAST_KEYS, '--password-file', secret], check=True,
                       capture_output=True, env=hosttest.ENV, timeout=hosttest.TIMEOUT)
        env = dict(hosttest.ENV)
        env.pop('VELDRAKE_BACKUP_PASSWORD', None)
        master, terminal = pty.openpty()
        attrs = termios.tcgetattr(terminal)
        attrs[3] |= termios.ECHO
        termios.tcsetattr(terminal, termios.TCSANOW, attrs)

        def take_terminal():
            os.setsid()
            import fcntl
            fcntl.ioctl(0, termios.TIOCSCTTY, 0)

        proc = subprocess.Popen([hosttest.VELDRAKE, 'notes', '--backup', locked], env=env,
                                stdin=terminal, stdout=subprocess.DEVNULL, stderr=terminal,
                                preexec_fn=take_terminal)
        try:
            seen = b''
            while b'password:' not in seen:
                ready, _, _ = select.select([master], [], [], 30)
                self.assertTrue(ready, 'no prompt: %r' % seen)
                seen += os.read(master, 1024)
            self.assertFalse(termios.tcgetattr(terminal)[3] & termios.ECHO, 'echo still on')
            os.write(master, b'\x03')
            self.assertEqual(proc.wait(timeout=30), 130)
            self.assertTrue(termios.tcgetattr(terminal)[3] & termios.ECHO, 'echo left off')
        finally:
            if proc.poll() is None:
                proc.kill()
                proc.wait()
            os.close(master)
            os.close(terminal)


if __name__ == '__main__':
    unittest.main()
