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

    def test_of_a_lists_callable_is_told_nothing_and_ends(self):
        with support.children_that_end():
            code, output, errors = support.run_isolated(
                '''
import os, time
import vireon
def becomes_true(condition):
    limit = time.time() + 20
    while not condition() and time.time() < limit:
        time.sleep(0.01)
    return condition()
told, children = [], []
def on_event(event):
    if event.kind == vireon.LOST:
        told.append(event)
        if not children:
            children.append(os.fork())
        elif not children[0]:
            os.write(1, 'told in the child ')
servers = vireon.Servers(on_event, interval=0.2, lost_after=1)
for number in range(2):
    entries = dict(usn='uuid:%d' % number, friendlyName='Den', location='http://10.0.0.1/')
    servers._engine.callback('Update Service', entries)
becomes_true(lambda: len(told) == 2)
ended = []
def has_ended():
    if not ended:
        ended.extend(filter(None, os.waitpid(children[0], os.WNOHANG)))
    return bool(ended)
print becomes_true(has_ended), len(told)
if not ended:
    os.kill(children[0], 9)
servers.close()
'''
            )
        self.assertEqual((0, 'True 2\n', ''), (code, output, errors))

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
