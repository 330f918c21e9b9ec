"""What a process has at the moment. Python 2.7."""
import ctypes
import os
import sys

if sys.platform == 'win32':

    class MemoryCounters(ctypes.Structure):
        _fields_ = [('size', ctypes.c_uint32), ('faults', ctypes.c_uint32)] + [
            (name, ctypes.c_size_t)
            for name in ('peak', 'resident', 'pool_peak', 'pool', 'other_peak', 'other', 'committed', 'most')
        ]

    def threads():
        return 0  # told with the handles

    def descriptors():
        handles = ctypes.c_uint32()
        ctypes.windll.kernel32.GetProcessHandleCount(ctypes.c_void_p(-1), ctypes.byref(handles))
        return handles.value

    def kilobytes():
        counters = MemoryCounters()
        counters.size = ctypes.sizeof(counters)
        ctypes.windll.psapi.GetProcessMemoryInfo(ctypes.c_void_p(-1), ctypes.byref(counters), counters.size)
        return counters.resident // 1024

else:

    def threads():
        return len(os.listdir('/proc/self/task'))

    def descriptors():
        return len(os.listdir('/proc/self/fd'))

    def kilobytes():
        with open('/proc/self/statm') as file:
            return int(file.read().split()[1]) * os.sysconf('SC_PAGESIZE') // 1024


# References, where the interpreter counts them.
references = getattr(sys, 'gettotalrefcount', int)


def say(*words):
    """One whole line, since others write as well."""
    os.write(1, ' '.join(str(word) for word in words) + '\n')
