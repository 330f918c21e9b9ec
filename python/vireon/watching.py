"""`watch`: the servers that are there, until somebody interrupts it."""

from __future__ import absolute_import

import time

from vireon import screen
from vireon.clock import steady
from vireon.events import CLOSED
from vireon.listing import NAME_WIDTH, address_of, line_of
from vireon.servers import Servers
from vireon.shown import say, shown

LOOK = 0.2  # seconds
REDRAW = 1.0  # seconds, where nothing happens
_ROW = u'%-' + str(NAME_WIDTH) + u's  %-15s  %8s  %5s  %7s'


def watch(seconds, interval):
    """Gives the exit code: 0, since to be interrupted is how a watch ends."""
    end = None if seconds is None else steady() + seconds
    tell = _Table() if screen.size() else _Lines()
    servers = Servers(interval=interval)
    try:
        while end is None or steady() < end:
            tell(servers)
            time.sleep(LOOK)
    except KeyboardInterrupt:
        pass
    finally:
        servers.close()
    return 0


class _Lines(object):
    """A line for each thing that happens."""

    def __call__(self, servers):
        for event in servers.events():
            if event.kind != CLOSED:
                say(u'%-8s %s' % (event.kind, line_of(event.server)))


class _Table(object):
    """A line for each server, written over and over."""

    def __init__(self):
        self._drawn = None

    def __call__(self, servers):
        now = steady()
        if servers.events() or self._drawn is None or now - self._drawn >= REDRAW:
            screen.draw(table(list(servers), *screen.size()))
            self._drawn = now


def table(servers, columns, height):
    """The lines of a table, cut to a terminal of that size; the last one stays free."""
    lines = [_ROW % (u'NAME', u'ADDRESS', u'NETWORKS', u'AGE', u'ANSWERS')]
    lines += [_row(server) for server in servers]
    if not servers:
        lines.append(u'No server has answered so far.')
    room = max(height - 2, 1)
    if len(lines) > room:
        lines[room - 1 :] = [u'and %d more' % (len(lines) - room + 1)]
    lines.append(u'Ctrl-C ends it.')
    return [line[: columns - 1] for line in lines]


def _row(server):
    return _ROW % (
        shown(server.name, NAME_WIDTH),
        shown(address_of(server), 15),
        len(server.locations),
        u'%d s' % server.age,
        server.answers,
    )
