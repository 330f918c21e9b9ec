"""How the tests run scripts in interpreters of their own."""
import os
import tempfile
import unittest

import support

CRASH = """Tracer caught signal 11: addr=0x0 pc=0x7f5c3e1b2c45 sp=0x7f5c31dfd9e0
==4711==LeakSanitizer has encountered a fatal error.
"""


class RunScript(unittest.TestCase):
    def run_twice_at_most(self, text):
        """Runs a script that fails with a text unless it was run before: how it ended, what was told."""
        handle, marker = tempfile.mkstemp()
        os.close(handle)
        self.addCleanup(os.remove, marker)
        with support.Quiet() as told:
            ended = support.run_script(
                '''
import os, sys
if not os.path.getsize(%r):
    open(%r, 'w').write('been here')
    sys.stderr.write(%r)
    os._exit(1)
print 'second run'
'''
                % (marker, marker, text)
            )
        return ended, told.text

    def test_a_script_whose_leak_checker_failed_is_run_once_more_and_that_is_told(self):
        ended, told = self.run_twice_at_most(CRASH)
        self.assertEqual((0, 'second run\n', ''), ended)
        self.assertIn("leak checker's own tracer crashed", told)

    def test_one_that_failed_by_itself_is_not(self):
        for text in ('Traceback', CRASH + '==4711==ERROR: LeakSanitizer: detected memory leaks\n'):
            ended, told = self.run_twice_at_most(text)
            self.assertEqual(((1, '', text), ''), (ended, told))

    def test_one_that_hangs_is_killed(self):
        limit, support.SCRIPT_LIMIT_SECONDS = support.SCRIPT_LIMIT_SECONDS, 0.5
        try:
            code, _, _ = support.run_script('import time; time.sleep(60)')
        finally:
            support.SCRIPT_LIMIT_SECONDS = limit
        self.assertNotEqual(0, code)


if __name__ == '__main__':
    unittest.main()
