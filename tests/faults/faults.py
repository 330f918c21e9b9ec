"""The plan of the preloaded library (fault_plan.h), and what a driver of it counts and looks at."""
import collections
import ctypes
import os
import sys
import time

from calls import CALLS

sys.path.insert(0, os.environ['VIREON_MODULE_DIR'])
MODULE = os.path.join(os.environ['VIREON_MODULE_DIR'], '_vireon.so')

_plan = ctypes.PyDLL(None)
_plan.faults_plan.argtypes = [ctypes.c_int, ctypes.c_int, ctypes.c_long, ctypes.c_int]
_plan.faults_reached.restype = ctypes.c_long
_plan.faults_living.restype = ctypes.c_long
_plan.faults_raised.restype = ctypes.c_long
_plan.faults_turn_interpreter_calls.argtypes = [ctypes.c_void_p]

NUMBERS = dict((name, number) for number, (name, _) in enumerate(CALLS))
ERRORS = dict(CALLS)

injected = collections.Counter()


def turn_interpreter_calls():
    """Before the module is imported: only its own calls of the interpreter are seen."""
    module = ctypes.CDLL(MODULE)
    assert _plan.faults_turn_interpreter_calls(module._handle) > 30


def plan(call, nth, thread=0, error=None):
    _plan.faults_plan(NUMBERS[call], thread, nth, error or ERRORS[call][0])


def forget():
    """What happened; of forked children too, who share it."""
    plan('allocation', 0)
    end()


def end():
    """Whether the planned call was reached and failed; none fails any more."""
    _plan.faults_end()
    return happened()


def happened():
    return bool(_plan.faults_has_failed())


def reached():
    return _plan.faults_reached()


living = _plan.faults_living

# How many calls of the interpreter failed by an exception.
raised = _plan.faults_raised


def descriptors():
    return sorted(os.listdir('/proc/self/fd'))


def threads():
    return len(os.listdir('/proc/self/task'))


LIMIT_SECONDS = 10


def becomes_true(condition, limit=1):
    deadline = time.time() + limit
    while not condition():
        if time.time() > deadline:
            return False
        time.sleep(0.001)
    return True


def wait(condition, what):
    if not becomes_true(condition, LIMIT_SECONDS):
        raise AssertionError('waited in vain for ' + what)


def tell():
    for call, count in sorted(injected.items()):
        print('injected %s %d' % (call, count))
