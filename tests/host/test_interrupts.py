"""An export that does not end as it should: the device vanishes part-way (on every
endpoint kind), the person presses Ctrl-C or ends the program, the device stops sending.
Each gives its own status and line, nothing on standard output and no file, temporary
or final, in the output folder."""
import os
import shutil
import signal
import subprocess
import tempfile
import unittest

import hosttest

BOOK = ['--generate-contacts', '3000', '--generate-notes', '2000']
WAIT = 60  # a stalled export that nobody cancels would hang: fail instead


class Interrupts(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix='veldrake-out-')
        self.addCleanup(shutil.rmtree, self.folder)

    def assertEndedCleanly(self, status, stdout, stderr, expected, line):
        self.assertEqual(status, expected, stderr)
        self.assertIn(line, stderr)
        self.assertEqual(stdout, '')
        self.assertEqual(os.listdir(self.folder), [])

    def test_a_device_that_vanishes_part_way_is_never_a_success(self):
        for kind in ('unix', 'tcp'):
            for what in ('contacts', 'notes'):
                for limit in (200, 20000, 150000):
                    with self.subTest(kind=kind, what=what, limit=limit), \
                            hosttest.Device(*BOOK) as device, \
                            hosttest.Relay(device.endpoint, kind, limit, 'hang up') as relay:
                        run = hosttest.veldrake(what, '--device', relay.endpoint,
                                                '-o', os.path.join(self.folder, 'out'))
                        self.assertEndedCleanly(run.returncode, run.stdout, run.stderr, 16,
                                                'before the export was complete')

    def stalled(self, signals, *args):
        """Runs a contact export into a device that stalls, sends `signals` once it has
        started; returns (status, stdout, stderr)."""
        with hosttest.Device(*BOOK) as device, \
                hosttest.Relay(device.endpoint, 'unix', 20000, 'stall') as relay:
            proc = subprocess.Popen(
                [hosttest.VELDRAKE, 'contacts', '--device', relay.endpoint,
                 '-o', os.path.join(self.folder, 'book.vcf'), *args],
                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, env=hosttest.ENV)
            self.assertTrue(relay.reached.wait(WAIT))
            for number in signals:
                proc.send_signal(number)
            try:
                stdout, stderr = proc.communicate(timeout=WAIT)
            finally:
                proc.kill()
            return proc.returncode, stdout, stderr

    def test_signals_stop_the_export_and_leave_nothing_behind(self):
        for signals, status, line in (
                ([signal.SIGINT], 130, 'stopped (Ctrl-C); nothing was written'),
                ([signal.SIGINT, signal.SIGINT], 130, 'nothing was written'),
                ([signal.SIGTERM], 143, 'stopped at once'),
                ([signal.SIGHUP], 129, 'stopped at once')):
            with self.subTest(signals=signals):
                self.assertEndedCleanly(*self.stalled(signals), status, line)

    def test_a_device_that_stops_sending_is_given_up_after_the_quiet_time(self):
        self.assertEndedCleanly(*self.stalled([], '--timeout', '1'), 26,
                                'the device stopped answering')


if __name__ == '__main__':
    unittest.main()
