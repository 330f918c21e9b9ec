"""`list` and `describe`: each server that answers within some seconds."""

from __future__ import absolute_import

import sys

from vireon.finding import search
from vireon.shown import say, shown
from vireon.values import Url

NAME_WIDTH = 30
_LINE = u'%-' + str(NAME_WIDTH) + u's  %-15s  %s'
NONE = u'No server was found. python -m vireon doctor tells why.'
NOT_THAT_ONE = u'That server was not found. python -m vireon list tells which are there.'


def address_of(server):
    """The host of its location, for people."""
    try:
        return shown(Url(server.location).host)
    except ValueError:  # brackets that hold no address
        return u''


def line_of(server):
    locations = u' '.join(shown(location) for location in server.locations)
    return _LINE % (shown(server.name, NAME_WIDTH), address_of(server), locations)


def list_servers(seconds, interval):
    """Gives the exit code: 0 when there is one."""
    found = False
    for server in search(seconds, interval):
        if not found:
            say(_LINE % (u'NAME', u'ADDRESS', u'LOCATION'))
        found = True
        say(line_of(server))
    return _ended(found, NONE)


def describe_servers(which, seconds, interval):
    """All that each server says of itself; or that the one does whose name, location or USN this is."""
    found = False
    for server in search(seconds, interval):
        if which is None or which in [shown(each) for each in (server.name, server.location, server.usn)]:
            if found:
                say(u'')
            found = True
            for key in sorted(server, key=lambda each: each.lower()):
                say(u'%-17s %s' % (key, shown(server[key])))
    return _ended(found, NONE if which is None else NOT_THAT_ONE)


def _ended(found, otherwise):
    if not found:
        say(otherwise, sys.stderr)
    return 0 if found else 1
