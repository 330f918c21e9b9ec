"""Finds media servers on the local network.

    import vireon

    for server in vireon.search(5):         # seconds
        print server.name, server.location

`search` gives each server once, as it is found. `Servers` keeps a list of those that are there and
tells what changes. `Vireon` is the engine under both of them, which calls a callable for each answer
of a server. The other classes are the module's remaining types, for scripts that need them.

The layer is pure Python over the extension module `_vireon` and prints nothing.
"""

from __future__ import absolute_import

from vireon._version import __version__
from vireon.device import ZoSsdpDeviceInfo
from vireon.engine import Vireon
from vireon.events import CHANGED, CLOSED, FOUND, LOST, Event
from vireon.finding import search
from vireon.guards import PyAutoLock2, PyAutoUnlock2
from vireon.server import Server
from vireon.servers import Servers
from vireon.values import Interval, Result, Url
from vireon.workers import CallbackTaskWorkerThread, SsdpSearchWorkerThread

__all__ = [
    'CHANGED',
    'CLOSED',
    'CallbackTaskWorkerThread',
    'Event',
    'FOUND',
    'Interval',
    'LOST',
    'PyAutoLock2',
    'PyAutoUnlock2',
    'Result',
    'Server',
    'Servers',
    'SsdpSearchWorkerThread',
    'Url',
    'Vireon',
    'ZoSsdpDeviceInfo',
    '__version__',
    'search',
]
