"""The list of servers without a network: who is there, what is told to whom, when a search starts anew."""
import socket
import sys
import threading
import time
import unittest
import weakref

import support
import vireon
from vireon import addresses, clock, roll, surroundings
from vireon.events import CHANGED, FOUND, LOST, Events
from vireon.roll import Roll
from vireon.surroundings import Surroundings
from vireon.ticker import Ticker


def entries(usn='uuid:1', location='http://10.0.0.1/', name='Den', **others):
    answer = dict.fromkeys(support.SERVER_KEYS, '')
    answer.update(others, usn=usn, location=location, friendlyName=name)
    return answer


def becomes_true(condition, seconds=20):
    limit = time.time() + seconds
    while not condition() and time.time() < limit:
        time.sleep(0.005)
    return condition()


def kinds(events):
    return [event.kind for event in events]


def fails_at(number, operate):
    """Whether an operation came to that many lines of Python, and had no memory left at the last one."""
    lines = []

    def at_line(frame, what, _):
        if what == 'line':
            lines.append(frame.f_lineno)
            if len(lines) == number:
                raise MemoryError
        return at_line

    before = sys.gettrace()
    sys.settrace(lambda *_: at_line)
    try:
        operate()
    except MemoryError:
        return True
    finally:
        sys.settrace(before)
    return False


class WhoIsThere(unittest.TestCase):
    PATIENCE = 10

    def setUp(self):
        self.roll = Roll(self.PATIENCE)

    def test_a_server_is_found_by_its_first_answer_alone(self):
        events = [self.roll.answer(entries(), now) for now in range(3)]
        self.assertEqual([[FOUND], [], []], [kinds(each) for each in events])
        self.assertEqual(3, self.roll.servers(2)[0].answers)

    def test_its_age_is_that_of_its_last_answer_wherever_it_gave_it(self):
        self.roll.answer(entries(location='http://10.0.0.1/'), 0)
        self.roll.answer(entries(location='http://10.9.0.1/'), 2)
        self.roll.answer(entries(location='http://10.0.0.1/'), 3)
        self.assertEqual([4], [server.age for server in self.roll.servers(7)])
        self.assertEqual([10], [event.server.age for event in self.roll.pass_time(13)])

    def test_it_is_what_it_answered(self):
        server = self.roll.answer(entries(DBStatus='ready'), 0)[0].server
        self.assertEqual(entries(DBStatus='ready'), dict(server))
        self.assertEqual(
            ('uuid:1', 'Den', 'http://10.0.0.1/', ('http://10.0.0.1/',)),
            (server.usn, server.name, server.location, server.locations),
        )

    def test_servers_are_told_apart_by_their_usn(self):
        for usn in ('uuid:1', 'uuid:2', 'uuid:1'):
            self.roll.answer(entries(usn), 0)
        self.assertEqual(['uuid:1', 'uuid:2'], [server.usn for server in self.roll.servers(0)])

    def test_an_answer_that_says_something_else_is_a_change(self):
        self.roll.answer(entries(), 0)
        events = self.roll.answer(entries(DBStatus='scanning'), 1)
        self.assertEqual([(CHANGED, 'scanning')], [(each.kind, each.server['DBStatus']) for each in events])

    def test_a_server_that_was_told_of_does_not_change_any_more(self):
        first = self.roll.answer(entries(name='before'), 0)[0].server
        self.roll.answer(entries(name='after'), 1)
        self.assertEqual('before', first.name)

    def test_one_on_two_networks_is_one_at_two_locations(self):
        self.roll.answer(entries(location='http://10.0.0.1/', modelURL='http://10.0.0.1/model'), 0)
        events = self.roll.answer(entries(location='http://10.9.0.1/', modelURL='http://10.9.0.1/model'), 0)
        self.assertEqual([CHANGED], kinds(events))
        self.assertEqual(('http://10.9.0.1/', 'http://10.0.0.1/'), events[0].server.locations)
        # Each of them goes on answering in its turn, which changes nothing.
        for now in (1, 2):
            for host in ('10.0.0.1', '10.9.0.1'):
                location = 'http://%s/' % host
                self.assertEqual(
                    [], self.roll.answer(entries(location=location, modelURL=location + 'model'), now)
                )

    def test_what_it_says_at_an_older_location_changes_nothing_that_is_told(self):
        self.roll.answer(entries(location='http://10.0.0.1/'), 0)
        self.roll.answer(entries(location='http://10.9.0.1/'), 0)
        self.assertEqual([], self.roll.answer(entries(location='http://10.0.0.1/', DBStatus='ready'), 1))
        events = self.roll.answer(entries(location='http://10.9.0.1/', DBStatus='ready'), 1)
        self.assertEqual([(CHANGED, 'ready')], [(each.kind, each.server['DBStatus']) for each in events])

    def test_one_that_does_not_answer_is_lost_behind_its_patience(self):
        self.roll.answer(entries(), 0)
        self.assertEqual([], self.roll.pass_time(self.PATIENCE))
        lost = self.roll.pass_time(self.PATIENCE + 0.1)
        self.assertEqual([(LOST, 'Den')], [(each.kind, each.server.name) for each in lost])
        self.assertEqual(0, len(self.roll))
        self.assertEqual([FOUND], kinds(self.roll.answer(entries(), 20)))

    def test_a_location_that_does_not_answer_goes_by_itself(self):
        self.roll.answer(entries(location='http://10.0.0.1/'), 0)
        self.roll.answer(entries(location='http://10.9.0.1/'), 5)
        events = self.roll.pass_time(12)
        self.assertEqual(
            [(CHANGED, ('http://10.9.0.1/',))], [(each.kind, each.server.locations) for each in events]
        )

    def test_more_servers_than_the_most_are_passed_over(self):
        for number in range(roll.MOST_SERVERS):
            self.roll.answer(entries('uuid:%d' % number), 0)
        self.assertEqual([], self.roll.answer(entries('uuid:one more'), 0))
        self.assertEqual(roll.MOST_SERVERS, len(self.roll))

    def test_more_locations_than_the_most_are_passed_over(self):
        for number in range(roll.MOST_LOCATIONS + 1):
            self.roll.answer(entries(location='http://10.0.0.%d/' % number), 0)
        self.assertEqual(roll.MOST_LOCATIONS, len(self.roll.servers(0)[0].locations))

    def test_memory_that_ends_in_the_middle_leaves_a_list_that_goes_on(self):
        def two_locations(kept):
            kept.answer(entries(), 0)
            kept.answer(entries(location='http://10.9.0.1/'), 5)

        for prepare, operate in (
            (lambda kept: None, lambda kept: kept.answer(entries(), 1)),
            (
                lambda kept: kept.answer(entries(), 0),
                lambda kept: kept.answer(entries(location='http://10.9.0.1/'), 1),
            ),
            (lambda kept: kept.answer(entries(), 0), lambda kept: kept.answer(entries(name='Attic'), 1)),
            (two_locations, lambda kept: kept.pass_time(12)),
            (two_locations, lambda kept: kept.pass_time(20)),
        ):
            has_failed, line = True, 0
            while has_failed:
                kept, line = Roll(self.PATIENCE), line + 1
                prepare(kept)
                has_failed = fails_at(line, lambda: operate(kept))
                kept.servers(21)
                kept.pass_time(40)
                self.assertEqual((0, []), (len(kept), kept.servers(40)))
            self.assertGreater(line, 5)


class Told(unittest.TestCase):
    def test_events_wait_until_they_are_taken(self):
        events = Events()
        events.add([1, 2])
        events.hand_on()
        self.assertEqual(([1, 2], []), (events.take(), events.take()))

    def test_a_callable_gets_them_one_by_one_instead(self):
        got = []
        events = Events(got.append)
        events.add([1, 2])
        events.hand_on()
        self.assertEqual(([1, 2], []), (got, events.take()))

    def test_what_comes_up_in_the_callable_is_told_behind_it(self):
        got = []

        def callback(event):
            got.append(('begins', event))
            if event < 2:
                events.add([event + 1])
                events.hand_on()
            got.append(('ends', event))

        events = Events(callback)
        events.add([1])
        events.hand_on()
        self.assertEqual([('begins', 1), ('ends', 1), ('begins', 2), ('ends', 2)], got)

    def test_nobody_waits_for_a_callable_that_runs(self):
        inside, goes_on = threading.Event(), threading.Event()

        def callback(event):
            inside.set()
            goes_on.wait(20)

        events = Events(callback)
        events.add([1])
        other = threading.Thread(target=events.hand_on)
        other.start()
        inside.wait(20)
        events.add([2])
        events.hand_on()
        self.assertFalse(goes_on.is_set())
        goes_on.set()
        other.join(20)
        self.assertEqual([], events.take())

    def test_an_exception_is_printed_and_the_next_event_comes(self):
        code, output, errors = support.run_script(
            '''
from vireon.events import Events
def callback(event):
    print event
    raise SystemExit(event)
events = Events(callback)
events.add([1, 2])
events.hand_on()
print 'end'
'''
        )
        self.assertEqual((0, '1\n2\nend\n', 2), (code, output, errors.count('SystemExit')))

    def test_one_that_cannot_be_printed_costs_neither_the_next_event(self):
        self.assertEqual(
            (0, '1\n2\nend\n', ''),
            support.run_script(
                support.NO_ERRORS
                + '''
from vireon.events import Events
def callback(event):
    print event
    raise ValueError(event)
events = Events(callback)
events.add([1, 2])
events.hand_on()
print 'end'
'''
            ),
        )


class WhereTheSearchIs(unittest.TestCase):
    """Addresses and sleep as a test tells them."""

    def setUp(self):
        self.addresses, self.slept = frozenset('a'), 0.0
        self.surroundings = Surroundings(lambda: self.addresses, lambda: self.slept)

    def looks(self, count):
        return [self.surroundings.have_changed() for _ in range(count)]

    def test_nothing_has_changed_where_nothing_did(self):
        self.slept += 0.01  # the clocks are not read at one moment
        self.assertEqual([False] * 3, self.looks(3))

    def test_an_address_is_a_change_as_soon_as_it_stays(self):
        self.addresses = frozenset('ab')
        self.assertEqual([False, True], self.looks(2))
        self.surroundings.settle()
        self.assertEqual([False] * 3, self.looks(3))

    def test_an_address_that_comes_and_goes_is_none(self):
        seen = []
        for names in ('ab', 'a', 'ab', 'a', 'a'):
            self.addresses = frozenset(names)
            seen += self.looks(1)
        self.assertEqual([False] * 5, seen)

    def test_a_sleep_is_a_change(self):
        self.slept += 5
        self.assertEqual([True], self.looks(1))
        self.surroundings.settle()
        self.assertEqual([False], self.looks(1))

    def test_addresses_that_cannot_be_read_are_no_change(self):
        def refuse():
            raise socket.error('no descriptor left')

        self.surroundings._read_addresses = refuse
        self.assertEqual([False] * 3, self.looks(3))
        self.surroundings._read_addresses = lambda: self.addresses
        self.assertEqual([False] * 3, self.looks(3))

    def test_a_search_that_started_where_they_could_not_be_read_starts_anew_once_they_can(self):
        def refuse():
            raise socket.error('no descriptor left')

        self.surroundings._read_addresses = refuse
        self.surroundings.settle()
        self.assertEqual([False] * 3, self.looks(3))
        self.surroundings._read_addresses = lambda: self.addresses
        self.assertEqual([False, True], self.looks(2))
        self.surroundings.settle()
        self.assertEqual([False] * 3, self.looks(3))

    def test_the_machine_has_addresses_and_clocks_that_do_not_go_back(self):
        self.assertTrue(addresses.addresses())
        self.assertEqual(addresses.addresses(), addresses.addresses())
        before, slept = clock.steady(), clock.slept()
        time.sleep(0.1)
        self.assertGreater(clock.steady() - before, 0.05)
        self.assertAlmostEqual(slept, clock.slept(), delta=surroundings.LEAST_SLEEP / 2)


class Looking(unittest.TestCase):
    class Watched(object):
        def __init__(self):
            self.looks = 0
            self.ticker = Ticker(self.look)

        def look(self):
            self.looks += 1

    def test_it_looks_soon_when_it_is_woken(self):
        watched = self.Watched()
        watched.ticker.wake()
        self.assertTrue(becomes_true(lambda: watched.looks))
        watched.ticker.tell_to_end()
        watched.ticker.await_end(20)
        self.assertFalse(watched.ticker._thread.is_alive())

    def test_a_look_that_fails_is_printed_and_the_next_one_comes(self):
        code, output, errors = support.run_script(
            '''
import time
from vireon.ticker import Ticker
class Watched(object):
    looks = 0
    def look(self):
        self.looks += 1
        ticker.wake()
        raise MemoryError
watched = Watched()
ticker = Ticker(watched.look)
ticker.wake()
while watched.looks < 2:
    time.sleep(0.01)
ticker.tell_to_end()
ticker.await_end()
print watched.looks >= 2
'''
        )
        self.assertEqual((0, 'True\n'), (code, output), errors)
        self.assertGreaterEqual(errors.count('MemoryError'), 2)

    def test_one_that_cannot_be_printed_does_not_end_the_looking(self):
        self.assertEqual(
            (0, 'True\n', ''),
            support.run_script(
                support.NO_ERRORS
                + '''
import time
from vireon.ticker import Ticker
class Watched(object):
    looks = 0
    def look(self):
        self.looks += 1
        ticker.wake()
        raise MemoryError
watched = Watched()
ticker = Ticker(watched.look)
ticker.wake()
limit = time.time() + 20
while watched.looks < 2 and time.time() < limit:
    time.sleep(0.01)
print watched.looks >= 2
'''
            ),
        )

    def test_no_look_happens_while_the_interpreter_takes_its_modules_apart(self):
        code, output, errors = support.run_script(
            '''
import imp, os, string, sys, time
from vireon.ticker import Ticker
going = []
class Slow(object):
    def __del__(self, going=going, sleep=time.sleep):
        going.append(self)
        sleep(0.05)
class Watched(object):
    def __init__(self):
        self.ticker = Ticker(self.look)
    def look(self, going=going, write=os.write):
        if going:
            going[:] = []
            write(1, 'late\\n')
        self.ticker.wake()
# The interpreter drops modules in an order that depends on their names: many go behind the ticker's.
for name in string.letters:
    sys.modules[name] = imp.new_module(name)
    sys.modules[name].slow = Slow()
sys.watched = Watched()
print 'end'
'''
        )
        self.assertEqual((0, 'end\n', ''), (code, output, errors))

    def test_one_whose_thread_could_not_be_had_does_not_spoil_the_end(self):
        code, output, errors = support.run_script(
            '''
import thread, threading
from vireon.ticker import Ticker
class Watched(object):
    def look(self):
        pass
def refuse(*arguments):
    raise thread.error('no thread')
watched, start = Watched(), threading._start_new_thread
threading._start_new_thread = refuse
try:
    Ticker(watched.look)
except thread.error as error:
    kept = sys.exc_info()  # with the frame that has the ticker, as a console keeps it
threading._start_new_thread = start
print error
'''
        )
        self.assertEqual((0, 'no thread\n', ''), (code, output, errors))

    def test_it_keeps_nobody_alive_and_ends_with_what_it_looks_after(self):
        watched = self.Watched()
        end, thread = weakref.ref(watched), watched.ticker._thread
        del watched
        self.assertIs(None, end())
        thread.join(20)
        self.assertFalse(thread.is_alive())

    def test_what_is_to_be_done_last_is_done_on_its_thread(self):
        watched, done = self.Watched(), []
        watched.ticker.tell_to_end(lambda: done.append(threading.current_thread()))
        watched.ticker.await_end(20)
        self.assertEqual([watched.ticker._thread], done)


class Lists(unittest.TestCase):
    """Whole ones, which search on an interface that leads nowhere."""

    PROLOGUE = '''
import gc, os, sys, threading, time, weakref
import vireon
from vireon.surroundings import Surroundings

def answer(servers, **others):
    """What an engine would do on a thread of its own."""
    entries = dict(usn='uuid:1', friendlyName='Den', location='http://10.0.0.1/')
    servers._on_answer('Update Service', dict(entries, **others))

def kinds(events):
    return ' '.join(event.kind for event in events)

def becomes_true(condition):
    limit = time.time() + 20
    while not condition() and time.time() < limit:
        time.sleep(0.005)
    return condition()
'''

    def expect(self, output, script):
        self.assertEqual((0, output, ''), support.run_isolated(self.PROLOGUE + script))

    def test_a_timer_takes_the_events_and_the_last_one_is_the_close(self):
        self.expect(
            'found changed closed\n1\n',
            '''
servers = vireon.Servers()
answer(servers)
answer(servers, friendlyName='Kitchen')
servers.close()
servers.close()
print kinds(servers.events() + servers.events())
print len(servers)
''',
        )

    def test_a_server_is_as_old_as_its_last_answer(self):
        self.expect(
            'True True\n',
            '''
servers = vireon.Servers()
answer(servers)
time.sleep(0.5)
grown = next(iter(servers)).age
answer(servers)
print 0.4 < grown < 20, next(iter(servers)).age < grown
servers.close()
''',
        )

    def test_whoever_looks_at_it_waits_for_nobody(self):
        self.expect(
            '1 Den\nclosed\n',
            '''
limit = threading.Timer(20, os._exit, (1,))
limit.start()
servers = vireon.Servers()
answer(servers)
# As when another thread is within an operation just then, or an interrupt came as this one left it.
with servers._lock:
    print len(servers), ' '.join(server.name for server in servers)
servers.close()
limit.cancel()
print kinds(servers.events()[1:])
''',
        )

    def test_nothing_is_told_behind_the_close(self):
        self.expect(
            'closed []\n',
            '''
servers = vireon.Servers()
servers.close()
answer(servers)
print kinds(servers.events()), list(servers)
''',
        )

    def test_a_close_that_does_not_wait_is_told_when_it_is_done(self):
        self.expect(
            'True found found closed\n',
            '''
inside, goes_on = threading.Event(), threading.Event()
told = []
def on_event(event):
    told.append(event)
    inside.set()
    goes_on.wait(20)
servers = vireon.Servers(on_event)
other = threading.Thread(target=answer, args=(servers,))
other.start()
inside.wait(20)
servers.close(wait=False)
print servers.closed, kinds(told),
goes_on.set()
becomes_true(lambda: len(told) == 2)
print kinds(told)
''',
        )

    def test_the_callable_may_close_the_list_that_calls_it(self):
        self.expect(
            'found closed\n',
            '''
told = []
def on_event(event):
    told.append(event)
    servers.close()
servers = vireon.Servers(on_event)
answer(servers)
print kinds(told)
''',
        )

    def test_it_may_do_so_at_an_answer_that_comes_as_the_list_is_made(self):
        self.expect(
            'found closed True\n',
            self.NOTED
            + '''
told = []
class Mine(vireon.Servers):
    def __init__(self):
        vireon.Servers.__init__(self, self.on_event)
    def on_event(self, event):
        told.append(event)
        self.close()
def begin(self, interval, callback):
    vireon.Vireon.search(self, interval, callback)
    callback('Update Service', dict(usn='uuid:1', friendlyName='Den', location='http://10.0.0.1/'))
Noted.search = begin
servers = Mine()
becomes_true(lambda: len(told) == 2)
print kinds(told), engines[0].closed
''',
        )

    def test_it_may_do_so_while_a_new_search_takes_the_place_of_the_one_that_called(self):
        self.expect(
            'found closed\n',
            '''
import vireon_probe as probe
told = []
def on_event(event):
    told.append(event)
    if event.kind == vireon.FOUND:
        # The search that is left is stopped, and that waits for this call.
        servers.refresh()
        becomes_true(lambda: servers._engine is not first)
        time.sleep(0.2)
        servers.close()
servers = vireon.Servers(on_event)
first = servers._engine
kind = 'urn:schemas-upnp-org:device:ZOMediaServer:1'
response = probe.response(200, {'Location': 'http://10.0.0.1/', 'USN': kind, 'FriendlyName': 'Den'})
first.process_message(probe.message(response), probe.context(), probe.string('an id'))
becomes_true(lambda: len(told) == 2)
print kinds(told)
''',
        )

    def test_a_search_starts_anew_when_it_is_asked_for_and_when_the_machine_woke_up(self):
        self.expect(
            'True True\n',
            '''
slept = [0]
servers = vireon.Servers(surroundings=Surroundings(slept=lambda: slept[0]))
first = servers._engine
servers.refresh()
print becomes_true(lambda: servers._engine is not first and first.closed),
second = servers._engine
slept[0] = 60
print becomes_true(lambda: servers._engine is not second and second.closed)
servers.close()
''',
        )

    def test_one_that_cannot_start_anew_tries_it_again(self):
        code, output, errors = support.run_isolated(
            self.PROLOGUE
            + '''
import vireon_probe as probe
servers = vireon.Servers()
first, search = servers._engine, vireon.Vireon.search
def failing(self, *arguments):
    vireon.Vireon.search = search
    search(self, *arguments)
    # An answer is there already, and stopping the engine waits for it.
    kind = 'urn:schemas-upnp-org:device:ZOMediaServer:1'
    response = probe.response(200, {'Location': 'http://10.0.0.1/', 'USN': kind, 'FriendlyName': 'Den'})
    self.process_message(probe.message(response), probe.context(), probe.string('an id'))
    time.sleep(0.3)
    raise MemoryError
vireon.Vireon.search = failing
servers.refresh()
print becomes_true(lambda: servers._engine is not first and first.closed), len(servers)
servers.close()
'''
        )
        self.assertEqual((0, 'True 1\n', 1), (code, output, errors.count('MemoryError\n')), errors)

    def test_one_whose_search_could_begin_in_part_only_tries_it_again(self):
        self.expect(
            'True 1\n',
            '''
from vireon import servers as module
module.SECONDS_TO_TRY_AGAIN = 0.1
search, outcomes = vireon.Vireon.search, [0]
def noted(self, *arguments):
    outcome = search(self, *arguments)
    return outcomes.pop() if outcomes else outcome
vireon.Vireon.search = noted
servers = vireon.Servers()
first = servers._engine
is_new = becomes_true(lambda: servers._engine is not first and first.closed)
second = servers._engine
time.sleep(1.5)  # a look later
print is_new, len(set([servers._engine, second]))
servers.close()
''',
        )

    def test_one_that_is_dropped_ends(self):
        self.expect(
            'None None False []\n',
            '''
servers = vireon.Servers()
ends, thread = (weakref.ref(servers), weakref.ref(servers._engine)), servers._ticker._thread
del servers
thread.join(20)
print ends[0](), ends[1](), thread.is_alive(), gc.garbage
''',
        )

    def test_one_whose_callable_leads_back_to_it_is_collected(self):
        self.expect(
            'None []\n',
            '''
class Host(object):
    def __init__(self):
        self.servers = vireon.Servers(self.on_event)
    def on_event(self, event):
        pass
host = Host()
end = weakref.ref(host)
del host
gc.collect()
print end(), gc.garbage
''',
        )

    def test_one_may_be_left_to_the_end_of_the_script(self):
        self.expect('end\n', "servers = vireon.Servers(lambda event: None)\nprint 'end'\n")

    @unittest.skipIf(support.ON_WINDOWS, 'platform: no fork')
    def test_a_forked_child_closes_and_drops_what_it_inherited(self):
        self.expect(
            '0\nfound closed\n',
            '''
import signal
servers = vireon.Servers()
# A checker's own locks, which its allocator holds for a moment, do not survive a fork.
time.sleep(0.3)
# As when another thread is within an operation just then.
servers._lock.acquire()
child = os.fork()
if child == 0:
    signal.alarm(20)
    list(servers)
    servers.close()
    del servers
    os._exit(0)
servers._lock.release()
print os.waitpid(child, 0)[1]
answer(servers)
servers.close()
print kinds(servers.events())
''',
        )

    # The engines that searches make.
    NOTED = '''
from vireon import engine, servers
engines = []
class Noted(vireon.Vireon):
    def __init__(self):
        vireon.Vireon.__init__(self)
        engines.append(self)
engine.Vireon = Noted
'''

    def test_a_search_for_no_server_ends_with_its_time(self):
        self.expect('[] True\n', self.NOTED + 'print list(vireon.search(0.2)), engines[0].closed')

    def test_a_clock_that_is_set_changes_nothing_of_its_time(self):
        for seconds in (-3600, 3600):
            self.expect(
                'True\n',
                '''
from vireon.clock import steady
now, begin = time.time, steady()
setting = [now, lambda: now() + %d]
def set_clock():
    return setting[steady() - begin > 0.3]()
# Each module that waits by it has it by a name of its own.
time.time = threading._time = set_clock
import Queue
Queue._time = set_clock
def end():
    os.write(1, 'too long')
    os._exit(1)
limit = threading.Thread(target=lambda: (time.sleep(20), end()))
limit.daemon = True
limit.start()
list(vireon.search(1))
print 0.9 < steady() - begin < 15
'''
                % seconds,
            )

    @unittest.skipIf(support.ON_WINDOWS, 'platform: no fork')
    def test_a_forked_child_ends_what_its_parent_searches(self):
        self.expect(
            '[0]\n',
            self.NOTED
            + '''
import signal
def answer(number):
    entries = dict(usn='uuid:%d' % number, friendlyName='Den', location='http://10.0.0.1/')
    engines[0].callback('Update Service', entries)
def answer_on():
    becomes_true(lambda: engines and engines[0].callback)
    for number in range(4000):
        answer(number)
answering = threading.Thread(target=answer_on)
answering.start()
found, children = vireon.search(5), []
for _ in range(40):
    found.next()
    # A thread that is in the middle of an answer just then.
    children.append(os.fork())
    if not children[-1]:
        signal.alarm(20)
        list(found)
        os._exit(0)
answering.join()
print sorted(set(os.waitpid(child, 0)[1] for child in children))
''',
        )

    def test_a_search_that_is_left_ends(self):
        self.expect(
            'Den None []\n',
            self.NOTED
            + '''
def answer():
    becomes_true(lambda: engines and engines[0].callback)
    engines[0].callback('Update Service', dict(usn='uuid:1', friendlyName='Den', location='http://10.0.0.1/'))
answering = threading.Thread(target=answer)
answering.start()
found = vireon.search(60)
print found.next().name,
answering.join()
end = weakref.ref(engines.pop())
del found
print end(), gc.garbage
''',
        )

    def test_an_interrupt_ends_a_search(self):
        self.expect(
            'KeyboardInterrupt True\n',
            self.NOTED
            + '''
import signal, thread
signal.signal(signal.SIGINT, signal.default_int_handler)  # which a shell's background jobs ignore
def interrupt():
    becomes_true(lambda: engines and engines[0].callback)
    time.sleep(0.3)  # until the search waits
    thread.interrupt_main()
threading.Thread(target=interrupt).start()
try:
    list(vireon.search(60))
except KeyboardInterrupt:
    print 'KeyboardInterrupt', engines[0].closed
''',
        )

    def test_an_interrupt_as_a_search_begins_ends_it(self):
        self.expect(
            'KeyboardInterrupt True\n',
            self.NOTED
            + '''
def begin(self, *arguments):
    vireon.Vireon.search(self, *arguments)
    raise KeyboardInterrupt
Noted.search = begin
try:
    list(vireon.search(60))
except KeyboardInterrupt:
    print 'KeyboardInterrupt', engines[0].closed
''',
        )

    def test_an_interrupt_as_a_list_is_made_ends_its_search(self):
        for name in ('engine.Vireon.search', 'servers.Ticker'):
            self.expect(
                'KeyboardInterrupt True\n',
                self.NOTED
                + '''
original = %s
def interrupted(*arguments):
    original(*arguments)
    raise KeyboardInterrupt
%s = interrupted
try:
    vireon.Servers()
except KeyboardInterrupt:
    print 'KeyboardInterrupt', engines[0].closed
'''
                % (name, name),
            )

    def test_what_is_no_time_is_refused(self):
        for seconds in (-1, float('nan')):
            with self.assertRaises(ValueError):
                vireon.search(seconds)
        for arguments in ({'interval': 0}, {'interval': float('nan')}, {'lost_after': 0}):
            with self.assertRaises(ValueError):
                vireon.Servers(**arguments)


if __name__ == '__main__':
    unittest.main()
