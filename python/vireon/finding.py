"""The servers that answer within some seconds."""

from __future__ import absolute_import

import collections
import time

from vireon.clock import steady
from vireon.engine import INTERVAL, search_begun
from vireon.roll import MOST_SERVERS
from vireon.server import Server
from vireon.weak import WeakMethod

# Seconds. Python's own queues wait by the clock on the wall, and have a lock that a fork may find held.
LOOK = 0.05


def search(seconds, interval=INTERVAL):
    """Searches for so many seconds, and gives each server as it is found, once.

        for server in vireon.search(5):
            print server.name, server.location

    The search begins with the first one that is asked for, and ends with the loop however that ends.
    """
    if not seconds >= 0:
        raise ValueError('no number of seconds: %r' % seconds)
    return _each(seconds, interval)


def _each(seconds, interval):
    # No block around the yield: a generator that is left within one, in a cycle, is never collected.
    found = _Found(seconds, interval)
    server = found.next_one()
    while server is not None:
        yield server
        server = found.next_one()


class _Found(object):
    def __init__(self, seconds, interval):
        self._usns = set()
        self._waiting = collections.deque()
        self._end = steady() + seconds
        self._engine, _ = search_begun(interval, WeakMethod(self._on_answer))

    def _on_answer(self, _, entries):
        usn = entries['usn']
        if usn not in self._usns and len(self._usns) < MOST_SERVERS:
            self._usns.add(usn)
            self._waiting.append(Server(entries))

    def next_one(self):
        """None when the time is over; the search has ended then."""
        try:
            while not self._waiting:
                left = self._end - steady()
                if left <= 0:
                    self._engine.stop()
                    return None
                time.sleep(min(left, LOOK))
            return self._waiting.popleft()
        except BaseException:
            self._engine.stop()
            raise
