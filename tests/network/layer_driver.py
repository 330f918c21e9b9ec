"""Runs the script-side layer for the network tests, inside the searching namespace. Python 2.7.

    layer_driver.py search SECONDS INTERVAL     each server that is found, then the end
    layer_driver.py servers INTERVAL ROUNDS     each event, until the input ends
    layer_driver.py run                         the program that the input is

Each line of the input of `servers` is a command: `refresh`, `close`, `leave` (without closing), `list`.
Writes one JSON line for each thing that happens. Byte strings travel as Latin-1 text.
"""

import json
import os
import sys
import threading
import time

events = os.fdopen(os.dup(1), 'wb', 0)
events_lock = threading.Lock()


def emit(**event):
    line = json.dumps(dict(event, time=time.time())) + '\n'
    with events_lock:
        events.write(line)


sys.path.insert(0, os.environ['VIREON_MODULE_DIR'])
import vireon  # the folder is known only now


def told(server):
    if server is None:
        return None
    locations = [location.decode('latin-1') for location in server.locations]
    return {'name': server.name.decode('latin-1'), 'usn': server.usn, 'locations': locations}


def search(seconds, interval):
    for server in vireon.search(float(seconds), float(interval)):
        emit(event='found', server=told(server))
    emit(event='end')


def servers(interval, rounds):
    def on_event(event):
        emit(event=event.kind, server=told(event.server))

    def closed():
        start = time.time()
        keeper.close()
        return time.time() - start

    keeper = vireon.Servers(on_event, interval=float(interval), lost_after=int(rounds))
    emit(event='ready')
    for command in iter(sys.stdin.readline, ''):
        if command == 'refresh\n':
            keeper.refresh()
        elif command == 'list\n':
            emit(event='list', servers=[told(server) for server in keeper])
        elif command == 'close\n':
            emit(event='has closed', seconds=closed())
        elif command == 'leave\n':
            break


def run():
    exec(sys.stdin.read(), {'__name__': '__main__'})


{'search': search, 'servers': servers, 'run': run}[sys.argv[1]](*sys.argv[2:])
