"""Runs veldrake the way the hostile tests need it: a private $TMPDIR per run (so anything
left there is ours), limits that keep a faulty build from harming the shared machine, and
its peak memory as the kernel counted it. The count comes through GNU time, whose own
few megabytes are all a child starts from: a child of this Python process would start
from this process's peak, which building a bomb raises to some hundred megabytes."""
import os
import resource
import select
import signal
import subprocess
import tempfile
import threading
import time

import hosttest

# A faulty build must fail its row, not fill the disk or the memory of the machine: a
# file larger than this ends the child with SIGXFSZ, an address space larger than this
# makes its allocations fail. The file limit is above the host's default limit on the
# text an export renders (256 MiB), which a bomb may fill in its staging file.
FILE_LIMIT = 300 << 20
ADDRESS_LIMIT = 1 << 30
# AddressSanitizer reserves terabytes of address space and its shadow memory counts in
# the resident size, so under the sanitize preset the address limit cannot be set and a
# peak-memory bound says nothing about our code: ASan's own hard RSS limit guards the
# machine instead, and the bounds are skipped (the debug build holds them).
SANITIZED = os.environ.get('VELDRAKE_SANITIZED') == '1'
TIMEOUT = 30 if not SANITIZED else 120  # a run that reaches it fails as a hang


def _limits():
    resource.setrlimit(resource.RLIMIT_FSIZE, (FILE_LIMIT, FILE_LIMIT))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    if not SANITIZED:
        resource.setrlimit(resource.RLIMIT_AS, (ADDRESS_LIMIT, ADDRESS_LIMIT))


def environment(tmpdir, **extra):
    env = dict(hosttest.ENV, TMPDIR=tmpdir)
    env.update(extra)
    env.pop('VELDRAKE_BACKUP_PASSWORD', None)
    if SANITIZED:
        env['ASAN_OPTIONS'] = env.get('ASAN_OPTIONS', '') + ':hard_rss_limit_mb=1024'
    return env


class Finished:
    """How one run ended: status (negative: the signal that ended it; through GNU time,
    128 + the signal), its output, and its peak resident memory in MiB when measured."""

    def __init__(self, status, stdout, stderr, peak_mib, timed_out):
        self.status, self.stdout, self.stderr = status, stdout, stderr
        self.peak_mib, self.timed_out = peak_mib, timed_out

    def __repr__(self):
        return (f'status {self.status}{" (timed out)" if self.timed_out else ""}, '
                f'peak {self.peak_mib} MiB, stderr {self.stderr[-400:]!r}')


def _drain(stream, into):
    into.append(stream.read() if not stream.closed else b'')


def start(args, env, launcher=()):
    """veldrake with `args` in a process group of its own (a time-out ends all of it)."""
    return subprocess.Popen([*launcher, hosttest.VELDRAKE, *args], stdin=subprocess.DEVNULL,
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=env,
                            preexec_fn=_limits, start_new_session=True)


def finish(proc, timeout=TIMEOUT, peak_file=None):
    """Waits for `proc` (its group killed after `timeout` seconds) and reaps it."""
    out, err = [], []
    readers = [threading.Thread(target=_drain, args=(proc.stdout, out)),
               threading.Thread(target=_drain, args=(proc.stderr, err))]
    for reader in readers:
        reader.start()
    timed_out = threading.Event()

    def kill():
        timed_out.set()
        os.killpg(proc.pid, signal.SIGKILL)
    timer = threading.Timer(timeout, kill)
    timer.start()
    _, status = os.waitpid(proc.pid, 0)
    timer.cancel()
    proc.returncode = os.waitstatus_to_exitcode(status)
    for reader in readers:
        reader.join()
    proc.stdout.close()
    proc.stderr.close()
    peak = None
    if peak_file is not None:
        with open(peak_file) as f:  # "Command terminated by signal N" comes first
            words = f.read().split()  # none when a time-out ended GNU time as well
        peak = round(int(words[-1]) / 1024, 1) if words else None
    return Finished(proc.returncode, out[0].decode('utf-8', 'replace'),
                    err[0].decode('utf-8', 'replace'), peak, timed_out.is_set())


def run(args, env, timeout=TIMEOUT):
    """One measured run: GNU time reports the peak (%M, KiB) into a file of its own."""
    with tempfile.NamedTemporaryFile(prefix='veldrake-peak-') as peak:
        proc = start(args, env, ['/usr/bin/time', '-f', '%M', '-o', peak.name])
        return finish(proc, timeout, peak.name)


class FifoReader:
    """Reads a FIFO while a run writes it: opened first without blocking, so the writer's
    open succeeds and a writer that never opens it costs no hang."""

    def __init__(self, path):
        self.fd = os.open(path, os.O_RDONLY | os.O_NONBLOCK)
        self.data, self.done = bytearray(), threading.Event()
        self.thread = threading.Thread(target=self._read, daemon=True)
        self.thread.start()

    def _read(self):
        while True:
            ready, _, _ = select.select([self.fd], [], [], 0.05)
            chunk = os.read(self.fd, 65536) if ready else b''
            self.data += chunk
            if not chunk:  # no writer at the moment: wait, or end once the run has
                if self.done.is_set():
                    break
                time.sleep(0.02)

    def close(self):
        self.done.set()
        self.thread.join()
        os.close(self.fd)
        return bytes(self.data)
