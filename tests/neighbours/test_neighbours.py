"""Searches in a process that the neighbours are busy in. Run by beside.sh, which loads them."""
import os
import sys
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, '..', 'script'))

import support  # the folder is known only now

PROLOGUE = (
    support.PROLOGUE
    + '''
sys.path.insert(0, %r)
import threading, time
import _vireon, searching
'''
    % HERE
)

# A thread that holds the lock for good must end soon: by a kill, which the exit code tells.
support.SCRIPT_LIMIT_SECONDS = 60


class Beside(unittest.TestCase):
    def expect(self, output, script):
        self.assertEqual((0, output, ''), support.run_isolated(PROLOGUE + script))


class Loading(unittest.TestCase):
    def test_the_neighbours_come_when_they_were_asked_for(self):
        names = ['greenlet', 'psutil', 'zmq'] + (['pythoncom'] if support.ON_WINDOWS else [])
        orders = {'before': (names, []), 'after': ([], names)}
        expected = '%r %r\n' % orders[os.environ['VIREON_NEIGHBOURS']]
        self.assertEqual(
            (0, expected, ''),
            support.run_script(
                '''
import sys
names = %r
before = [name for name in names if name in sys.modules]
import _vireon
print before, [name for name in names if name in sys.modules and name not in before]
'''
                % names,
                prologue='',
            ),
        )

    def test_one_that_is_missing_is_told_and_ends_the_script(self):
        folder = support.ENVIRONMENT['VIREON_NEIGHBOURS_FOLDER']
        support.ENVIRONMENT['VIREON_NEIGHBOURS_FOLDER'] = HERE
        try:
            code, _, errors = support.run_script('print "went on"')
        finally:
            support.ENVIRONMENT['VIREON_NEIGHBOURS_FOLDER'] = folder
        self.assertEqual((1, 'ImportError: No module named greenlet'), (code, errors.strip().split('\n')[-1]))


class Greenlets(Beside):
    PROLOGUE = '''
import greenlet

def through_greenlets(values):
    """The values, each handed over by a greenlet that gives the lock away before and behind it."""
    def walk():
        for value in values:
            time.sleep(0)
            caller.switch(value)
            time.sleep(0)
    caller = greenlet.getcurrent()
    walker = greenlet.greenlet(walk)
    taken = []
    while True:
        value = walker.switch()
        if walker.dead:
            return taken
        taken.append(value)
'''

    def expect(self, output, script):
        Beside.expect(self, output, self.PROLOGUE + script)

    def test_switch_inside_the_callable_and_on_the_main_thread(self):
        self.expect(
            'True True\n',
            '''
def callback(event, server):
    inside.append(through_greenlets(server.items()) == server.items())
inside, outside, numbers = [], [], range(20)
with searching.searching(callback):
    searching.wait(lambda: outside.append(through_greenlets(numbers) == numbers) or len(inside) >= 50)
print len(inside) >= 50 and all(inside), all(outside)
''',
        )

    def test_one_of_a_call_is_not_left_to_the_next_one(self):
        self.expect(
            'True\n',
            '''
import gc, weakref
left = []
def callback(event, server):
    def pause():
        caller.switch()
    caller = greenlet.getcurrent()
    paused = greenlet.greenlet(pause)
    paused.switch()
    left.append((greenlet.getcurrent().parent, weakref.ref(paused)))
with searching.searching(callback):
    searching.wait(lambda: len(left) >= 50)
print len(left) >= 50 and all(parent is None for parent, _ in left)
''',
        )

    def test_one_inside_the_callable_may_stop_the_search(self):
        self.expect(
            'stopped True\n',
            '''
def callback(event, server):
    if not stops:
        stops.append(greenlet.greenlet(vireon.stop))
        stops[0].switch()
        ended.append(stops[0].dead)
stops, ended = [], []
with searching.searching(callback) as vireon:
    searching.wait(lambda: ended)
print 'stopped', ended == [True]
''',
        )

    def test_one_may_leave_a_call_of_the_module_and_come_back_to_it(self):
        self.expect(
            'in the call, its result\n',
            '''
import ctypes, vireon_probe as probe
found, zeros = [], ctypes.create_string_buffer(64)
def callback():
    return main.switch('in the call')
main = greenlet.getcurrent()
engine = _vireon.new_Vireon()
_vireon.Vireon_SetCallback(engine, callback)
arguments = probe.wrap(ctypes.addressof(zeros), '_p_va_list')
call = greenlet.greenlet(lambda: _vireon.Vireon__Callback(engine, '', arguments))
said = [call.switch()]
with searching.searching(lambda *_: found.append(1)):
    searching.wait(lambda: len(found) >= 20)
    said.append(call.switch('its result'))
_vireon.delete_Vireon(engine)
print ', '.join(said)
''',
        )


class PolledSocket(Beside):
    PROLOGUE = '''
import zmq
context = zmq.Context()
bound = context.socket(zmq.PULL)
bound.bind('inproc://servers')
'''
    EPILOGUE = '''
bound.close()
context.term()
'''
    # As its sockets close, two of the package's threads may write to one socket at once. Wine tells the second
    # that it would block while the first is on its way, for which the package ends the process.
    FAILED_IN_WINE = 'Assertion failed: nbytes == sizeof (dummy)'

    def expect(self, output, script):
        script = PROLOGUE + self.PROLOGUE + script + self.EPILOGUE
        done = support.run_isolated(script)
        if support.ON_WINDOWS and done[2].startswith(self.FAILED_IN_WINE):
            print('once more, since Wine ended it: %s' % done[2])
            done = support.run_isolated(script)
        self.assertEqual((0, output, ''), done)

    def test_hears_of_each_server_on_another_thread(self):
        self.expect(
            'True True\n',
            '''
heard, told, mine = [], [], []
def poll():
    poller = zmq.Poller()
    poller.register(bound, zmq.POLLIN)
    while poller.poll(5000):
        name = bound.recv()
        if not name:
            return
        heard.append(name)
def callback(event, server):
    if not mine:
        mine.append(context.socket(zmq.PUSH))
        mine[0].connect('inproc://servers')
    mine[0].send(server['friendlyName'])
    told.append(server['friendlyName'])
thread = threading.Thread(target=poll)
thread.start()
with searching.searching(callback):
    searching.wait(lambda: len(told) >= 50)
mine[0].send('')
thread.join()
mine[0].close()
print len(told) >= 50, heard == told
''',
        )

    def test_is_heard_by_a_call_that_a_stop_waits_for(self):
        self.expect(
            'the word True\n',
            '''
said, begun = [], threading.Event()
def callback(event, server):
    begun.set()
    if not said:
        poller = zmq.Poller()
        poller.register(bound, zmq.POLLIN)
        said.append(bound.recv() if poller.poll(10000) else 'nothing')
def tell():
    word = context.socket(zmq.PUSH)
    word.connect('inproc://servers')
    while not _vireon.Vireon_isClosed_get(vireon):
        time.sleep(0.001)
    time.sleep(0.2)
    word.send('the word')
    word.close()
with searching.searching(callback) as vireon:
    thread = threading.Thread(target=tell)
    thread.start()
    begun.wait(20)
    began = time.time()
    vireon.stop()
    took = time.time() - began
thread.join()
print said[0], 0.1 < took < 9
''',
        )


@unittest.skipUnless(support.ON_WINDOWS, 'platform: only Windows has component objects')
class Apartments(Beside):
    PROLOGUE = '''
import ctypes, pythoncom
CHANGED_MODE = -2147417850

def is_other(model):
    """Whether this thread is in an apartment of another model. Asked of the system itself, since
    pythoncom hides the refusal from the thread that loaded it."""
    code = ctypes.windll.ole32.CoInitializeEx(None, model)
    if code >= 0:
        ctypes.windll.ole32.CoUninitialize()
    return code == CHANGED_MODE
'''

    def test_a_search_leaves_the_main_threads_alone_and_has_its_own(self):
        self.expect(
            'True True True\n',
            self.PROLOGUE
            + '''
def callback(event, server):
    inside.append(is_other(pythoncom.COINIT_APARTMENTTHREADED))
inside, main = [], []
pythoncom.CoInitializeEx(pythoncom.COINIT_APARTMENTTHREADED)
with searching.searching(callback):
    def pump():
        pythoncom.PumpWaitingMessages()
        main.append(is_other(pythoncom.COINIT_MULTITHREADED))
        return len(inside) >= 50
    searching.wait(pump)
print len(inside) >= 50 and all(inside), all(main), is_other(pythoncom.COINIT_MULTITHREADED)
''',
        )


if __name__ == '__main__':
    unittest.main()
