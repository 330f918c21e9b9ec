#!/usr/bin/env python3
"""A sample media server: answers searches on UDP port 31288 until it is ended.

    media_server.py [--name NAME] [--uuid UUID] [--interface ADDRESS ...] [--other-port]
                    [--http-port PORT] [--serve]

It takes searches that are sent to the multicast group and those that are broadcast, and answers
each one to where it came from, with everything a client wants to know in the answer's own headers.
With --serve it also serves the description document and a small page by HTTP. Python 3 or 2.7, on
Linux and on Windows.
"""

from __future__ import print_function, unicode_literals

import argparse
import contextlib
import ctypes
import signal
import socket
import struct
import sys
import threading
import uuid
from xml.sax.saxutils import escape

try:
    from http.server import BaseHTTPRequestHandler, HTTPServer
    from socketserver import ThreadingMixIn
except ImportError:  # Python 2.7
    from BaseHTTPServer import BaseHTTPRequestHandler, HTTPServer
    from SocketServer import ThreadingMixIn

PORT = 31288
GROUP = '239.255.255.250'
DEVICE_TYPE = 'urn:schemas-upnp-org:device:ZOMediaServer:1'
LEASE = 1800  # seconds for which a client may believe that the server is there
VERSION = '1.0.0'

# With a server's name this makes its uuid, so that clients know it again after a restart.
UUID_NAMESPACE = uuid.UUID('6f0d7c1e-9d6c-4a55-8f6b-1c2f3f0b7e31')


def is_search(datagram):
    """Whether a datagram asks for this kind of device: all of them, or this one by its type."""
    lines = datagram.decode('latin-1').split('\r\n')
    headers = {}
    for line in lines[1:]:
        name, colon, value = line.partition(':')
        if colon:
            headers.setdefault(name.strip().lower(), value.strip())
    return (
        lines[0] == 'M-SEARCH * HTTP/1.1'
        and headers.get('man') == '"ssdp:discover"'
        and headers.get('st') in ('ssdp:all', DEVICE_TYPE)
    )


def address_towards(client):
    """The address of this machine that a client can reach it at."""
    with contextlib.closing(socket.socket(socket.AF_INET, socket.SOCK_DGRAM)) as probe:
        probe.connect(client)
        return probe.getsockname()[0]


def answer(server, address):
    base = 'http://%s:%d' % (address, server.http_port)
    headers = (
        ('CACHE-CONTROL', 'max-age=%d' % LEASE),
        ('EXT', ''),
        ('LOCATION', base + '/description.xml'),
        ('SERVER', 'Sample/%s UPnP/1.0' % VERSION),
        ('ST', DEVICE_TYPE),
        ('USN', 'uuid:%s::%s' % (server.uuid, DEVICE_TYPE)),
        ('FriendlyName', server.name),
        ('Manufacturer', 'Sample Makers'),
        ('ManufacturerURL', base + '/makers'),
        ('ModelDescription', 'A server that answers searches'),
        ('ModelName', 'Sample media server'),
        ('ModelURL', base + '/model'),
        ('ModelNumber', '1'),
        ('SerialNumber', server.uuid[:8]),
        ('PresentationURL', base + '/'),
        ('HttpPort', '%d' % server.http_port),
        ('HttpsPort', '%d' % (server.http_port + 1)),
        ('WebsocketPort', '%d' % (server.http_port + 2)),
        ('DBStatus', 'ready'),
        ('Version', VERSION),
    )
    lines = ['HTTP/1.1 200 OK'] + ['%s: %s' % header for header in headers]
    return ('\r\n'.join(lines) + '\r\n\r\n').encode('utf-8')


def description(server):
    return (
        '<?xml version="1.0" encoding="utf-8"?>\n'
        '<root xmlns="urn:schemas-upnp-org:device-1-0">'
        '<specVersion><major>1</major><minor>0</minor></specVersion>'
        '<device><deviceType>%s</deviceType><friendlyName>%s</friendlyName>'
        '<manufacturer>Sample Makers</manufacturer><modelName>Sample media server</modelName>'
        '<UDN>uuid:%s</UDN></device></root>\n' % (DEVICE_TYPE, escape(server.name), server.uuid)
    ).encode('utf-8')


class WebServer(ThreadingMixIn, HTTPServer):
    daemon_threads = True


def serve_http(server):
    class Handler(BaseHTTPRequestHandler):
        def do_GET(self):
            if self.path == '/description.xml':
                kind, body = 'text/xml; charset="utf-8"', description(server)
            else:
                kind, body = 'text/plain; charset="utf-8"', (server.name + '\n').encode('utf-8')
            self.send_response(200)
            self.send_header('Content-Type', kind)
            self.send_header('Content-Length', str(len(body)))
            self.end_headers()
            self.wfile.write(body)

        def log_message(self, *_):
            pass

    web = threading.Thread(target=WebServer(('', server.http_port), Handler).serve_forever)
    web.daemon = True
    web.start()


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


def next_search(listener):
    """The address that the next search came from."""
    while True:
        try:
            datagram, client = listener.recvfrom(65536)
        except socket.error:
            # On Windows an answer to a program that has ended comes back as an error of a receive;
            # and Ctrl+C is heeded between two receives only, so they have a time limit.
            continue
        if is_search(datagram):
            return client


def text(argument):
    """Of an argument, which Python 2.7 gives as bytes."""
    if isinstance(argument, bytes):
        return argument.decode(sys.getfilesystemencoding() or 'utf-8', 'replace')
    return argument


def native(words):
    """A text as the interpreter's own functions want it: Python 2.7's are about bytes."""
    return words.encode('utf-8') if str is bytes else words


def main():
    parser = argparse.ArgumentParser(description='A sample media server for searches on port 31288.')
    parser.add_argument('--name', type=text, default='Sample server', help='the name that people see')
    parser.add_argument('--uuid', type=uuid.UUID, help='default: made from the name')
    parser.add_argument(
        '--interface',
        action='append',
        metavar='ADDRESS',
        help='hear the group on the interface of this address (default: on all)',
    )
    parser.add_argument(
        '--other-port',
        action='store_true',
        help='answer from a port of the system\'s choice, not from %d' % PORT,
    )
    parser.add_argument('--http-port', type=int, default=8080)
    parser.add_argument('--serve', action='store_true', help='serve the description by HTTP')
    server = parser.parse_args()
    server.uuid = str(server.uuid or uuid.uuid5(UUID_NAMESPACE, native(server.name)))

    signal.signal(signal.SIGTERM, lambda *_: sys.exit(0))
    listener = open_socket(server.interface)
    listener.settimeout(1)
    answering = listener
    if server.other_port:
        answering = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    if server.serve:
        serve_http(server)
    print(native('%s: listening on port %d' % (server.name, PORT)))
    sys.stdout.flush()
    try:
        while True:
            # A standard server waits a random while, so that a thousand of them do not answer at
            # once; one that people watch answers right away.
            client = next_search(listener)
            try:
                answering.sendto(answer(server, address_towards(client)), client)
            except socket.error as error:
                # That client gets nothing; the next one may be within reach.
                print('no answer to %s: %s' % (client[0], error), file=sys.stderr)
                sys.stderr.flush()
    except KeyboardInterrupt:
        pass


if __name__ == '__main__':
    main()
