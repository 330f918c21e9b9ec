"""Scripts that have an interpreter each, in one process."""
import unittest

from host_case import BOTH_WAYS, OWN_THREADS, SAME_THREAD, HostCase


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


class Callable(HostCase):
    def test_it_runs_in_the_interpreter_that_set_it(self):
        self.expect_both_ways(
            ['True True'] * 4,
            '''
import sys, _vireon
from host_script import *
seen = []
def callback(event, device):
    if seen:
        return
    import sys as inner
    # Only the builtins of the interpreter that it runs in let a script open files.
    seen.append((inner is sys, open(__import__('os').devnull).read() == ''))
engine = search(callback)
def waiting():
    return not seen
def finish():
    _vireon.Vireon_Stop(engine)
    _vireon.delete_Vireon(engine)
    say(*seen[0])
''',
            '--count',
            '4',
        )


# Never stops its search. What a callable leads to is there for as long as it can be called.
ENDLESS = '''
import _vireon
from host_script import *
class Callback(object):
    def __init__(self):
        self.count = 0
    def __call__(self, event, device):
        self.count += len(names.setdefault(device['friendlyName'], 'x'))
    def __del__(self):
        say('let go')
names = {}
callback = Callback()
engine = search(callback)
def waiting():
    return not names
'''

LEFT = (
    ENDLESS
    + '''
engine.disown()
del callback
'''
)

DESTROYED = (
    ENDLESS
    + '''
class Owner(object):
    def __init__(self, engine):
        self.engine = engine
    def __del__(self, delete=_vireon.delete_Vireon):
        delete(self.engine)
owner = Owner(engine)
del callback, engine
'''
)

# The class outlives its interpreter until garbage is collected, and with it all that was in sys.
KEPT = (
    LEFT.replace("say('let go')", 'pass')
    + '''
import time
class Kept(object):
    copy = dict(vars(sys))
end = time.time() + 0.5
def waiting():
    return not names or time.time() < end
def finish():
    say('answered')
'''
)

# What Python takes first when the interpreter ends lets other threads run.
SLOW_END = (
    LEFT.replace("say('let go')", 'pass')
    + '''
import time
class Last(object):
    def __del__(self, names=names, sleep=time.sleep, say=say):
        before = len(names)
        sleep(1)
        say(len(names) - before)
sys.last_value = Last()
'''
)


class End(HostCase):
    leaves_engines = True

    def test_nothing_is_delivered_to_one_from_which_python_takes_the_first_things(self):
        self.expect_both_ways(['0'], SLOW_END)

    def test_an_interpreter_takes_its_engines_out_of_service(self):
        self.expect_both_ways(['let go'] * 8, LEFT, '--count', '4', '--rounds', '2')

    def test_the_others_go_on(self):
        self.expect(
            ['let go', 'went on'],
            OWN_THREADS,
            LEFT
            + '''
if NUMBER == 1:
    def waiting():
        return len(names) < 20
    def finish():
        say('went on')
        _vireon.Vireon_Stop(engine)
        _vireon.Vireon_SetCallback(engine, None)
        _vireon.delete_Vireon(engine)
    Callback.__del__ = lambda self: None
''',
            '--count',
            '2',
        )

    def test_one_whose_exit_handlers_the_host_runs_takes_its_engines_out_of_service(self):
        self.expect(
            ['let go', 'closed True', 'went on'],
            OWN_THREADS,
            LEFT
            + '''
if NUMBER == 0:
    def finish():
        sys.exitfunc()
        say('closed', _vireon.Vireon_isClosed_get(engine))
else:
    Callback.__del__ = lambda self: None
    def waiting():
        return len(names) < 20
    def finish():
        say('went on')
        _vireon.Vireon_Stop(engine)
''',
            '--count',
            '2',
        )

    def test_one_whose_script_keeps_what_it_was_made_of_takes_its_engines_out_of_service(self):
        self.expect_both_ways(['answered'] * 6, KEPT, '--count', '2', '--rounds', '3')


# A class of the script's own that dresses what the engine's worker gives, and destroys it.
CLASSES = '''
import _vireon
from host_script import *
class Device(object):
    @staticmethod
    def __swig_destroy__(device, delete=_vireon.delete_ZoSsdpDeviceInfo, say=say, number=NUMBER):
        say(number, 'destroyed')
        delete(device)
    def number(self):
        return NUMBER
    def __init__(self):
        self.this = _vireon.new_ZoSsdpDeviceInfo()
_vireon.ZoSsdpDeviceInfo_swigregister(Device)
ready = [False]
def waiting():
    # Once more, when the others have registered theirs.
    before, ready[0] = ready[0], True
    return not before
def result():
    worker = _vireon.new_CallbackTaskWorkerThread(engine)
    record = _vireon.new_ZoSsdpDeviceInfo()
    record.disown()
    _vireon.CallbackTaskWorkerThread_addTask(worker, record)
    found = _vireon.CallbackTaskWorkerThread_getTask(worker)
    _vireon.delete_CallbackTaskWorkerThread(worker)
    return found
engine = _vireon.new_Vireon()
def finish():
    found = result()
    say(NUMBER, type(found) is Device and found.number())
    found.this.acquire()
    global kept
    kept = Device()
    _vireon.delete_Vireon(engine)
'''


class Classes(HostCase):
    def test_they_belong_to_the_interpreter_that_registered_them(self):
        said = []
        for number in '0123':
            said += 2 * ['%s destroyed' % number] + ['%s %s' % (number, number)]
        self.expect_both_ways(said, CLASSES, '--count', '4')

    def test_they_go_with_it(self):
        said = []
        for number in '01':
            said += 3 * (2 * ['%s destroyed' % number] + ['%s %s' % (number, number)])
        self.expect_both_ways(said, CLASSES, '--count', '2', '--rounds', '3')

    def test_they_go_with_python(self):
        self.expect_both_ways(3 * (2 * ['0 destroyed'] + ['0 0']), CLASSES, '--lives', '3')


# Is in its callable when Python ends.
SLOW = '''
import time, _vireon
from host_script import *
calls = []
def callback(event, device):
    calls.append(event)
    if len(calls) == 1:
        time.sleep(0.2)
        say('done')
engine = search(callback)
engine.disown()
def waiting():
    return not calls
'''

# Each life opens one descriptor more, by which those that should be over notice that they are called.
LIVES = '''
import _vireon
from host_script import *
def is_open(number, fstat=os.fstat):
    try:
        fstat(number)
        return True
    except OSError:
        return False
life = 100
while is_open(life):
    life += 1
os.dup2(0, life)
names = set()
def callback(event, device, following=life + 1):
    if is_open(following):
        say('called in a later life')
    names.add(device['friendlyName'])
engine = search(callback)
engine.disown()
def waiting():
    return len(names) < 20
def finish():
    say('threads', 0 if sys.platform == 'win32' else len(os.listdir('/proc/self/task')))
'''


class Exit(HostCase):
    leaves_engines = True

    def test_python_ends_when_a_callable_that_runs_has_ended(self):
        self.expect_both_ways(['done'], SLOW, '--leave')

    def test_python_starts_again_after_interpreters_that_search(self):
        for way in BOTH_WAYS:
            with self.subTest(way):
                code, said, errors = self.run_host(way, LIVES, '--leave', '--lives', '5')
                self.assertEqual((0, 5, ''), (code, len(said), errors))
                # The threads of the lives before have ended.
                self.assertEqual(1, len(set(said)), said)


class Destruction(HostCase):
    def test_an_interpreter_may_destroy_an_engine_that_still_searches(self):
        self.expect_both_ways(['let go'] * 8, DESTROYED, '--count', '4', '--rounds', '2')

    def test_python_starts_again_after_interpreters_that_have_ended(self):
        self.expect_both_ways(['let go'] * 15, DESTROYED, '--count', '3', '--lives', '5')


if __name__ == '__main__':
    unittest.main()
