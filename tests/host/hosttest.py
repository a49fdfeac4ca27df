"""Shared helpers of the command-line host's tests: a veldrake-devicesim serving one
connection on a Unix socket, a relay that cuts or stalls it, and runs of veldrake."""
import os
import select
import socket
import shutil
import subprocess
import tempfile
import threading

VELDRAKE = os.environ['VELDRAKE']
DEVICESIM = os.environ['DEVICESIM']
SAMPLES = os.environ['SAMPLES']
# Without --device veldrake would export a phone the system's usbmux daemon has attached:
# no daemon answers here, so without --device it fails (the samples need --device sample).
ENV = dict(os.environ, LC_ALL='C.UTF-8', USBMUXD_SOCKET_ADDRESS='UNIX:/nonexistent/usbmuxd.sock')
TIMEOUT = 300  # a sanitizer build is slow; no test should come near this


class Device:
    """veldrake-devicesim --once on a fresh socket: `with Device('--contacts', f) as d:`."""

    def __init__(self, *args):
        self.folder = tempfile.mkdtemp(prefix='veldrake-test-')
        self.endpoint = 'unix:' + os.path.join(self.folder, 'device.sock')
        self.proc = subprocess.Popen([DEVICESIM, '--once', '--listen', self.endpoint, *args],
                                     stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                     text=True, env=ENV)
        first = self.proc.stdout.readline()
        if not first.startswith('listening on'):
            self.proc.kill()
            raise RuntimeError('veldrake-devicesim did not start: ' + first +
                               self.proc.stderr.read())

    def __enter__(self):
        return self

    def __exit__(self, failure, *rest):
        try:
            self.proc.wait(timeout=1 if failure else 30)
        except subprocess.TimeoutExpired:
            self.proc.kill()
            self.proc.wait()
        self.proc.stdout.close()
        self.proc.stderr.close()
        shutil.rmtree(self.folder, ignore_errors=True)


def veldrake(*args, env=None):
    """Runs veldrake; returns the CompletedProcess with text stdout and stderr."""
    run = subprocess.run([VELDRAKE, *args], capture_output=True, env=env or ENV,
                         timeout=TIMEOUT)
    run.stdout, run.stderr = run.stdout.decode('utf-8'), run.stderr.decode('utf-8')
    return run


def export(kind, source, *args):
    """Exports `kind` from a device serving the veldrake-devicesim arguments `source`;
    returns veldrake's standard output, failing the calling test on an error."""
    with Device(*source) as device:
        run = veldrake(kind, '--device', device.endpoint, *args)
    if run.returncode != 0:
        raise AssertionError('veldrake %s failed (%d): %s' % (kind, run.returncode, run.stderr))
    return run.stdout


class Relay:
    """A Unix or TCP endpoint between veldrake and a device that passes `limit` bytes from
    the device, then either hangs up on both sides (`then='hang up'`: the device vanished)
    or keeps both connections open and passes nothing more (`then='stall'`)."""

    def __init__(self, upstream, kind, limit, then):
        self.folder = tempfile.mkdtemp(prefix='veldrake-relay-')
        if kind == 'unix':
            self.server = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
            self.server.bind(os.path.join(self.folder, 'relay.sock'))
            self.endpoint = 'unix:' + os.path.join(self.folder, 'relay.sock')
        else:
            self.server = socket.socket(socket.AF_INET, socket.SOCK_STREAM)
            self.server.bind(('127.0.0.1', 0))
            self.endpoint = 'tcp:127.0.0.1:%d' % self.server.getsockname()[1]
        self.server.listen(1)
        self.upstream, self.limit, self.then = upstream, limit, then
        self.stop = threading.Event()
        self.reached = threading.Event()  # the limit has passed
        self.thread = threading.Thread(target=self._serve, daemon=True)
        self.thread.start()

    def _serve(self):
        host, _ = self.server.accept()
        device = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        device.connect(self.upstream[len('unix:'):])
        passed = 0
        while not self.stop.is_set():
            ready, _, _ = select.select([host, device], [], [], 0.1)
            for end in ready:
                data = end.recv(65536)
                if not data:
                    self.stop.set()
                    break
                if end is device:
                    data = data[:max(0, self.limit - passed)]
                    passed += len(data)
                (device if end is host else host).sendall(data)
            if passed >= self.limit:
                self.reached.set()
                if self.then == 'hang up':
                    break
        if self.then == 'stall':
            self.stop.wait()
        host.close()
        device.close()

    def __enter__(self):
        return self

    def __exit__(self, *failure):
        self.stop.set()
        self.thread.join(timeout=5)
        self.server.close()
        shutil.rmtree(self.folder, ignore_errors=True)
