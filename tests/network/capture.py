"""What a namespace sends, as the wire sees it: every UDP datagram with its IP header."""

import collections
import ctypes
import os
import select
import socket
import struct
import threading
import time

_ETH_P_ALL = 3
_ETH_P_IP = 0x0800
_SO_TIMESTAMPNS = 35
_SO_ATTACH_FILTER = 26

# Classic BPF over the packet: keeps what goes out (not what comes in) and is UDP over IPv4, so that
# a flood towards the searcher costs the capture nothing.
_OUTGOING_UDP = [
    (0x28, 0, 0, 0xFFFFF000 + 4),  # A = packet type
    (0x15, 0, 5, socket.PACKET_OUTGOING),  # this one, else drop
    (0x28, 0, 0, 0xFFFFF000),  # A = protocol of the frame
    (0x15, 0, 3, _ETH_P_IP),  # this one, else drop
    (0x30, 0, 0, 9),  # A = protocol in the IP header
    (0x15, 0, 1, socket.IPPROTO_UDP),  # this one, else drop
    (0x06, 0, 0, 0x40000),  # keep whole
    (0x06, 0, 0, 0),  # drop
]

Datagram = collections.namedtuple(
    'Datagram', 'time interface ttl source source_port destination destination_port payload'
)


def _parse(packet, stamp, interface):
    header_size = (packet[0] & 15) * 4
    total = struct.unpack_from('!H', packet, 2)[0]
    source_port, destination_port, size = struct.unpack_from('!HHH', packet, header_size)
    end = header_size + size
    assert end <= total <= len(packet), 'a cut or fragmented datagram was captured'
    return Datagram(
        stamp,
        interface,
        packet[8],
        socket.inet_ntoa(packet[12:16]),
        source_port,
        socket.inet_ntoa(packet[16:20]),
        destination_port,
        bytes(packet[header_size + 8 : end]),
    )


def wait_for_either(source, wake):
    """Waits until there is something to read; tells whether `wake` asks the thread to end."""
    poll = select.poll()
    poll.register(source, select.POLLIN)
    poll.register(wake, select.POLLIN)
    return any(fd == wake for fd, _ in poll.poll())


class LoudThread:
    """A thread whose failure is the failure of whoever joins it."""

    def __init__(self, run):
        self._failure = None

        def guarded():
            try:
                run()
            except BaseException as failure:
                self._failure = failure

        self._thread = threading.Thread(target=guarded, daemon=True)
        self._thread.start()

    def join(self):
        self._thread.join()
        if self._failure is not None:
            raise self._failure


class WokenThread(LoudThread):
    """One that runs until it is told to end, by `wake`: something to read for it."""

    def __init__(self, run):
        self._wake, self._woken = os.pipe()
        super().__init__(lambda: run(self._wake))

    def end(self):
        os.write(self._woken, b'x')
        try:
            self.join()
        finally:
            os.close(self._wake)
            os.close(self._woken)


class Capture:
    """Collects from construction until close. Times are the kernel's, in seconds of the clock."""

    def __init__(self, namespace):
        with namespace.entered():
            # Bound to no interface it listens on all of them, those that are made later too.
            self._socket = socket.socket(socket.AF_PACKET, socket.SOCK_DGRAM, socket.htons(_ETH_P_ALL))
        program = b''.join(struct.pack('HBBI', *step) for step in _OUTGOING_UDP)
        buffer = ctypes.create_string_buffer(program)
        self._socket.setsockopt(
            socket.SOL_SOCKET,
            _SO_ATTACH_FILTER,
            struct.pack('HL', len(_OUTGOING_UDP), ctypes.addressof(buffer)),
        )
        self._socket.setsockopt(socket.SOL_SOCKET, _SO_TIMESTAMPNS, 1)
        self._socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 22)
        self._datagrams = []
        self._changed = threading.Condition()
        self._thread = WokenThread(self._run)

    def _run(self, wake):
        while True:
            if wait_for_either(self._socket, wake):
                return
            packet, control, _, address = self._socket.recvmsg(65536, 64)
            # The first ones may have come in before the filter.
            if (
                address[2] != socket.PACKET_OUTGOING
                or address[1] != _ETH_P_IP
                or packet[9] != socket.IPPROTO_UDP
            ):
                continue
            seconds, nanoseconds = struct.unpack('qq', control[0][2][:16])
            datagram = _parse(packet, seconds + nanoseconds / 1e9, address[0])
            with self._changed:
                self._datagrams.append(datagram)
                self._changed.notify_all()

    def close(self):
        try:
            self._thread.end()
        finally:
            self._socket.close()

    def datagrams(self):
        with self._changed:
            return list(self._datagrams)

    def wait(self, condition, timeout):
        """Waits until the condition holds for the datagrams so far and returns them.

        After the time-out the caller gets what there is, so that its own assertion tells what is
        missing.
        """
        deadline = time.monotonic() + timeout
        with self._changed:
            while not condition(self._datagrams):
                remaining = deadline - time.monotonic()
                if remaining <= 0:
                    break
                self._changed.wait(remaining)
            return list(self._datagrams)


def by_sender(datagrams):
    """Groups by (interface, source, source port, destination), in order of first appearance."""
    senders = collections.OrderedDict()
    for datagram in datagrams:
        key = (datagram.interface, datagram.source, datagram.source_port, datagram.destination)
        senders.setdefault(key, []).append(datagram)
    return senders
