"""Runs the module for the network tests, inside the searching namespace. Python 2.7.

Reads one JSON command per line from standard input, `{"id": 1, "op": "search"}`, and writes one
JSON line per event: a `reply` for each command, and a `found` for each call of the callable.
Byte strings travel as Latin-1 text, so that every byte survives. The end of the input ends the
program the way a script ends that never stops its search.
"""

import ctypes
import json
import os
import sys
import threading
import time

# The events get the real standard output to themselves: whatever else prints goes to the errors.
events = os.fdopen(os.dup(1), 'wb', 0)
os.dup2(2, 1)
sys.stdout = sys.stderr
events_lock = threading.Lock()


def emit(**event):
    line = json.dumps(event) + '\n'
    with events_lock:
        events.write(line)


sys.path.insert(0, os.environ['VIREON_MODULE_DIR'])
modules_before = set(sys.modules)
import _vireon  # the folder is known only now


def described(value):
    if isinstance(value, str):
        return ['str', value.decode('latin-1')]
    if isinstance(value, unicode):
        return ['unicode', value]
    return [type(value).__name__, repr(value)]


class Client(object):
    """The callable: reports its arguments, then behaves as it was last told."""

    def __init__(self):
        self.behaviour = None
        self.seconds = 0

    def __call__(self, *arguments, **keywords):
        # What it is told from here on is meant for the next call.
        behaviour, seconds = self.behaviour, self.seconds
        event, found = None, None
        if len(arguments) == 2 and type(arguments[1]) is dict:
            event = described(arguments[0])
            found = [[described(key), described(value)] for key, value in arguments[1].items()]
        emit(
            event='found',
            time=time.time(),
            name=event,
            entries=found,
            arguments=len(arguments),
            keywords=len(keywords),
        )
        if behaviour == 'raise':
            raise ValueError('the callable failed on purpose')
        if behaviour == 'exit':
            raise SystemExit(7)
        if behaviour == 'sleep':
            time.sleep(seconds)
        if behaviour == 'stop':
            self.behaviour = None
            emit(event='stopped', seconds=timed(_vireon.Vireon_Stop, engine))


def timed(function, *arguments):
    start = time.time()
    function(*arguments)
    return time.time() - start


class Vireon(object):
    """What a host's script layer makes of the flat functions."""

    __swig_destroy__ = _vireon.delete_Vireon

    def __init__(self):
        self.this = _vireon.new_Vireon()


client = Client()
engine = _vireon.new_Vireon()


def op_new(dressed=False):
    global engine
    if dressed:
        _vireon.Vireon_swigregister(Vireon)
    engine = Vireon() if dressed else _vireon.new_Vireon()


def op_delete():
    _vireon.delete_Vireon(engine)


def op_interval(seconds):
    _vireon.Vireon_SetInterVal(engine, float(seconds))


def op_callback(kind):
    target = {'client': client, 'none': None, 'not callable': 5}[kind]
    _vireon.Vireon_SetCallback(engine, target)


def op_behave(behaviour, seconds=0):
    client.behaviour = behaviour
    client.seconds = seconds


def op_search():
    result = _vireon.Vireon_SearchDevices(engine)
    return ctypes.c_int32.from_address(int(result)).value


def op_stop():
    return timed(_vireon.Vireon_Stop, engine)


def op_stop_in_threads(count):
    def run():
        emit(event='stopped', seconds=timed(_vireon.Vireon_Stop, engine))

    for _ in range(count):
        threading.Thread(target=run).start()


def windows_version():
    """What the system says to whoever asks it directly; programs without a manifest are told less."""
    numbers = (ctypes.c_uint32 * 71)(71 * 4)
    ctypes.windll.ntdll.RtlGetVersion(numbers)
    return [numbers[1], numbers[2]]


def op_surroundings(neighbours):
    """Which version of Windows this is, if any, and which of these modules came when."""
    loaded = [name for name in neighbours if name in sys.modules]
    return {
        'version': windows_version() if os.name == 'nt' else None,
        'before': [name for name in loaded if name in modules_before],
        'after': [name for name in loaded if name not in modules_before],
    }


def op_closed():
    return _vireon.Vireon_isClosed_get(engine)


def op_shift_clock(seconds):
    """By the library in front of the others; gives what the clock shows then."""
    ctypes.CDLL(None).shift_clock(ctypes.c_long(seconds))
    return time.time()


def op_set_closed(value):
    _vireon.Vireon_isClosed_set(engine, value)


def run(command):
    operation = globals()['op_' + command.pop('op')]
    number = command.pop('id')
    start = time.time()
    try:
        result, error = operation(**command), None
    except Exception as failure:
        result, error = None, '%s: %s' % (type(failure).__name__, failure)
    emit(event='reply', id=number, result=result, error=error, seconds=time.time() - start)


emit(event='ready', system=os.name, pid=os.getpid())
while True:
    text = sys.stdin.readline()
    if not text:
        break
    run(json.loads(text))
