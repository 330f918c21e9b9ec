#!/usr/bin/env python2.7
# -*- coding: utf-8 -*-
"""Shows a search: what each server answers and how long it takes, all answers, and how long the end takes.

It is for `./dev demo --lan` and for trying the module on a machine, and uses the engine itself, as what
counts each answer does; find_servers.py is what most scripts want. Python 2.7, as the module's hosts use it.

    timed_search.py [--seconds 8] [--interval 3]

The package `vireon` and the module `_vireon` must be on the interpreter's path, or in the folder
VIREON_MODULE_DIR.
"""

from __future__ import print_function

import argparse
import os
import sys
import time

sys.path.insert(0, os.environ.get('VIREON_MODULE_DIR', ''))
from vireon import Vireon  # the folder is known only now

MOST_SECONDS = 1000000  # what every platform can sleep


def shown(text):
    """What somebody on the network sent, without what a terminal would obey."""
    characters = text.decode('utf-8', 'replace')
    return u''.join(each for each in characters if not is_control(each)).encode('utf-8')


def is_control(character):
    return character < u' ' or u'\x7f' <= character <= u'\x9f'


class Servers(object):
    """What has been found. It is called on a thread of the engine's, once for each answer."""

    def __init__(self):
        self.answers = 0
        self.by_usn = {}
        self.started = time.time()

    def __call__(self, event, server):
        self.answers += 1
        # A server answers every request, and each interface asks it twice per interval. One that is
        # seen on two networks answers from two places: the newest one is where it is.
        known = server['usn'] in self.by_usn
        self.by_usn[server['usn']] = server
        if known:
            return
        print(
            '%5.2f s  found %s at %s'
            % (time.time() - self.started, shown(server['friendlyName']), shown(server['location']))
        )
        for name in (
            'modelName',
            'manufacturer',
            'version',
            'HttpPort',
            'HttpsPort',
            'WebsocketPort',
            'DBStatus',
            'serialNumber',
            'usn',
        ):
            print('           %-14s %s' % (name, shown(server[name])))
        sys.stdout.flush()


def seconds(text):
    number = float(text)
    if not 0 <= number <= MOST_SECONDS:
        raise argparse.ArgumentTypeError('%s is not between 0 and %d' % (text, MOST_SECONDS))
    return number


def search(options):
    """Searches for as long as was asked; gives what was found."""
    servers = Servers()
    print('searching for %g s, asking every %g s' % (options.seconds, options.interval))
    sys.stdout.flush()
    with Vireon() as vireon:
        vireon.search(options.interval, servers)
        try:
            time.sleep(options.seconds)
        except KeyboardInterrupt:
            pass
        stopping = time.time()
        vireon.stop()
        print('stopped within %.2f s' % (time.time() - stopping))
    return servers


def main():
    parser = argparse.ArgumentParser(description='Find media servers on this network.')
    parser.add_argument('--seconds', type=seconds, default=8, help='how long to search')
    parser.add_argument('--interval', type=seconds, default=3, help='seconds between two searches')
    servers = search(parser.parse_args())
    print(
        '%d server%s found, %d answers'
        % (len(servers.by_usn), '' if len(servers.by_usn) == 1 else 's', servers.answers)
    )
    for server in servers.by_usn.values():
        print('    %s at %s' % (shown(server['friendlyName']), shown(server['location'])))


if __name__ == '__main__':
    main()
