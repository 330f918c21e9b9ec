"""Interpreters that end with a search still running, and engines that end in unusual ways."""
import unittest

import support


class Exit(unittest.TestCase):
    def expect(self, output, script):
        self.assertEqual((0, output, ''), support.run_isolated(script))

    SEARCH = '''
import _vireon
engine = _vireon.new_Vireon()
_vireon.Vireon_SetInterVal(engine, 0.2)
_vireon.Vireon_SetCallback(engine, lambda *_: None)
result = _vireon.Vireon_SearchDevices(engine)
with support.Quiet():
    del result
'''

    def test_a_script_that_never_stops_its_search_ends(self):
        self.expect(
            'end\n',
            self.SEARCH
            + '''
engine.disown()
print 'end'
''',
        )

    def test_so_does_one_whose_class_destroys_the_engine_at_exit(self):
        self.expect(
            'end\n',
            '''
import _vireon
class Vireon(object):
    __swig_destroy__ = _vireon.delete_Vireon
_vireon.Vireon_swigregister(Vireon)
'''
            + self.SEARCH
            + '''
print 'end'
''',
        )

    def test_so_does_one_whose_exit_handler_destroys_the_engine(self):
        self.expect(
            'end\n',
            '''
import atexit, _vireon
engine = _vireon.new_Vireon()
atexit.register(_vireon.delete_Vireon, engine)
with support.Quiet():
    for _ in range(3):
        _vireon.Vireon_SearchDevices(engine)
print 'end'
''',
        )

    def test_stop_and_delete_leave_nothing_behind(self):
        self.expect(
            'end\n',
            self.SEARCH
            + '''
for _ in range(2):
    _vireon.Vireon_Stop(engine)
_vireon.delete_Vireon(engine)
print 'end'
''',
        )

    def test_the_callable_can_run_while_stop_waits_for_it(self):
        self.expect(
            'True\n',
            self.SEARCH
            + '''
import threading, time, vireon_probe as probe
inside, finished = threading.Event(), []
def callback(*_):
    inside.set()
    while not _vireon.Vireon_isClosed_get(engine):
        time.sleep(0.001)
    time.sleep(0.05)
    finished.append(1)
_vireon.Vireon_SetCallback(engine, callback)
kind = 'urn:schemas-upnp-org:device:ZOMediaServer:1'
answer = probe.response(200, {'Location': 'http://10.0.0.1/', 'USN': kind, 'FriendlyName': 'Den'})
with support.Quiet():
    _vireon.Vireon_ProcessSsdpMessage(engine, probe.message(answer), probe.context(),
                                      probe.string('an id'))
inside.wait()
_vireon.Vireon_Stop(engine)
print finished == [1]
_vireon.delete_Vireon(engine)
''',
        )

    def test_an_exception_that_ends_the_script_is_the_scripts(self):
        code, output, errors = support.run_isolated(
            self.SEARCH
            + '''
engine.disown()
raise SystemExit(7)
'''
        )
        self.assertEqual((7, '', ''), (code, output, errors))


class ScriptLayer(unittest.TestCase):
    def test_objects_of_any_module_end_by_their_class_at_exit(self):
        # The interpreter drops modules in an order that depends on their names.
        names = list('abcdefghijklmnopqrstuvwxyz') + ['app', 'finder', 'media']
        code, output, errors = support.run_script(
            '''
import imp
LAYER = """
import _vireon, os
class Device(object):
    @staticmethod
    def __swig_destroy__(device, delete=_vireon.delete_ZoSsdpDeviceInfo, write=os.write):
        write(1, 'destroyed\\\\n')
        delete(device)
    def __init__(self):
        self.this = _vireon.new_ZoSsdpDeviceInfo()
_vireon.ZoSsdpDeviceInfo_swigregister(Device)
device = Device()
"""
for name in %r:
    sys.modules[name] = imp.new_module(name)
    exec LAYER in sys.modules[name].__dict__
'''
            % names
        )
        self.assertEqual((0, len(names) * 'destroyed\n', ''), (code, output, errors))


class Import(unittest.TestCase):
    def test_threads_exist_from_the_import_on(self):
        code, output, errors = support.run_script(
            '''
import ctypes
print ctypes.pythonapi.PyEval_ThreadsInitialized() != 0
'''
        )
        self.assertEqual((0, 'True\n', ''), (code, output, errors))


if __name__ == '__main__':
    unittest.main()
