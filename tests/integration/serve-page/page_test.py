#!/usr/bin/env python3
"""The page of zuserve in a real browser.

  page_test.py ZUSERVE.EXE [--chromium PROGRAM] [--picture FILE.png]

With --picture it makes the picture of the page for the manual instead.
"""

import argparse
import http.server
import json
import sys
import threading
import unittest

from browser import Browser, BrowserError, Tab, wait_until
from service import Service

TAB, ENTER, LEFT = ('Tab', 9), ('Enter', 13), ('ArrowLeft', 37)

# Nothing of this may be more than text.
HOSTILE = ['<img src=x onerror="window.harmed=1">',
           '</script><script>window.harmed=1</script>',
           '</td></tr></table><style>*{display:none}</style>',
           '"\'`${window.harmed=1}&lt;b&gt;',
           'javascript:window.harmed=1',
           '\u202egnp.exe \u05d0\u05d1\u05d2 \u0627\u0644\u0639\u0631\u0628\u064a\u0629',
           '\u6f22\u5b57 \U0001f600 e\u0301',
           '__proto__']
LONG = 'W' * 50000

CELLS = "[...document.querySelectorAll('#requests tbody tr')].map(row => [...row.cells].map(cell => cell.textContent))"
CONNECTED = "document.getElementById('link').textContent === 'connected'"
FOCUSED = 'document.activeElement.id'


ARGUMENTS = argparse.Namespace()  # what the tests were started with


class PageTest(unittest.TestCase):
    """One service and one browser for all; a tab, the settings and the site are fresh for each test."""

    @classmethod
    def setUpClass(cls):
        cls.service = Service(ARGUMENTS.zuserve)
        cls.addClassCleanup(cls.service.close)
        cls.browser = Browser(ARGUMENTS.chromium, cls.service.key())
        cls.addClassCleanup(cls.browser.close)

    def setUp(self):
        self.service.withdraw()
        self.service.change(share=100, hostVersion='', paused=False, fault='none')
        self.tab = Tab(self.browser)
        self.addCleanup(self.tab.close)
        self.tab.open(self.service.url)
        self.tab.until(CONNECTED)

    def check_quiet(self):
        """Nothing was complained of, and nothing was asked of anybody else."""
        self.assertEqual(self.tab.complaints(), [])
        for url in self.tab.requested():
            self.assertTrue(url.startswith(self.service.url) or url == 'data:,', url)

    def rows_with(self, text, column):
        """Waits for rows with a text in a column, and returns them, the newest first."""
        return self.tab.until(CELLS + '.filter(cells => cells[%d] === %s).length && %s.filter(cells => cells[%d] === %s)' %
                              (column, json.dumps(text), CELLS, column, json.dumps(text)))

    def focus_by_keyboard(self, name):
        """Presses the tabulator until an element has the focus."""
        for _ in range(30):
            if self.tab.evaluate(FOCUSED) == name:
                return
            self.tab.press(*TAB)
        self.fail('the keyboard does not reach ' + name)

    def wait_for_setting(self, name, value):
        """Waits until the service has this setting."""
        wait_until(lambda: self.service.settings()[name] == value, '%s is %r' % (name, value))

    def harm(self):
        """What scripts of others have left in the page."""
        return self.tab.evaluate('[window.harmed, document.scripts.length, document.images.length]')

    # ---- what it shows

    def test_shows_requests_as_they_come(self):
        self.tab.evaluate('window.same = true')
        self.service.offer('2.0.0.47')
        self.service.ask_for_update(uid='4711')
        request, uid, hostver, hitseq, system, answer, why = self.rows_with('4711', 2)[0][1:]
        self.assertEqual(request, 'POST /configs/pc/post')
        self.assertEqual([uid, hostver, hitseq, system], ['4711', '7.1.0', '5D41402ABC4B2A76', 'Windows 10 (Build 19045)'])
        self.assertEqual([answer, why], ['2.0.0.47', 'newest entry'])
        self.service.change(share=0)
        self.service.ask_for_update(uid='4712')
        self.assertEqual(self.rows_with('4712', 2)[0][6:], ['nothing', 'user not among the 0 %'])
        self.service.ask('GET', '/zuimpl-2.0.0.47.7z')
        self.assertEqual(self.rows_with('200, 100000 bytes', 6)[0][1:], ['GET /zuimpl-2.0.0.47.7z', *[''] * 4,
                                                                         '200, 100000 bytes', 'in the site'])
        self.assertIs(self.tab.evaluate('window.same'), True, 'it was loaded anew')
        self.assertRegex(self.tab.evaluate(CELLS)[0][0], r'^\d\d:\d\d:\d\d$')
        self.check_quiet()

    def test_shows_the_newest_request_on_top_and_says_it(self):
        for uid in ('1', '2', '3'):
            self.service.ask_for_update(uid=uid)
        self.rows_with('3', 2)
        self.assertEqual([cells[2] for cells in self.tab.evaluate(CELLS)[:3]], ['3', '2', '1'])
        self.assertEqual(self.tab.evaluate("document.getElementById('last').getAttribute('role')"), 'status')
        self.assertIn('nothing', self.tab.evaluate("document.getElementById('last').textContent"))

    def test_shows_packages_as_they_come_and_go(self):
        packages = "document.querySelector('#packages tbody').innerText.replace(/\\s+/g, ' ')"
        self.tab.until("!document.getElementById('no-packages').hidden")
        self.service.offer('2.0.0.46')
        self.service.offer('2.0.0.47')
        self.tab.until(packages + ".match(/2\\.0\\.0\\.47 offered .*2\\.0\\.0\\.46 older/)")
        self.service.withdraw()
        self.tab.until("!document.getElementById('no-packages').hidden")
        self.check_quiet()

    def test_shows_settings_that_others_change(self):
        self.service.change(share=12.5, hostVersion='>=7.1', paused=True, fault='cut')
        self.tab.until("document.getElementById('share').value === '12.5'")
        shown = self.tab.evaluate("['slider', 'host-version', 'fault'].map(name => document.getElementById(name).value)")
        self.assertEqual(shown[1:], ['>=7.1', 'cut'])
        self.assertIn(shown[0], ('12', '13'))
        self.assertTrue(self.tab.evaluate("document.getElementById('paused').checked"))

    # ---- hostile texts

    def test_shows_hostile_texts_as_texts(self):
        self.service.offer('2.0.0.47', url='javascript:window.harmed=1//<img src=x onerror=window.harmed=1>')
        for number, text in enumerate(HOSTILE):
            self.service.ask_for_update(uid='9%d' % number, hostver=text, hitseq=text, system=text)
            shown = text.replace('\u202e', '\\xe2\\x80\\xae')
            self.assertEqual(self.rows_with('9%d' % number, 2)[0][3:6], [shown] * 3)
        self.service.ask('POST', '/<img/src=x/onerror=window.harmed=1>')
        self.rows_with('POST /<img/src=x/onerror=window.harmed=1>', 1)
        self.assertEqual(self.tab.evaluate("document.querySelectorAll('td *').length"), 0)
        self.assertEqual(self.harm(), [None, 1, 0])
        self.assertEqual(self.tab.told('Page.javascriptDialogOpening'), [])
        self.check_quiet()

    def test_keeps_texts_apart_that_run_the_other_way(self):
        self.service.ask_for_update(uid='95', hitseq='\u202e' + 'abc')
        self.rows_with('95', 2)
        cells = "[...document.querySelector('#requests tbody tr').cells]"
        self.assertEqual(self.tab.evaluate(cells + '.map(cell => getComputedStyle(cell).unicodeBidi)'), ['isolate'] * 8)

    def test_would_run_nothing_of_others(self):
        with self.assertRaisesRegex(BrowserError, 'TrustedHTML'):
            self.tab.evaluate("document.body.innerHTML = '<img src=x onerror=\"window.harmed=1\">'")
        self.tab.evaluate("""(() => {
          const image = document.createElement('img');
          image.setAttribute('src', 'https://evil.example/x.png');
          document.body.append(image);
          return fetch('https://evil.example/').catch(() => true);
        })()""")
        self.assertRegex(' '.join(self.tab.complaints()), 'Content Security Policy')
        self.assertIsNone(self.tab.evaluate('window.harmed'))

    # ---- other pages

    def test_is_out_of_reach_of_other_pages(self):
        stranger = http.server.ThreadingHTTPServer(('127.0.0.1', 0), StrangerHandler)
        threading.Thread(target=stranger.serve_forever, daemon=True).start()
        try:
            self.tab.open('http://127.0.0.1:%d/' % stranger.server_port)
            for options in ("{method: 'POST', body: '{\"share\": 0}', headers: {'Content-Type': 'application/json'}}",
                            "{method: 'POST', body: '{\"share\": 0}', mode: 'no-cors'}"):
                self.tab.evaluate("fetch('%sapi/settings', %s).catch(() => null).then(() => true)" %
                                  (self.service.url, options))
            read = "fetch('%sapi/state').then(answer => answer.text()).catch(() => 'unreadable')" % self.service.url
            self.assertEqual(self.tab.evaluate(read), 'unreadable')
        finally:
            stranger.shutdown()
            stranger.server_close()
        self.assertEqual(self.service.settings()['share'], 100)

    # ---- the controls

    def test_changes_the_share_by_keyboard(self):
        self.focus_by_keyboard('slider')
        self.tab.press(*LEFT)
        self.wait_for_setting('share', 99)
        for _ in range(9):
            self.tab.press(*LEFT)
        self.wait_for_setting('share', 90)
        self.tab.until("document.getElementById('share').value === '90'")
        self.focus_by_keyboard('share')
        self.tab.evaluate("document.activeElement.select()")
        self.tab.type('12.5')
        self.tab.press(*ENTER, text='\r')
        self.wait_for_setting('share', 12.5)
        self.tab.until("document.getElementById('answer').textContent.startsWith('changed at ')")
        self.check_quiet()

    def test_changes_the_others_by_keyboard(self):
        self.focus_by_keyboard('host-version')
        self.tab.type('>=7.1')
        self.focus_by_keyboard('fault')
        self.wait_for_setting('hostVersion', '>=7.1')
        self.tab.evaluate("document.activeElement.select()")
        self.tab.type('slow:1000')
        self.tab.press(*TAB)
        self.wait_for_setting('fault', 'slow:1000')
        self.focus_by_keyboard('paused')
        self.tab.press(' ', 32, text=' ')
        self.wait_for_setting('paused', True)
        self.check_quiet()

    def test_says_what_is_wrong_and_keeps_what_was_typed(self):
        self.focus_by_keyboard('fault')
        self.tab.evaluate("document.activeElement.select()")
        self.tab.type('stall')
        self.tab.press(*TAB)
        self.tab.until("document.getElementById('answer').textContent === 'stall needs a number of bytes, as in stall:65536'")
        self.assertEqual(self.tab.evaluate("document.getElementById('fault').getAttribute('aria-invalid')"), 'true')
        self.service.ask_for_update(uid='77')
        self.rows_with('77', 2)
        self.assertEqual(self.tab.evaluate("document.getElementById('fault').value"), 'stall')
        self.assertEqual(self.service.settings()['fault'], 'none')

    def test_names_every_control_and_shows_the_focus(self):
        nodes = self.tab.call('Accessibility.getFullAXTree')['nodes']
        kinds = ('slider', 'spinbutton', 'textbox', 'combobox', 'checkbox')
        named = [(node['role']['value'], node['name']['value']) for node in nodes if node['role']['value'] in kinds]
        self.assertEqual(len(named), 5, named)
        for role, name in named:
            self.assertTrue(name, role)
        for name in ('slider', 'share', 'host-version', 'fault', 'paused'):
            self.focus_by_keyboard(name)
            self.assertEqual(self.tab.evaluate('getComputedStyle(document.activeElement).outlineStyle'), 'solid', name)

    # ---- how it looks

    def test_fits_a_telephone(self):
        self.service.offer('2.0.0.47', url='https://localhost/' + 'x' * 500)
        self.service.ask_for_update(uid='81', hostver=LONG, hitseq=LONG, system=LONG)
        self.service.ask_for_update(uid='82', hitseq='\u202e' + LONG)
        self.service.ask('GET', '/' + 'y' * 4000)
        self.rows_with('82', 2)
        self.tab.until("document.getElementById('packages').innerText.includes('xxx')")
        for width in (360, 700, 1200):
            self.tab.set_width(width)
            self.assertLessEqual(self.tab.evaluate('document.documentElement.scrollWidth'), width)
            wide = "[...document.querySelectorAll('td, input, p, h1, h2')].filter(one => one.scrollWidth > one.clientWidth + 1 && " \
                   "one.tagName === 'TD' || one.getBoundingClientRect().right > innerWidth).map(one => one.outerHTML.slice(0, 80))"
            self.assertEqual(self.tab.evaluate(wide), [], width)
        self.check_quiet()

    def test_is_light_or_dark_and_legible_in_both(self):
        colours = {}
        for scheme in ('light', 'dark'):
            self.tab.prefer(scheme)
            colours[scheme] = self.tab.evaluate("""['body', 'section', 'small', '.good'].map(one => {
              const element = document.querySelector(one);
              let behind = element;
              while (getComputedStyle(behind).backgroundColor === 'rgba(0, 0, 0, 0)') behind = behind.parentElement;
              return [getComputedStyle(element).color, getComputedStyle(behind).backgroundColor];
            })""")
            for text, paper in colours[scheme]:
                self.assertGreaterEqual(contrast(text, paper), 4.5, (scheme, text, paper))
        self.assertNotEqual(colours['light'], colours['dark'])


class LostServiceTest(unittest.TestCase):
    """A service that ends while the page is open."""

    def test_is_said(self):
        service = Service(ARGUMENTS.zuserve)
        self.addCleanup(service.close)
        browser = Browser(ARGUMENTS.chromium, service.key())
        self.addCleanup(browser.close)
        tab = Tab(browser)
        tab.open(service.url)
        tab.until(CONNECTED)
        service.end()
        tab.until("document.getElementById('link').textContent === 'not connected, trying again'")


class StrangerHandler(http.server.BaseHTTPRequestHandler):
    """A page of somebody else's."""

    def do_GET(self):  # pylint: disable=invalid-name
        self.send_response(200)
        self.send_header('Content-Type', 'text/html')
        self.end_headers()
        self.wfile.write(b'<!DOCTYPE html><title>stranger</title>')

    def log_message(self, format, *args):  # pylint: disable=redefined-builtin
        pass


def contrast(one, other):
    """The contrast of two colours "rgb(r, g, b)", from 1 to 21."""
    def luminance(colour):
        parts = [int(part) / 255 for part in colour[colour.index('(') + 1:-1].split(',')[:3]]
        linear = [part / 12.92 if part <= 0.04045 else ((part + 0.055) / 1.055) ** 2.4 for part in parts]
        return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2]
    light, dark = sorted((luminance(one), luminance(other)), reverse=True)
    return (light + 0.05) / (dark + 0.05)


def take_picture(file):
    """The page after a few requests, for the manual."""
    service = Service(ARGUMENTS.zuserve)
    browser = None
    try:
        browser = Browser(ARGUMENTS.chromium, service.key())
        service.offer('2.0.0.46', url='https://localhost:18443/zuimpl-2.0.0.46.7z')
        service.offer('2.0.0.47', url='https://localhost:18443/zuimpl-2.0.0.47.7z')
        service.change(share=10, hostVersion='>=7.1')
        for uid, hostver, hitseq in (('1001', '7.1.0', '5D41402ABC4B2A76'), ('1002', '6.9.4', '0CC175B9C0F1B6A8'),
                                     ('1009', '7.2.1', '92EB5FFEE6AE2FEC')):
            service.ask_for_update(uid=uid, hostver=hostver, hitseq=hitseq)
        service.ask('GET', '/zuimpl-2.0.0.47.7z')
        tab = Tab(browser)
        tab.set_width(1100, 640)
        tab.call('Emulation.setScrollbarsHidden', {'hidden': True})
        tab.open(service.url)
        tab.until(CONNECTED + ' && ' + CELLS + '.length >= 4')
        tab.evaluate("document.getElementById('site').textContent = 'C:\\\\work\\\\site'")
        with open(file, 'wb') as picture:
            picture.write(tab.screenshot())
    finally:
        if browser:
            browser.close()
        service.close()


def main():
    """Reads the arguments and runs the tests, or takes the picture."""
    parser = argparse.ArgumentParser(description='The page of zuserve in a real browser.')
    parser.add_argument('zuserve', help='the program')
    parser.add_argument('--chromium', default='chromium', help='the browser')
    parser.add_argument('--picture', metavar='FILE', help='makes the picture for the manual instead')
    parser.add_argument('tests', nargs='*', help='only these, as PageTest.test_fits_a_telephone')
    parser.parse_args(namespace=ARGUMENTS)
    if ARGUMENTS.picture:
        take_picture(ARGUMENTS.picture)
    else:
        unittest.main(argv=[sys.argv[0], *ARGUMENTS.tests], verbosity=2)


if __name__ == '__main__':
    main()
