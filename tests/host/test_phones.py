"""veldrake with real phones, against veldrake-devicesim playing the usbmux daemon and its
phones on a temporary socket (USBMUXD_SOCKET_ADDRESS, never the system's daemon): the
device list as libimobiledevice's own tools see it, pairing, switching contact sync on,
the choice of device, and every fault's line and exit status."""
import os
import re
import shutil
import subprocess
import tempfile
import time
import unittest

import hosttest

DEMO = os.path.join(hosttest.SAMPLES, 'vcards', 'veldrake_demo.vcf')
NOTES = os.path.join(hosttest.SAMPLES, 'notes.json')
# Fixed keys for the emulated phones: no test run pays for RSA key generation.
CREDENTIALS = os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', 'common', 'data',
                           'phone-credentials.pem')
START_TIMEOUT = 60
ABSENT = '00008110-00000000DEADBEEF'  # a UDID no emulated phone has

# The emulator's options for the phone states.
TWO_PHONES = ['--phones', '2']
NO_PHONE = ['--phones', '0']
UNTRUSTED = ['--untrusted']
LOCKED = ['--passcode-locked']
REFUSED = ['--service-refused']
TLS_FAILURE = ['--session-tls-failure']
SYNC_OFF = ['--contact-sync-off']
ICLOUD = ['--contacts-in-icloud']
NO_NOTES_STORE = ['--no-notes-store']
PENDING = ['--untrusted', '--trust-dialog', 'pending']
DENIED = ['--untrusted', '--trust-dialog', 'deny']
DETACH = ['--generate-contacts', '500', '--detach-after-bytes', '4000']
SERVICE_TLS_FAILURE = ['--service-tls-failure']
PLAIN_SERVICE = ['--no-service-tls']


class Daemon:
    """veldrake-devicesim --usbmuxd with `options` on a fresh socket; with None nothing
    listens there (no daemon). `with Daemon(UNTRUSTED) as d: d.veldrake('devices')`."""

    def __init__(self, options=()):
        self.folder = tempfile.mkdtemp(prefix='veldrake-usbmuxd-')
        path = os.path.join(self.folder, 'usbmuxd.sock')
        # libimobiledevice's own settings stay in the folder too.
        self.env = dict(hosttest.ENV, USBMUXD_SOCKET_ADDRESS='UNIX:' + path,
                        HOME=self.folder, XDG_CONFIG_HOME=self.folder)
        self.proc = None
        if options is None:
            return
        self.proc = subprocess.Popen(
            [hosttest.DEVICESIM, '--usbmuxd', 'unix:' + path, '--contacts', DEMO,
             '--notes', NOTES, '--phone-credentials', CREDENTIALS, *options],
            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True, env=hosttest.ENV)
        deadline = time.monotonic() + START_TIMEOUT
        while not os.path.exists(path):
            if self.proc.poll() is not None or time.monotonic() > deadline:
                self.__exit__(True)
                raise RuntimeError('veldrake-devicesim --usbmuxd did not start: ' +
                                   self.proc.stderr.read())
            time.sleep(0.05)

    def __enter__(self):
        return self

    def __exit__(self, *failure):
        if self.proc:
            self.proc.terminate()
            self.proc.wait()
            self.proc.stderr.close()
        shutil.rmtree(self.folder, ignore_errors=True)

    def veldrake(self, *args):
        return hosttest.veldrake(*args, env=self.env)

    def tool(self, *args):
        """A libimobiledevice tool's standard output."""
        return subprocess.run(args, capture_output=True, text=True, env=self.env,
                              timeout=hosttest.TIMEOUT, check=True).stdout

    def phones(self):
        """`veldrake devices` as {udid: {column: value}}."""
        run = self.veldrake('devices')
        if run.returncode != 0:
            raise AssertionError(run.stderr)
        header, *rows = [re.split(r' {2,}', line) for line in run.stdout.splitlines()]
        return {row[0]: dict(zip(header, row)) for row in rows}


class Faults(unittest.TestCase):
    # emulator options, veldrake arguments, exit status, line
    TABLE = [
        (NO_PHONE, ['devices'], 9, 'no phone is attached: plug it in'),
        (NO_PHONE, ['notes', '--device', 'usb'], 9, 'no phone is attached'),
        (TWO_PHONES, ['contacts', '--device', 'usb'], 10, 'choose one with --device usb:UDID'),
        ([], ['notes', '--device', 'usb:' + ABSENT], 11, 'no attached phone has that'),
        (UNTRUSTED, ['contacts', '--device', 'usb'], 12, 'run `veldrake pair`'),
        (LOCKED, ['notes', '--device', 'usb'], 13, 'locked with a passcode: unlock it'),
        (REFUSED, ['contacts', '--device', 'usb'], 14, 'refused to start its sync service'),
        (TLS_FAILURE, ['contacts', '--device', 'usb'], 15, 'secure connection'),
        (DETACH, ['contacts', '--device', 'usb'], 16, 'went away during the export'),
        (['--generate-contacts', '2000', '--detach-after-bytes', '60000'],
         ['contacts', '--device', 'usb'], 16, 'nothing was written'),
        (['--generate-notes', '500', '--detach-after-bytes', '30000'],
         ['notes', '--device', 'usb'], 16, 'went away during the export'),
        (PENDING, ['pair'], 17, 'tap Trust, then run `veldrake pair` again'),
        (DENIED, ['pair', '--device', 'usb'], 18, 'told not to trust this computer'),
        (SYNC_OFF, ['contacts', '--device', 'usb'], 19, '`veldrake enable-sync`'),
        (NO_NOTES_STORE, ['notes', '--device', 'usb'], 20, 'iCloud'),
        # Without --device a phone that is there but cannot be used is an error, never
        # a silent substitute.
        (UNTRUSTED, ['contacts'], 12, 'run `veldrake pair`'),
        (TWO_PHONES, ['contacts'], 10, 'choose one with --device usb:UDID'),
        (LOCKED, ['contacts'], 13, 'locked with a passcode'),
        # No phone or daemon: nothing is asked of it.
        (None, ['pair'], 8, 'no usbmux daemon is running'),
        (NO_PHONE, ['enable-sync'], 9, 'no phone is attached'),
    ]

    def test_each_fault_has_its_line_and_exit_status(self):
        for source, args, status, line in self.TABLE:
            with self.subTest(source=source, args=args), Daemon(source) as daemon:
                run = daemon.veldrake(*args)
                self.assertEqual(run.returncode, status, run.stderr)
                # Our line comes last, after the library's own console lines.
                self.assertIn(line, run.stderr.splitlines()[-1])
                self.assertEqual(run.stdout, '')



class Phones(unittest.TestCase):
    def test_devices_and_choices_name_the_phones_libimobiledevice_sees(self):
        with Daemon(TWO_PHONES) as daemon:
            phones = daemon.phones()
            udids = daemon.tool('idevice_id', '-l').split()
            self.assertEqual((len(udids), set(phones)), (2, set(udids)))
            for args in (['contacts', '--device', 'usb'], ['notes', '--device', 'usb:' + ABSENT]):
                line = daemon.veldrake(*args).stderr.splitlines()[-1]
                self.assertTrue(all(udid in line for udid in udids), line)
            for udid, phone in phones.items():
                for column, key in (('NAME', 'DeviceName'), ('MODEL', 'ProductType'),
                                    ('VERSION', 'ProductVersion')):
                    self.assertEqual(
                        phone[column],
                        daemon.tool('ideviceinfo', '-u', udid, '-k', key).strip())
                self.assertEqual((phone['LINK'], phone['TRUSTED'], phone['CONTACT SYNC']),
                                 ('usb', 'yes', 'on'))

    def test_a_phone_exports_what_the_same_emulator_serves_over_a_socket(self):
        for kind, fmt in (('contacts', 'vcf'), ('notes', 'json')):
            expected = hosttest.export(kind, ['--contacts', DEMO, '--notes', NOTES],
                                       '--format', fmt)
            with Daemon() as daemon:
                udid, = daemon.phones()
                run = daemon.veldrake(kind, '--device', 'usb:' + udid, '--format', fmt)
                chosen = daemon.veldrake(kind, '--format', fmt)
            self.assertEqual((run.returncode, run.stdout), (0, expected), run.stderr)
            self.assertEqual((chosen.returncode, chosen.stdout), (0, expected), chosen.stderr)
            self.assertIn(udid, chosen.stderr)

    def test_without_a_daemon_or_phone_nothing_is_exported_and_the_line_names_the_samples(self):
        for source, args, status, why in ((None, [], 8, 'no usbmux daemon'),
                                          (NO_PHONE, [], 9, 'no phone is attached'),
                                          ([], ['--device', 'sample'], 0, None)):
            with self.subTest(why=why), Daemon(source) as daemon:
                run = daemon.veldrake('contacts', '-q', *args)
                self.assertEqual(run.returncode, status, run.stderr)
                if why:
                    self.assertEqual(run.stdout, '')
                    self.assertEqual(len(run.stderr.splitlines()), 1, run.stderr)
                    self.assertIn(why, run.stderr)
                    self.assertIn('--device sample', run.stderr)
                else:
                    self.assertIn('BEGIN:VCARD', run.stdout)
                    self.assertEqual(run.stderr, '')

    def test_pairing_waits_for_trust_then_the_phone_exports(self):
        with Daemon(PENDING) as daemon:
            phone, = daemon.phones().values()
            self.assertEqual((phone['TRUSTED'], phone['CONTACT SYNC']), ('no', 'unknown'))
            self.assertEqual(daemon.veldrake('pair').returncode, 17)
            paired = daemon.veldrake('pair')
            self.assertEqual(paired.returncode, 0, paired.stderr)
            self.assertIn('unlock it and tap Trust', paired.stderr)
            self.assertIn('paired', paired.stderr)
            phone, = daemon.phones().values()
            self.assertEqual(phone['TRUSTED'], 'yes')
            self.assertEqual(daemon.veldrake('contacts', '--device', 'usb').returncode, 0)
            again = daemon.veldrake('pair')
            self.assertEqual(again.returncode, 0, again.stderr)
            self.assertIn('already paired', again.stderr)

    def test_contact_sync_is_switched_on_only_when_asked(self):
        with Daemon(SYNC_OFF) as daemon:
            phone, = daemon.phones().values()
            self.assertEqual(phone['CONTACT SYNC'], 'off')
            self.assertEqual(daemon.veldrake('contacts', '--device', 'usb').returncode, 19)
            self.assertEqual(daemon.phones(), {phone['UDID']: phone})
            enabled = daemon.veldrake('enable-sync', '--device', 'usb:' + phone['UDID'])
            self.assertEqual(enabled.returncode, 0, enabled.stderr)
            self.assertIn('changes a setting on your phone', enabled.stderr)
            phone, = daemon.phones().values()
            self.assertEqual(phone['CONTACT SYNC'], 'on')
            run = daemon.veldrake('contacts', '--device', 'usb')
            self.assertEqual(run.returncode, 0, run.stderr)
            self.assertIn('BEGIN:VCARD', run.stdout)

    def test_contacts_kept_in_icloud_give_an_empty_book_and_a_warning(self):
        with Daemon(ICLOUD) as daemon:
            run = daemon.veldrake('contacts', '--device', 'usb', '--format', 'json')
        self.assertEqual((run.returncode, run.stdout.strip()), (0, '[]'), run.stderr)
        self.assertIn('warning', run.stderr)
        self.assertIn('iCloud', run.stderr)


class Doctor(unittest.TestCase):
    # emulator options, exit status, the line that must be there
    TABLE = [
        (None, 8, '[FAIL] usbmux daemon running'),
        (NO_PHONE, 9, '[FAIL] phone attached: no phone is attached'),
        (TWO_PHONES, 10, '[FAIL] phone attached: several phones'),
        (TWO_PHONES + ['--trusted-phones', '1'], 0, '[ok] an export would work'),
        (UNTRUSTED, 12, '[FAIL] trusts this computer'),
        (PENDING, 12, '[FAIL] trusts this computer'),
        (DENIED, 12, '[FAIL] trusts this computer'),
        (LOCKED, 13, 'locked with a passcode'),
        (SYNC_OFF, 19, '[FAIL] contact sync with a computer: off'),
        (REFUSED, 14, 'refused to start its sync service'),
        # A phone whose session TLS fails is listed as not trusting us or fails at TLS:
        # either way the remedy is to pair again.
        (TLS_FAILURE, (12, 15), 'veldrake pair'),
        (SERVICE_TLS_FAILURE, 15, 'secure connection'),
        (DETACH, 16, 'went away'),
        (PLAIN_SERVICE, 0, '[ok] the sync service starts (without TLS)'),
        ([], 0, '[ok] the sync service starts (with TLS)'),
        ([], 0, '[ok] contacts served: 2'),
        (ICLOUD, 0, '[note] contacts served: none'),
        (NO_NOTES_STORE, 0, '[note] notes store: none'),
        ([], 0, '[ok] an export would work'),
    ]

    def test_each_condition_has_its_line_and_exit_status(self):
        for source, status, line in self.TABLE:
            with self.subTest(source=source, line=line), Daemon(source) as daemon:
                run = daemon.veldrake('doctor')
                self.assertIn(run.returncode, status if isinstance(status, tuple) else (status,),
                              run.stdout + run.stderr)
                self.assertIn(line, run.stdout)


if __name__ == '__main__':
    unittest.main()
