"""A script that finds servers, to be measured from outside. Python 2.7.

    finder.py module|floor|script [RECEIVE_BUFFER]

Finds by the module, by the floor (floor.cpp), or as one would write it without either, and calls the
same callable. Each line of standard input is a command, answered by one line of JSON:

    search [INTERVAL]   begins to search, every INTERVAL seconds
    calls               how often the callable was called since it was last asked
    latencies           begins to note when each call comes; the next time gives them, in seconds, and ends
    block, release      the callable waits; it goes on
    engines COUNT       makes so many further engines
    memory              bytes on the heap (with the counter loaded) and resident
    counts              what the counter has counted
    stop                ends the search

The end of standard input ends the program.
"""

import ctypes
import json
import os
import socket
import sys
import threading
import time

HOST, PORT = '239.255.255.250', 31288
DEVICE_TYPE = 'urn:schemas-upnp-org:device:ZOMediaServer:1'
REQUEST = (
    'M-SEARCH * HTTP/1.1\r\n'
    'HOST: 239.255.255.250:31288\r\n'
    'MAN: "ssdp:discover"\r\n'
    'MX: 5\r\n'
    'ST: ssdp:all\r\n'
    '\r\n'
)

# The dictionary's keys and the headers that their values come from, in lower case.
KEYS = [
    (key, key.lower())
    for key in (
        'location',
        'usn',
        'friendlyName',
        'HttpPort',
        'HttpsPort',
        'manufacturer',
        'manufacturerURL',
        'modelDescription',
        'modelName',
        'modelURL',
        'modelNumber',
        'serialNumber',
        'WebsocketPort',
        'DBStatus',
        'version',
    )
]

calls = 0
arrivals = None
gate = threading.Lock()
blocked = False


def on_server(event, server):
    global calls
    calls += 1
    if arrivals is not None:
        arrivals.append((time.time(), server['usn']))
    if blocked:
        with gate:
            pass


class Module(object):
    def __init__(self, _):
        import _vireon

        self._module = _vireon
        self._engine = _vireon.new_Vireon()
        _vireon.Vireon_SetCallback(self._engine, on_server)
        self._others = []

    def search(self, interval):
        self._module.Vireon_SetInterVal(self._engine, interval)
        self._module.Vireon_SearchDevices(self._engine).disown()

    def make_engines(self, count):
        self._others += [self._module.new_Vireon() for _ in range(count)]

    def stop(self):
        self._module.Vireon_Stop(self._engine)
        self._module.delete_Vireon(self._engine)


class Floor(object):
    def __init__(self, receive_buffer):
        self._receive_buffer = receive_buffer

    def search(self, _):
        import bench_floor

        bench_floor.start(REQUEST, HOST, PORT, self._receive_buffer, on_server)

    def stop(self):
        pass


class Script(object):
    def __init__(self, receive_buffer):
        self._socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        if receive_buffer:
            self._socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, receive_buffer)

    def search(self, _):
        self._socket.sendto(REQUEST, (HOST, PORT))
        thread = threading.Thread(target=self._run)
        thread.daemon = True
        thread.start()

    def _run(self):
        while True:
            text = self._socket.recv(2000)
            lines = text.split('\r\n')
            if not lines[0].startswith('HTTP/1.1 200'):
                continue
            headers = {}
            for line in lines[1:]:
                name, colon, value = line.partition(':')
                if colon:
                    headers[name.lower()] = value.strip()
            if DEVICE_TYPE in headers.get('usn', ''):
                on_server('Update Service', dict((key, headers.get(name, '')) for key, name in KEYS))

    def stop(self):
        pass


def take_calls():
    global calls
    taken, calls = calls, 0
    return taken


def take_latencies():
    global arrivals
    taken, arrivals = arrivals or [], [] if arrivals is None else None
    # uuid:SSSSSSSS-0000-4000-TTTT-TTTTTTTTTTTT, the sixteen T being the clock's microseconds.
    return [when - int(usn[24:28] + usn[29:41], 16) / 1e6 for when, usn in taken]


def take_counts():
    counts = (ctypes.c_uint64 * 5)()
    ctypes.CDLL(None).bench_counts(counts)
    return dict(zip(('allocations', 'bytes', 'in_use', 'locks', 'semaphores'), counts))


def memory():
    with open('/proc/self/statm') as statm:
        resident = int(statm.read().split()[1]) * os.sysconf('SC_PAGE_SIZE')
    return {'heap': take_counts()['in_use'], 'resident': resident}


def block(on):
    global blocked
    if on:
        gate.acquire()
        blocked = True
    else:
        blocked = False
        gate.release()


def answer(finder, words):
    if words[0] == 'search':
        return finder.search(float(words[1]) if len(words) > 1 else 3600.0)
    if words[0] == 'engines':
        return finder.make_engines(int(words[1]))
    if words[0] in ('block', 'release'):
        return block(words[0] == 'block')
    return {
        'calls': take_calls,
        'latencies': take_latencies,
        'memory': memory,
        'counts': take_counts,
        'stop': finder.stop,
    }[words[0]]()


def main():
    finder = {'module': Module, 'floor': Floor, 'script': Script}[sys.argv[1]](
        int(sys.argv[2]) if len(sys.argv) > 2 else 0
    )
    while True:
        line = sys.stdin.readline()
        if not line:
            return
        sys.stdout.write(json.dumps(answer(finder, line.split())) + '\n')
        sys.stdout.flush()


if __name__ == '__main__':
    main()
