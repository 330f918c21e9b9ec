"""Whose answers the module drops, counted for as long as somebody looks."""

from __future__ import absolute_import

from vireon import asking, interface_list
from vireon.answers import NEEDLESS, Answers
from vireon.clock import steady
from vireon.interfaces import judged

MOST_AT_ONCE = 500  # datagrams of one socket: a flood must not keep whoever looks
LATEST_ANSWER = 5.0  # seconds behind a search


class Dropped(object):
    """Searches as the module does, from sockets of its own, while it is looked at every now and then.

    It has no thread: what comes between two looks waits in the sockets. It follows the machine's addresses.
    """

    def __init__(self, interval):
        self._interval = interval
        self._due = steady()
        self._addresses, self._senders = [], []
        self._answers = Answers()
        self._doubted = {}  # since when, by address

    def look(self):
        """The sources, as `Answers.dropped` gives them. Never waits."""
        if steady() >= self._due:
            self._due = steady() + self._interval
            self._search()
        for sender in self._senders:
            self._receive(sender)
        return [source for source in self._answers.dropped() if self._is_sure(source)]

    def close(self):
        asking.close(self._senders)
        self._senders = []

    def _search(self):
        addresses = [address for address, reason in judged(interface_list.read()) if reason is None]
        if addresses != self._addresses:
            self.close()
            self._addresses, self._senders = addresses, asking.open_senders(addresses)
        for sender in self._senders:
            sender.send()

    def _receive(self, sender):
        for _ in range(MOST_AT_ONCE):
            received = sender.receive()
            if received is None:
                break
            datagram, (address, _) = received
            # Some servers answer from ever new ports: in time these would be more kinds than are told apart.
            self._answers.add(datagram, (address, 0))

    def _is_sure(self, source):
        """What a server tells of its parts may come before the answer that counts."""
        since = self._doubted.setdefault(source.address, steady())
        return source.fault not in NEEDLESS or steady() - since > LATEST_ANSWER
