"""A list of the servers that are there."""

from __future__ import absolute_import

import os
import threading

from vireon.clock import steady
from vireon.engine import INTERVAL, search_begun
from vireon.events import CLOSED, Event, Events
from vireon.roll import Roll
from vireon.surroundings import Surroundings
from vireon.ticker import PERIOD, Ticker
from vireon.weak import WeakMethod

ROUNDS = 3

SECONDS_TO_TRY_AGAIN = 10.0  # a search that could not begin as a whole; seldom, since the reason may last


class Servers(object):
    """The servers of the networks that this machine is in, kept up to date until it is closed.

        servers = vireon.Servers()
        ...
        for event in servers.events():          # in a GUI's timer; never waits
            print event.kind, event.server
        ...
        servers.close(wait=False)

    Iterating gives those that are there. An event is FOUND, CHANGED or LOST, with the server as it was
    then; the last one is CLOSED, without one. Events wait until `events` takes them; with `on_event`, a
    callable, each is handed to it instead, one at a time and in order, on a thread that is not the
    script's. An exception that it raises is printed.

    A server is lost when it did not answer `lost_after` rounds one after the other, each `interval`
    seconds long. While the program did not run, or the machine slept, no round passes.

    The search starts anew when the machine's addresses change and when it wakes up. One that is dropped
    ends as if it were closed, and so does the one that a forked child inherited when the child closes it.
    """

    def __init__(self, on_event=None, interval=INTERVAL, lost_after=ROUNDS, surroundings=None):
        if not interval > 0 or not lost_after > 0:
            raise ValueError('an interval and a number of rounds are above 0')
        self._interval = interval
        # Whoever answered at the beginning of a round may answer the last one at its end.
        self._roll = Roll((lost_after + 1) * interval)
        self._events = Events(on_event)
        self._surroundings = surroundings or Surroundings()
        self._heard = 0.0, steady()  # the seconds till a moment, but for those in which nobody could listen
        self._refreshes = False
        self._due = None  # when a search that began in part is tried again
        self._closed = False
        self._lock = threading.Lock()
        self._process = os.getpid()
        self._ticker = None
        self._engine = self._new_engine()
        try:
            self._ticker = Ticker(self._tick)
        except BaseException:
            # Of an interrupt, say, whose traceback may keep this list and its search for long.
            self._closed = True
            self._engine.stop()
            raise

    # Whoever looks takes no lock. An interrupt might leave it held, and the handler of a signal wait for it.

    def __iter__(self):
        return iter(self._roll.servers(self._now()))

    def __len__(self):
        return len(self._roll)

    def events(self):
        """The events since the last call, as a list. Never waits."""
        return self._events.take()

    def refresh(self):
        """Has the search start anew soon, on the addresses that the machine has then. Never waits."""
        self._refreshes = True
        self._ticker.wake()

    @property
    def closed(self):
        return self._closed

    def close(self, wait=True):
        """Ends the search. Waits for `on_event` if it is running, and else not longer than 0.1 s.

        Without the wait another thread does that: for a GUI's program, whose `on_event` may be waiting for
        the thread that closes. CLOSED tells when it is done. A further close neither does nor waits for
        anything.
        """
        with self._held():
            if self._closed:
                return
            self._closed = True
            engine, self._engine = self._engine, None
        if wait:
            self._ticker.tell_to_end()
            self._finish(engine)
        else:
            self._ticker.tell_to_end(lambda: self._finish(engine))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def _held(self):
        """The lock. A forked child may have inherited it held by a thread that it has not."""
        if self._process != os.getpid():
            self._lock, self._process = threading.Lock(), os.getpid()
        return self._lock

    def _new_engine(self):
        engine, is_whole = search_begun(self._interval, WeakMethod(self._on_answer))
        self._due = None if is_whole else steady() + SECONDS_TO_TRY_AGAIN
        return engine

    def _finish(self, engine):
        engine.stop()
        if not self._events.is_called_here():  # else the ticker may be waiting for this thread
            self._ticker.await_end()
        self._events.add([Event(CLOSED, None)])
        self._events.hand_on()

    def _on_answer(self, _, entries):
        with self._held():
            if not self._closed:
                self._events.add(self._roll.answer(entries, self._now()))
        if self._ticker is not None:  # else the callable could not close a list that is being made
            self._events.hand_on()

    def _tick(self):
        self._pass_time()
        if self._refreshes or self._is_due() or self._surroundings.have_changed():
            self._start_anew()
        self._events.hand_on()

    def _now(self):
        """The seconds in which the list could listen."""
        seconds, moment = self._heard
        return seconds + min(steady() - moment, 2 * PERIOD)

    def _pass_time(self):
        with self._held():
            if not self._closed:
                self._heard = self._now(), steady()
                self._events.add(self._roll.pass_time(self._heard[0]))

    def _is_due(self):
        """Whether what had no port or no thread may have one now."""
        return self._due is not None and steady() >= self._due

    def _start_anew(self):
        self._refreshes = False
        try:
            self._surroundings.settle()
            # Without the lock: an engine whose search fails is stopped, and that waits for an answer, which
            # waits for the lock.
            engine = None if self._closed else self._new_engine()
        except BaseException:
            self._refreshes = True  # of memory, say: the next look may have some
            raise
        if engine is None:
            return
        with self._held():
            if not self._closed:
                engine, self._engine = self._engine, engine
        engine.stop()
