"""All script tests once more, in an interpreter that is not the process's first.

The scripts that they start themselves run in an ordinary interpreter.
"""

import os
import pathlib
import re
import unittest

from host_case import BOTH_WAYS, ON_WINDOWS, ROOT, HostCase

SCRIPTS = os.environ['VIREON_SCRIPT_TESTS'].split(':')
FOLDER = ROOT / 'tests' / 'script'


def executable():
    """What the host says of itself is not what a script can start another script by."""
    if not ON_WINDOWS:
        return []
    python = pathlib.Path(os.environ['VIREON_WINDOWS_PYTHON']) / 'python.exe'
    return ['--executable', 'Z:' + str(python).replace('/', '\\')]


class Scripts(HostCase):
    # They expect none; and on Windows those that they start are in the host's network.
    is_answered = False

    def test_each_passes_in_a_further_interpreter(self):
        for script in SCRIPTS:
            for way in BOTH_WAYS:
                with self.subTest(script, way=way):
                    code, _, errors = self.run_words(way, *executable(), FOLDER / script)
                    self.assertEqual(0, code, errors)
                    self.assertRegex(errors, re.compile(r'^Ran [1-9]\d* test', re.M))


if __name__ == '__main__':
    unittest.main()
