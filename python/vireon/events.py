"""What happens to a list of servers, and how whoever wants to know gets it."""

from __future__ import absolute_import

import collections
import os
import thread

from vireon.failures import print_failure

FOUND = 'found'
CHANGED = 'changed'
LOST = 'lost'
CLOSED = 'closed'  # the last one; it has no server

Event = collections.namedtuple('Event', 'kind server')

MOST_WAITING = 65536  # the oldest go first: whoever let so many wait reads the list anew


class Events(object):
    """Events that wait for whoever takes them, or for a callable. Any thread.

    The callable gets one at a time, in their order, on a thread of those that hand on; none of them waits
    for another one.
    """

    def __init__(self, callback=None):
        self._callback = callback
        self._waiting = collections.deque(maxlen=MOST_WAITING)
        self._turn = thread.allocate_lock()
        self._deliverer = None
        self._process = os.getpid()

    def add(self, events):
        self._waiting.extend(events)

    def take(self):
        """All that wait, as a list."""
        taken = []
        try:
            while True:
                taken.append(self._waiting.popleft())
        except IndexError:
            return taken

    def hand_on(self):
        """Calls the callable, if there is one, unless that is being done already."""
        while self._callback is not None and self._waiting and self._turn.acquire(False):
            try:
                self._deliverer = thread.get_ident()
                for event in self.take():
                    if self._process == os.getpid():  # else the callable has forked, and this is the child
                        self._call(event)
            finally:
                self._deliverer = None
                self._turn.release()

    def is_called_here(self):
        """Whether this thread is within the callable."""
        return self._deliverer == thread.get_ident()

    def _call(self, event):
        try:
            self._callback(event)
        except:
            # Whatever it is: it must end neither the engine's thread nor ours.
            print_failure()
