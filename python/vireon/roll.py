"""Who is there, by what was answered and when. No threads, no clock, no network."""

from __future__ import absolute_import

import operator

from vireon.events import CHANGED, FOUND, LOST, Event
from vireon.server import Server

# A network may claim any number of either; further ones are passed over.
MOST_SERVERS = 4096
MOST_LOCATIONS = 16  # of one server


class _Place(object):
    """What a server answered from one of its locations."""

    def __init__(self, entries, now):
        self.location = entries['location']
        self.entries = entries
        self.heard = now


class _Known(object):
    """A server and its places, in the order in which they were first seen.

    Memory may end in the middle of an operation, and another thread look: both have to find something whole.
    So each changes what is kept by a single step.
    """

    def __init__(self, number, entries, now):
        self.number = number
        self.places = [_Place(entries, now)]
        self.answers = 1

    def answer(self, entries, now):
        """Whether it says something else than before."""
        self.answers += 1
        for place in self.places:
            if place.location == entries['location']:
                changed = place.entries != entries and place is self.places[-1]
                place.entries, place.heard = entries, now
                return changed
        if len(self.places) >= MOST_LOCATIONS:
            return False
        self.places.append(_Place(entries, now))
        return True

    def was_silent_since(self, before):
        return any(place.heard < before for place in self.places)

    def heard_since(self, before):
        return [place for place in self.places if place.heard >= before]

    def server(self, now):
        places = list(self.places)
        age = now - max(place.heard for place in places)
        locations = [place.location for place in reversed(places)]
        return Server(places[-1].entries, locations, self.answers, age)


class Roll(object):
    """The servers that answered within the last `patience` seconds, merged by their `usn`.

    Times are numbers that only grow. Operations give the events that they come to. One thread at a time; any
    may look meanwhile.
    """

    def __init__(self, patience):
        self._patience = patience
        self._known = {}
        self._found = 0

    def answer(self, entries, now):
        known = self._known.get(entries['usn'])
        if known is not None:
            return [Event(CHANGED, known.server(now))] if known.answer(entries, now) else []
        if len(self._known) >= MOST_SERVERS:
            return []
        self._found += 1
        known = _Known(self._found, entries, now)
        events = [Event(FOUND, known.server(now))]
        self._known[entries['usn']] = known
        return events

    def pass_time(self, now):
        events, before = [], now - self._patience
        for known in self._in_order():
            if known.was_silent_since(before):
                events += self._forget(known, before, now)
        return events

    def __len__(self):
        return len(self._known)

    def servers(self, now):
        """In the order in which they were found."""
        return [known.server(now) for known in self._in_order()]

    def _in_order(self):
        return sorted(self._known.values(), key=operator.attrgetter('number'))

    def _forget(self, known, before, now):
        places = known.heard_since(before)
        if places:
            known.places = places
            return [Event(CHANGED, known.server(now))]
        events = [Event(LOST, known.server(now))]
        del self._known[known.places[-1].entries['usn']]
        return events
