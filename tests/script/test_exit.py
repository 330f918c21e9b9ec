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
        self.expect('end\n', self.SEARCH + '''
engine.disown()
print 'end'
''')

    def test_so_does_one_whose_class_destroys_the_engine_at_exit(self):
        self.expect('end\n', '''
import _vireon
class Vireon(object):
    __swig_destroy__ = _vireon.delete_Vireon
_vireon.Vireon_swigregister(Vireon)
''' + self.SEARCH + '''
print 'end'
''')

    def test_stop_and_delete_leave_nothing_behind(self):
        self.expect('end\n', self.SEARCH + '''
for _ in range(2):
    _vireon.Vireon_Stop(engine)
_vireon.delete_Vireon(engine)
print 'end'
''')

    def test_other_threads_run_while_stop_waits(self):
        self.expect('True\n', self.SEARCH + '''
import threading, time
turns = []
def count():
    while not done:
        turns.append(1)
        time.sleep(0.001)
done = False
counter = threading.Thread(target=count)
counter.start()
del turns[:]
_vireon.Vireon_Stop(engine)
enough = len(turns) > 5
done = True
counter.join()
_vireon.delete_Vireon(engine)
print enough
''')

    def test_an_exception_that_ends_the_script_is_the_scripts(self):
        code, output, errors = support.run_isolated(self.SEARCH + '''
engine.disown()
raise SystemExit(7)
''')
        self.assertEqual((7, '', ''), (code, output, errors))


class Import(unittest.TestCase):
    def test_threads_exist_from_the_import_on(self):
        code, output, errors = support.run_script('''
import ctypes
print ctypes.pythonapi.PyEval_ThreadsInitialized() != 0
''')
        self.assertEqual((0, 'True\n', ''), (code, output, errors))


if __name__ == '__main__':
    unittest.main()
