#!/usr/bin/env python2.7
# -*- coding: utf-8 -*-
"""Finds media servers and prints each one as it answers. Python 2.7, as the module's hosts use it.

    find_servers.py [--seconds 8] [--interval 3]

The module `_vireon` must be on the interpreter's path, or in the folder VIREON_MODULE_DIR.
"""

from __future__ import print_function

import argparse
import os
import sys
import time

sys.path.insert(0, os.environ.get('VIREON_MODULE_DIR', ''))
import _vireon  # noqa: E402  (the folder is known only now)


class Vireon(object):
    """The engine as a class: the module offers flat functions and leaves the dressing to scripts."""
    __swig_destroy__ = _vireon.delete_Vireon

    def __init__(self):
        self.this = _vireon.new_Vireon()

    def search(self, interval, callback):
        _vireon.Vireon_SetInterVal(self, interval)
        _vireon.Vireon_SetCallback(self, callback)
        # The result is always the same number. Nobody would free it, which the module complains of.
        _vireon.Vireon_SearchDevices(self).disown()

    def stop(self):
        _vireon.Vireon_Stop(self)


_vireon.Vireon_swigregister(Vireon)


class Servers(object):
    """What has been found. It is called on a thread of the engine's, once for each answer."""

    def __init__(self):
        self.answers = 0
        self.by_location = {}
        self.started = time.time()

    def __call__(self, event, server):
        self.answers += 1
        # A server answers every request, and each interface asks it twice per interval.
        if server['location'] in self.by_location:
            return
        self.by_location[server['location']] = server
        print('%5.2f s  found %s at %s' % (time.time() - self.started, server['friendlyName'],
                                           server['location']))
        for name in ('modelName', 'manufacturer', 'version', 'HttpPort', 'HttpsPort',
                     'WebsocketPort', 'DBStatus', 'serialNumber', 'usn'):
            print('           %-14s %s' % (name, server[name]))
        sys.stdout.flush()


def main():
    parser = argparse.ArgumentParser(description='Find media servers on this network.')
    parser.add_argument('--seconds', type=float, default=8, help='how long to search')
    parser.add_argument('--interval', type=float, default=3, help='seconds between two searches')
    options = parser.parse_args()

    servers = Servers()
    engine = Vireon()
    print('searching for %g s, asking every %g s' % (options.seconds, options.interval))
    sys.stdout.flush()
    engine.search(options.interval, servers)
    try:
        time.sleep(options.seconds)
    except KeyboardInterrupt:
        pass
    stopping = time.time()
    engine.stop()
    print('stopped within %.2f s' % (time.time() - stopping))
    print('%d server%s found, %d answers' % (
        len(servers.by_location), '' if len(servers.by_location) == 1 else 's', servers.answers))


if __name__ == '__main__':
    main()
