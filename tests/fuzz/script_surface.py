"""script_surface.py [--calls N | --seconds N] [--seed S] [--threads N] [--trace]

Calls the module's 80 functions at random, with good and bad arguments, from several threads that share an
engine, a worker and a record and have some of their own. Python 2.7; the process has to be in a network of
its own (tests/script/isolated.sh), since it searches. The seed is printed first: with it each thread makes
the same calls again, if not at the same moments. --trace tells each call before it is made.

A script keeps to what the module asks of it: it uses nothing that it has deleted, stops what it has started
before it deletes it, and does not wait for what nobody will bring.
"""
import argparse
import ctypes
import gc
import os
import random
import sys
import threading
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', 'script'))

import contract
import support
import vireon_probe as probe

_vireon = support._vireon

CALLS_A_ROUND = 2000  # of each thread, before all that it has is made anew
# What a call may raise: the exceptions of conversions, and those of an insert or a callable that failed.
EXPECTED = (TypeError, ValueError, OverflowError, NotImplementedError, SystemError)
PROTOTYPES = {}
for name, kinds, result in contract.FUNCTIONS:
    if kinds is None:
        PROTOTYPES[name] = [(each, None) for _, each in contract.OVERLOADS[name][1]]
    else:
        PROTOTYPES[name] = [(kinds, result)]
NAMES = sorted(PROTOTYPES)

HEADERS = [
    ('st', ['x', 'urn:schemas-upnp-org:device:ZOMediaServer:1', '']),
    ('usn', ['uuid:a::x', 'uuid:abc::urn:schemas-upnp-org:device:ZOMediaServer:1', '::', 'uuid:a::b::c']),
    ('ext', ['']),
    ('Location', ['http://127.0.0.1:80/d.xml', 'http://10.0.0.1', 'https://[::1]:443/', 'nowhere', '']),
    ('Cache-Control', ['max-age=60', 'max-age=99999999999', 'no-cache']),
    ('FriendlyName', ['Den', '', '\xff' * 50]),
    ('HttpPort', ['8080', 'x' * 300]),
]


class Sink(object):
    """In the place of the standard streams, to which leaks and failed callables are told."""

    def write(self, text):
        pass

    def flush(self):
        pass


class OldStyle:
    pass


class NewStyle(object):
    pass


class Unwilling(object):
    def __init__(self):
        raise RuntimeError('no instance')


class Strange(object):
    """Whose "this" leads somewhere else each time, or nowhere."""

    def __init__(self, draw, values):
        self.draw, self.values = draw, values

    @property
    def this(self):
        if self.draw.random() < 0.3:
            raise KeyError('this')
        return self.draw.choice(self.values)


def seconds_of(value):
    memory = ctypes.c_int64(value)
    return memory, probe.wrap(ctypes.addressof(memory), '_p_NPT_TimeInterval')


class Values(object):
    """What is made once and never deleted: arguments that the functions only look at or copy."""

    def __init__(self, draw):
        self.memory = (ctypes.c_uint64 * 8)(*[draw.getrandbits(64) for _ in range(8)])
        zeros = (ctypes.c_uint64 * 8)()
        self.zeros = zeros
        self.intervals = [
            seconds_of(value) for value in (0, 60 * 10**9, -1, 2**63 - 1, -(2**63), 5 * 10**8)
        ]
        intervals = [wrapped for _, wrapped in self.intervals]
        responses = [probe.response(200, dict((n, values[0]) for n, values in HEADERS))]
        for _ in range(40):
            chosen = [(n, draw.choice(values)) for n, values in HEADERS if draw.random() < 0.9]
            responses.append(probe.response(draw.choice([200, 200, 299, 404, 0]), dict(chosen)))
        strings = [probe.string(text) for text in ('', 'text', 'uuid:a::b', 'x' * 5000, '\xff\x01')]
        urls = ['http://10.0.0.1:8080/a', '', 'https://[::1]/', 'ftp://h', 'http://h:0/x?y#z', '%s%n']
        numbers = [probe.wrap(ctypes.addressof(self.memory) + 8 * at, '_p_NPT_UInt32') for at in range(8)]
        results = [probe.wrap(ctypes.addressof(zeros), '_p_NPT_Result') for _ in range(2)]
        results.append(probe.wrap(ctypes.addressof(self.memory), '_p_NPT_Result'))
        stamps = [probe.wrap(ctypes.addressof(self.memory) + 8 * at, '_p_NPT_TimeStamp') for at in range(4)]
        self.of_kind = {
            'NPT_String': strings,
            'NPT_String const *': strings + [None],
            'NPT_UInt32': numbers,
            'NPT_Result': results,
            'NPT_TimeInterval': intervals,
            'NPT_TimeStamp': stamps,
            'NPT_HttpUrl': [probe.url(text) for text in urls],
            'NPT_HttpRequest const &': [probe.request()],
            'NPT_HttpRequestContext const &': [probe.context()],
            'NPT_HttpResponse *': responses + [None],
            'NPT_HttpMessage const &': [probe.message(each) for each in responses],
            'NPT_XmlElementNode **': [probe.wrap(ctypes.addressof(zeros), '_p_p_NPT_XmlElementNode'), None],
            'va_list': [probe.wrap(ctypes.addressof(zeros), '_p_va_list')],
            'PyAutoLock2 *': [None],
            'PyAutoUnlock2 *': [None],
            'NPT_UdpSocket *': [None],
            'NPT_HttpRequest *': [None],
        }
        self.of_kind['NPT_HttpUrl const &'] = self.of_kind['NPT_HttpUrl']
        wrapped = [each for kind in sorted(self.of_kind) for each in self.of_kind[kind] if each is not None]
        self.strangers = contract.STRANGERS + ['bytes', None, (), {}, -1, 2**70, OldStyle(), NewStyle()]
        self.strangers += draw.sample(wrapped, 12)


class Natives(object):
    """Objects that one script thread, or all of them, may use; deleted by whoever made them."""

    KINDS = {
        contract.ENGINE: 'Vireon',
        contract.DEVICE: 'ZoSsdpDeviceInfo',
        contract.WORKER: 'CallbackTaskWorkerThread',
        contract.SEARCHER: 'SsdpSearchWorkerThread',
    }

    def __init__(self, values):
        interval = values.of_kind['NPT_TimeInterval'][1]
        self.objects = {
            contract.ENGINE: _vireon.new_Vireon(),
            contract.DEVICE: _vireon.new_ZoSsdpDeviceInfo(),
            contract.WORKER: _vireon.new_CallbackTaskWorkerThread(None),
            contract.SEARCHER: _vireon.new_SsdpSearchWorkerThread(None, None, None, interval),
        }
        self.tasks, self.worker_has_engine = 0, False

    def delete(self):
        _vireon.Vireon_Stop(self.objects[contract.ENGINE])
        for kind in sorted(self.objects):
            getattr(_vireon, 'delete_' + self.KINDS[kind])(self.objects[kind])


class Caller(object):
    """One thread's calls."""

    def __init__(self, seed, number, values, shared, trace):
        self.draw = random.Random('%s %s' % (seed, number))
        self.number, self.values, self.shared, self.trace = number, values, shared, trace
        self.own = Natives(self.values)
        self.calls = self.raised = 0
        self.strange = Strange(self.draw, self.values.strangers)

    def delete(self):
        self.own.delete()

    def text(self):
        draw = self.draw.random()
        if draw < 0.1:
            return None
        if draw < 0.6:
            formats = [
                '',
                'i',
                's',
                'O',
                '(ii)',
                '{si}',
                '[',
                'sO',
                'N',
                'O&',
                's#',
                'uuid:x',
                '10.0.0.1',
                'h:99999',
            ]
            return self.draw.choice(formats)
        return ''.join(
            self.draw.choice('isOdDcfN()[]{},:#*&zuUlLkK \xff%n') for _ in range(self.draw.randrange(9))
        )

    def anything(self):
        if self.draw.random() < 0.1:
            return self.strange
        if self.draw.random() < 0.1:
            return self.shared.objects[self.draw.choice(sorted(self.shared.objects))]
        return self.draw.choice(self.values.strangers)

    def callable(self):
        draw = self.draw.randrange(6)
        shared = self.shared.objects
        if draw == 0:
            return None
        if draw == 1:
            return lambda *arguments: 1 // 0
        if draw == 2:
            return lambda *arguments: _vireon.Vireon_SetCallback(shared[contract.ENGINE], None)
        if draw == 3:
            return lambda *arguments: gc.collect(0)
        if draw == 4:
            return 5
        return lambda *arguments: arguments

    def good(self, name, kind):
        if kind == contract.CONST_DEVICE:
            kind = contract.DEVICE
        if kind in self.own.objects:
            natives = self.own if self.draw.random() < 0.5 else self.shared
            return natives.objects[kind]
        if kind == contract.TEXT:
            return self.text()
        if kind == contract.ANY:
            return self.callable() if name == 'Vireon_SetCallback' else self.anything()
        if kind == 'float':
            return self.draw.choice([0, 0.5, 3.0, -1, 1e38, 2**62, self.draw.random()])
        if kind == 'bool':
            return self.draw.choice([True, False, 0, 1])
        if kind in ('NPT_XmlElementNode *', 'NPT_String &'):
            return None  # made for the call
        return self.draw.choice(self.values.of_kind[kind])

    def call_anything(self):
        name = self.draw.choice(NAMES)
        kinds, result = self.draw.choice(PROTOTYPES[name])
        arguments = [self.good(name, kind) for kind in kinds]
        is_good = self.draw.random() < 0.7
        if not is_good:
            for _ in range(self.draw.randrange(1, 3)):
                at = self.draw.randrange(len(arguments) + 1)
                choice = self.draw.random()
                if choice < 0.2:
                    arguments.insert(at, self.anything())
                elif at < len(arguments) and choice < 0.3:
                    del arguments[at]
                elif at < len(arguments):
                    arguments[at] = self.anything()
        special = getattr(self, 'call_' + name.rsplit('_', 1)[-1], None) or self.call_plain
        if name.startswith('delete_'):
            special = self.call_delete
        elif name.startswith('new_'):
            special = self.call_new
        special(name, arguments, result if is_good else None)

    def call(self, name, arguments, result=None):
        self.calls += 1
        if self.trace:
            os.write(2, '%d %s%r\n' % (self.number, name, tuple(arguments)))
        try:
            given = getattr(_vireon, name)(*arguments)
        except EXPECTED:
            self.raised += 1
            sys.exc_clear()
            return None
        if result in (contract.NONE, contract.BOOL, contract.INTEGER):
            wanted = {contract.NONE: type(None), contract.BOOL: bool, contract.INTEGER: int}[result]
            assert type(given) is wanted, '%s gave %r' % (name, given)
        if type(given).__name__ == 'PySwigObject' and self.draw.random() < 0.2:
            self.look_at(given)
        return given

    call_plain = call

    def look_at(self, wrapped):
        repr(wrapped), str(wrapped), int(wrapped), hex(wrapped), oct(wrapped)
        assert wrapped == wrapped and not wrapped != wrapped
        wrapped.append(self.draw.choice(self.values.of_kind['NPT_Result']))
        assert wrapped.next() is not None
        wrapped.own(wrapped.own())

    # What takes more than arguments

    def call_delete(self, name, arguments, result):
        # Only what the thread made itself, and made anew for the next call; or what is no such object.
        kind = name[len('delete_') :] + ' *'
        objects = [natives.objects[kind] for natives in (self.own, self.shared) if kind in natives.objects]
        if not any(each is argument for each in objects for argument in arguments):
            self.call(name, [None if each is self.strange else each for each in arguments])
            return
        interval = self.values.of_kind['NPT_TimeInterval'][1]
        fresh = {
            contract.ENGINE: lambda: _vireon.new_Vireon(),
            contract.DEVICE: lambda: _vireon.new_ZoSsdpDeviceInfo(),
            contract.WORKER: lambda: _vireon.new_CallbackTaskWorkerThread(None),
            contract.SEARCHER: lambda: _vireon.new_SsdpSearchWorkerThread(None, None, None, interval),
        }[kind]
        if kind == contract.ENGINE:
            self.call('Vireon_Stop', [self.own.objects[kind]])
        if kind == contract.DEVICE:
            self.take_tasks()
        if kind == contract.WORKER:
            self.take_tasks()
            self.own.worker_has_engine = False
        self.call(name, [self.own.objects[kind]], contract.NONE)
        self.own.objects[kind] = fresh()

    def call_new(self, name, arguments, result):
        made = None
        if name == 'new_SsdpSearchWorkerThread' and len(arguments) == 4 and self.draw.random() < 0.2:
            # It takes them, unless the call is refused.
            engine = self.own.objects[contract.ENGINE]
            interval = self.values.of_kind['NPT_TimeInterval'][0]
            made = self.call(name, [engine, probe.socket(), probe.request(), interval])
            assert made is not None
        else:
            made = self.call(name, arguments)
        if made is not None:
            self.call('delete_' + name[len('new_') :], [made], contract.NONE)

    def take_tasks(self):
        # Records that wait are the thread's own or shared, and stay so.
        worker = self.own.objects[contract.WORKER]
        self.call('CallbackTaskWorkerThread_m_pVireon_set', [worker, None])
        self.own.worker_has_engine = False
        if self.own.tasks == 0:
            return
        engine = _vireon.new_Vireon()
        self.call('CallbackTaskWorkerThread_m_pVireon_set', [worker, engine])
        for _ in range(self.own.tasks):
            assert self.call('CallbackTaskWorkerThread_getTask', [worker]) is not None
        self.own.tasks = 0
        self.call('CallbackTaskWorkerThread_m_pVireon_set', [worker, None])
        _vireon.delete_Vireon(engine)

    def call_addTask(self, name, arguments, result):
        worker = self.own.objects[contract.WORKER]
        if arguments and arguments[0] is worker and len(arguments) == 2:
            self.call(name, [worker, self.own.objects[contract.DEVICE]], result)
            self.own.tasks += 1
        elif not arguments or arguments[0] is not self.shared.objects[contract.WORKER]:
            self.call(name, [None] + arguments[1:])

    def call_getTask(self, name, arguments, result):
        # Never where it would wait for a record that nobody queues.
        if arguments and arguments[0] is self.shared.objects[contract.WORKER]:
            return
        if self.own.worker_has_engine and self.own.tasks == 0:
            return
        given = self.call(name, arguments)
        if given is not None:
            self.own.tasks -= 1

    def call_Callback(self, name, arguments, result):
        # Of an empty list of arguments no format may take any.
        for at, each in enumerate(arguments):
            if isinstance(each, str):
                arguments[at] = self.draw.choice(['', '()', '[]', ' ,()', '{}'])
        self.call(name, arguments)

    def call_set(self, name, arguments, result):
        worker = self.own.objects[contract.WORKER]
        if name == 'CallbackTaskWorkerThread_m_pVireon_set' and arguments and arguments[0] is worker:
            self.own.worker_has_engine = True
        self.call(name, arguments, result)

    def call_SetItem2(self, name, arguments, result):
        # It takes a reference of its own of each, and of any three objects.
        if len(arguments) == 3:
            arguments = [self.draw.choice([{}, {1: 2}, 5])] + arguments[1:]
            for each in arguments[1:]:
                ctypes.pythonapi.Py_IncRef(ctypes.py_object(each))
        self.call('PyDict_SetItem2', arguments, result)

    def call_GetDescription(self, name, arguments, result):
        texts = [probe.string('before') for _ in range(1)]
        parent = probe.element()
        if len(arguments) == 2 and arguments[1] is None:
            arguments[1] = self.draw.choice([texts[0], parent])
        elif len(arguments) == 3 and arguments[1] is None:
            arguments[1] = parent
        self.call(name, arguments)
        probe.delete_element(parent)
        probe.delete_string(texts[0])

    def call_swigregister(self, name, arguments, result):
        classes = [OldStyle, NewStyle, Unwilling, int, object, 5, None]
        self.call(name, [self.draw.choice(classes)] if self.draw.random() < 0.9 else arguments)

    def call_SearchDevices(self, name, arguments, result):
        # Threads and sockets take their time.
        if self.draw.random() < 0.95:
            return
        self.call(name, arguments)
        if self.draw.random() < 0.5:
            self.call('Vireon_Stop', arguments[:1])

    def run(self, count):
        for _ in range(count):
            self.call_anything()
            if self.draw.random() < 0.002:
                gc.collect()


def run_round(seed, count, values, trace):
    """(calls, those that were refused, complaints) of threads that each make so many."""
    shared = Natives(values[0])
    callers = [Caller(seed, number, own, shared, trace) for number, own in enumerate(values)]
    complaints = []

    def run(caller):
        try:
            caller.run(count)
        except BaseException as error:
            complaints.append('thread %d: %s: %s' % (caller.number, type(error).__name__, error))

    running = [threading.Thread(target=run, args=(caller,)) for caller in callers]
    for thread in running:
        thread.start()
    for thread in running:
        thread.join()
    for caller in callers:
        caller.delete()
    shared.delete()
    for name in NAMES:
        if name.endswith('_swigregister'):
            getattr(_vireon, name)(NewStyle)
    return sum(each.calls for each in callers), sum(each.raised for each in callers), complaints


def descriptors():
    return len(os.listdir('/proc/self/fd')) if os.path.isdir('/proc/self/fd') else 0


def peak_megabytes():
    try:
        import resource
    except ImportError:
        return 0
    return resource.getrusage(resource.RUSAGE_SELF).ru_maxrss // 1024


def run(seed, calls=None, seconds=None, threads=4, trace=False):
    """Prints what it did; whether all was well."""
    say, errors = sys.stdout, sys.stderr
    say.write('seed %s\n' % seed)
    say.flush()
    sys.stdout = sys.stderr = Sink()
    sys.setcheckinterval(20)
    gc.set_threshold(200)
    end = time.time() + seconds if seconds else None
    made = raised = number = 0
    complaints, before = [], None
    # Of each thread.
    values = [Values(random.Random('%s values %d' % (seed, thread))) for thread in range(threads)]
    try:
        while not complaints and (time.time() < end if end else made < calls):
            count = CALLS_A_ROUND if end else min(CALLS_A_ROUND, (calls - made) // threads + 1)
            more, refused, complaints = run_round('%s.%d' % (seed, number), count, values, trace)
            made, raised, number = made + more, raised + refused, number + 1
            # A first round makes what is kept for good.
            before = descriptors() if before is None else before
    finally:
        sys.stdout, sys.stderr = say, errors
    if descriptors() > before:
        complaints.append('%d descriptors are left' % (descriptors() - before))
    for complaint in complaints:
        say.write('complaint %s\n' % complaint)
    say.write(
        '%d calls, %d of them refused, in %d rounds of %d threads; at most %d MB\n'
        % (made, raised, number, threads, peak_megabytes())
    )
    return not complaints


def main(arguments):
    parser = argparse.ArgumentParser(description='Random calls of the module.')
    parser.add_argument('--calls', type=int, default=20000)
    parser.add_argument('--seconds', type=int)
    parser.add_argument('--seed', default='%d' % random.SystemRandom().getrandbits(32))
    parser.add_argument('--threads', type=int, default=4)
    parser.add_argument('--trace', action='store_true')
    options = parser.parse_args(arguments)
    return 0 if run(**vars(options)) else 1


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))
