"""Interpreters that come, search and go, again and again, four at a time."""

import os
import statistics
import unittest

from host_case import ON_WINDOWS, OWN_THREADS, SAME_THREAD, HostCase

ROUNDS = int(os.environ.get('VIREON_ROUNDS', '250'))
AT_ONCE = 4
# Under the checks memory that was freed is kept for a while, so that its use is noticed.
MEASURES_MEMORY = not ON_WINDOWS and 'VIREON_ROUNDS' not in os.environ
# In pages of 4 KiB: less than the smallest engine in each round would leave. With threads of their
# own, which have heaps of their own, the memory of Python itself varies by more.
ROOM = {SAME_THREAD: 128, OWN_THREADS: 1024}
# Threads and descriptors of those that are just coming or going.
PASSING = 8

# Ends with and without a Stop, by chance. What it has of the process it says before.
ROUND = '''
import random, _vireon
from host_script import *
names = set()
def callback(event, device):
    names.add(device['friendlyName'])
class Owner(object):
    def __init__(self, engine):
        self.engine = engine
    def __del__(self, delete=_vireon.delete_Vireon):
        delete(self.engine)
owner = Owner(search(callback))
def waiting():
    return not names
def measured():
    if sys.platform == 'win32':
        import ctypes
        count = ctypes.c_uint32()
        kernel = ctypes.windll.kernel32
        kernel.GetProcessHandleCount(ctypes.c_void_p(-1), ctypes.byref(count))
        return count.value, 0, 0
    return (len(os.listdir('/proc/self/task')), len(os.listdir('/proc/self/fd')),
            open('/proc/self/statm').read().split()[1])
def finish():
    if random.random() < 0.5:
        _vireon.Vireon_Stop(owner.engine)
    if NUMBER == 0:
        say(*measured())
'''


class Rounds(HostCase):
    # Half a minute on a machine that has nothing else to do; each round waits for threads many times.
    time_limit_seconds = 800

    def run_rounds(self, way):
        code, said, errors = self.run_host(way, ROUND, '--count', AT_ONCE, '--rounds', ROUNDS)
        self.assertEqual((0, ''), (code, errors))
        rounds = [tuple(map(int, line.split())) for line in said]
        self.assertEqual(ROUNDS, len(rounds))
        # By then Python has what it keeps for the next ones.
        settled = len(rounds) // 4
        early, late = rounds[settled : 2 * settled], rounds[-settled:]
        for what in (0, 1):
            most = [max(each[what] for each in part) for part in (early, late)]
            self.assertLessEqual(most[1], most[0] + PASSING, rounds)
        if MEASURES_MEMORY:
            usual = [statistics.median(each[2] for each in part) for part in (early, late)]
            self.assertLess(usual[1] - usual[0], ROOM[way], rounds)

    def test_nothing_of_them_stays_on_the_same_thread(self):
        self.run_rounds(SAME_THREAD)

    def test_nothing_of_them_stays_with_threads_of_their_own(self):
        self.run_rounds(OWN_THREADS)


if __name__ == '__main__':
    unittest.main()
