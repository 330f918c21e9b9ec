"""Whether a search that runs has come to be in the wrong place.

The module searches an interface again by itself that went and came back. It does not notice an address
that is new, and what a machine was told before it slept may be long gone when it wakes up.
"""

from __future__ import absolute_import

from vireon import addresses, clock

LEAST_SLEEP = 1.0  # seconds; the two clocks that it is read from are not read at the same moment


class Surroundings(object):
    """What a search was started in. One thread at a time."""

    def __init__(self, addresses=addresses.addresses, slept=clock.slept):
        self._read_addresses, self._read_slept = addresses, slept
        self.settle()

    def settle(self):
        """A search starts here and now."""
        # Where the addresses cannot be read a search finds no descriptor either. It starts anew once they can.
        self._seen = frozenset()
        self._addresses = self._seen = self._look()
        self._slept = self._read_slept()

    def have_changed(self):
        """Whether a search should start anew. Addresses come one by one: it is so once they are the same
        in two looks."""
        seen, self._seen = self._seen, self._look()
        if self._read_slept() - self._slept >= LEAST_SLEEP:
            return True
        return self._seen != self._addresses and self._seen == seen

    def _look(self):
        try:
            return self._read_addresses()
        except EnvironmentError:
            # A process that has no descriptor left sees no change, and asks again.
            return self._seen
