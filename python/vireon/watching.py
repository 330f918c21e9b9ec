"""`watch`: the servers that are there, until somebody interrupts it."""

from __future__ import absolute_import

import time

from vireon import screen
from vireon.clock import steady
from vireon.dropped import Dropped
from vireon.events import CLOSED
from vireon.listing import NAME_WIDTH, address_of, line_of
from vireon.servers import Servers
from vireon.shown import columns_of, say, shown

LOOK = 0.2  # seconds
REDRAW = 1.0  # seconds, where nothing happens
_ROW = u'%-' + str(NAME_WIDTH) + u's  %-15s  %8s  %5s  %7s'
_SOURCE = u'%-15s  %7s  %s'


def watch(seconds, interval, shows_dropped=False):
    """Gives the exit code: 0, since to be interrupted is how a watch ends."""
    end = None if seconds is None else steady() + seconds
    tell = _Table() if screen.size() else _Lines()
    dropped = Dropped(interval) if shows_dropped else None
    servers = Servers(interval=interval)
    sources = None
    try:
        while True:
            sources = dropped and dropped.look()
            tell(servers, sources)
            left = LOOK if end is None else min(LOOK, end - steady())
            if left <= 0:
                break
            time.sleep(left)
    except KeyboardInterrupt:
        pass
    finally:
        servers.close()
        if dropped:
            dropped.close()
    tell.end(sources)
    return 0


class _Lines(object):
    """A line for each thing that happens: of answers that are dropped the first one of each source, and at
    the end how many they were."""

    def __init__(self):
        self._reasons = {}  # that were told, by address

    def __call__(self, servers, dropped):
        for event in servers.events():
            if event.kind != CLOSED:
                say(u'%-8s %s' % (event.kind, line_of(event.server)))
        for source in dropped or []:
            if self._reasons.get(source.address) != source.says:
                self._reasons[source.address] = source.says
                self._say(source)

    def end(self, dropped):
        for source in dropped or []:
            self._say(source)

    def _say(self, source):
        say(u'dropped  ' + _line_of_source(source))


class _Table(object):
    """A line for each server, written over and over."""

    def __init__(self):
        self._drawn = None

    def __call__(self, servers, dropped):
        now = steady()
        if servers.events() or self._drawn is None or now - self._drawn >= REDRAW:
            size = screen.size()
            if size is None:
                raise EnvironmentError('the terminal has gone')
            columns, height = size
            screen.draw(table(list(servers), columns, height, dropped))
            self._drawn = now

    def end(self, dropped):
        pass  # what was drawn last stays


def table(servers, columns, height, dropped=None):
    """The lines of a table, cut to a terminal of that size; the last one stays free. Below it stand the
    sources whose answers are dropped, unless they are None."""
    room = max(height - 2, 1)
    below = _cut([] if dropped is None else _lines_of_sources(dropped), room // 2)
    lines = [_ROW % (u'NAME', u'ADDRESS', u'NETWORKS', u'AGE', u'ANSWERS')]
    lines += [_row(server) for server in servers]
    if not servers:
        lines.append(u'No server has answered so far.')
    lines = _cut(lines, room - len(below)) + below + [u'Ctrl-C ends it.']
    return [_fitting(line, max(columns - 1, 0)) for line in lines]


def _fitting(line, columns):
    """As much of it as takes so many columns at most."""
    fitting = min(columns, len(line))
    while columns_of(line[:fitting]) > columns:
        fitting -= 1
    return line[:fitting]


def _cut(lines, room):
    if len(lines) <= room:
        return lines
    kept = lines[: max(room - 1, 0)]
    return (kept + [u'and %d more' % (len(lines) - len(kept))])[:room]


def _lines_of_sources(dropped):
    lines = [u'', _SOURCE % (u'DROPPED FROM', u'ANSWERS', u'REASON')]
    return lines + ([_line_of_source(source) for source in dropped] or [u'No answer was dropped so far.'])


def _line_of_source(source):
    return _SOURCE % (source.address, source.count, source.says)


def _row(server):
    return _ROW % (
        shown(server.name, NAME_WIDTH),
        shown(address_of(server), 15),
        len(server.locations),
        u'%d s' % server.age,
        server.answers,
    )
