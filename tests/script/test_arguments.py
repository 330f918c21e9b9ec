"""What conversions hand to the native side, and what comes back."""
import ctypes
import sys
import unittest

import support
import vireon_probe as probe

_vireon = support._vireon


class ScriptValues(unittest.TestCase):
    def setUp(self):
        self.engine = _vireon.new_Vireon()

    def tearDown(self):
        _vireon.delete_Vireon(self.engine)

    def test_bool(self):
        class Integer(int):
            pass

        for value, expected in [
            (True, True),
            (False, False),
            (2, True),
            (0, False),
            (-1, True),
            (10**9, True),
            (long(2), True),
            (long(0), False),
            (sys.maxint, True),
            (Integer(3), True),
        ]:
            _vireon.Vireon_isClosed_set(self.engine, not expected)
            _vireon.Vireon_isClosed_set(self.engine, value)
            self.assertIs(expected, _vireon.Vireon_isClosed_get(self.engine), value)

    def test_a_refused_bool_changes_nothing(self):
        _vireon.Vireon_isClosed_set(self.engine, True)
        for value in (0.0, None, '', 10**30):
            self.assertRaises(TypeError, _vireon.Vireon_isClosed_set, self.engine, value)
        self.assertIs(True, _vireon.Vireon_isClosed_get(self.engine))

    def test_float(self):
        largest = 3.4028234663852886e38
        for value in (0, 1.5, -3, long(7), True, largest, -largest, 10**38, float('nan'), 1e-300):
            self.assertIs(None, _vireon.Vireon_SetInterVal(self.engine, value))

    def test_float_at_its_limits(self):
        for value in (3.4028234663852890e38, -3.4028234663852890e38, 10**39, float('-inf')):
            self.assertRaises(OverflowError, _vireon.Vireon_SetInterVal, self.engine, value)

    def test_an_exception_that_was_pending_before_is_no_refusal(self):
        for function, values in [
            (_vireon.Vireon_SetInterVal, (1.5, 2, long(3), -1, -1.0, long(-1))),
            (_vireon.Vireon_isClosed_set, (True, 5, long(5), -1, long(-1))),
        ]:
            for value in values:
                self.assertEqual(
                    (None, KeyError), probe.call_with_pending(KeyError, function, (self.engine, value)), value
                )

    def test_scripts_that_a_conversion_runs_do_not_see_a_pending_exception(self):
        class WithProperty(object):
            __slots__ = ()

            @property
            def this(_):
                for _ in ():  # ends with whatever is pending
                    pass
                return self.engine

        class Layer(object):
            def __new__(cls):
                for _ in ():
                    pass
                return object.__new__(cls)

        self.assertEqual(
            (False, KeyError),
            probe.call_with_pending(KeyError, _vireon.Vireon_isClosed_get, (WithProperty(),)),
        )
        _vireon.SsdpSearchWorkerThread_swigregister(Layer)
        dressed, pending = probe.call_with_pending(KeyError, probe.wrap, (16, '_p_SsdpSearchWorkerThread'))
        self.assertEqual((Layer, KeyError), (type(dressed), pending))

    def test_the_callable_is_held_once(self):
        first, second = lambda *_: None, lambda *_: None
        count = sys.getrefcount(first)
        for _ in range(3):
            _vireon.Vireon_SetCallback(self.engine, first)
            self.assertEqual(count + 1, sys.getrefcount(first))
        _vireon.Vireon_SetCallback(self.engine, second)
        self.assertEqual(count, sys.getrefcount(first))
        self.assertEqual(count + 1, sys.getrefcount(second))
        none = sys.getrefcount(None)
        _vireon.Vireon_SetCallback(self.engine, None)
        self.assertEqual(count, sys.getrefcount(second))
        self.assertLess(abs(sys.getrefcount(None) - none), 3)

    def test_the_callable_goes_with_the_engine(self):
        def callback(*_):
            pass

        count = sys.getrefcount(callback)
        engine = _vireon.new_Vireon()
        _vireon.Vireon_SetCallback(engine, callback)
        _vireon.delete_Vireon(engine)
        self.assertEqual(count, sys.getrefcount(callback))

    def test_anything_can_be_the_callable(self):
        for thing in (5, 'text', object()):
            self.assertIs(None, _vireon.Vireon_SetCallback(self.engine, thing))

    def test_texts(self):
        class Text(str):
            pass

        device = _vireon.new_ZoSsdpDeviceInfo(probe.url('http://10.0.0.1:8080/d.xml'))
        buffer_ = ctypes.create_string_buffer('10.0.0.4')
        pointer = probe.wrap(ctypes.addressof(buffer_), '_p_char')
        for value, host in [
            ('10.0.0.2', '10.0.0.2'),
            (Text('10.0.0.3'), '10.0.0.3'),
            (pointer, '10.0.0.4'),
            (None, '10.0.0.1'),
            ('10.0.0.5\0x', '10.0.0.5'),
        ]:
            with support.Quiet():
                url = _vireon.ZoSsdpDeviceInfo_GetDescriptionUrl(device, value)
                self.assertEqual('http://%s:8080/d.xml' % host, support.text_at(url))
                del url
        _vireon.delete_ZoSsdpDeviceInfo(device)


class Formats(unittest.TestCase):
    """CallBack and _Callback from a script, which has no arguments for the format."""

    def setUp(self):
        self.engine = _vireon.new_Vireon()
        self.calls = []
        _vireon.Vireon_SetCallback(self.engine, lambda *arguments: self.calls.append(arguments))
        self.zeros = (ctypes.c_uint64 * 8)()
        self.list = probe.wrap(ctypes.addressof(self.zeros), '_p_va_list')

    def tearDown(self):
        _vireon.delete_Vireon(self.engine)

    def test_no_format_calls_without_arguments(self):
        for text in ('', None):
            _vireon.Vireon_CallBack(self.engine, text)
            self.assertIs(None, _vireon.Vireon__Callback(self.engine, text, self.list))
        self.assertEqual([()] * 4, self.calls)

    def test_items_without_arguments_are_null_or_zero(self):
        for text, arguments in [
            ('i', (0,)),
            ('si', (None, 0)),
            ('s', (None,)),
            ('d', (0.0,)),
            ('(ii)', (0, 0)),
            ('z', (None,)),
        ]:
            del self.calls[:]
            _vireon.Vireon_CallBack(self.engine, text, 1, 2)
            _vireon.Vireon__Callback(self.engine, text, self.list)
            self.assertEqual([arguments] * 2, self.calls, text)

    def test_no_format_crashes(self):
        code, _, errors = support.run_script(
            '''
import ctypes, itertools, _vireon, vireon_probe as probe
engine = _vireon.new_Vireon()
_vireon.Vireon_SetCallback(engine, lambda *_: None)
zeros = (ctypes.c_uint64 * 8)()
empty = probe.wrap(ctypes.addressof(zeros), '_p_va_list')
characters = [chr(i) for i in range(1, 128)]
for text in characters + [a + b for a in characters for b in 'OsiN#&({[)]} ']:
    _vireon.Vireon_CallBack(engine, text)
    try:
        _vireon.Vireon__Callback(engine, text, empty)
    except SystemError:
        pass
_vireon.delete_Vireon(engine)
'''
        )
        self.assertEqual(0, code, errors[-2000:])

    def test_an_exception_of_the_callable_is_printed_and_leaves_no_result(self):
        code, output, errors = support.run_script(
            '''
import ctypes, _vireon, vireon_probe as probe
engine = _vireon.new_Vireon()
def fail(*_):
    raise KeyError('in the callable')
_vireon.Vireon_SetCallback(engine, fail)
print _vireon.Vireon_CallBack(engine, '')
zeros = (ctypes.c_uint64 * 8)()
try:
    _vireon.Vireon__Callback(engine, '', probe.wrap(ctypes.addressof(zeros), '_p_va_list'))
except SystemError as error:
    print error
_vireon.delete_Vireon(engine)
'''
        )
        self.assertEqual((0, 'None\nerror return without exception set\n'), (code, output))
        self.assertEqual(2, errors.count("KeyError: 'in the callable'"))

    def test_without_a_callable_nothing_happens(self):
        _vireon.Vireon_SetCallback(self.engine, None)
        self.assertIs(None, _vireon.Vireon_CallBack(self.engine, 'O', 1))


class Answers(unittest.TestCase):
    """The processing operations, called by a script."""

    TYPE = 'urn:schemas-upnp-org:device:ZOMediaServer:1'
    HEADERS = {
        'ST': TYPE,
        'USN': 'uuid:abc::' + TYPE,
        'EXT': '',
        'FriendlyName': 'Den',
        'Location': 'http://10.0.0.1:8080/d.xml',
        'Cache-Control': 'max-age=60',
    }

    def setUp(self):
        self.engine = _vireon.new_Vireon()
        self.request, self.context = probe.request(), probe.context()
        self.zero = ctypes.c_int32(0)
        self.ok = probe.wrap(ctypes.addressof(self.zero), '_p_NPT_Result')

    def tearDown(self):
        _vireon.delete_Vireon(self.engine)

    def result_of(self, name, *arguments):
        with support.Quiet():
            result = getattr(_vireon, name)(self.engine, *arguments)
            self.assertIs(True, result.own())
            code = support.int32_at(result)
            del result
        return code

    def test_search_responses(self):
        def processed(result, response):
            return self.result_of(
                'Vireon_ProcessSsdpSearchResponse', result, self.request, self.context, response
            )

        self.assertEqual(-20000, processed(self.ok, None))
        self.assertEqual(-1, processed(self.ok, probe.response(404, self.HEADERS)))
        self.assertEqual(-20000, processed(self.ok, probe.response(200, {'ST': 'x'})))
        # No search was started, so there is no queue.
        self.assertEqual(-20009, processed(self.ok, probe.response(200, self.HEADERS)))
        other = dict(self.HEADERS, ST='x', USN='uuid:abc::x')
        self.assertEqual(0, processed(self.ok, probe.response(200, other)))
        failed = ctypes.c_int32(-20014)
        self.assertEqual(-20014, processed(probe.wrap(ctypes.addressof(failed), '_p_NPT_Result'), None))

    def test_messages(self):
        def processed(headers):
            message = probe.message(probe.response(200, headers))
            uuid = probe.string('abc')
            return self.result_of('Vireon_ProcessSsdpMessage', message, self.context, uuid)

        self.assertEqual(-20009, processed(self.HEADERS))
        self.assertEqual(-20000, processed({'USN': 'x'}))
        self.assertEqual(0, processed({'USN': 'x', 'Location': 'http://a/'}))

    def test_devices(self):
        interval = ctypes.c_int64(60 * 10**9)
        lease = probe.wrap(ctypes.addressof(interval), '_p_NPT_TimeInterval')

        def inspected(headers, url, uuid, usn):
            message = probe.message(probe.response(200, headers))
            return self.result_of('Vireon_InspectDevice', message, probe.url(url), uuid, usn, lease)

        self.assertEqual(-1, inspected(self.HEADERS, '', 'abc', probe.string('usn')))
        self.assertEqual(-1, inspected({}, 'http://a/', 'abc', probe.string('usn')))
        for uuid in ('abc', None):
            self.assertEqual(-20009, inspected(self.HEADERS, 'http://a/', uuid, probe.string('usn')))
        self.assertEqual(-20000, inspected(self.HEADERS, 'http://a/', 'abc', None))


class Workers(unittest.TestCase):
    def setUp(self):
        self.interval = ctypes.c_int64(10**9)
        self.second = probe.wrap(ctypes.addressof(self.interval), '_p_NPT_TimeInterval')

    def test_a_worker_without_engine_socket_and_request(self):
        worker = _vireon.new_SsdpSearchWorkerThread(None, None, None, self.second)
        self.assertIs(True, _vireon.SsdpSearchWorkerThread_IsStopped(worker))
        self.assertIs(None, _vireon.SsdpSearchWorkerThread_Close(worker))
        _vireon.delete_SsdpSearchWorkerThread(worker)

    def test_a_worker_owns_its_socket_and_request(self):
        engine = _vireon.new_Vireon()
        worker = _vireon.new_SsdpSearchWorkerThread(engine, probe.socket(), probe.request(), self.second)
        self.assertIs(False, _vireon.SsdpSearchWorkerThread_IsStopped(worker))
        _vireon.Vireon_isClosed_set(engine, True)
        self.assertIs(True, _vireon.SsdpSearchWorkerThread_IsStopped(worker))
        _vireon.delete_SsdpSearchWorkerThread(worker)
        _vireon.delete_Vireon(engine)

    def test_a_worker_that_outlives_its_engine_is_stopped(self):
        engine = _vireon.new_Vireon()
        searcher = _vireon.new_SsdpSearchWorkerThread(engine, None, None, self.second)
        worker = _vireon.new_CallbackTaskWorkerThread(engine)
        _vireon.delete_Vireon(engine)
        self.assertIs(True, _vireon.SsdpSearchWorkerThread_IsStopped(searcher))
        self.assertIs(True, _vireon.CallbackTaskWorkerThread_IsStopped(worker))
        self.assertIs(None, _vireon.CallbackTaskWorkerThread_getTask(worker))
        _vireon.delete_SsdpSearchWorkerThread(searcher)
        _vireon.delete_CallbackTaskWorkerThread(worker)

    def test_the_queue_keeps_its_order_and_leaves_records_to_the_script(self):
        engine = _vireon.new_Vireon()
        worker = _vireon.new_CallbackTaskWorkerThread(engine)
        devices = [_vireon.new_ZoSsdpDeviceInfo() for _ in range(3)]
        for device in devices:
            _vireon.CallbackTaskWorkerThread_addTask(worker, device)
        for device in devices[:2]:
            task = _vireon.CallbackTaskWorkerThread_getTask(worker)
            self.assertEqual((device, False), (task, task.own()))
        _vireon.delete_CallbackTaskWorkerThread(worker)
        for device in devices:
            self.assertEqual(36, len(support.text_at(_vireon.ZoSsdpDeviceInfo_GetUUID(device))))
            _vireon.delete_ZoSsdpDeviceInfo(device)
        _vireon.delete_Vireon(engine)

    def test_a_null_record_is_queued_like_any_other(self):
        engine = _vireon.new_Vireon()
        worker = _vireon.new_CallbackTaskWorkerThread(engine)
        device = _vireon.new_ZoSsdpDeviceInfo()
        self.assertIs(None, _vireon.CallbackTaskWorkerThread_addTask(worker, None))
        _vireon.CallbackTaskWorkerThread_addTask(worker, device)
        self.assertIs(None, _vireon.CallbackTaskWorkerThread_getTask(worker))
        self.assertEqual(device, _vireon.CallbackTaskWorkerThread_getTask(worker))
        _vireon.delete_CallbackTaskWorkerThread(worker)
        _vireon.delete_ZoSsdpDeviceInfo(device)
        _vireon.delete_Vireon(engine)

    def test_the_workers_engine_can_be_read_and_replaced(self):
        engine = _vireon.new_Vireon()
        worker = _vireon.new_CallbackTaskWorkerThread(None)
        self.assertIs(None, _vireon.CallbackTaskWorkerThread_m_pVireon_get(worker))
        _vireon.CallbackTaskWorkerThread_m_pVireon_set(worker, engine)
        self.assertEqual(engine, _vireon.CallbackTaskWorkerThread_m_pVireon_get(worker))
        self.assertIs(False, _vireon.CallbackTaskWorkerThread_IsStopped(worker))
        _vireon.CallbackTaskWorkerThread_Close(worker)
        self.assertIs(None, _vireon.CallbackTaskWorkerThread_m_pVireon_get(worker))
        _vireon.delete_CallbackTaskWorkerThread(worker)
        _vireon.delete_Vireon(engine)

    def test_waiting_for_a_task_lets_other_threads_run(self):
        import threading

        engine = _vireon.new_Vireon()
        worker = _vireon.new_CallbackTaskWorkerThread(engine)
        device = _vireon.new_ZoSsdpDeviceInfo()
        results = []
        taker = threading.Thread(
            target=lambda: results.append(_vireon.CallbackTaskWorkerThread_getTask(worker))
        )
        taker.start()
        _vireon.CallbackTaskWorkerThread_addTask(worker, device)
        taker.join(30)
        self.assertEqual([device], results)
        _vireon.delete_CallbackTaskWorkerThread(worker)
        _vireon.delete_ZoSsdpDeviceInfo(device)
        _vireon.delete_Vireon(engine)


class Delivery(unittest.TestCase):
    def test_the_callable_gets_the_event_and_the_dictionary(self):
        engine = _vireon.new_Vireon()
        calls = []
        _vireon.Vireon_SetCallback(engine, lambda *arguments: calls.append(arguments))
        interval = ctypes.c_int64(60 * 10**9)
        device = _vireon.new_ZoSsdpDeviceInfo(
            probe.url('http://10.0.0.1:8080/d.xml'),
            'abc',
            probe.wrap(ctypes.addressof(interval), '_p_NPT_TimeInterval'),
            'the usn',
            'Den \xc3\xa9',
        )
        _vireon.ZoSsdpDeviceInfo_m_HttpPort_set(device, probe.string('8080'))
        self.assertIs(None, _vireon.Vireon_CallbacktoClient(engine, device))
        ((event, entries),) = calls
        self.assertEqual((str, 'Update Service'), (type(event), event))
        self.assertEqual(sorted(support.SERVER_KEYS), sorted(entries))
        self.assertEqual(set([unicode]), set(map(type, entries)))
        self.assertEqual(set([str]), set(map(type, entries.values())))
        self.assertEqual(
            ('http://10.0.0.1:8080/d.xml', 'the usn', 'Den \xc3\xa9', '8080', ''),
            tuple(entries[key] for key in ('location', 'usn', 'friendlyName', 'HttpPort', 'version')),
        )
        self.assertEqual('Zorvane Corporation', entries['manufacturer'])
        self.assertIs(True, device.own())
        _vireon.delete_ZoSsdpDeviceInfo(device)
        _vireon.delete_Vireon(engine)


if __name__ == '__main__':
    unittest.main()
