"""The demonstration is run as people run it, and its output is read."""

import os
import re
import signal
import subprocess
import time
import unittest

from network_case import missing_module, missing_namespaces, unmet
from privileges import reduced

HERE = os.path.dirname(os.path.abspath(__file__))
DEMO = os.path.join(HERE, '..', '..', 'examples', 'demo.sh')


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


class DemoTest(unittest.TestCase):
    def setUp(self):
        reason = missing_namespaces() or missing_module()
        if not reason and 'VIREON_DRIVER_PYTHON' in os.environ:
            self.skipTest('platform: the demonstration runs the module on this platform only')
        if reason:
            unmet(reason)

    def start(self, *words):
        process = subprocess.Popen(
            words or [DEMO, '--seconds', '4'],
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            start_new_session=True,
        )
        self.addCleanup(process.stdout.close)
        return process

    def finish(self, process):
        try:
            output = process.communicate(timeout=60)[0].decode('utf-8')
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGTERM)
            raise
        self.assertEqual(await_end_of(process.pid), [])
        return output

    def test_a_server_is_found_and_the_search_ends_cleanly(self):
        process = self.start()
        output = self.finish(process)
        self.assertEqual(process.returncode, 0, output)
        self.assertIn('Living room: listening on port 31288', output)
        self.assertRegex(output, r'\d s  found Living room at ' r'http://10\.31\.28\.2:8080/description\.xml')
        for name, value in (('HttpPort', '8080'), ('DBStatus', 'ready'), ('version', r'1\.0\.0')):
            self.assertRegex(output, r'\n +%s +%s\n' % (name, value))
        self.assertRegex(output, r'\nstopped within 0\.\d\d s\n')
        # Two cycles of two senders, two datagrams each. Of the three answers to each of them the one that
        # names the kind of server is counted.
        counts = re.search(
            r'on the wire: (\d+) requests by multicast .*, (\d+) by broadcast .*, ' r'(\d+) answers', output
        )
        self.assertIsNotNone(counts, output)
        self.assertEqual([int(count) for count in counts.groups()], [4, 4, 24], output)
        self.assertIn('1 server found, 8 answers\n    Living room at http://10.31.28.2:8080/', output)
        self.assertNotIn('Traceback', output)

    def test_an_interrupted_run_leaves_nothing_behind(self):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
            with self.subTest(number):
                process = self.start()
                while b'searching' not in process.stdout.readline():
                    self.assertIsNone(process.poll(), 'the demonstration ended early')
                self.assertNotEqual(programs_of(process.pid), [])
                os.killpg(process.pid, number)
                self.finish(process)
                self.assertNotEqual(process.returncode, 0)

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

    def test_who_may_not_look_at_the_wire_is_told(self):
        process = self.start(*reduced('-net_raw', DEMO))
        output = self.finish(process)
        self.assertNotEqual(process.returncode, 0)
        self.assertRegex(output, r'demo: wire_count does not start: .*\(CAP_NET_RAW\)\n')
        self.assertNotIn('Traceback', output)

    def test_an_ordinary_user_needs_no_privileges(self):
        as_user = ['unshare', '--user', '--map-user=1000', '--map-group=1000']
        if subprocess.run(as_user + ['true'], stderr=subprocess.DEVNULL).returncode != 0:
            self.skipTest('platform: no user namespaces can be made here, as in a chroot')
        process = self.start(*as_user, DEMO, '--seconds', '1')
        self.assertIn('1 server found', self.finish(process))
        self.assertEqual(process.returncode, 0)

    def test_a_missing_module_is_told(self):
        process = self.start(DEMO, HERE)
        self.assertIn('no _vireon.so in', self.finish(process))
        self.assertNotEqual(process.returncode, 0)


if __name__ == '__main__':
    unittest.main()
