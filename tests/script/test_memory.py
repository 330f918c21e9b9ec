"""A million calls do not make the process grow. Reads /proc; for a plain build, since sanitizers
and the debug interpreter keep freed memory for a while."""
import os
import sys
import unittest

import support
import vireon_probe as probe

_vireon = support._vireon


class Sink(object):
    """Takes the leak reports of owned results, which belong to no class here."""

    def write(self, _):
        pass


class Memory(unittest.TestCase):
    ROUNDS = 1000000
    # Fragmentation may cost a little; one lost byte per round would be four times this.
    ALLOWED_KIB = 256

    @staticmethod
    def resident_kib():
        with open('/proc/self/statm') as counts:
            return int(counts.read().split()[1]) * os.sysconf('SC_PAGE_SIZE') // 1024

    def check(self, action, rounds=ROUNDS):
        before_stdout, sys.stdout = sys.stdout, Sink()
        try:
            for _ in xrange(rounds // 20):
                action()
            before = self.resident_kib()
            for _ in xrange(rounds):
                action()
            growth = self.resident_kib() - before
        finally:
            sys.stdout = before_stdout
        self.assertLess(growth, self.ALLOWED_KIB)

    def test_new_and_delete(self):
        new, delete = _vireon.new_ZoSsdpDeviceInfo, _vireon.delete_ZoSsdpDeviceInfo
        self.check(lambda: delete(new()))

    def test_new_and_delete_of_engines_and_workers(self):
        def action():
            engine = _vireon.new_Vireon()
            worker = _vireon.new_CallbackTaskWorkerThread(engine)
            _vireon.delete_CallbackTaskWorkerThread(worker)
            _vireon.delete_Vireon(engine)

        self.check(action)

    def test_get_and_set(self):
        device = _vireon.new_ZoSsdpDeviceInfo()
        get, put = (_vireon.ZoSsdpDeviceInfo_m_Manufacturer_get, _vireon.ZoSsdpDeviceInfo_m_Version_set)
        self.check(lambda: put(device, get(device)))
        _vireon.delete_ZoSsdpDeviceInfo(device)

    def test_get_description(self):
        device = _vireon.new_ZoSsdpDeviceInfo()

        def action():
            text = probe.string('')
            _vireon.ZoSsdpDeviceInfo_GetDescription(device, text)
            probe.delete_string(text)

        self.check(action)
        _vireon.delete_ZoSsdpDeviceInfo(device)


class Exhaustion(unittest.TestCase):
    def test_native_memory_that_runs_out_is_a_memory_error(self):
        code, output, errors = support.run_script(
            '''
import resource, _vireon, vireon_probe as probe
device, text = _vireon.new_ZoSsdpDeviceInfo(), probe.string(50000000 * 'x')
with open('/proc/self/statm') as counts:
    pages = int(counts.read().split()[0])
limit = pages * resource.getpagesize() + 120000000
resource.setrlimit(resource.RLIMIT_AS, (limit, limit))
failed = []
for field in ('Manufacturer', 'ModelName', 'ModelURL', 'Version'):
    try:
        getattr(_vireon, 'ZoSsdpDeviceInfo_m_%s_set' % field)(device, text)
    except MemoryError:
        failed.append(field)
try:
    _vireon.ZoSsdpDeviceInfo_m_Manufacturer_get(device)
except MemoryError:
    failed.append('get')
print failed
_vireon.delete_ZoSsdpDeviceInfo(device)
'''
        )
        self.assertEqual((0, "['ModelURL', 'Version', 'get']\n", ''), (code, output, errors))


if __name__ == '__main__':
    unittest.main()
