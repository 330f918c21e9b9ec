"""The example with a window is run on a screen that nobody sees, and looked at.

With VIREON_PICTURE the documents' picture of it is written to that file.
"""

import functools
import json
import os
import subprocess
import sys
import threading
import unittest

import screen
from network_case import INTERVAL, SLACK, NetworkCase, unmet
from responder import answer
from searcher import die_with_parent, driver_command, module_directory

HERE = os.path.dirname(os.path.abspath(__file__))
DRIVER = os.path.join(HERE, 'gui_driver.py')
EXAMPLES = os.path.join(HERE, '..', '..', 'examples')

# A server is lost some seconds after its end, and not before, however busy the machine is.
ROUNDS = 8
LIMIT = 60


@functools.lru_cache(maxsize=None)
def missing_window():
    tried = subprocess.run(driver_command() + ['-c', 'import Tkinter'], stderr=subprocess.DEVNULL)
    if tried.returncode != 0:
        return 'the Python 2.7 that runs the module has no Tkinter (./dev setup test)'
    return screen.missing()


class GuiExampleTest(NetworkCase):
    def setUp(self):
        super().setUp()
        if os.path.exists(os.path.join(module_directory(), '_vireon.pyd')):
            self.skipTest('platform: the interpreter for Windows is fetched without what Tk needs')
        if missing_window():
            unmet(missing_window())
        self.standard_network()
        self.screen = screen.Screen(self.here)
        self.addCleanup(self.screen.close)

    def start(self, namespace, *command, **options):
        with namespace.entered():
            process = subprocess.Popen(
                command,
                env=dict(os.environ, LC_ALL='C.UTF-8', DISPLAY=self.screen.DISPLAY),
                stdout=subprocess.PIPE,
                preexec_fn=die_with_parent,
                **options,
            )
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        # Whoever waits for it in vain sees its end.
        limit = threading.Timer(LIMIT, process.kill)
        limit.start()
        self.addCleanup(limit.cancel)
        return process

    def server(self, *names):
        command = [sys.executable, '-B', os.path.join(EXAMPLES, 'media_server.py')]
        for name in names:
            command += ['--name', name]
        server = self.start(self.there, *command)
        self.assertIn(b'listening', server.stdout.readline())
        return server

    def window(self):
        """The example within a program that tells what it shows."""
        command = driver_command() + ['-B', DRIVER, str(INTERVAL), str(ROUNDS)]
        window = self.start(self.here, *command, stdin=subprocess.PIPE, stderr=subprocess.PIPE)
        self.addCleanup(window.stderr.close)
        self.addCleanup(window.stdin.close)
        return window

    def told(self, window):
        line = window.stdout.readline()
        self.assertTrue(line, 'the window has ended')
        return json.loads(line.decode())

    def await_names(self, window, *names):
        told = self.told(window)
        while [name for name, _ in told['rows']] != list(names):
            told = self.told(window)
        return told['rows']

    def assert_clean_end(self, window):
        """Of one that is closed; its thread was never held up, by that least of all."""
        output, errors = window.communicate(b'\n', LIMIT)
        gone = json.loads(output.splitlines()[-1].decode())
        self.assertEqual((gone['event'], window.returncode, errors), ('gone', 0, b''))
        self.assertLess(gone['latest'], 2 * SLACK)

    def test_it_lists_servers_as_they_come_and_go(self):
        first, window = self.server('Living room'), self.window()
        self.assertEqual(
            self.await_names(window, 'Living room'),
            [['Living room', 'http://10.77.1.2:8080/description.xml']],
        )
        self.server('Küche')
        self.await_names(window, 'Living room', 'Küche')
        first.kill()
        self.await_names(window, 'Küche')
        self.assert_clean_end(window)

    def test_a_name_that_tk_does_not_know_is_shown_all_the_same(self):
        self.responder(self.there, reply=lambda request: [answer(b'\x1b[2J \xf0\x9f\x98\x80 \xff')])
        window = self.window()
        self.await_names(window, '\ufffd[2J \ufffd \ufffd')
        self.assert_clean_end(window)

    def test_a_server_is_to_be_seen_in_its_window(self):
        window = self.start(
            self.here,
            *driver_command(),
            '-B',
            os.path.join(EXAMPLES, 'gui_tkinter.py'),
            stderr=subprocess.PIPE,
        )
        self.addCleanup(window.stderr.close)
        empty = self.screen.await_picture(lambda picture: len(picture.colours()) > 4, LIMIT)
        self.assertGreater(len(empty.colours()), 4, 'there is no window')
        self.server('Living room', 'Kitchen')
        # A letter is some twenty points of three bytes.
        listed = self.screen.await_picture(lambda picture: picture.differences(empty) > 2000, LIMIT)
        self.assertGreater(listed.differences(empty), 2000)
        self.assertIsNone(window.poll())
        if 'VIREON_PICTURE' in os.environ:
            with open(os.environ['VIREON_PICTURE'], 'wb') as file:
                file.write(listed.cut().png())


if __name__ == '__main__':
    unittest.main()
