"""A child that a script forks while it searches: it has the engine, but none of its threads."""

import unittest

import support

SCRIPT = '''
import os, signal, sys, time
import _vireon
engine = _vireon.new_Vireon()
_vireon.Vireon_SetInterVal(engine, 30)
_vireon.Vireon_SetCallback(engine, lambda *_: None)
search = lambda of: _vireon.Vireon_SearchDevices(of).disown()
search(engine)
%s
# A checker's own locks, which its allocator holds for a moment, do not survive a fork.
time.sleep(0.3)
child = os.fork()
if child == 0:
    signal.alarm(20)
%s
    os._exit(0)
print os.waitpid(child, 0)[1]
_vireon.Vireon_Stop(engine)
_vireon.delete_Vireon(engine)
'''


@unittest.skipIf(support.ON_WINDOWS, 'platform: no fork')
class ForkedChild(unittest.TestCase):
    def assert_ends(self, *lines, **options):
        before = options.get('before', '')
        body = '\n'.join('    ' + line for line in lines)
        code, output, errors = support.run_isolated(SCRIPT % (before, body))
        self.assertEqual((0, '0\n', ''), (code, output, errors))

    def test_stops_and_deletes_what_it_inherited(self):
        self.assert_ends('_vireon.Vireon_Stop(engine)', '_vireon.delete_Vireon(engine)')

    def test_deletes_what_it_inherited_without_a_stop(self):
        self.assert_ends('_vireon.delete_Vireon(engine)')

    def test_searches_with_what_it_inherited(self):
        self.assert_ends('search(engine)', '_vireon.Vireon_Stop(engine)', '_vireon.delete_Vireon(engine)')

    def test_searches_with_an_engine_of_its_own(self):
        self.assert_ends(
            'own = _vireon.new_Vireon()',
            'search(own)',
            '_vireon.Vireon_Stop(own)',
            '_vireon.delete_Vireon(own)',
        )

    def test_ends_its_interpreter_with_what_it_inherited(self):
        with support.children_that_end():
            self.assert_ends('engine.disown()', 'sys.exit()')

    def test_of_multiprocessing_stops_at_its_exit(self):
        code, output, errors = support.run_isolated(
            '''
import multiprocessing, time
import _vireon
engine = _vireon.new_Vireon()
_vireon.Vireon_SearchDevices(engine).disown()
def work():
    _vireon.Vireon_Stop(engine)
    _vireon.delete_Vireon(engine)
child = multiprocessing.Process(target=work)
time.sleep(0.3)
child.start()
child.join(20)
print child.exitcode
_vireon.Vireon_Stop(engine)
_vireon.delete_Vireon(engine)
'''
        )
        self.assertEqual((0, '0\n', ''), (code, output, errors))

    def test_deletes_a_worker_that_a_thread_of_the_parent_waits_in(self):
        self.assert_ends(
            '_vireon.delete_CallbackTaskWorkerThread(worker)',
            before='''
import threading
worker = _vireon.new_CallbackTaskWorkerThread(engine)
waiting = threading.Thread(target=_vireon.CallbackTaskWorkerThread_getTask, args=(worker,))
waiting.daemon = True
waiting.start()
time.sleep(0.1)
''',
        )


if __name__ == '__main__':
    unittest.main()
