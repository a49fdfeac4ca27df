"""Every way a veldrake run can fail: its one-line message, its exit status, nothing on
standard output and no file left behind."""
import contextlib
import os
import shutil
import socket
import tempfile
import threading
import unittest

import hosttest


@contextlib.contextmanager
def hang_up_device():
    """The endpoint of a device that accepts one connection and closes it at once."""
    folder = tempfile.mkdtemp(prefix='veldrake-hangup-')
    server = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
    server.bind(os.path.join(folder, 'device.sock'))
    server.listen(1)
    server.settimeout(60)
    thread = threading.Thread(target=lambda: server.accept()[0].close())
    thread.start()
    try:
        yield 'unix:' + os.path.join(folder, 'device.sock')
    finally:
        thread.join()
        server.close()
        shutil.rmtree(folder)


class Failures(unittest.TestCase):
    def assertFails(self, run, status, message):
        self.assertEqual(run.returncode, status, run.stderr)
        self.assertIn(message, run.stderr)
        self.assertEqual(run.stdout, '')

    def test_each_failure_has_its_status_and_message(self):
        missing = 'unix:/nonexistent/veldrake.sock'
        cases = [
            (['contacts', '--device', 'nowhere'], 5, '(GetData -5)'),
            (['notes', '--device', missing], 6, 'sync service did not start'),
            # The target is checked before the device is asked for anything.
            (['contacts', '--device', missing, '-o', '/nonexistent/folder/contacts.vcf'], 1,
             '/nonexistent/folder/contacts.vcf: No such file or directory'),
            (['notes', '--format', 'md', '-o', '/nonexistent/folder/'], 1,
             'No such file or directory'),
            (['contacts', '--format', 'xml'], 2, 'xml'),
            (['notes', '--format', 'vcf'], 2, 'vcf'),
            ([], 2, 'subcommand'),
            (['export'], 2, "unknown command 'export': the commands are contacts, notes"),
            (['contacts', '--limit', '0'], 2, '`--limit` must be at least 1'),
            (['pair', '--device', 'tcp:localhost:1'], 2, 'usb:UDID'),
            # No usbmux daemon answers the tests.
            (['devices'], 8, 'no usbmux daemon is running: start it'),
            (['contacts', '--device', 'usb'], 8, 'sudo apt-get install usbmuxd'),
            # Without --device only a phone is exported, never the samples in its place.
            (['contacts'], 8, 'to try veldrake without a phone: --device sample'),
            (['notes', '-o', '/nonexistent/folder/notes.json'], 1, 'No such file or directory'),
            (['contacts', '--split'], 2, '--split writes one vCard per person into a folder'),
            (['contacts', '--split', '--format', 'csv', '-o', '/tmp/'], 2, '--format vcf or vcf4'),
            (['contacts', '--format', 'google-sheet'], 2, 'google-sheet'),
            (['contacts', '--device', 'sample', '--account', 'iCloud'], 2,
             "nobody is in an account named 'iCloud'; no account is known here"),
        ]
        # A malformed UDID: one rule, one message, one status for every command.
        for command in ('contacts', 'notes', 'pair', 'enable-sync', 'doctor'):
            cases.append(([command, '--device', 'usb:1234'], 2, "'1234' is not a phone's UDID"))
        for args, status, message in cases:
            with self.subTest(args=args):
                self.assertFails(hosttest.veldrake(*args), status, message)

    def test_device_that_hangs_up_is_a_cut_short_export_and_leaves_no_file(self):
        folder = tempfile.mkdtemp(prefix='veldrake-out-')
        try:
            for kind in ('contacts', 'notes'):
                with hang_up_device() as endpoint:
                    run = hosttest.veldrake(kind, '--device', endpoint,
                                            '-o', os.path.join(folder, 'out'))
                self.assertFails(run, 16, 'the device closed the connection before the export')
                self.assertEqual(os.listdir(folder), [])
        finally:
            shutil.rmtree(folder)


if __name__ == '__main__':
    unittest.main()
