"""What was answered to a search, by source and verdict. No sockets."""

from __future__ import absolute_import

import collections

from vireon.verdict import BAD_USN, FAULTS, OTHER_DEVICE, is_meant_for_us, judge

MOST = 1024  # kinds of answers; a network may send any number, and further ones are only counted

# `source` is an address and a port; `usn`, `name` are those of an answer that is taken, else None.
Kind = collections.namedtuple('Kind', 'source fault says is_meant usn name')

# An address of which so many answers are dropped; why, by the one that is nearest to a good one.
Source = collections.namedtuple('Source', 'address count fault says')

# What is wrong with the answers in which a device tells of its parts, beside the one that counts.
NEEDLESS = (BAD_USN, OTHER_DEVICE)


class Answers(object):
    def __init__(self):
        self._counts = collections.OrderedDict()
        self.passed_over = 0

    def add(self, datagram, source):
        verdict = judge(datagram)
        taken = (verdict.usn, verdict.name) if verdict.fault is None else (None, None)
        kind = Kind(source, verdict.fault, verdict.says, is_meant_for_us(datagram), *taken)
        if kind in self._counts or len(self._counts) < MOST:
            self._counts[kind] = self._counts.get(kind, 0) + 1
        else:
            self.passed_over += 1

    def counted(self):
        """(kind, count) of each, in the order of their sources."""
        return sorted(self._counts.items(), key=lambda item: item[0].source)

    def found(self):
        """The USNs of the answers that are taken."""
        return set(kind.usn for kind in self._counts if kind.fault is None)

    def is_needless(self, kind):
        """Whether it is one more answer of a server that is taken by another one. Who answers a search for
        everything tells of its parts, too."""
        return kind.fault in NEEDLESS and kind.source in self._sources_of_servers()

    def faulty(self):
        """(address, fault) for each source that means to be a media server, by the answer that is nearest to
        one."""
        worst = {}
        for kind in self._counts:
            if kind.fault is not None and kind.is_meant and not self.is_needless(kind):
                worst.setdefault(kind.source, []).append(kind.fault)
        return [(source[0], max(faults, key=FAULTS.index)) for source, faults in sorted(worst.items())]

    def dropped(self):
        """A `Source` for each address, in the order in which they were first heard."""
        servers, sources = self._sources_of_servers(), collections.OrderedDict()
        for kind, count in self._counts.items():
            if kind.fault is None or (kind.fault in NEEDLESS and kind.source in servers):
                continue
            source = sources.get(kind.source[0], Source(kind.source[0], 0, kind.fault, kind.says))
            nearest = max(source, kind, key=lambda each: FAULTS.index(each.fault))
            sources[source.address] = Source(
                source.address, source.count + count, nearest.fault, nearest.says
            )
        return list(sources.values())

    def others(self):
        """How many addresses answer and mean to be none."""
        known = set(address for address, _ in self._sources_of_servers())
        known.update(address for address, _ in self.faulty())
        return len(set(kind.source[0] for kind in self._counts) - known)

    def _sources_of_servers(self):
        return set(kind.source for kind in self._counts if kind.fault is None)
