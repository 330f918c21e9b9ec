"""Who is there, by what was answered and when. No threads, no clock, no network."""

from __future__ import absolute_import

import collections

from vireon.events import CHANGED, FOUND, LOST, Event
from vireon.server import Server

# A network may claim any number of either; further ones are passed over.
MOST_SERVERS = 4096
MOST_LOCATIONS = 16  # of one server


class _Place(object):
    """What a server answered from one of its locations."""

    def __init__(self):
        self.entries = None
        self.heard = None


class _Known(object):
    """A server and its places, in the order in which they were first seen."""

    def __init__(self):
        self.places = collections.OrderedDict()
        self.answers = 0

    def answer(self, entries, now):
        """Whether it says something else than before."""
        self.answers += 1
        location = entries['location']
        if location not in self.places and len(self.places) >= MOST_LOCATIONS:
            return False
        place = self.places.setdefault(location, _Place())
        changed = place.entries != entries and location == self.newest()
        place.entries, place.heard = entries, now
        return changed

    def newest(self):
        """The location that was seen for the first time last."""
        return next(reversed(self.places))

    def was_silent_since(self, before):
        return any(place.heard < before for place in self.places.values())

    def forget(self, before):
        for location, place in list(self.places.items()):
            if place.heard < before:
                del self.places[location]

    def server(self, now):
        age = now - max(place.heard for place in self.places.values())
        return Server(self.places[self.newest()].entries, reversed(self.places), self.answers, age)


class Roll(object):
    """The servers that answered within the last `patience` seconds, merged by their `usn`.

    Times are numbers that only grow. Operations give the events that they come to.
    """

    def __init__(self, patience):
        self._patience = patience
        self._known = collections.OrderedDict()

    def answer(self, entries, now):
        usn = entries['usn']
        known = self._known.get(usn)
        if known is None:
            if len(self._known) >= MOST_SERVERS:
                return []
            known = self._known[usn] = _Known()
            known.answer(entries, now)
            return [Event(FOUND, known.server(now))]
        return [Event(CHANGED, known.server(now))] if known.answer(entries, now) else []

    def pass_time(self, now):
        events, before = [], now - self._patience
        for usn, known in list(self._known.items()):
            if known.was_silent_since(before):
                events += self._forget(usn, known, now)
        return events

    def __len__(self):
        return len(self._known)

    def servers(self, now):
        """In the order in which they were found."""
        return [known.server(now) for known in self._known.values()]

    def _forget(self, usn, known, now):
        last = known.server(now)
        known.forget(now - self._patience)
        if known.places:
            return [Event(CHANGED, known.server(now))]
        del self._known[usn]
        return [Event(LOST, last)]
