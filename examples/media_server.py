#!/usr/bin/env python3
"""A sample media server: answers searches on UDP port 31288 until it is ended.

    media_server.py [--name NAME ...] [--uuid UUID ...] [--interface ADDRESS ...] [--other-port]
                    [--http-port PORT] [--no-serve] [--delay SECONDS] [--spread] [--fault FAULT ...]

It is a UPnP device, but for the port: it takes searches that are sent to the multicast group and those
that are broadcast, answers each one to where it came from, with everything a client wants to know in
the answer's own headers, and serves its description document and a small page by HTTP. It announces
itself to nobody, since on this port everybody asks.

Each --name makes a server of its own. A --fault (media_server_faults.py) makes them do something
wrong, to see what a client makes of it. Python 3 or 2.7, on Linux and on Windows.
"""

from __future__ import print_function, unicode_literals

import argparse
import collections
import contextlib
import ctypes
import heapq
import itertools
import platform
import random
import re
import signal
import socket
import struct
import sys
import threading
import time
import uuid
from xml.sax.saxutils import escape

import media_server_faults as faults

try:
    from http.server import BaseHTTPRequestHandler
    from socketserver import TCPServer, ThreadingMixIn
except ImportError:  # Python 2.7
    from BaseHTTPServer import BaseHTTPRequestHandler
    from SocketServer import TCPServer, ThreadingMixIn

PORT = 31288
GROUP = '239.255.255.250'
DEVICE_TYPE = 'urn:schemas-upnp-org:device:ZOMediaServer:1'
ROOT_DEVICE = 'upnp:rootdevice'
LEASE = 1800  # seconds for which a client may believe that the server is there
LONGEST_SPREAD = 5  # seconds; who allows for more gets his answers no later
HTTP_PORT = 8080  # of the first server, the next ones have the next ports
VERSION = '1.0.0'
SYSTEM = '%s/%s UPnP/1.1 Sample/%s' % (platform.system(), platform.release(), VERSION)

now = getattr(time, 'monotonic', time.time)  # Python 2.7 has only the clock on the wall

# With a server's name this makes its uuid, so that clients know it again after a restart.
UUID_NAMESPACE = uuid.UUID('6f0d7c1e-9d6c-4a55-8f6b-1c2f3f0b7e31')


# What is looked for, and for how many seconds answers may be spread.
Search = collections.namedtuple('Search', 'target seconds')


def read_search(datagram):
    """What a datagram asks for; None when it is no search."""
    lines = datagram.decode('latin-1').split('\r\n')
    headers = {}
    for line in lines[1:]:
        name, colon, value = line.partition(':')
        if colon:
            headers.setdefault(name.strip().lower(), value.strip())
    if lines[0] != 'M-SEARCH * HTTP/1.1' or headers.get('man') != '"ssdp:discover"' or 'st' not in headers:
        return None
    seconds = re.match('[0-9]{1,9}$', headers.get('mx', ''))
    return Search(headers['st'], min(int(seconds.group()), LONGEST_SPREAD) if seconds else 0)


def address_towards(client):
    """The address of this machine that a client can reach it at."""
    with contextlib.closing(socket.socket(socket.AF_INET, socket.SOCK_DGRAM)) as probe:
        probe.connect(client)
        return probe.getsockname()[0]


class MediaServer(object):
    """One device. `http_port` is where its location points, and `serves` whether somebody is there."""

    def __init__(self, name, identity, http_port, serves, wrongs):
        self.name, self.uuid = name, str(identity)
        self.http_port, self.serves = http_port, serves
        self._wrongs = wrongs
        self._started = int(time.time())
        self._searches = 0

    def targets(self):
        """Everything that a search for it may name, each with the USN that such an answer has."""
        udn = 'uuid:' + self.uuid
        return [(ROOT_DEVICE, udn + '::' + ROOT_DEVICE), (udn, udn), (DEVICE_TYPE, udn + '::' + DEVICE_TYPE)]

    def answers(self, search, address):
        """The datagrams for a search: one for each target of ours that it names, which may be all."""
        targets = [each for each in self.targets() if search.target in ('ssdp:all', each[0])]
        self._searches += bool(targets)
        if faults.is_silent(self._wrongs, self._searches):
            return []
        return [faults.written(self.headers(address, *each), self._wrongs) for each in targets]

    def headers(self, address, target, usn):
        base = 'http://%s:%d' % (address, self.http_port)
        headers = [
            ('CACHE-CONTROL', 'max-age=%d' % LEASE),
            ('EXT', ''),
            ('LOCATION', base + '/description.xml'),
            ('SERVER', SYSTEM),
            ('ST', target),
            ('USN', usn),
            ('BOOTID.UPNP.ORG', '%d' % self._started),
            ('CONFIGID.UPNP.ORG', '1'),
            ('FriendlyName', self.name),
            ('Manufacturer', 'Sample Makers'),
            ('ModelDescription', 'A server that answers searches'),
            ('ModelName', 'Sample media server'),
            ('ModelNumber', '1'),
            ('SerialNumber', self.uuid[:8]),
            ('DBStatus', 'ready'),
            ('Version', VERSION),
        ]
        # Only what is really there; a server with more ports has HttpsPort and WebsocketPort as well.
        if self.serves:
            headers += [
                ('ManufacturerURL', base + '/makers'),
                ('ModelURL', base + '/model'),
                ('PresentationURL', base + '/'),
                ('HttpPort', '%d' % self.http_port),
            ]
        return headers

    def description(self):
        """The document that the location points to. Its addresses are relative to its own."""
        return (
            '<?xml version="1.0" encoding="utf-8"?>\n'
            '<root xmlns="urn:schemas-upnp-org:device-1-0" configId="1">\n'
            '  <specVersion><major>1</major><minor>1</minor></specVersion>\n'
            '  <device>\n'
            '    <deviceType>%s</deviceType>\n'
            '    <friendlyName>%s</friendlyName>\n'
            '    <manufacturer>Sample Makers</manufacturer>\n'
            '    <manufacturerURL>/makers</manufacturerURL>\n'
            '    <modelDescription>A server that answers searches</modelDescription>\n'
            '    <modelName>Sample media server</modelName>\n'
            '    <modelNumber>1</modelNumber>\n'
            '    <modelURL>/model</modelURL>\n'
            '    <serialNumber>%s</serialNumber>\n'
            '    <UDN>uuid:%s</UDN>\n'
            '    <presentationURL>/</presentationURL>\n'
            '  </device>\n'
            '</root>\n' % (DEVICE_TYPE, escape(self.name), self.uuid[:8], self.uuid)
        ).encode('utf-8')

    def page(self, path):
        """What is served at a path: its kind and its bytes, or None."""
        if path == '/description.xml':
            return 'text/xml; charset="utf-8"', self.description()
        if path in ('/', '/makers', '/model'):
            return 'text/plain; charset="utf-8"', (self.name + '\n').encode('utf-8')
        return None


# Not the library's own, which asks the network for this machine's name before it serves.
class WebServer(ThreadingMixIn, TCPServer):
    daemon_threads = True
    # Elsewhere this lets a restart have its port back at once; on Windows it shares one with a stranger.
    allow_reuse_address = sys.platform != 'win32'

    def __init__(self, port, page):
        self.page = page  # a function from a path to what is there
        TCPServer.__init__(self, ('', port), PageHandler)


class PageHandler(BaseHTTPRequestHandler):
    def do_GET(self):
        page = self.server.page(self.path)
        if page is None:
            self.send_error(404)
            return
        kind, body = page
        self.send_response(200)
        self.send_header('Content-Type', kind)
        self.send_header('Content-Length', str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, *_):
        pass


def serve_http(server):
    web = WebServer(server.http_port, server.page)
    server.http_port = web.server_address[1]
    thread = threading.Thread(target=web.serve_forever)
    thread.daemon = True
    thread.start()


def memberships(interfaces):
    """For each interface what joins the group there; for all of them where none is named."""
    group = socket.inet_aton(GROUP)
    if not interfaces and sys.platform != 'win32':
        # Python 2.7 has no call that lists them.
        with open('/proc/net/dev') as listing:
            names = [line.partition(':')[0].strip() for line in listing if ':' in line]
        number_of = ctypes.CDLL(None).if_nametoindex
        return [struct.pack(str('@4s4si'), group, b'', number_of(name.encode())) for name in names]
    if not interfaces:
        # By their addresses, since Windows takes no numbers here.
        interfaces = ['127.0.0.1'] + socket.gethostbyname_ex(socket.gethostname())[2]
    return [group + socket.inet_aton(address) for address in interfaces]


def open_socket(interfaces):
    """A socket that hears broadcasts on every interface, and the group on those named (all)."""
    listener = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    listener.bind(('', PORT))
    for membership in memberships(interfaces):
        try:
            listener.setsockopt(socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, membership)
        except socket.error:
            # Not every interface of a machine knows groups; one that was asked for has to.
            if interfaces:
                raise
    return listener


class Outbox(object):
    """Answers, each of which waits for its time."""

    def __init__(self, sender):
        self._sender = sender
        self._waiting = []
        self._numbers = itertools.count()  # what is due at the same time goes out in its order

    def put(self, seconds, answer, client):
        heapq.heappush(self._waiting, (now() + seconds, next(self._numbers), answer, client))

    def send_due(self):
        """Sends what is due; gives the seconds until something else is, or None."""
        while self._waiting and self._waiting[0][0] <= now():
            _, _, answer, client = heapq.heappop(self._waiting)
            try:
                self._sender.sendto(answer, client)
            except socket.error as error:
                complain(client, error)
        return max(self._waiting[0][0] - now(), 0.001) if self._waiting else None


def complain(client, error):
    """That client gets nothing; the next one may be within reach."""
    print('no answer to %s: %s' % (client[0], error), file=sys.stderr)
    sys.stderr.flush()


def take_search(listener, seconds):
    """The next search and the address that it came from, unless none comes in time."""
    # Ctrl+C is heeded between two receives only on Windows, so they always have a limit.
    listener.settimeout(min(seconds or 1, 1))
    try:
        datagram, client = listener.recvfrom(65536)
    except socket.error:
        # On Windows an answer to a program that has ended comes back as an error of a receive.
        return None, None
    return read_search(datagram), client


def answer_searches(listener, outbox, servers, options):
    while True:
        search, client = take_search(listener, outbox.send_due())
        if search is None:
            continue
        try:
            address = address_towards(client)
        except socket.error as error:
            complain(client, error)
            continue
        for server in servers:
            for answer in server.answers(search, address):
                # Standard servers answer at any time that the search allows for, so that a thousand of
                # them do not answer at once; one that people watch answers right away.
                spread = random.uniform(0, search.seconds) if options.spread else 0
                outbox.put(options.delay + spread, answer, client)


def text(argument):
    """Of an argument, which Python 2.7 gives as bytes."""
    if isinstance(argument, bytes):
        return argument.decode(sys.getfilesystemencoding() or 'utf-8', 'replace')
    return argument


def native(words):
    """A text as the interpreter's own functions want it: Python 2.7's are about bytes."""
    return words.encode('utf-8') if str is bytes else words


def read_arguments():
    parser = argparse.ArgumentParser(description='A sample media server for searches on port %d.' % PORT)
    add = parser.add_argument
    add('--name', action='append', type=text, help='the name that people see; each makes one server more')
    add('--uuid', action='append', type=uuid.UUID, help='of each server; default: made from its name')
    add(
        '--interface',
        action='append',
        metavar='ADDRESS',
        help='hear the group on the interface of this address (default: on all)',
    )
    add('--other-port', action='store_true', help='answer from a port of the system\'s choice, not %d' % PORT)
    add(
        '--http-port',
        type=int,
        metavar='PORT',
        help='of the first server, the next ones have the next; 0: any (default: %d, or any where it is taken)'
        % HTTP_PORT,
    )
    add('--no-serve', action='store_true', help='serve nothing at the location, and announce nothing there')
    add('--delay', type=float, default=0, metavar='SECONDS', help='before each answer')
    add('--spread', action='store_true', help='answer within the time that a search allows for, not at once')
    add(
        '--fault',
        action='append',
        default=[],
        type=faults.parsed,
        metavar='FAULT',
        help='one of: ' + ', '.join(faults.NAMES),
    )
    options = parser.parse_args()
    options.name = options.name or ['Sample server']
    options.uuid = options.uuid or [uuid.uuid5(UUID_NAMESPACE, native(name)) for name in options.name]
    if len(set(options.uuid)) != len(options.name):
        parser.error('each server needs a name or a --uuid of its own')
    if options.no_serve and options.http_port == 0:
        parser.error('where nothing is served, --http-port 0 would be no port at all')
    if not 0 <= options.delay < 3600:
        parser.error('a --delay is 0 to 3600 seconds')
    return options


def start_server(options, number):
    first = HTTP_PORT if options.http_port is None else options.http_port
    server = MediaServer(
        options.name[number],
        options.uuid[number],
        first and first + number,
        not options.no_serve,
        dict(options.fault),
    )
    if server.serves:
        try:
            serve_http(server)
        except socket.error:
            if options.http_port is not None:
                raise
            server.http_port = 0
            serve_http(server)
    return server


def main():
    options = read_arguments()
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(0))
    listener = open_socket(options.interface)
    sender = socket.socket(socket.AF_INET, socket.SOCK_DGRAM) if options.other_port else listener
    servers = [start_server(options, number) for number in range(len(options.name))]
    for server in servers:
        print(native('%s: listening on port %d' % (server.name, PORT)))
    sys.stdout.flush()
    try:
        answer_searches(listener, Outbox(sender), servers, options)
    except KeyboardInterrupt:
        pass


if __name__ == '__main__':
    main()
