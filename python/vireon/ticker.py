"""A thread that looks after something now and then, for as long as somebody else holds that."""

from __future__ import absolute_import

import atexit
import os
import threading
import time
import weakref

from vireon.failures import print_failure
from vireon.weak import WeakMethod

PERIOD = 1.0  # seconds
LOOKS = 20  # of a period; whether it has to be now. No lock, which a forked child might inherit held

LONGEST_END = 1.0  # seconds that an end of the interpreter waits for what a method does just then

_running = weakref.WeakSet()


class Ticker(object):
    """Calls a method of an object each period, on a thread of its own. The thread does not hold the object.

    It ends when it is told to, when the object has gone, and when the interpreter ends; in a child that the
    method forks when it returns.
    """

    def __init__(self, method):
        self._woken = self._ended = False
        self._last = None
        self._process = os.getpid()
        self._method = WeakMethod(method, gone=self._gone)
        self._thread = threading.Thread(target=self._run)
        self._thread.daemon = True
        _running.add(self)
        self._thread.start()

    def wake(self):
        """Has the method called soon."""
        self._woken = True

    def tell_to_end(self, last=None):
        """Has the thread end soon, behind a call of `last` if that is given; does not wait for it."""
        self._last = last
        self._ended = True

    def await_end(self, seconds=None):
        """Waits for the thread, which was told to end, unless this is the one or it could not be started."""
        if self._thread.ident is not None and threading.current_thread() is not self._thread:
            self._thread.join(seconds)

    def _gone(self, _):
        self._ended = True

    def _run(self):
        while not self._ended:
            self._wait()
            if not self._ended:
                self._look()
            if self._process != os.getpid():
                return
        last, self._last = self._last, None
        if last is not None:
            last()

    def _look(self):
        try:
            self._method()
        except Exception:
            # Of memory, say: the next look may have some.
            print_failure()

    def _wait(self):
        for _ in range(LOOKS):
            if self._woken or self._ended:
                break
            time.sleep(PERIOD / LOOKS)
        self._woken = False


@atexit.register
def _end_all():
    # A thread that ran on would find the names of its modules gone.
    tickers = list(_running)
    for ticker in tickers:
        ticker._ended = True
    for ticker in tickers:
        ticker.await_end(LONGEST_END)
