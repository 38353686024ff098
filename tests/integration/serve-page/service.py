"""zuserve.exe as a process, with a site of its own, and a client that trusts its authority and nothing else."""

import base64
import hashlib
import http.client
import json
import os
import shutil
import signal
import ssl
import subprocess
import tempfile
import threading

from browser import PATIENCE, wait_until

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), '../../..'))


def windows(path):
    """A path as Windows programs see it."""
    return 'Z:' + path.replace('/', '\\')


class Service:
    """Serves until it is closed, on a port that is free."""

    def __init__(self, program, options=()):
        self.directory = tempfile.mkdtemp(prefix='zuserve-page-')
        self.site = os.path.join(self.directory, 'site')
        self._authority = os.path.join(self.directory, 'authority')
        self.lines = []
        os.mkdir(self.site)
        self._process = subprocess.Popen(
            [os.path.join(ROOT, 'scripts/wine-run'), program, '--site', windows(self.site), '--port', '0', '--ca',
             windows(self._authority), *options],
            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, encoding='utf-8')
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()
        wait_until(lambda: self.lines or self._process.poll() is not None, 'zuserve says where it serves')
        if not self.lines or not self.lines[0].startswith('zuserve: https://localhost:'):
            raise RuntimeError('zuserve does not serve: ' + '\n'.join(self.lines))
        self.url = self.lines[0].split()[1]
        self.port = int(self.url.split(':')[2].rstrip('/'))
        self._trust = ssl.create_default_context(cafile=os.path.join(self._authority, 'authority.crt'))

    def _read(self):
        for line in self._process.stdout:
            self.lines.append(line.rstrip('\r\n'))

    def end(self):
        """Ends the program; the site stays."""
        if self._process.poll() is None:
            self._process.send_signal(signal.SIGTERM)
            self._process.wait(PATIENCE)
        self._reader.join(PATIENCE)
        self._process.stdout.close()

    def close(self):
        """Ends the program and takes everything away."""
        self.end()
        shutil.rmtree(self.directory)

    def _connect(self):
        return http.client.HTTPSConnection('localhost', self.port, context=self._trust, timeout=PATIENCE)

    def key(self):
        """The SHA-256 of the public key that it serves with, which the authority vouches for, in base64."""
        connection = self._connect()
        connection.connect()
        certificate = connection.sock.getpeercert(True)
        connection.close()
        pem = ssl.DER_cert_to_PEM_cert(certificate).encode()
        public = subprocess.run(['openssl', 'x509', '-pubkey', '-noout'], input=pem, stdout=subprocess.PIPE, check=True)
        der = subprocess.run(['openssl', 'pkey', '-pubin', '-outform', 'DER'], input=public.stdout,
                             stdout=subprocess.PIPE, check=True)
        return base64.b64encode(hashlib.sha256(der.stdout).digest()).decode()

    def ask(self, method, path, body=None, headers=None):
        """Makes a request; returns the status and the body."""
        connection = self._connect()
        try:
            connection.request(method, path, body=body, headers=headers or {})
            answer = connection.getresponse()
            return answer.status, answer.read()
        finally:
            connection.close()

    def ask_for_update(self, uid='1001', hostver='7.1.0', hitseq='5D41402ABC4B2A76', system='Windows 10 (Build 19045)'):
        """A configuration request as the plugin makes it."""
        body = {'version': '2.0.0', 'osVersion': system, 'extendInfo': {'hostver': hostver, 'hitseq': hitseq, 'zuuid': uid}}
        return self.ask('POST', '/configs/pc/post', json.dumps(body),
                        {'uid': uid, 'Content-Type': 'application/json;charset=UTF-8'})

    def settings(self):
        """The settings as they are now."""
        return json.loads(self.ask('GET', '/api/state')[1])['state']['settings']

    def change(self, **settings):
        """Changes settings."""
        status, body = self.ask('POST', '/api/settings', json.dumps(settings), {'Content-Type': 'application/json'})
        if status != 200:
            raise RuntimeError(body)

    def offer(self, version, url=None):
        """Puts a package and its entry into the site."""
        name = 'zuimpl-' + version
        with open(os.path.join(self.site, name + '.7z'), 'wb') as package:
            package.write(b'7' * 100000)
        entry = {'ver': version, 'pmd5': '0' * 32, 'dmd5': '1' * 32, 'url': url or self.url + name + '.7z'}
        with open(os.path.join(self.site, name + '.json'), 'w', encoding='utf-8') as file:
            json.dump(entry, file)

    def withdraw(self):
        """Takes everything out of the site."""
        for name in os.listdir(self.site):
            os.remove(os.path.join(self.site, name))
