"""The engine as a class: nobody has to remember it. However its object goes, the search ends first."""
import unittest

import contract
import support
import vireon
import vireon_probe as probe

_vireon = support._vireon

DEVICE_TYPE = 'urn:schemas-upnp-org:device:ZOMediaServer:1'


class Operations(unittest.TestCase):
    def setUp(self):
        self.natives = contract.Natives()
        self.engine = vireon.Vireon()

    def tearDown(self):
        self.natives.delete()

    def test_it_is_open_until_it_is_stopped(self):
        before = self.engine.closed
        self.engine.stop()
        self.assertEqual((False, True), (before, self.engine.closed))

    def test_results_are_numbers_and_print_nothing(self):
        message = probe.message(probe.response(200, {'USN': DEVICE_TYPE, 'Location': 'http://10.0.0.1/'}))
        values = self.natives.values
        with support.Quiet() as said:
            results = [
                self.engine.process_message(message, probe.context(), probe.string('an id')),
                self.engine.process_search_response(
                    values['NPT_Result'], probe.request(), probe.context(), probe.response(404, {})
                ),
                self.engine.inspect_device(message, probe.url('http://10.0.0.1/'), 'an id', None, 60),
            ]
        self.assertEqual([-1, -1, -20000], [int(result) for result in results])
        self.assertEqual([vireon.Result] * 3, [type(result) for result in results])
        self.assertFalse(results[0].succeeded)
        self.assertEqual('', said.text)

    def test_it_calls_its_callable(self):
        calls = []
        self.engine.callback = lambda *arguments: calls.append(arguments)
        self.engine.call('ss')
        self.engine.call_with_list('ss', self.natives.values['va_list'])
        self.engine.call_with_device(vireon.ZoSsdpDeviceInfo('Den'))
        self.assertEqual([(None, None), (None, None)], calls[:2])
        self.assertEqual(('Update Service', 'Den'), (calls[2][0], calls[2][1]['friendlyName']))

    def test_without_a_callable_nothing_is_called(self):
        self.engine.call_with_device(vireon.ZoSsdpDeviceInfo('Den'))

    def test_one_that_the_module_hands_out_is_not_ended(self):
        worker = vireon.CallbackTaskWorkerThread(self.engine)
        handed_out = worker.engine
        self.assertIs(vireon.Vireon, type(handed_out))
        self.assertEqual(self.engine.this, handed_out.this)
        del handed_out
        self.assertFalse(self.engine.closed)

    def test_one_that_has_gone_is_handed_out_by_nobody(self):
        worker = vireon.CallbackTaskWorkerThread(self.engine)
        del self.engine
        self.assertIs(None, worker.engine)


class Searching(unittest.TestCase):
    PROLOGUE = '''
import gc, sys, weakref
import _vireon, vireon

def searching():
    engine = vireon.Vireon()
    engine.search(0.2, lambda *_: None)
    return engine
'''

    ANSWERED = (
        '''
import threading, time, vireon_probe as probe
def answer(engine):
    kind = %r
    response = probe.response(200, {'Location': 'http://10.0.0.1/', 'USN': kind, 'FriendlyName': 'Den'})
    engine.process_message(probe.message(response), probe.context(), probe.string('an id'))
'''
        % DEVICE_TYPE
    )

    def expect(self, output, script):
        self.assertEqual((0, output, ''), support.run_isolated(self.PROLOGUE + script))

    def test_a_search_tells_that_it_started(self):
        self.expect(
            '679481088 True\n', 'print searching().search(0.2), isinstance(searching().search(), int)'
        )

    def test_it_may_raise_before_it_stops(self):
        self.expect(
            'caught\n',
            '''
def use():
    engine = searching()
    raise ValueError
try:
    use()
except ValueError:
    sys.exc_clear()
print 'caught'
''',
        )

    def test_its_variable_may_be_bound_anew(self):
        self.expect(
            'again\n',
            '''
engine = searching()
engine = searching()
print 'again'
''',
        )

    def test_one_that_is_dropped_goes_at_once(self):
        self.expect(
            'None None\n',
            '''
engine = searching()
ends = weakref.ref(engine), weakref.ref(engine.callback)
del engine
print ends[0](), ends[1]()
''',
        )

    def test_one_in_a_cycle_is_collected(self):
        self.expect(
            'None []\n',
            '''
engine = searching()
engine.myself = engine
end = weakref.ref(engine)
del engine
gc.collect()
print end(), gc.garbage
''',
        )

    def test_one_whose_callable_leads_back_to_it_is_collected(self):
        self.expect(
            'None None []\n',
            '''
class Host(object):
    def __init__(self):
        self.engine = vireon.Vireon()
        self.engine.search(0.2, self.on_event)
    def on_event(self, event, server):
        pass
host = Host()
ends = weakref.ref(host), weakref.ref(host.engine)
del host
gc.collect()
print ends[0](), ends[1](), gc.garbage
''',
        )

    def test_one_may_be_collected_by_its_own_callable(self):
        self.expect(
            'Update Service None []\n',
            self.ANSWERED
            + '''
called, ends = threading.Event(), []
def on_event(event, server):
    host[:] = []
    gc.collect()
    ends.append(event)
    called.set()
host = [vireon.Vireon()]
host[0].search(0.2, on_event)
host[0].myself = host[0]
end = weakref.ref(host[0])
answer(host[0])
called.wait()
# The thread that calls has left the callable some time later.
for _ in range(1000):
    gc.collect()
    if end() is None:
        break
    time.sleep(0.01)
print ends[0], end(), gc.garbage
''',
        )

    def test_one_may_be_left_to_the_end_of_the_script(self):
        self.expect('end\n', "engine = searching()\nprint 'end'\n")

    def test_so_may_one_in_a_cycle(self):
        self.expect('end\n', "engine = searching()\nengine.myself = engine\nprint 'end'\n")

    def test_so_may_one_that_a_module_of_any_name_holds(self):
        # The interpreter drops modules in an order that depends on their names.
        self.expect(
            'end\n',
            '''
import imp
for name in 'abcdefghijklmnopqrstuvwxyz':
    sys.modules[name] = imp.new_module(name)
    sys.modules[name].engine = searching()
print 'end'
''',
        )

    @unittest.skipIf(support.ON_WINDOWS, 'platform: no fork')
    def test_a_forked_child_may_drop_what_it_inherited(self):
        self.expect(
            '0\n',
            '''
import os, signal, time
engine = searching()
# A checker's own locks, which its allocator holds for a moment, do not survive a fork.
time.sleep(0.3)
child = os.fork()
if child == 0:
    signal.alarm(20)
    del engine
    os._exit(0)
print os.waitpid(child, 0)[1]
''',
        )

    def test_the_end_of_its_block_stops_it_even_by_an_exception(self):
        self.expect(
            'True True\n',
            '''
with searching() as first:
    pass
try:
    with searching() as second:
        raise ValueError
except ValueError:
    pass
print first.closed, second.closed
''',
        )

    def test_one_that_was_stopped_searches_again(self):
        self.expect(
            'True False\n',
            '''
engine = searching()
engine.stop()
print engine.closed,
engine.search()
print engine.closed
''',
        )

    def test_an_exception_of_the_callable_is_printed_and_the_next_call_comes(self):
        code, output, errors = support.run_isolated(
            self.PROLOGUE
            + self.ANSWERED
            + '''
calls, twice = [], threading.Event()
def on_event(event, server):
    calls.append(event)
    if len(calls) == 2:
        twice.set()
    raise ValueError('on purpose')
engine = vireon.Vireon()
engine.search(30, on_event)
answer(engine)
answer(engine)
twice.wait(20)
engine.stop()
print len(calls)
'''
        )
        self.assertEqual((0, '2\n', 2), (code, output, errors.count('ValueError: on purpose')), errors)


if __name__ == '__main__':
    unittest.main()
