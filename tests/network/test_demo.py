"""The demonstration is run as people run it, and its output is read."""

import fcntl
import html
import json
import os
import pty
import re
import select
import signal
import struct
import subprocess
import tempfile
import termios
import time
import unittest

from network_case import SLACK, missing_module, missing_namespaces, unmet
from privileges import reduced

HERE = os.path.dirname(os.path.abspath(__file__))
DEMO = os.path.join(HERE, '..', '..', 'examples', 'demo.sh')
RECORDING = os.path.join(HERE, '..', '..', 'docs', 'pictures', 'watch')
ISOLATED = ('unshare', '--net')
LIMIT = 150  # seconds for what takes a quarter of a minute
LOOKS = 1.2  # seconds, at most, between two tables where all is quiet


def programs_of(session):
    """What still runs of a session; its namespaces and their interfaces go with the last of it."""
    found = []
    for entry in os.listdir('/proc'):
        if entry.isdigit():
            try:
                with open('/proc/%s/stat' % entry) as file:
                    name, fields = file.read().rsplit(')', 1)
            except OSError:
                continue  # it has just ended
            state, _, _, its_session = fields.split()[:4]
            if int(its_session) == session and state != 'Z':
                found.append(name)
    return found


def await_end_of(session):
    """Gives what has not ended by itself soon."""
    deadline = time.monotonic() + 5
    while programs_of(session) and time.monotonic() < deadline:
        time.sleep(0.01)
    return programs_of(session)


def headings(output):
    """What the demo says that happens, each once, in their order."""
    return list(dict.fromkeys(re.findall('\x1b\\[H(\x1b\\[7m .* \x1b\\[0m)', output)))


def recording():
    with open(RECORDING + '.cast', encoding='utf-8') as file:
        return ''.join(json.loads(line)[2] for line in list(file)[1:]).replace('\r', '')


class DemoTest(unittest.TestCase):
    def setUp(self):
        reason = missing_namespaces() or missing_module()
        if not reason and 'VIREON_DRIVER_PYTHON' in os.environ:
            self.skipTest('platform: the demonstration runs the module on this platform only')
        if reason:
            unmet(reason)

    def start(self, *words, output=subprocess.PIPE, **environment):
        process = subprocess.Popen(
            words or [DEMO],
            env=dict(os.environ, **environment),
            stdin=subprocess.DEVNULL,
            stdout=output,
            stderr=subprocess.STDOUT,
            start_new_session=True,
        )
        if process.stdout:
            self.addCleanup(process.stdout.close)
        return process

    def finish(self, process):
        try:
            output = process.communicate(timeout=LIMIT)[0].decode('utf-8')
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGTERM)
            raise
        self.assertEqual(await_end_of(process.pid), [])
        return output

    def read(self, process, descriptor, beginning):
        """All that it writes until it ends, and the longest time in which that was nothing: from when the
        show has begun until everything is ended, of which the last line tells."""
        output, longest, last = b'', 0, time.monotonic()
        deadline = last + LIMIT
        while time.monotonic() < deadline and select.select([descriptor], [], [], LIMIT)[0]:
            try:
                came = os.read(descriptor, 65536)
            except OSError:  # the end of a terminal
                came = b''
            now, shows = time.monotonic(), beginning in output
            output += came
            if shows and b' servers found, ' not in output:
                longest = max(longest, now - last)
            last = now
            if not came:
                break
        self.assertEqual((process.wait(LIMIT), await_end_of(process.pid)), (0, []), output)
        return output.decode('utf-8').replace('\r', ''), longest

    def assert_all_was_seen(self, output):
        self.assertRegex(
            output, r'\n3 servers found, 1 lost, [1-9]\d* answers of 2 machines dropped; stopped in \d+ ms\n$'
        )
        self.assertNotIn('Traceback', output)

    def test_servers_that_come_and_go_are_lines_in_a_pipe(self):
        process = self.start()
        output, longest = self.read(process, process.stdout.fileno(), b'==>')
        self.assert_all_was_seen(output)
        events = re.findall(r'^(found|changed|lost|dropped|==>) +(\S+)', output, re.M)
        expected = (
            ('found', 'Living'),
            ('changed', 'Living'),
            ('found', 'Study'),
            ('found', 'Kitchen'),
            ('dropped', '10.31.28.4'),
            ('dropped', '10.31.29.4'),
            ('lost', 'Study'),
        )
        for event in expected:
            self.assertIn(event, events, output)
        self.assertLess(events.index(('==>', 'Kitchen')), events.index(('found', 'Kitchen')))
        self.assertLess(events.index(('==>', 'Study')), events.index(('lost', 'Study')))
        for name in ('Attic', 'Garage'):
            self.assertNotIn(('found', name), events)
        self.assertRegex(output, r'\ndropped +10\.31\.28\.4 +\d+  no "HTTP/1\.1 200 OK" at its beginning\n')
        self.assertRegex(output, r'\ndropped +10\.31\.29\.4 +\d+  no EXT header\n')
        self.assertLess(longest, LOOKS + 2 * SLACK)

    def test_on_a_terminal_they_are_a_table_below_what_happens(self):
        master, terminal = pty.openpty()
        self.addCleanup(os.close, master)
        fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack('4H', 24, 80, 0, 0))
        process = self.start(output=terminal, TERM='xterm')
        os.close(terminal)
        output, longest = self.read(process, master, b'NAME')
        self.assert_all_was_seen(output)
        frames = [frame.replace('\x1b[K', '').split('\n') for frame in output.split('\x1b[H')[1:]]
        shown = {heading.strip(): frame for heading, *frame in frames}
        self.assertEqual(len(shown), 5, list(shown))
        kitchen = shown['\x1b[7m Kitchen joins \x1b[0m']
        self.assertTrue(any(re.match(r'Living room +10\.31\.2[89]\.2 +2 ', row) for row in kitchen), kitchen)
        self.assertTrue(any(re.match(r'Kitchen +10\.31\.28\.3 +1 ', row) for row in kitchen), kitchen)
        self.assertIn('No answer was dropped so far.', kitchen)
        recorded = recording()
        self.assertEqual(headings(recorded), headings(output), 'to be recorded anew: ./dev demo --record')
        last = '\n'.join(frames[-1])
        self.assertNotIn('\nStudy', last)
        self.assertRegex(last, r'\n10\.31\.28\.4 +\d+  no "HTTP/1\.1 200 OK" at its beginning\n')
        self.assertLess(longest, LOOKS + 2 * SLACK)

    def test_the_recording_is_of_a_demo_that_went_well_and_its_picture_shows_that(self):
        recorded = recording()
        self.assert_all_was_seen(recorded)
        with open(RECORDING + '.svg', encoding='utf-8') as file:
            picture = html.unescape(file.read())
        self.assertIn('>' + recorded.splitlines()[-1], picture)
        for heading in headings(recorded):
            self.assertIn(heading.replace('\x1b[7m', '').replace('\x1b[0m', '').rstrip(), picture)

    def test_what_is_not_seen_fails_it(self):
        # A watch that shows nothing of what there is.
        with tempfile.TemporaryDirectory() as folder:
            blind = os.path.join(folder, 'python')
            with open(blind, 'w') as file:
                file.write('#!/bin/sh\ncase "$*" in *watch*) exec sleep 60 ;; esac\n')
            os.chmod(blind, 0o755)
            process = self.start(VIREON_PYTHON=blind)
            output = self.finish(process)
        self.assertEqual(process.returncode, 1, output)
        self.assertIn('demo: this was not to be seen: Two networks: ', output)

    def test_an_interrupted_run_leaves_nothing_behind(self):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            with self.subTest(number):
                process = self.start()
                while b'==>' not in process.stdout.readline():
                    self.assertIsNone(process.poll(), 'the demonstration ended early')
                self.assertNotEqual(programs_of(process.pid), [])
                os.kill(process.pid, number)  # it alone: all else is its to end
                output = self.finish(process)
                self.assertEqual(process.returncode, 128 + number)
                self.assertNotIn('Traceback', output)

    def test_a_machine_without_namespaces_is_told_what_is_missing(self):
        for missing in ('-sys_admin', '-net_admin', '-sys_admin,-net_admin'):
            with self.subTest(missing):
                process = self.start(*reduced(missing, DEMO))
                start = time.monotonic()
                output = self.finish(process)
                self.assertNotEqual(process.returncode, 0)
                self.assertRegex(
                    output,
                    '(?s)cannot make a network with interfaces of its own'
                    '.*in a user namespace: .*with the privileges there are: '
                    '.*Operation not permitted',
                )
                self.assertIn("'./dev demo --lan' needs no such network", output)
                self.assertLess(time.monotonic() - start, 20)

    def test_an_ordinary_user_needs_no_privileges(self):
        as_user = ['unshare', '--user', '--map-user=1000', '--map-group=1000']
        if subprocess.run(as_user + ['true'], stderr=subprocess.DEVNULL).returncode != 0:
            self.skipTest('platform: no user namespaces can be made here, as in a chroot')
        process = self.start(*as_user, DEMO)
        self.assert_all_was_seen(self.finish(process))
        self.assertEqual(process.returncode, 0)

    def test_on_this_network_it_searches_for_as_long_as_it_is_told(self):
        # Which here is one that nobody is in.
        process = self.start(*ISOLATED, DEMO, '--lan', '--seconds', '1')
        self.assertRegex(
            self.finish(process), r'^searching for 1 s, .*\nstopped within .*\n0 servers found, 0 '
        )
        self.assertEqual(process.returncode, 0)

    def test_a_missing_module_is_told(self):
        process = self.start(DEMO, HERE)
        self.assertIn('no _vireon.so in', self.finish(process))
        self.assertNotEqual(process.returncode, 0)


if __name__ == '__main__':
    unittest.main()
