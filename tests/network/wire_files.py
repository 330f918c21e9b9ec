"""What was on the wire of a test that failed, for people: a plugin of the tests' runner.

The system keeps what passes the interfaces of a test's namespaces while the test runs, as far as there is room:
some hundred datagrams, the first ones. Nobody looks at them, which would take time from the test, unless it
fails. Then they are written to a file for each namespace, in the folder `captures` beside the module.
"""

import os
import pathlib
import socket
import struct
import tempfile

import pytest

_ETH_P_ALL = 3
_ETH_P_IP = 0x0800
_SO_TIMESTAMPNS = 35
_LARGEST = 65536

# Of a capture file with times in nanoseconds: what it is, its version, the longest packet, packets without
# what the link puts in front of them.
_HEADER = struct.pack('=IHHiIII', 0xA1B23C4D, 2, 4, 0, 0, _LARGEST, 101)

_sockets = []  # of the test that runs


def watch(namespace):
    """Keeps what passes the namespace's interfaces until the test ends."""
    with namespace.entered():
        # Bound to no interface it hears all of them, those that are made later too.
        _sockets.append(socket.socket(socket.AF_PACKET, socket.SOCK_DGRAM, socket.htons(_ETH_P_ALL)))
    _sockets[-1].setsockopt(socket.SOL_SOCKET, _SO_TIMESTAMPNS, 1)


def write(wire, path):
    wire.setblocking(False)
    with open(path, 'wb') as file:
        file.write(_HEADER)
        while True:
            try:
                packet, control, _, address = wire.recvmsg(_LARGEST, 64)
            except BlockingIOError:
                return
            if address[1] == _ETH_P_IP:
                seconds, nanoseconds = struct.unpack('qq', control[0][2][:16])
                file.write(struct.pack('=IIII', seconds, nanoseconds, len(packet), len(packet)) + packet)


def keep(test):
    """Writes the files of a test; gives where they are."""
    folder = pathlib.Path(os.environ.get('VIREON_MODULE_DIR', tempfile.gettempdir()), 'captures')
    folder.mkdir(exist_ok=True)
    places = [folder / ('%s.%d.pcap' % (test, number)) for number in range(1, len(_sockets) + 1)]
    for wire, place in zip(_sockets, places):
        write(wire, place)
    return places


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item, call):
    report = (yield).get_result()
    if report.when != 'call':
        return
    if report.failed and _sockets:
        places = keep('%s.%s' % (item.module.__name__, item.name))
        report.sections.append(('on the wire, a file for each namespace', '\n'.join(map(str, places))))
    while _sockets:
        _sockets.pop().close()
