"""The examples that scripts are made from."""
import imp
import os
import subprocess
import sys
import unittest

import support
import vireon_probe as probe

EXAMPLES = os.path.join(support.TESTS_DIR, '..', '..', 'examples')


class ReadString(unittest.TestCase):
    PATH = os.path.join(EXAMPLES, 'read_string.py')

    def test_it_prints_a_devices_texts(self):
        command = [sys.executable] if support.ON_WINDOWS else support.interpreter()
        output = subprocess.check_output(command + ['-B', self.PATH]).splitlines()
        self.assertRegexpMatches(output[0], '^uuid: [0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}$')
        self.assertEqual("type: ''", output[1])

    def test_its_function_reads_any_text(self):
        example = imp.load_source('read_string', self.PATH)
        for text in ('', 'x', 'caf\xc3\xa9', 5000 * 'long '):
            wrapped = probe.string(text)
            self.assertEqual(text, example.read_string(wrapped))
            probe.delete_string(wrapped)


def server(usn, location):
    return dict(dict.fromkeys(support.SERVER_KEYS, ''), usn=usn, location=location)


class TimedSearch(unittest.TestCase):
    PATH = os.path.join(EXAMPLES, 'timed_search.py')

    def test_one_server_on_two_networks_is_one_and_where_it_was_seen_last(self):
        sys.path.insert(0, EXAMPLES)
        self.addCleanup(sys.path.remove, EXAMPLES)
        servers = imp.load_source('timed_search', self.PATH).Servers()
        with support.Quiet() as said:
            servers('Update Service', server('uuid:1', 'http://10.0.0.1/'))
            servers('Update Service', server('uuid:1', 'http://10.9.0.1/'))
            servers('Update Service', server('uuid:2', 'http://10.0.0.2/'))
        self.assertEqual(2, said.text.count(' found '), said.text)
        self.assertEqual(
            {'uuid:1': 'http://10.9.0.1/', 'uuid:2': 'http://10.0.0.2/'},
            dict((usn, each['location']) for usn, each in servers.by_usn.items()),
        )

    def test_a_servers_texts_do_not_steer_the_terminal(self):
        sys.path.insert(0, EXAMPLES)
        self.addCleanup(sys.path.remove, EXAMPLES)
        servers = imp.load_source('timed_search', self.PATH).Servers()
        hostile = server('uuid:\x1b]0;', 'http://10.0.0.1/\x9b')
        hostile['friendlyName'] = '\x1b[2JK\xc3\xbcche\xc2\x9b1m\x07'
        with support.Quiet() as said:
            servers('Update Service', hostile)
        self.assertIn('found [2JK\xc3\xbcche1m at http://10.0.0.1/', said.text)
        for control in ('\x07', '\x1b', '\x9b'):
            self.assertNotIn(control, said.text)

    def test_what_is_no_time_is_refused_before_anything_is_searched(self):
        command = [sys.executable] if support.ON_WINDOWS else support.interpreter()
        for option in ('--seconds', '--interval'):
            for value in ('-1', 'nan', 'inf', 'soon'):
                process = subprocess.Popen(
                    command + ['-B', self.PATH, option, value], stdout=subprocess.PIPE, stderr=subprocess.PIPE
                )
                output, errors = process.communicate()
                self.assertEqual((2, ''), (process.returncode, output), (option, value))
                self.assertIn('error: argument %s' % option, errors)


if __name__ == '__main__':
    sys.dont_write_bytecode = True
    unittest.main()
