"""Every way a veldrake run can fail: its one-line message, its exit status, nothing on
standard output and no file left behind."""
import os
import shutil
import socket
import tempfile
import threading
import unittest

import hosttest


class HangUpDevice:
    """A device that accepts one connection and closes it at once."""

    def __init__(self):
        self.folder = tempfile.mkdtemp(prefix='veldrake-hangup-')
        path = os.path.join(self.folder, 'device.sock')
        self.endpoint = 'unix:' + path
        self.server = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        self.server.bind(path)
        self.server.listen(1)
        self.server.settimeout(60)
        self.thread = threading.Thread(target=self.serve)
        self.thread.start()

    def serve(self):
        try:
            connection, _ = self.server.accept()
            connection.close()
        except OSError:
            pass

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.server.close()
        self.thread.join()
        shutil.rmtree(self.folder)


class Failures(unittest.TestCase):
    def assertFails(self, run, status, message):
        self.assertEqual(run.returncode, status, run.stderr)
        self.assertIn(message, run.stderr)
        self.assertEqual(run.stdout, '')

    def test_malformed_endpoint_is_a_null_device(self):
        self.assertFails(hosttest.veldrake('contacts', '--device', 'nowhere'), 5, '(GetData -5)')

    def test_unreachable_device_does_not_start_the_service(self):
        run = hosttest.veldrake('notes', '--device', 'unix:/nonexistent/veldrake.sock')
        self.assertFails(run, 6, 'sync service did not start')

    def test_device_that_hangs_up_fails_the_conversation_and_leaves_no_file(self):
        folder = tempfile.mkdtemp(prefix='veldrake-out-')
        try:
            for kind in ('contacts', 'notes'):
                with HangUpDevice() as device:
                    run = hosttest.veldrake(kind, '--device', device.endpoint,
                                            '-o', os.path.join(folder, 'out'))
                self.assertFails(run, 4, 'the sync conversation failed')
                self.assertEqual(os.listdir(folder), [])
        finally:
            shutil.rmtree(folder)

    def test_output_into_a_missing_folder_fails_before_the_device_is_asked(self):
        run = hosttest.veldrake('contacts', '--device', 'unix:/nonexistent/veldrake.sock',
                                '-o', '/nonexistent/folder/contacts.vcf')
        self.assertFails(run, 1, '/nonexistent/folder/contacts.vcf: No such file or directory')
        run = hosttest.veldrake('notes', '--format', 'md', '-o', '/nonexistent/folder/')
        self.assertFails(run, 1, 'No such file or directory')

    def test_usage_errors_exit_2_with_the_parser_message(self):
        self.assertFails(hosttest.veldrake('contacts', '--format', 'xml'), 2, 'xml')
        self.assertFails(hosttest.veldrake('notes', '--format', 'vcf'), 2, 'vcf')
        self.assertFails(hosttest.veldrake(), 2, 'subcommand')
        self.assertFails(hosttest.veldrake('contacts', '--limit', '0'), 2, 'limit')


if __name__ == '__main__':
    unittest.main()
