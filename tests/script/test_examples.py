"""The examples that need no network."""
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


if __name__ == '__main__':
    sys.dont_write_bytecode = True
    unittest.main()
