# -*- coding: utf-8 -*-
"""The classes for the other wrapped types, and their values as Python has them."""
import sys
import threading
import time
import unittest
import weakref

import contract
import support
import vireon
import vireon_probe as probe
from vireon import quiet, values

_vireon = support._vireon

FIELDS = (
    'manufacturer',
    'manufacturer_url',
    'model_description',
    'model_name',
    'model_number',
    'model_url',
    'serial_number',
    'presentation_url',
    'http_port',
    'https_port',
    'websocket_port',
    'db_status',
    'version',
)


class Silent(unittest.TestCase):
    """What a test here prints is a fault: the runtime tells of what nobody ends."""

    def setUp(self):
        self.said = support.Quiet().__enter__()

    def tearDown(self):
        self.said.__exit__()
        self.assertEqual('', self.said.text)


class Device(Silent):
    def test_its_texts_are_those_it_was_made_of(self):
        device = vireon.ZoSsdpDeviceInfo('Den', uuid='an id', device_type='a type')
        self.assertEqual(('Den', 'an id', 'a type'), (device.friendly_name, device.uuid, device.device_type))

    def test_one_of_nothing_has_the_modules_defaults(self):
        device = vireon.ZoSsdpDeviceInfo()
        self.assertEqual(
            ('', '', 36, 1800, 0, 'Zorvane Corporation'),
            (
                device.friendly_name,
                device.device_type,
                len(device.uuid),
                device.lease_time,
                device.boot_id,
                device.manufacturer,
            ),
        )

    def test_every_field_keeps_what_it_is_given(self):
        self.assertEqual(len(contract.FIELDS), len(FIELDS))
        device = vireon.ZoSsdpDeviceInfo()
        for number, field in enumerate(FIELDS):
            setattr(device, field, 'value %d' % number)
        self.assertEqual(
            ['value %d' % number for number in range(len(FIELDS))],
            [getattr(device, field) for field in FIELDS],
        )

    def test_every_field_is_the_modules_of_that_name(self):
        device = vireon.ZoSsdpDeviceInfo()
        for name, field in zip(contract.FIELDS, FIELDS):
            getattr(_vireon, 'ZoSsdpDeviceInfo_m_%s_set' % name)(device, probe.string('the ' + name))
            self.assertEqual('the ' + name, getattr(device, field))

    def test_a_text_may_be_of_any_length_and_of_any_bytes_but_zero(self):
        device = vireon.ZoSsdpDeviceInfo()
        for text in ('', 'x', '\xff\x01\n', 5000 * 'long '):
            device.version = text
            self.assertEqual(text, device.version)
        with self.assertRaises(ValueError):
            device.version = 'a\0b'
        self.assertEqual(5000 * 'long ', device.version)

    def test_a_unicode_text_is_encoded(self):
        self.assertEqual('K\xc3\xbcche', vireon.ZoSsdpDeviceInfo(u'Küche').friendly_name)

    def test_its_times_are_seconds(self):
        device = vireon.ZoSsdpDeviceInfo()
        device.lease_time = 60.5
        self.assertEqual((60.5, vireon.Interval), (device.lease_time, type(device.lease_time)))
        device.lease_time = 9  # is not believed
        self.assertEqual(1800, device.lease_time)
        for seconds in (float('nan'), float('inf'), 1e10):
            with self.assertRaises((OverflowError, ValueError)):
                device.lease_time = seconds

    def test_its_numbers_have_32_bits(self):
        device = vireon.ZoSsdpDeviceInfo()
        device.boot_id = 4000000000
        device.set_next_boot_id(5)
        self.assertEqual(4000000000, device.boot_id)
        self.assertAlmostEqual(time.time(), device.generate_next_boot_id(), delta=5)
        self.assertLess(device.config_id, 2**24)
        for number in (-1, 2**32):
            with self.assertRaises(OverflowError):
                device.boot_id = number

    def test_its_urls_are_texts_with_parts(self):
        device = vireon.ZoSsdpDeviceInfo()
        device.this = _vireon.new_ZoSsdpDeviceInfo(probe.url('http://10.0.0.1:8080/a/d.xml'))
        self.assertEqual('http://10.0.0.1:8080/a/d.xml', device.description_url())
        self.assertEqual('http://10.0.0.2:8080/a/d.xml', device.description_url('10.0.0.2'))
        base = device.url_base
        self.assertEqual(
            ('http://10.0.0.1:8080/a/', '10.0.0.1', 8080, '/a/'), (base, base.host, base.port, base.path)
        )

    def test_a_url_without_a_host_or_a_port_has_none(self):
        self.assertEqual(('', 0, ''), (vireon.Url('').host, vireon.Url('').port, vireon.Url('').path))
        self.assertEqual('http://h/', values.url_of(probe.url('http://h:80/')))

    def test_its_description_is_a_text(self):
        text = vireon.ZoSsdpDeviceInfo('Den').description()
        self.assertIn('<friendlyName>Den</friendlyName>', text)
        self.assertTrue(text.endswith('</root>'), text)


class Workers(Silent):
    def test_a_queue_gives_records_in_their_order(self):
        engine = vireon.Vireon()
        worker = vireon.CallbackTaskWorkerThread(engine)
        for name in ('first', 'second'):
            worker.add_task(vireon.ZoSsdpDeviceInfo(name))
        self.assertEqual(
            ['first', 'second'], [worker.get_task().friendly_name, worker.get_task().friendly_name]
        )

    def test_a_record_belongs_to_the_queue_and_then_to_the_taker(self):
        engine = vireon.Vireon()
        worker = vireon.CallbackTaskWorkerThread(engine)
        device = vireon.ZoSsdpDeviceInfo('Den')
        wrapped = device.this
        worker.add_task(device)
        self.assertEqual((False, False), (wrapped.own(), hasattr(device, 'this')))
        with self.assertRaises(TypeError):
            device.friendly_name
        taken = worker.get_task()
        self.assertEqual((wrapped, True), (taken.this, taken.this.own()))

    def test_a_record_that_is_refused_stays_the_scripts(self):
        device = vireon.ZoSsdpDeviceInfo('Den')
        with self.assertRaises(TypeError):
            vireon.CallbackTaskWorkerThread.add_task(vireon.Vireon(), device)
        self.assertEqual((True, 'Den'), (device.this.own(), device.friendly_name))

    def test_a_queue_without_an_open_engine_is_stopped(self):
        engine = vireon.Vireon()
        worker = vireon.CallbackTaskWorkerThread(engine)
        before = worker.stopped
        engine.stop()
        self.assertEqual((False, True, None), (before, worker.stopped, worker.get_task()))
        with worker:
            worker.engine = None
        self.assertIs(None, worker.engine)

    def test_a_taker_that_waits_gets_the_next_record(self):
        engine = vireon.Vireon()
        worker, names = vireon.CallbackTaskWorkerThread(engine), []
        taker = threading.Thread(target=lambda: names.append(worker.get_task().friendly_name))
        taker.start()
        worker.add_task(vireon.ZoSsdpDeviceInfo('Den'))
        taker.join(20)
        self.assertEqual(['Den'], names)

    def test_a_sender_owns_what_it_is_made_of(self):
        request, socket = probe.request(), probe.socket()
        request.acquire()
        with vireon.SsdpSearchWorkerThread(None, socket, request, 1.5) as sender:
            self.assertTrue(sender.stopped)
        self.assertFalse(request.own())

    def test_what_a_sender_refuses_stays_its_owners(self):
        request = probe.request()
        request.acquire()
        with self.assertRaises(TypeError):
            vireon.SsdpSearchWorkerThread(5, None, request)
        self.assertTrue(request.own(False))

    def test_a_sender_of_nothing_ends(self):
        sender = vireon.SsdpSearchWorkerThread()
        end = weakref.ref(sender)
        del sender
        self.assertIs(None, end())


class Guards(Silent):
    def test_they_stand_for_blocks(self):
        with vireon.PyAutoLock2():
            with vireon.PyAutoUnlock2():
                self.assertTrue(_vireon.IsCurrentThreadHoldPythonGIL2())
        self.assertTrue(_vireon.IsCurrentThreadHoldPythonGIL2())

    def test_one_may_be_used_again_but_not_twice_at_once(self):
        guard = vireon.PyAutoLock2()
        for _ in range(2):
            with guard:
                with self.assertRaises(RuntimeError):
                    guard.__enter__()


class LettingGo(unittest.TestCase):
    """What goes is a value of the module's, whose end prints a line."""

    def result(self):
        return _vireon.ZoSsdpDeviceInfo_GetConfigId(vireon.ZoSsdpDeviceInfo())

    def test_without_it_there_is_a_line(self):
        with support.Quiet() as said:
            self.result()
        self.assertEqual(support.leak_message('NPT_UInt32 *'), said.text)

    def test_nothing_is_printed_and_the_output_is_what_it_was(self):
        with support.Quiet() as said:
            holder = [self.result()]
            quiet.let_go(holder)
            self.assertIs(said, sys.stdout)
        self.assertEqual(('', []), (said.text, holder))

    def test_the_output_is_back_though_memory_ends_in_the_middle(self):
        class Full(list):
            def __delslice__(self, begin, end):
                raise MemoryError

        output = sys.stdout
        try:
            with self.assertRaises(MemoryError):
                quiet.let_go(Full())
            self.assertIs(output, sys.stdout)
        finally:
            sys.stdout = output

    def test_without_an_output_there_is_none_afterwards(self):
        output = sys.stdout
        try:
            del sys.stdout
            quiet.let_go([self.result()])
            self.assertFalse(hasattr(sys, 'stdout'))
        finally:
            sys.stdout = output

    def test_what_other_threads_print_meanwhile_is_not_lost(self):
        interval = sys.getcheckinterval()
        self.addCleanup(sys.setcheckinterval, interval)
        sys.setcheckinterval(1)
        stop = []

        def let_go_on_and_on():
            while not stop:
                quiet.let_go([self.result()])

        with support.Quiet() as said:
            other = threading.Thread(target=let_go_on_and_on)
            other.start()
            for _ in range(20000):
                sys.stdout.write('x')
            stop.append(True)
            other.join()
        self.assertEqual(20000, len(said.text))


if __name__ == '__main__':
    unittest.main()
