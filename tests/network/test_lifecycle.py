"""Stopping, starting again, ending, and callables that misbehave."""

import os
import time
import unittest

from capture import by_sender
from network_case import INTERVAL, SLACK, STARTED, STOP, NetworkCase, searches, to_broadcast, to_group
from responder import GROUP, Stream, answer
from searcher import start_driver

# Seconds, for a start of Wine on a machine that is busy.
LIMIT = 90

# Imports nothing that would have Python make its lock.
WITHOUT_THREADS = b'''
import os, sys, time
sys.path.insert(0, os.environ['VIREON_MODULE_DIR'])
import _vireon
called = []
engine = _vireon.new_Vireon()
_vireon.Vireon_SetInterVal(engine, 0.2)
_vireon.Vireon_SetCallback(engine, lambda *_: called.append(1))
_vireon.Vireon_SearchDevices(engine).disown()
end = time.time() + 30
while not called and time.time() < end:
    time.sleep(0.01)
_vireon.Vireon_Stop(engine)
_vireon.delete_Vireon(engine)
print 'called' if called else 'not called'
'''


class StartTest(NetworkCase):
    def test_a_script_that_has_no_threads_is_called(self):
        self.standard_network()
        self.responder(self.there, reply=lambda request: [answer()])
        process = start_driver(self.here, '-')
        output, errors = process.communicate(WITHOUT_THREADS, LIMIT)
        self.assertEqual((0, b'called'), (process.returncode, output.strip()), errors)


class StopTest(NetworkCase):
    def assert_prompt_stops(self):
        """A stop of sixteen senders waits for none of their intervals."""
        for interval in (30.0, 0.0, -1.0, 4e6, float('nan')):
            with self.subTest(interval):
                self.client.call('interval', seconds=interval)
                self.client.call('set_closed', value=False)
                for _ in range(8):
                    self.assertEqual(self.client.search(), STARTED)
                time.sleep(0.1)
                self.assertLess(self.client.stop(), STOP)

    def test_stop_returns_at_once(self):
        self.standard_network()
        self.here.ip('link set lo up')
        self.client = self.searcher(self.here)
        self.assert_prompt_stops()

    def test_stop_returns_at_once_without_a_loopback_interface(self):
        self.standard_network()
        self.client = self.searcher(self.here)
        self.assert_prompt_stops()

    def test_stop_returns_at_once_when_the_loopback_interface_has_gone(self):
        self.standard_network()
        self.here.ip('link set lo up')
        self.client = self.searcher(self.here, 30.0)
        self.on_posix_only(self.client, 'platform: the loopback interface of Windows cannot go')
        self.client.search()
        time.sleep(0.1)
        self.here.ip('link set lo down')
        self.assertLess(self.client.stop(), STOP)

    def test_stop_returns_at_once_in_the_middle_of_a_pause(self):
        self.standard_search(interval=30.0)
        to = self.server.sender(GROUP)
        for _ in range(3):
            self.server.send(b'garbage', to)
            time.sleep(0.02)
            self.assertLess(self.client.stop(), STOP)
            self.client.call('set_closed', value=False)
            self.client.search()
            to = self.server.requests()[-1].source

    def test_stop_leaves_no_thread_behind(self):
        self.standard_network()
        client = self.searcher(self.here, 1.5)
        self.on_posix_only(client, 'platform: Wine runs threads of its own in the process')
        # The first thread of all may bring a sanitizer's own with it.
        client.search()
        client.stop()
        # A thread that was waited for may be listed a moment longer, but not for an interval.
        time.sleep(SLACK)
        before = client.thread_count()
        client.call('set_closed', value=False)
        client.search()
        self.assertEqual(client.thread_count(), before + 3)
        client.stop()
        deadline = time.monotonic() + SLACK
        while client.thread_count() > before and time.monotonic() < deadline:
            time.sleep(0.01)
        self.assertEqual(client.thread_count(), before)

    def test_stop_sets_closed(self):
        self.standard_search()
        self.assertIs(self.client.call('closed'), False)
        self.client.stop()
        self.assertIs(self.client.call('closed'), True)

    def test_stop_without_a_search_returns_at_once(self):
        self.standard_network()
        client = self.searcher(self.here)
        self.assertLess(client.stop(), 0.1 + SLACK)

    def test_a_second_stop_finds_nothing_to_do(self):
        self.standard_search()
        self.client.stop()
        self.assertLess(self.client.stop(), 0.1 + SLACK)

    def test_stops_at_the_same_time_all_return(self):
        self.standard_search(reply=lambda request: [answer()])
        self.client.wait_found(lambda found: found, 'a call')
        self.client.call('stop_in_threads', count=4)
        for seconds in self.client.wait_stopped(4):
            self.assertLess(seconds, STOP)

    def test_stop_may_come_from_inside_the_callable(self):
        self.standard_search()
        self.client.call('behave', behaviour='stop')
        self.server.reply = lambda request: [answer()]
        self.assertLess(self.client.wait_stopped(1)[0], STOP)
        self.assertIs(self.client.call('closed'), True)
        self.assertLess(self.client.stop(), STOP)
        self.assertEqual(len(self.client.found()), 1)

    def test_stop_waits_for_the_running_call_but_delivers_no_further_one(self):
        self.standard_search()
        seconds = 0.5 + SLACK
        self.client.call('behave', behaviour='sleep', seconds=seconds)
        for _ in range(20):
            self.server.send(answer(), self.server.sender(GROUP))
        self.client.wait_found(lambda found: found, 'a call')
        self.assertLess(self.client.stop(), seconds + STOP)
        self.assertLessEqual(len(self.client.found()), 2)
        seen = len(self.client.found())
        time.sleep(seconds + 0.1)
        self.assertEqual(len(self.client.found()), seen)

    def test_closing_by_hand_ends_the_senders(self):
        self.standard_search()
        self.server.sender(GROUP)
        self.client.call('set_closed', value=True)
        time.sleep(INTERVAL + SLACK)
        sent = len(self.wire.datagrams())
        time.sleep(INTERVAL + SLACK)
        self.assertEqual(len(self.wire.datagrams()), sent)

    def test_an_engine_may_be_deleted_after_its_stop(self):
        self.standard_search(reply=lambda request: [answer()])
        self.client.wait_found(lambda found: found, 'a call')
        self.client.stop()
        self.client.call('delete')
        self.client.call('new')
        self.client.call('interval', seconds=INTERVAL)
        self.client.call('callback', kind='client')
        seen = len(self.client.found())
        self.assertEqual(self.client.search(), STARTED)
        self.client.wait_found(lambda found: len(found) > seen, 'a call by the new engine')

    def test_many_rounds_of_search_and_stop(self):
        self.standard_network()
        wire = self.capture(self.here)
        self.responder(self.there, reply=lambda request: [answer()])
        client = self.searcher(self.here, 0.01)
        for _ in range(30):
            client.call('set_closed', value=False)
            self.assertEqual(client.search(), STARTED)
            client.stop()
        # A stop may have come each time before a sender had sent anything.
        client.call('set_closed', value=False)
        self.assertEqual(client.search(), STARTED)
        sent = wire.wait(lambda sent: to_group(sent) and to_broadcast(sent), 5)
        self.assertTrue(to_group(sent))
        self.assertTrue(to_broadcast(sent))


class RestartTest(NetworkCase):
    def test_a_search_after_stop_sends_one_pair_per_sender(self):
        self.standard_search()
        self.server.sender(GROUP)
        self.client.stop()
        time.sleep(SLACK)  # the capture may be behind what was sent
        before = len(self.wire.datagrams())
        self.assertEqual(self.client.search(), STARTED)
        time.sleep(2 * INTERVAL + SLACK)
        senders = by_sender(self.wire.datagrams()[before:])
        self.assertEqual([len(sent) for sent in senders.values()], [2, 2])

    def test_a_search_works_again_once_it_is_opened(self):
        self.standard_search(reply=lambda request: [answer()])
        self.client.wait_found(lambda found: found, 'a call')
        self.client.stop()
        seen = len(self.client.found())
        self.client.call('set_closed', value=False)
        self.client.search()
        self.client.wait_found(lambda found: len(found) > seen + 8, 'calls of the second search')
        self.assertLess(self.client.stop(), STOP)

    def test_stop_ends_the_senders_of_all_searches(self):
        self.standard_search()
        for _ in range(3):
            self.client.search()
        self.wire.wait(lambda sent: len(by_sender(sent)) == 8, 10)
        self.assertLess(self.client.stop(), STOP)
        time.sleep(SLACK)  # the capture may be behind what was sent
        sent = len(self.wire.datagrams())
        time.sleep(INTERVAL + SLACK)
        self.assertEqual(len(self.wire.datagrams()), sent)

    def test_answers_that_wait_reach_the_callable_of_the_second_search(self):
        self.standard_search()
        to = self.server.sender(GROUP)
        self.client.call('behave', behaviour='sleep', seconds=0.2)
        for number in range(10):
            self.server.send(answer(b'%d' % number), to)
        self.client.wait_found(lambda found: found, 'the first call')
        self.client.search()
        self.client.call('behave', behaviour=None)
        self.client.wait_found(lambda found: len(found) == 10, 'all calls')
        self.assertEqual(
            [call.name for call in self.client.found()], [b'%d' % number for number in range(10)]
        )

    def test_answers_that_waited_before_a_stop_reach_no_later_search(self):
        self.standard_search()
        to = self.server.sender(GROUP)
        self.client.call('behave', behaviour='sleep', seconds=0.5 + SLACK)
        for number in range(10):
            self.server.send(answer(b'%d' % number), to)
        self.client.wait_found(lambda found: found, 'the first call')
        self.client.stop()
        self.client.call('behave', behaviour=None)
        self.client.call('set_closed', value=False)
        count = len(self.server.requests())
        self.server.reply = lambda request: [answer(b'new')]
        self.client.search()
        self.client.wait_name(b'new')
        self.assertLessEqual({call.name for call in self.client.found()}, {b'0', b'1', b'new'})
        self.assertGreater(len(self.server.requests()), count)

    def test_hundreds_of_rounds_keep_no_descriptor(self):
        self.standard_network()
        client = self.searcher(self.here, 30.0)
        self.on_posix_only(client, 'platform: Wine has descriptors of its own in the process')
        folder = '/proc/%d/fd' % client.process.pid
        for round_ in range(400):
            client.call('set_closed', value=False)
            self.assertEqual(client.search(), STARTED)
            client.stop()
            if round_ == 10:
                before = len(os.listdir(folder))
        self.assertLessEqual(len(os.listdir(folder)), before)


class CallableTest(NetworkCase):
    def test_an_exception_is_printed_and_the_search_goes_on(self):
        self.standard_search()
        self.client.call('behave', behaviour='raise')
        to = self.server.sender(GROUP)
        for name in (b'one', b'two', b'three'):
            self.server.send(answer(name), to)
        self.client.wait_name(b'three')
        errors = self.expect_errors(self.client, b'ValueError: the callable failed on purpose', 3)
        self.assertEqual(errors.count(b'Traceback (most recent call last)'), 3)

    def test_a_system_exit_is_printed_and_ends_nothing(self):
        self.standard_search()
        self.client.call('behave', behaviour='exit')
        to = self.server.sender(GROUP)
        self.server.send(answer(b'one'), to)
        self.server.send(answer(b'two'), to)
        self.client.wait_name(b'two')
        self.expect_errors(self.client, b'SystemExit', 2)

    def test_a_target_that_cannot_be_called_is_a_printed_error(self):
        self.standard_search()
        self.client.call('callback', kind='not callable')
        to = self.server.sender(GROUP)
        self.server.send(answer(b'lost'), to)
        self.client.wait_errors(b"TypeError: 'int' object is not callable")
        self.client.call('callback', kind='client')
        self.server.send(answer(b'kept'), to)
        self.client.wait_name(b'kept')
        self.expect_errors(self.client, b'TypeError')
        self.assertEqual([call.name for call in self.client.found()], [b'kept'])

    def test_without_a_callable_servers_are_taken_silently(self):
        self.standard_search()
        self.client.call('callback', kind='none')
        to = self.server.sender(GROUP)
        self.server.send(answer(b'unheard'), to)
        # By its next request but one the sender has surely read the answer.
        count = len(self.server.requests())
        self.wire.wait(lambda sent: len(searches(sent)) >= count + 8, 10)
        self.client.call('callback', kind='client')
        self.server.send(answer(b'heard'), to)
        self.client.wait_name(b'heard')
        self.assertEqual([call.name for call in self.client.found()], [b'heard'])

    def test_an_answer_during_a_call_is_delivered_right_after_it(self):
        self.standard_search(interval=5.0)
        self.client.call('behave', behaviour='sleep', seconds=0.4)
        to = self.server.sender(GROUP)
        self.server.send(answer(b'first'), to)
        self.client.wait_name(b'first')
        self.client.call('behave', behaviour=None)
        self.server.send(answer(b'second'), to)
        gap = self.client.wait_name(b'second').time - self.client.wait_name(b'first').time
        self.assertGreaterEqual(gap, 0.39)
        self.assertLess(gap, 0.4 + SLACK)
        self.assertEqual(self.client.end(), 0)

    def test_an_answer_is_delivered_at_once(self):
        self.standard_search(interval=5.0)
        to = self.server.sender(GROUP)
        sent = time.time()
        self.server.send(answer(b'prompt'), to)
        self.assertLess(self.client.wait_name(b'prompt').time - sent, SLACK)
        self.assertEqual(self.client.end(), 0)

    def test_slow_calls_do_not_delay_requests(self):
        self.standard_search(reply=lambda request: [answer()])
        self.client.call('behave', behaviour='sleep', seconds=1.0)
        sent = self.wire.wait(lambda datagrams: len(datagrams) >= 16, 10)
        for each in by_sender(sent).values():
            self.assert_due(
                [later.time - earlier.time for earlier, later in zip(each[::2], each[2::2])], INTERVAL
            )


class ExitTest(NetworkCase):
    def exit_without_stop(self, dressed=False, stream=False):
        self.standard_network()
        server = self.responder(self.there, reply=lambda request: [answer()])
        client = self.searcher(self.here)
        if dressed:
            client.call('new', dressed=True)
            client.call('interval', seconds=INTERVAL)
            client.call('callback', kind='client')
        client.search()
        client.wait_found(lambda found: found, 'a call')
        streams = [Stream(server, server.sender(GROUP), 0.001, lambda number: answer())] if stream else []
        self.assertEqual(client.end(), 0)
        for each in streams:
            each.close()
        self.assertEqual(client.errors(), b'')

    def test_a_script_may_end_without_stop(self):
        self.exit_without_stop()

    def test_a_script_may_end_without_stop_while_answers_arrive(self):
        for round_ in range(5):
            with self.subTest(round_):
                self.exit_without_stop(stream=True)

    def test_a_script_with_a_class_of_its_own_may_end_without_stop(self):
        self.exit_without_stop(dressed=True)

    def test_a_script_may_end_right_after_the_search_began(self):
        for round_ in range(5):
            with self.subTest(round_):
                self.standard_network()
                client = self.searcher(self.here)
                client.search()
                self.assertEqual(client.end(), 0)
                self.assertEqual(client.errors(), b'')

    def test_a_script_may_end_after_its_stop(self):
        self.standard_search(reply=lambda request: [answer()])
        self.client.wait_found(lambda found: found, 'a call')
        self.client.stop()
        self.client.call('delete')
        self.assertEqual(self.client.end(), 0)
        self.assertEqual(self.client.errors(), b'')


if __name__ == '__main__':
    unittest.main()
