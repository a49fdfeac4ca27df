"""Opens every web page of an HTML notes export in a real browser (Debian's headless
Chromium, driven over its DevTools pipe) and reports, per page, what a person would see:
whether it loaded, each picture and whether it decoded, each table's cells as shown, any
script, and every resource the page asked for that was not a file of the export.

    python3 browser_check.py DIR   ->  JSON on standard output: {page: report}, exit 0
"""
import fcntl
import json
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import time

BROWSER = os.environ.get('CHROMIUM', 'chromium-headless-shell')
TIMEOUT = 60

# Runs in the page once it has loaded: pictures decoded or not, tables' cells as rendered.
INSPECT = r"""
(async () => {
  const images = [];
  for (const img of document.images) {
    let decoded = true;
    try { await img.decode(); } catch (e) { decoded = false; }
    images.push({src: img.getAttribute('src'), decoded: decoded && img.naturalWidth > 0,
                 width: img.naturalWidth, shown: img.getBoundingClientRect().width > 0});
  }
  const tables = [...document.querySelectorAll('table')].map(t =>
      [...t.rows].map(r => [...r.cells].map(c => ({text: c.innerText,
                                                   shown: c.getBoundingClientRect().width > 0}))));
  return {title: document.title, ready: document.readyState, images, tables,
          scripts: document.scripts.length,
          links: [...document.links].map(a => a.getAttribute('href')),
          text: document.body ? document.body.innerText : ''};
})()
"""


class Browser:
    """One headless browser, spoken to over --remote-debugging-pipe (fds 3 and 4)."""

    def __init__(self):
        self.profile = tempfile.mkdtemp(prefix='veldrake-browser-')
        to_browser, self.command = os.pipe()
        self.reply, from_browser = os.pipe()
        # The browser reads commands from its fd 3 and writes replies to its fd 4.
        ends = [fcntl.fcntl(fd, fcntl.F_DUPFD, 10) for fd in (to_browser, from_browser)]
        os.close(to_browser)
        os.close(from_browser)

        def place():
            os.dup2(ends[0], 3)
            os.dup2(ends[1], 4)

        self.proc = subprocess.Popen(
            [BROWSER, '--no-sandbox', '--headless', '--disable-gpu', '--no-first-run',
             '--disable-background-networking', '--disable-component-update', '--disable-sync',
             '--user-data-dir=' + self.profile, '--remote-debugging-pipe', 'about:blank'],
            preexec_fn=place, pass_fds=(3, 4, *ends), stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL)
        for fd in ends:
            os.close(fd)
        self.buffer = b''
        self.next_id = 0
        self.events = []

    def close(self):
        self.proc.kill()
        self.proc.wait()
        os.close(self.command)
        os.close(self.reply)
        shutil.rmtree(self.profile, ignore_errors=True)

    def _message(self, deadline):
        while b'\0' not in self.buffer:
            if time.monotonic() > deadline:
                raise TimeoutError('the browser did not answer')
            chunk = os.read(self.reply, 65536)
            if not chunk:
                raise RuntimeError('the browser ended')
            self.buffer += chunk
        message, self.buffer = self.buffer.split(b'\0', 1)
        return json.loads(message)

    def call(self, method, session=None, **params):
        self.next_id += 1
        request = {'id': self.next_id, 'method': method, 'params': params}
        if session:
            request['sessionId'] = session
        os.write(self.command, json.dumps(request).encode() + b'\0')
        deadline = time.monotonic() + TIMEOUT
        while True:
            message = self._message(deadline)
            if message.get('id') == self.next_id:
                if 'error' in message:
                    raise RuntimeError(method + ': ' + message['error']['message'])
                return message['result']
            self.events.append(message)

    def wait_event(self, method, session):
        deadline = time.monotonic() + TIMEOUT
        while True:
            for event in self.events:
                if event.get('method') == method and event.get('sessionId') == session:
                    self.events.remove(event)
                    return event
            self.events.append(self._message(deadline))


def inspect(browser, url):
    target = browser.call('Target.createTarget', url='about:blank')['targetId']
    session = browser.call('Target.attachToTarget', targetId=target, flatten=True)['sessionId']
    browser.call('Page.enable', session)
    browser.call('Network.enable', session)
    browser.call('Page.navigate', session, url=url)
    browser.wait_event('Page.loadEventFired', session)
    result = browser.call('Runtime.evaluate', session, expression=INSPECT, awaitPromise=True,
                          returnByValue=True)['result']['value']
    # Every request the page made: anything but its own folder's files is a fault.
    result['requests'] = [e['params']['request']['url'] for e in browser.events
                          if e.get('method') == 'Network.requestWillBeSent'
                          and e.get('sessionId') == session]
    browser.events = [e for e in browser.events if e.get('sessionId') != session]
    browser.call('Target.closeTarget', targetId=target)
    return result


def main(folder):
    pages = sorted(os.path.relpath(os.path.join(root, name), folder)
                   for root, _, names in os.walk(folder) for name in names
                   if name.endswith('.html'))
    browser = Browser()
    try:
        report = {page: inspect(browser, pathlib.Path(folder, page).absolute().as_uri())
                  for page in pages}
    finally:
        browser.close()
    json.dump(report, sys.stdout, ensure_ascii=False, indent=1)
    return 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1]))
