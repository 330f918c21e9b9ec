"""The IPv4 addresses of this machine as the module reads them, in the same order."""

from __future__ import absolute_import

import contextlib
import os
import socket
import struct

from vireon import addresses
from vireon.interfaces import MOST, Address


def _address(interface, address, mask, flags, names):
    up, loopback, point_to_point, broadcast, multicast = (bool(flags & name) for name in names)
    return Address(
        interface,
        socket.inet_ntoa(address),
        socket.inet_ntoa(mask),
        up,
        loopback,
        point_to_point,
        broadcast,
        multicast,
    )


if os.name == 'nt':
    import ctypes

    _system = ctypes.WinDLL('ws2_32')
    _system.WSAIoctl.argtypes = (
        [ctypes.c_size_t, ctypes.c_ulong] + 2 * [ctypes.c_void_p, ctypes.c_ulong] + 3 * [ctypes.c_void_p]
    )
    _SIO_GET_INTERFACE_LIST = 0x4004747F
    _RECORD = struct.Struct('=L4x4s16x24x4x4s16x')  # INTERFACE_INFO: flags, address, broadcast, mask
    _FLAGS = (0x1, 0x4, 0x8, 0x2, 0x10)  # IFF_UP, _LOOPBACK, _POINTTOPOINT, _BROADCAST, _MULTICAST

    def read():
        """The system refuses to give a part where there are more than the most: so the module has none."""
        records, size = ctypes.create_string_buffer(MOST * _RECORD.size), ctypes.c_ulong()
        request = (_SIO_GET_INTERFACE_LIST, None, 0, records, len(records), ctypes.byref(size), None, None)
        with contextlib.closing(socket.socket(socket.AF_INET, socket.SOCK_DGRAM)) as probe:
            if _system.WSAIoctl(probe.fileno(), *request) != 0:
                raise EnvironmentError('the system lists no addresses; more than %d are too many' % MOST)
        rows = (_RECORD.unpack_from(records, start) for start in range(0, size.value, _RECORD.size))
        return [_address('', address, mask, flags, _FLAGS) for flags, address, mask in rows]

    def without_address():
        return []  # the system names none

else:
    LIST = '/proc/net/dev'
    _FLAGS = (
        addresses.UP,
        addresses.LOOPBACK,
        addresses.POINT_TO_POINT,
        addresses.BROADCAST,
        addresses.MULTICAST,
    )

    def read():
        return [_address(*(row + (_FLAGS,))) for row in addresses.in_order()]

    def without_address():
        """The names of interfaces that have no IPv4 address, where the system tells them."""
        try:
            with open(LIST) as file:
                names = [line.partition(':')[0].strip() for line in file.readlines()[2:]]
        except IOError:  # as in a sandbox
            return []
        having = set(row[0].partition(':')[0] for row in addresses.in_order())
        return [name for name in names if name not in having]
