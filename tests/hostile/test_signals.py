"""Every signal the host handles (SIGINT once and twice, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE)
at three points of an encrypted export: while the keys are derived, while decrypted
copies are on disk, while the output is written. Each run has a private $TMPDIR and
output folder: afterwards both must be empty, whatever the signal stopped. Then the
promise for what no handler sees: after SIGKILL, the next run removes the private folder
it finds, and Ctrl-C at the password prompt leaves the terminal's echo on."""
import os
import pty
import select
import shutil
import signal
import subprocess
import tempfile
import termios
import time
import unittest

import hostile_backup as make
import hostile_run
import hosttest

PEOPLE = ['--generate-contacts', '20000']
# The keybag's first derivation takes a second or so, long enough to signal inside it.
SLOW_KEYS = ['--backup-iterations', '2000000', '--backup-sha1-iterations', '1000']
STARTED_CPU_SECONDS = 0.2  # past start-up: the derivation is under way
SECRET = 'signal test secret'
WAIT = 120  # a point that never comes, or a run that does not end, fails instead of hanging


def cpu_seconds(pid):
    with open(f'/proc/{pid}/stat') as f:
        fields = f.read().rsplit(')', 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf('SC_CLK_TCK')


def files_under(folder):
    return [os.path.join(top, name) for top, _, names in os.walk(folder) for name in names]


def readable(stream):
    return bool(select.select([stream], [], [], 0)[0])


def pending(pid, number):
    """Whether signal `number` waits, not yet taken by the process."""
    try:
        with open(f'/proc/{pid}/status') as f:
            masks = [int(line.split()[1], 16) for line in f if line[:7] in ('SigPnd:', 'ShdPnd:')]
    except FileNotFoundError:
        return False
    return any(mask >> (number - 1) & 1 for mask in masks)


def running(pid):
    return os.waitid(os.P_PID, pid, os.WEXITED | os.WNOHANG | os.WNOWAIT) is None


# Each point: a test on the run and its folders that holds once the export has reached it.
POINTS = {
    'deriving the keys': lambda proc, tmp, out: cpu_seconds(proc.pid) >= STARTED_CPU_SECONDS
    and not files_under(tmp),
    'decrypted copies on disk': lambda proc, tmp, out: bool(files_under(tmp)),
    'writing the output': lambda proc, tmp, out: readable(proc.stdout) or any(
        os.path.getsize(path) > 0 for path in files_under(out)),
}
# SIGPIPE as it comes in use: the export writes to a pipe whose reader has gone (as with
# `| head`), so the run writes to standard output and the test closes the pipe's read end.
PIPE = 'SIGPIPE: the reader of standard output has gone'
SIGNALS = [[signal.SIGINT], [signal.SIGINT, signal.SIGINT], [signal.SIGTERM],
           [signal.SIGHUP], [signal.SIGQUIT], PIPE]


class Signals(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp(prefix='veldrake-signals-')
        cls.password = os.path.join(cls.folder, 'password')
        with open(cls.password, 'w') as f:
            f.write(SECRET + '\n')
        subprocess.run([hosttest.DEVICESIM, *PEOPLE, '--write-backup', cls.folder + '/made',
                        *SLOW_KEYS, '--password-file', cls.password], check=True,
                       capture_output=True, timeout=hosttest.TIMEOUT)
        cls.backup = os.path.join(cls.folder, 'made', make.UDID)

    @classmethod
    def tearDownClass(cls):
        shutil.rmtree(cls.folder)

    def folders(self):
        work = tempfile.mkdtemp(prefix='veldrake-signal-', dir=self.folder)
        tmp, out = os.path.join(work, 'tmp'), os.path.join(work, 'out')
        os.makedirs(tmp)
        os.makedirs(out)
        return tmp, out

    def export(self, tmp, out=None, split=False):
        """A contact export into out/book.vcf (one file a person in out/book/ when `split`),
        or to standard output without `out`."""
        target = ['-o', os.path.join(out, 'book.vcf')] if out else []
        if split:
            target = ['-o', os.path.join(out, 'book') + '/', '--split']
        return hostile_run.start(['contacts', '--backup', self.backup, '--password-file',
                                  self.password, *target], hostile_run.environment(tmp))

    def reach(self, proc, point, tmp, out):
        """Polls until the run is at `point`; fails if it ends or stalls first."""
        deadline = time.monotonic() + WAIT
        while running(proc.pid) and time.monotonic() < deadline:
            if POINTS[point](proc, tmp, out):
                return
            time.sleep(0.001)
        proc.kill()
        hostile_run.finish(proc)
        self.fail(f'the export never reached "{point}"')

    def test_each_signal_at_each_point_leaves_nothing(self):
        for point in POINTS:
            for signals in SIGNALS:
                piped = signals == PIPE
                with self.subTest(point=point, signals=signals if piped else
                                  [s.name for s in signals]):
                    tmp, out = self.folders()
                    proc = self.export(tmp, None if piped else out)
                    self.reach(proc, point, tmp, out)
                    if piped:
                        proc.stdout.close()
                    for number in [] if piped else signals:
                        # A second Ctrl-C is one the program sees after the first, not
                        # one merged with it while pending.
                        while running(proc.pid) and pending(proc.pid, number):
                            time.sleep(0.001)
                        proc.send_signal(number)
                    run = hostile_run.finish(proc, WAIT)
                    self.assertFalse(run.timed_out, run)
                    if piped:
                        self.assertNotEqual(run.status, 0, run)
                    else:
                        self.assertIn(run.status, (128 + signals[0], -signals[0]), run)
                    self.assertEqual(files_under(tmp) + os.listdir(tmp), [], run)
                    self.assertEqual(os.listdir(out), [], run)
                    self.assertNotIn(SECRET, run.stdout + run.stderr)

    def test_each_signal_while_a_folder_of_files_is_written(self):
        # 20,000 files go into the export's private folder inside out/book/: a signal
        # removes that folder whole, and out/book/ which the export made.
        for signals in SIGNALS[:-1]:
            with self.subTest(signals=[s.name for s in signals]):
                tmp, out = self.folders()
                proc = self.export(tmp, out, split=True)
                self.reach(proc, 'writing the output', tmp, out)
                for number in signals:
                    while running(proc.pid) and pending(proc.pid, number):
                        time.sleep(0.001)
                    proc.send_signal(number)
                run = hostile_run.finish(proc, WAIT)
                self.assertIn(run.status, (128 + signals[0], -signals[0]), run)
                self.assertEqual(os.listdir(out), [], run)
                self.assertEqual(os.listdir(tmp), [], run)

    def test_the_next_run_removes_what_sigkill_left(self):
        tmp, out = self.folders()
        proc = self.export(tmp, out)
        self.reach(proc, 'decrypted copies on disk', tmp, out)
        proc.kill()
        hostile_run.finish(proc)
        left = os.listdir(tmp)
        self.assertNotEqual(left, [], 'SIGKILL came too late to leave anything')
        shutil.rmtree(out)
        os.makedirs(out)
        run = hostile_run.finish(self.export(tmp, out), WAIT)
        self.assertEqual(run.status, 0, run)
        self.assertEqual(os.listdir(tmp), [])

    def test_ctrl_c_at_the_password_prompt_leaves_echo_on(self):
        tmp, _ = self.folders()
        pid, terminal = pty.fork()
        if pid == 0:
            os.execve(hosttest.VELDRAKE, [hosttest.VELDRAKE, 'contacts', '--backup',
                                          self.backup, '-o', '/dev/null'],
                      hostile_run.environment(tmp))
        status = None
        try:
            said = b''
            while b'assword' not in said:
                ready, _, _ = select.select([terminal], [], [], WAIT)
                self.assertTrue(ready, said)
                said += os.read(terminal, 1024)  # EIO once the program has ended
            os.write(terminal, b'\x03')  # the terminal's interrupt character
            status = os.waitpid(pid, 0)[1]
            self.assertEqual(os.waitstatus_to_exitcode(status), 130, said)
            self.assertTrue(termios.tcgetattr(terminal)[3] & termios.ECHO, 'echo left off')
            self.assertEqual(os.listdir(tmp), [])
        finally:
            if status is None:
                os.kill(pid, signal.SIGKILL)
                os.waitpid(pid, 0)
            os.close(terminal)


if __name__ == '__main__':
    unittest.main()
