"""Chromium without a window, driven through its DevTools protocol over a pair of pipes."""

import base64
import fcntl
import json
import os
import shutil
import subprocess
import tempfile
import threading
import time

PATIENCE = 30  # seconds that anything may take on a busy machine


class BrowserError(Exception):
    """What the browser says it cannot do, or does not do in time."""


def wait_until(condition, what):
    """Returns what the condition gives once it gives something."""
    deadline = time.monotonic() + PATIENCE
    while time.monotonic() < deadline:
        value = condition()
        if value:
            return value
        time.sleep(0.05)
    raise BrowserError('in %d seconds it did not come to this: %s' % (PATIENCE, what))


def pipe_beyond_four():
    """A pipe whose ends are not in the way of the numbers that the browser uses."""
    ends = os.pipe()
    moved = [fcntl.fcntl(end, fcntl.F_DUPFD_CLOEXEC, 10) for end in ends]
    for end in ends:
        os.close(end)
    return moved


class Browser:
    """A Chromium with a profile of its own. It finds no name but localhost and trusts the server whose public key
    has this SHA-256 (base64), as a user does who has taken its authority up."""

    def __init__(self, program, trusted_key):
        self._profile = tempfile.mkdtemp(prefix='zuserve-page-')
        self._changed = threading.Condition()
        self._answers = {}
        self._last_id = 0
        self._is_open = True
        self.events = []
        command_read, self._command = pipe_beyond_four()
        self._said, said_write = pipe_beyond_four()
        self._log = open(os.path.join(self._profile, 'log'), 'wb')
        # The browser reads commands from 3 and writes answers to 4.
        self._process = subprocess.Popen(
            ['bash', '-c', 'exec "$0" "$@" 3<&%d 4>&%d' % (command_read, said_write), program,
             *self._options(trusted_key), 'about:blank'],
            pass_fds=(command_read, said_write), stdin=subprocess.DEVNULL, stdout=self._log, stderr=self._log)
        os.close(command_read)
        os.close(said_write)
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def _options(self, trusted_key):
        options = ['--headless=new', '--remote-debugging-pipe', '--user-data-dir=' + self._profile,
                   '--ignore-certificate-errors-spki-list=' + trusted_key,
                   '--host-resolver-rules=MAP * ~NOTFOUND, EXCLUDE localhost, EXCLUDE 127.0.0.1', '--no-proxy-server',
                   '--no-first-run', '--disable-gpu', '--disable-dev-shm-usage', '--disable-background-networking',
                   '--disable-component-update', '--disable-default-apps', '--disable-extensions', '--disable-sync',
                   '--font-render-hinting=none']
        return options + (['--no-sandbox'] if os.geteuid() == 0 else [])

    def _read(self):
        rest = b''
        while True:
            data = os.read(self._said, 1 << 16)
            if not data:
                break
            *messages, rest = (rest + data).split(b'\0')
            with self._changed:
                for text in messages:
                    message = json.loads(text)
                    if 'id' in message:
                        self._answers[message['id']] = message
                    else:
                        self.events.append(message)
                self._changed.notify_all()
        with self._changed:
            self._is_open = False
            self._changed.notify_all()

    def call(self, method, parameters=None, session=None):
        """Carries out a command and returns its result."""
        self._last_id += 1
        number = self._last_id
        message = {'id': number, 'method': method, 'params': parameters or {}}
        if session:
            message['sessionId'] = session
        self._write(json.dumps(message).encode() + b'\0')
        with self._changed:
            self._changed.wait_for(lambda: number in self._answers or not self._is_open, PATIENCE)
            answer = self._answers.pop(number, None)
        if answer is None or 'error' in answer:
            raise BrowserError('%s: %s' % (method, (answer or {}).get('error', 'no answer; ' + self._last_words())))
        return answer['result']

    def _write(self, data):
        try:
            while data:
                data = data[os.write(self._command, data):]
        except BrokenPipeError as error:
            raise BrowserError('it has ended; ' + self._last_words()) from error

    def _last_words(self):
        with open(self._log.name, 'rb') as log:
            return log.read()[-2000:].decode(errors='replace')

    def close(self):
        """Ends it, with everything that it has written."""
        try:
            self.call('Browser.close')
            self._process.wait(PATIENCE)
        except (BrowserError, OSError, subprocess.TimeoutExpired):
            self._process.kill()
            self._process.wait()
        self._reader.join(PATIENCE)
        os.close(self._command)
        os.close(self._said)
        self._log.close()
        shutil.rmtree(self._profile, ignore_errors=True)


class Tab:
    """A page of the browser, watched from its beginning."""

    def __init__(self, browser):
        self._browser = browser
        self.target = browser.call('Target.createTarget', {'url': 'about:blank'})['targetId']
        self._session = browser.call('Target.attachToTarget', {'targetId': self.target, 'flatten': True})['sessionId']
        for domain in ('Page', 'Runtime', 'Log', 'Network', 'Accessibility'):
            self.call(domain + '.enable')

    def call(self, method, parameters=None):
        """Carries out a command for this page."""
        return self._browser.call(method, parameters, self._session)

    def close(self):
        """Ends the page."""
        self._browser.call('Target.closeTarget', {'targetId': self.target})

    def told(self, method):
        """The parameters of all events of one kind so far."""
        return [event['params'] for event in list(self._browser.events)
                if event['method'] == method and event.get('sessionId') == self._session]

    def open(self, url):
        """Goes to an address and waits until it is there."""
        before = len(self.told('Page.loadEventFired'))
        result = self.call('Page.navigate', {'url': url})
        if 'errorText' in result:
            raise BrowserError('%s: %s' % (url, result['errorText']))
        wait_until(lambda: len(self.told('Page.loadEventFired')) > before, url + ' is loaded')

    def evaluate(self, expression):
        """What an expression gives in the page, a promise when it is kept."""
        result = self.call('Runtime.evaluate',
                           {'expression': expression, 'returnByValue': True, 'awaitPromise': True})
        if 'exceptionDetails' in result:
            details = result['exceptionDetails']
            raise BrowserError(details.get('exception', {}).get('description') or details['text'])
        return result['result'].get('value')

    def until(self, expression):
        """Waits until an expression gives something true, and returns that."""
        return wait_until(lambda: self.evaluate(expression), expression)

    def press(self, key, code, text=''):
        """Presses a key. code: its virtual key code. text: what it types."""
        common = {'key': key, 'code': key, 'windowsVirtualKeyCode': code}
        down = dict(common, type='keyDown', text=text) if text else dict(common, type='rawKeyDown')
        self.call('Input.dispatchKeyEvent', down)
        self.call('Input.dispatchKeyEvent', dict(common, type='keyUp'))

    def type(self, text):
        """Types a text where the focus is."""
        for character in text:
            self.call('Input.dispatchKeyEvent', {'type': 'char', 'text': character})

    def set_width(self, width, height=800):
        """Gives it the size of a window or a telephone, in CSS pixels."""
        self.call('Emulation.setDeviceMetricsOverride',
                  {'width': width, 'height': height, 'deviceScaleFactor': 1, 'mobile': width < 600})

    def prefer(self, scheme):
        """Asks for the scheme of colours light or dark."""
        self.call('Emulation.setEmulatedMedia', {'features': [{'name': 'prefers-color-scheme', 'value': scheme}]})

    def screenshot(self, whole=True):
        """The page as it looks, PNG."""
        return base64.b64decode(self.call('Page.captureScreenshot', {'format': 'png', 'captureBeyondViewport': whole})['data'])

    def complaints(self):
        """What the page's console holds: errors, warnings, exceptions, blocked things."""
        texts = [entry['entry']['text'] for entry in self.told('Log.entryAdded')]
        texts += [call['type'] for call in self.told('Runtime.consoleAPICalled')]
        return texts + [thrown['exceptionDetails']['text'] for thrown in self.told('Runtime.exceptionThrown')]

    def requested(self):
        """The addresses that the page has asked for."""
        return [request['request']['url'] for request in self.told('Network.requestWillBeSent')]
