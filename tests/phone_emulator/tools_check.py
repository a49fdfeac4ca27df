#!/usr/bin/env python3
"""libimobiledevice's own tools against veldrake-devicesim --usbmuxd.

What the program's options make of the daemon, as tools nobody here wrote see it: the
phones' identities and trust, pairing end to end, and both TLS kinds (the default phone
is as strict as a current one). Each lockdown state's error is one table in-process
(PhoneEmulatorTest), not repeated here.

Each scenario starts the emulator on a fresh socket in a temporary folder, points the
tools at it (USBMUXD_SOCKET_ADDRESS, HOME and XDG_CONFIG_HOME inside the folder, so
neither the system's daemon nor any pairing folder is touched) and runs its commands in
order, each with a timeout, checking exit status and output.
"""
import os
import subprocess
import sys
import tempfile

UDID = "00008110-000A1234567890AB"
SECOND = "00008110-000A123456780001"
CREDENTIALS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "common", "data", "phone-credentials.pem")
TOOL_TIMEOUT = 20
START_TIMEOUT = 60

VALIDATE = ["idevicepair", "-u", UDID, "validate"]
PAIR = ["idevicepair", "-u", UDID, "pair"]
VERSION = ["ideviceinfo", "-u", UDID, "-k", "ProductVersion"]

# (emulator options, [(command, exit status, texts the output must hold)])
SCENARIOS = [
    ([], [(["idevice_id", "-l"], 0, [UDID]),
          (VERSION, 0, ["17.1"]),
          (VALIDATE, 0, ["SUCCESS: Validated pairing"]),
          (["ideviceinfo", "-u", UDID, "-q", "com.apple.mobile.tethered_sync", "-k", "Contacts"],
           0, ["DisableTethered: false"])]),
    (["--phones", "2", "--trusted-phones", "1", "--trust-dialog", "deny",
      "--phone-version", "16.4.1", "--phone-name", "Ada's phone"],
     [(["idevice_id", "-l"], 0, [UDID, SECOND]),
      (VERSION, 0, ["16.4.1"]),
      (["ideviceinfo", "-u", UDID, "-s", "-k", "DeviceName"], 0, ["Ada's phone"]),
      (["ideviceinfo", "-u", SECOND, "-s", "-k", "ProductType"], 0, ["iPhone15,3"]),
      (["idevicepair", "-u", SECOND, "validate"], 1, ["denied the trust dialog"])]),
    (["--phones", "0"], [(["idevice_id", "-l"], 0, []),
                         (VERSION, 255, ["not found"])]),
    (["--untrusted", "--trust-dialog", "pending"],
     [(VALIDATE, 1, ["accept the trust dialog"]),
      (PAIR, 0, ["SUCCESS: Paired"]),
      (VALIDATE, 0, ["SUCCESS: Validated pairing"]),
      (VERSION, 0, ["17.1"])]),
    (["--old-tls", "--phone-version", "9.3.5"], [(VERSION, 0, ["9.3.5"]),
                                                 (VALIDATE, 0, ["SUCCESS: Validated pairing"])]),
]


def run_scenario(emulator, options, steps):
    failures = []
    with tempfile.TemporaryDirectory(prefix="phone-tools-") as folder:
        socket_path = os.path.join(folder, "usbmuxd.sock")
        env = dict(os.environ, USBMUXD_SOCKET_ADDRESS="UNIX:" + socket_path, HOME=folder,
                   XDG_CONFIG_HOME=os.path.join(folder, "config"))
        command = [emulator, "--usbmuxd", "unix:" + socket_path, "--phone-credentials", CREDENTIALS]
        daemon = subprocess.Popen(command + options,
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        try:
            banner = daemon.stdout.readline()
            if "usbmux daemon on" not in banner:
                return [f"{options}: emulator did not start: {banner!r}"]
            for command, status, texts in steps:
                result = subprocess.run(command, env=env, capture_output=True, text=True,
                                        timeout=TOOL_TIMEOUT)
                output = result.stdout + result.stderr
                if result.returncode != status or any(t not in output for t in texts):
                    failures.append(f"{options} {' '.join(command)}: status "
                                    f"{result.returncode} (want {status}), output {output!r}")
                if status == 0 and not texts and result.stdout.strip():
                    failures.append(f"{options} {' '.join(command)}: want no output")
        finally:
            daemon.terminate()
            daemon.wait(timeout=START_TIMEOUT)
        if daemon.returncode != 0:
            failures.append(f"{options}: emulator exited with {daemon.returncode}")
        left = sorted(os.listdir(folder))
        if left:
            failures.append(f"{options}: files left behind: {left}")
    return failures


def main():
    emulator = sys.argv[1]
    failures = []
    for options, steps in SCENARIOS:
        failures += run_scenario(emulator, options, steps)
    for failure in failures:
        print("FAIL:", failure)
    print(f"{len(SCENARIOS)} scenarios, {len(failures)} failures")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
