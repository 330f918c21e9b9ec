"""Scripts that have an interpreter each, in one process."""
import unittest

from host_case import OWN_THREADS, SAME_THREAD, HostCase


class Host(HostCase):
    def test_each_script_has_an_interpreter_of_its_own(self):
        self.expect_both_ways(
            ['0 1', '1 1', '2 1'],
            '''
import sys, os
sys.runs = getattr(sys, 'runs', 0) + 1
os.write(1, '%s %d\\n' % (sys.argv[1], sys.runs))
''',
            '--count',
            '3',
        )

    def test_a_failing_script_is_the_hosts_failure(self):
        code, _, errors = self.run_host(OWN_THREADS, 'raise ValueError("on purpose")')
        self.assertEqual(1, code)
        self.assertIn('on purpose', errors)
        self.assertEqual((7, [], ''), self.run_host(OWN_THREADS, 'raise SystemExit(7)'))

    def test_python_starts_anew_in_each_life(self):
        self.expect_both_ways(['alive'] * 3, 'import os; os.write(1, "alive\\n")', '--lives', '3')


# Says the answers that it got until it had two.
SEARCH = '''
import _vireon
from host_script import *
names = set()
def callback(event, device):
    names.add(device['friendlyName'])
engine = search(callback)
def waiting():
    return len(names) < 2
def finish():
    _vireon.Vireon_Stop(engine)
    _vireon.delete_Vireon(engine)
    for name in sorted(names)[:2]:
        say(name)
'''


class Search(HostCase):
    def expect_own_answers(self, way):
        code, said, errors = self.run_host(way, SEARCH, '--count', '4')
        self.assertEqual((0, ''), (code, errors))
        # No two answers have the same name.
        self.assertEqual((8, 8), (len(said), len(set(said))), said)

    def test_scripts_on_threads_of_their_own_get_their_own_answers(self):
        self.expect_own_answers(OWN_THREADS)

    def test_scripts_on_the_same_thread_get_their_own_answers(self):
        self.expect_own_answers(SAME_THREAD)


class Lock(HostCase):
    def test_the_guards_work_in_each(self):
        self.expect_both_ways(
            ['True True True'] * 3,
            '''
import _vireon
from host_script import *
held = [_vireon.IsCurrentThreadHoldPythonGIL2()]
lock = _vireon.new_PyAutoLock2()
unlock = _vireon.new_PyAutoUnlock2()
held.append(_vireon.IsCurrentThreadHoldPythonGIL2())
_vireon.delete_PyAutoUnlock2(unlock)
_vireon.delete_PyAutoLock2(lock)
held.append(_vireon.IsCurrentThreadHoldPythonGIL2())
say(*held)
''',
            '--count',
            '3',
        )


if __name__ == '__main__':
    unittest.main()
