"""Two clocks that nobody sets, unlike that of `time`. Python 2.7 has neither.

`steady()` gives seconds that only grow; `slept()` the seconds that the machine was asleep, which is a
number that grows while it sleeps and at no other time.
"""

from __future__ import absolute_import

import ctypes
import os

if os.name == 'nt':
    _system = ctypes.WinDLL('kernel32')
    _system.GetTickCount64.restype = ctypes.c_uint64

    def _since_start():
        """Seconds since the machine was started."""
        return _system.GetTickCount64() / 1000.0

    def steady():
        """Without those that it slept."""
        counted = ctypes.c_uint64()
        _system.QueryUnbiasedInterruptTime(ctypes.byref(counted))
        return counted.value / 1e7

else:
    _system = ctypes.CDLL(None, use_errno=True)
    _CLOCK_MONOTONIC, _CLOCK_BOOTTIME = 1, 7

    class _Time(ctypes.Structure):
        _fields_ = [('seconds', ctypes.c_long), ('nanoseconds', ctypes.c_long)]

    def _read(clock):
        time = _Time()
        if _system.clock_gettime(clock, ctypes.byref(time)) != 0:
            raise OSError(ctypes.get_errno(), 'clock_gettime(%d)' % clock)
        return time.seconds + time.nanoseconds / 1e9

    def _since_start():
        """Seconds since the machine was started."""
        return _read(_CLOCK_BOOTTIME)

    def steady():
        """Without those that it slept."""
        return _read(_CLOCK_MONOTONIC)


def slept():
    return _since_start() - steady()
