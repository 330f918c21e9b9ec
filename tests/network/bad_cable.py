"""A cable that loses, repeats, swaps, damages and delays what it carries.

The kernel's own means for that (netem) are missing on many machines. So both ends of this cable lie
in a namespace between the two that it joins, and a program there takes each frame from one end to
the other, or does not.
"""

import array
import fcntl
import heapq
import os
import random
import select
import socket
import struct
import time

from capture import WokenThread
from namespace import Namespace

_ETH_P_ALL = 3
_ETH_P_IP = 0x0800
_SIOCETHTOOL = 0x8946
_ETHTOOL_STXCSUM = 0x17

_PROTOCOL = 14 + 9  # where an IPv4 frame has its protocol
_UDP = 14 + 20  # where its UDP header begins, since none has IP options here
_UDP_CHECKSUM = _UDP + 6
_TEXT = _UDP + 8


def seeded(test):
    """The random source of a test. VIREON_SEED has it draw what it drew before."""
    seed = int(os.environ.get('VIREON_SEED') or random.SystemRandom().getrandbits(32))
    test.note('VIREON_SEED=%d' % seed)
    return random.Random(seed)


def fill_in_checksums(namespace, interface):
    """Has the system work out checksums itself: within a machine it leaves them to be worked out by
    an adapter at the end of the way, and there is none."""
    value = array.array('I', (_ETHTOOL_STXCSUM, 0))
    request = struct.pack('16sP16x', interface.encode(), value.buffer_info()[0])
    with namespace.entered(), socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as any_socket:
        fcntl.ioctl(any_socket, _SIOCETHTOOL, request)


# What may happen to a frame: each takes a frame and a random source, and gives the frames that
# arrive instead, with the seconds until then.


def untouched(frame, _):
    return [(0, frame)]


def losing(share):
    return lambda frame, draw: [] if draw.random() < share else [(0, frame)]


def repeating(times):
    return lambda frame, _: [(0, frame)] * times


def delaying(least, most):
    return lambda frame, draw: [(draw.uniform(least, most), frame)]


def delaying_some(share, seconds):
    return lambda frame, draw: [(seconds if draw.random() < share else 0, frame)]


def damaging(share):
    """One bit of the text is turned over, which the checksum tells."""

    def damage(frame, draw):
        if draw.random() >= share:
            return [(0, frame)]
        damaged = bytearray(frame)
        damaged[draw.randrange(_TEXT, len(frame))] ^= 1 << draw.randrange(8)
        return [(0, bytes(damaged))]

    return damage


def cutting(share):
    """The frame ends somewhere in its text, though its header tells another length."""

    def cut(frame, draw):
        return [(0, frame if draw.random() >= share else frame[: draw.randrange(_TEXT, len(frame))])]

    return cut


def without_checksum(frame, _):
    return [(0, frame[:_UDP_CHECKSUM] + b'\0\0' + frame[_UDP_CHECKSUM + 2 :])]


def all_of(*happenings):
    """One happening after the other, each to all that the one before it left."""

    def happen(frame, draw):
        frames = [(0, frame)]
        for happening in happenings:
            frames = [
                (before + after, result) for before, each in frames for after, result in happening(each, draw)
            ]
        return frames

    return happen


class _Way:
    """One direction: where its frames come in and go out, what happens to them, and what came of it."""

    def __init__(self, source, target):
        self.source, self.target = source, target
        self.happens = untouched
        self.taken, self.given = [], []


class BadCable:
    """Joins the interfaces `eth0` of two namespaces, which it makes, from construction until close.

    `to_here` and `to_there` are its two ways. What happens to UDP over IPv4 on a way is `happens` and
    may be replaced at any time; all else is carried over as it is. The frames of UDP that a way has
    taken in and has handed over stand in `taken` and `given`, in order.
    """

    def __init__(self, here, there, draw):
        self._draw = draw
        self._middle = Namespace()
        ends = []
        for namespace, end in ((here, 'here'), (there, 'there')):
            namespace.connect('eth0', self._middle, end)
            fill_in_checksums(namespace, 'eth0')
            with self._middle.entered():
                ends.append(socket.socket(socket.AF_PACKET, socket.SOCK_RAW, 0))
                ends[-1].bind((end, _ETH_P_ALL))
                ends[-1].setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 22)
        self.to_there = _Way(ends[0], ends[1])
        self.to_here = _Way(ends[1], ends[0])
        self._ways = {way.source.fileno(): way for way in (self.to_there, self.to_here)}
        self._waiting, self._number = [], 0
        self._thread = WokenThread(self._run)

    def _run(self, wake):
        poll = select.poll()
        for fd in (wake, *self._ways):
            poll.register(fd, select.POLLIN)
        while True:
            ready = [fd for fd, _ in poll.poll(self._milliseconds_to_wait())]
            if wake in ready:
                return
            for fd in ready:
                self._take_in(self._ways[fd])
            while self._waiting and self._waiting[0][0] <= time.monotonic():
                _, _, way, frame, counts = heapq.heappop(self._waiting)
                self._hand_over(way, frame, counts)

    def _milliseconds_to_wait(self):
        if not self._waiting:
            return None
        return max(0, int((self._waiting[0][0] - time.monotonic()) * 1000) + 1)

    def _take_in(self, way):
        frame, address = way.source.recvfrom(65536)
        if address[2] == socket.PACKET_OUTGOING:
            return
        is_udp = address[1] == _ETH_P_IP and frame[_PROTOCOL] == socket.IPPROTO_UDP
        now = time.monotonic()
        for delay, each in (way.happens if is_udp else untouched)(frame, self._draw):
            self._number += 1
            heapq.heappush(self._waiting, (now + delay, self._number, way, each, is_udp))
        # Only now, since a test changes what happens once it has seen that all is taken in.
        if is_udp:
            way.taken.append(frame)

    @staticmethod
    def _hand_over(way, frame, counts):
        # Before it is sent: what it causes at the other end comes sooner than the next line here.
        if counts:
            way.given.append(frame)
        try:
            way.target.send(frame)
        except OSError:  # an end that is down, or gone: a cable that was pulled out
            if counts:
                way.given.pop()

    def close(self):
        try:
            self._thread.end()
        finally:
            for way in self._ways.values():
                way.source.close()
            self._middle.close()
