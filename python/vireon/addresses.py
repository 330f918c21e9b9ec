"""The IPv4 addresses that this machine has, each with what decides whether and how it is searched.

Nothing but a comparison is made of them: the module has a list of its own. Python 2.7 has no call that
gives them.
"""

from __future__ import absolute_import

import os
import socket
import struct

if os.name == 'nt':
    import ctypes

    _system = ctypes.WinDLL('iphlpapi')
    _ROW = struct.Struct('=LLLLLHH')  # MIB_IPADDRROW: the address, its interface, its mask, ..., its kind
    _INSUFFICIENT_BUFFER = 122

    def addresses():
        size = ctypes.c_ulong(0)
        code = _INSUFFICIENT_BUFFER
        while code == _INSUFFICIENT_BUFFER:
            table = ctypes.create_string_buffer(size.value)
            code = _system.GetIpAddrTable(table, ctypes.byref(size), 0)
        count = struct.unpack_from('=L', table)[0] if code == 0 else 0
        rows = (_ROW.unpack_from(table, 4 + number * _ROW.size) for number in range(count))
        return frozenset((row[0], row[1], row[2], row[6]) for row in rows)

else:
    import array
    import contextlib
    import fcntl

    _SIOCGIFCONF, _SIOCGIFFLAGS, _SIOCGIFNETMASK = 0x8912, 0x8913, 0x891B
    _ENTRY_SIZE = 16 + 8 + 2 * struct.calcsize('P')  # struct ifreq: a name and the largest of a union
    _MOST_ENTRIES = 1024
    # Of an interface's flags; others come and go.
    UP, BROADCAST, LOOPBACK, POINT_TO_POINT, MULTICAST = 0x1, 0x2, 0x8, 0x10, 0x1000
    _FLAGS = UP | BROADCAST | LOOPBACK | POINT_TO_POINT | MULTICAST

    def _entries(probe):
        room = array.array('c', '\0' * (_MOST_ENTRIES * _ENTRY_SIZE))
        request = struct.pack('iP', len(room), room.buffer_info()[0])
        size, _ = struct.unpack('iP', fcntl.ioctl(probe, _SIOCGIFCONF, request))
        filled = room[:size].tostring()
        return [filled[start : start + _ENTRY_SIZE] for start in range(0, size, _ENTRY_SIZE)]

    def _described(probe, entry):
        flags = struct.unpack_from('H', fcntl.ioctl(probe, _SIOCGIFFLAGS, entry), 16)[0] & _FLAGS
        mask = fcntl.ioctl(probe, _SIOCGIFNETMASK, entry)[20:24]
        return entry[:16].rstrip('\0'), entry[20:24], mask, flags

    def in_order():
        """Name, address, mask and flags of each."""
        found = []
        with contextlib.closing(socket.socket(socket.AF_INET, socket.SOCK_DGRAM)) as probe:
            for entry in _entries(probe):
                try:
                    found.append(_described(probe, entry))
                except IOError:
                    continue  # it has gone meanwhile
        return found

    def addresses():
        return frozenset(in_order())
