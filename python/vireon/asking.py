"""Searches like the module's, from sockets of our own: so that every answer is seen, the dropped ones too."""

from __future__ import absolute_import

import contextlib
import random
import select
import socket

from vireon import receive_buffer
from vireon.clock import steady
from vireon.interfaces import broadcast_of

GROUP, PORT = '239.255.255.250', 31288
TIMES = 2  # that each search goes out, since datagrams are lost
TIME_TO_LIVE = 4
FIRST_PORT, PORTS, ATTEMPTS = 1024, 15000, 20
LARGEST = 65536  # bytes, of a datagram

_HEAD = 'M-SEARCH * HTTP/1.1\r\nMX: 5\r\nST: ssdp:all\r\nMAN: "ssdp:discover"\r\nUser-Agent: UPnP/1.0\r\n'
_HOST, _CONNECTION = 'Host: %s:%d\r\n' % (GROUP, PORT), 'Connection: close\r\n'
# The two kinds of senders write them in different orders.
TO_BROADCAST = _HEAD + _HOST + _CONNECTION + '\r\n'
TO_GROUP = _HEAD + _CONNECTION + _HOST + '\r\n'


class Sender(object):
    """One socket, and where it sends its searches to."""

    def __init__(self, address, to_group):
        self.address = address.address
        self.destination = GROUP if to_group else broadcast_of(address)
        self.request = TO_GROUP if to_group else TO_BROADCAST
        self.sent = 0
        self.error = None  # the last one, as the system names it
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_BROADCAST, 1)
        receive_buffer.ask_for(self.socket)
        if to_group:
            self._bind()
            self.socket.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_TTL, TIME_TO_LIVE)
        self.socket.setblocking(False)

    @property
    def port(self):
        """Where answers go to; 0 before the first search."""
        try:
            return self.socket.getsockname()[1]
        except socket.error:  # of a socket that is nowhere yet, on Windows
            return 0

    def send(self):
        for _ in range(TIMES):
            try:
                if self.destination == GROUP:
                    self.socket.setsockopt(
                        socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton(self.address)
                    )
                self.socket.sendto(self.request, (self.destination, PORT))
                self.sent += 1
            except socket.error as error:
                self.error = error.strerror

    def receive(self):
        """A datagram and where it came from; None where there is none, or only a report of the system's."""
        try:
            return self.socket.recvfrom(LARGEST)
        except socket.error:
            return None

    def _bind(self):
        for attempt in range(1, ATTEMPTS + 1):
            try:
                return self.socket.bind(('', FIRST_PORT + random.randrange(PORTS)))
            except socket.error:
                if attempt == ATTEMPTS:
                    raise


def ask(senders, seconds, interval, on_answer):
    """Searches for so many seconds. `on_answer` gets each datagram, and the address and port of its source."""
    end = steady() + seconds
    due = steady()
    by_socket = dict((sender.socket, sender) for sender in senders)
    while steady() < end:
        if steady() >= due:
            for sender in senders:
                sender.send()
            due += interval
        wait = max(0, min(due, end) - steady())
        for readable in select.select(list(by_socket), [], [], wait)[0]:
            received = by_socket[readable].receive()
            if received is not None:
                on_answer(*received)


def open_senders(searched):
    """The senders of a search on these addresses: two each. Whoever has them closes them."""
    senders = []
    try:
        for address in searched:
            for to_group in (False, True):
                senders.append(Sender(address, to_group))
    except BaseException:
        close(senders)
        raise
    return senders


def close(senders):
    for sender in senders:
        sender.socket.close()


@contextlib.contextmanager
def senders_of(searched):
    """The same for a block, which closes them."""
    senders = open_senders(searched)
    try:
        yield senders
    finally:
        close(senders)
