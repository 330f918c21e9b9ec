"""A server, as it was when somebody asked."""

from __future__ import absolute_import

import collections


class Server(collections.Mapping):
    """What a server says of itself: a dictionary of what it answered, which does not change.

    Keys are texts, values the bytes that somebody on the network sent. A server that answers on several
    networks has a location in each. `answers` counts what it has answered, `age` is how many seconds ago
    it did so last.
    """

    def __init__(self, entries, locations=None, answers=1, age=0.0):
        self._entries = entries
        self.locations = (entries['location'],) if locations is None else tuple(locations)
        self.answers = answers
        self.age = age

    @property
    def usn(self):
        """What tells servers apart."""
        return self._entries['usn']

    @property
    def name(self):
        """The name that people see."""
        return self._entries['friendlyName']

    @property
    def location(self):
        """Where its description is: of several places the one that was seen for the first time last."""
        return self._entries['location']

    def __getitem__(self, key):
        return self._entries[key]

    def __iter__(self):
        return iter(self._entries)

    def __len__(self):
        return len(self._entries)

    def __repr__(self):
        return 'Server(usn=%r, name=%r, locations=%r)' % (self.usn, self.name, self.locations)
