"""The other side of the wire: a socket on port 31288 that notes requests and sends what it is told.

Nothing here knows the product; texts of answers are put together by the tests.
"""

import collections
import errno
import socket
import struct
import threading
import time

from capture import LoudThread, WokenThread, wait_for_either

PORT = 31288
GROUP = '239.255.255.250'

DEVICE_TYPE = b'urn:schemas-upnp-org:device:ZOMediaServer:1'

Request = collections.namedtuple('Request', 'time source destination payload')

# The headers of a complete answer, in the order in which a server sends them.
COMPLETE = (
    (b'CACHE-CONTROL', b'max-age=1800'),
    (b'EXT', b''),
    (b'LOCATION', b'http://10.77.1.2:8080/description.xml'),
    (b'SERVER', b'Test/1.0 UPnP/1.0'),
    (b'ST', DEVICE_TYPE),
    (b'USN', b'uuid:0001::' + DEVICE_TYPE),
    (b'FriendlyName', b'Living room'),
    (b'Manufacturer', b'Maker Ltd.'),
    (b'ManufacturerURL', b'http://maker.example/'),
    (b'ModelDescription', b'A server for tests'),
    (b'ModelName', b'Tester'),
    (b'ModelURL', b'http://maker.example/tester'),
    (b'ModelNumber', b'T-1'),
    (b'SerialNumber', b'000123'),
    (b'PresentationURL', b'http://10.77.1.2:8080/'),
    (b'HttpPort', b'8080'),
    (b'HttpsPort', b'8443'),
    (b'WebsocketPort', b'8081'),
    (b'DBStatus', b'ready'),
    (b'Version', b'1.2.3'),
)

# Where each of the script's dictionary entries comes from; the location is rendered, not copied.
ENTRY_SOURCES = (
    ('location', b'LOCATION'),
    ('usn', b'USN'),
    ('friendlyName', b'FriendlyName'),
    ('HttpPort', b'HttpPort'),
    ('HttpsPort', b'HttpsPort'),
    ('manufacturer', b'Manufacturer'),
    ('manufacturerURL', b'ManufacturerURL'),
    ('modelDescription', b'ModelDescription'),
    ('modelName', b'ModelName'),
    ('modelURL', b'ModelURL'),
    ('modelNumber', b'ModelNumber'),
    ('serialNumber', b'SerialNumber'),
    ('WebsocketPort', b'WebsocketPort'),
    ('DBStatus', b'DBStatus'),
    ('version', b'Version'),
)


def fields(without=(), **changes):
    """The complete answer's headers with some left out and some changed.

    Names are given as keyword arguments with `_` for `-`; case matters here.
    """
    new = {name.replace('_', '-').encode(): value for name, value in changes.items()}
    unknown = set(new) | {name.encode() for name in without}
    unknown -= {name for name, _ in COMPLETE}
    assert not unknown, 'no such header in the complete answer: %s' % unknown
    return [(name, new.get(name, value)) for name, value in COMPLETE if name.decode() not in without]


def message(headers, status=b'HTTP/1.1 200 OK', line_end=b'\r\n', end=None, separator=b': '):
    lines = [status] + [name + separator + value for name, value in headers]
    return line_end.join(lines) + line_end + (line_end if end is None else end)


def answer(name=b'Living room', without=(), **changes):
    return message(fields(without, FriendlyName=name, **changes))


def entries(headers):
    """The dictionary that a script must get for these headers, all values as bytes."""
    values = dict(headers)
    return {key: values.get(name, b'') for key, name in ENTRY_SOURCES}


# A test that takes the network away may do so between a request and its answer.
NETWORK_GONE = (errno.ENETUNREACH, errno.ENETDOWN, errno.EHOSTUNREACH, errno.ENODEV)


class Responder:
    """Listens on port 31288 in a namespace from construction until close.

    `reply` is called on the responder's thread for each request and gives the datagrams to send
    back at once; it may be replaced at any time. Where the network has gone meanwhile nobody gets them.
    """

    def __init__(self, namespace, addresses, reply=None):
        with namespace.entered():
            self._socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
            self._socket.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
            self._socket.setsockopt(socket.IPPROTO_IP, 8, 1)  # IP_PKTINFO
            self._socket.bind(('0.0.0.0', PORT))
        for address in addresses:
            self.join(address)
        self.reply = reply or (lambda request: [])
        self._requests = []
        self._changed = threading.Condition()
        self._thread = WokenThread(self._run)

    def _run(self, wake):
        while True:
            if wait_for_either(self._socket, wake):
                return
            payload, control, _, source = self._socket.recvmsg(65536, 256)
            destination = socket.inet_ntoa(struct.unpack('I4s4s', control[0][2][:12])[2])
            request = Request(time.time(), source, destination, payload)
            # Before the answers, which somebody may look at the requests for.
            with self._changed:
                self._requests.append(request)
                self._changed.notify_all()
            try:
                for datagram in self.reply(request):
                    self.send(datagram, source)
            except OSError as error:
                if error.errno not in NETWORK_GONE:
                    raise

    def close(self):
        try:
            self._thread.end()
        finally:
            self._socket.close()

    def join(self, address):
        """Takes in what goes to the group on the interface of this address: once, until the interface
        goes."""
        self._socket.setsockopt(
            socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, socket.inet_aton(GROUP) + socket.inet_aton(address)
        )

    def send(self, payload, to):
        self._socket.sendto(payload, to)

    def requests(self):
        with self._changed:
            return list(self._requests)

    def sender(self, destination, timeout=10):
        """The (address, port) of the first request that was sent to this destination address."""
        deadline = time.monotonic() + timeout
        with self._changed:
            while True:
                for request in self._requests:
                    if request.destination == destination:
                        return request.source
                remaining = deadline - time.monotonic()
                if remaining <= 0:
                    raise AssertionError('no request to %s; got %r' % (destination, self._requests))
                self._changed.wait(remaining)


class Stream:
    """Sends datagrams to one address at a steady pace until it is closed.

    `make` gives the datagram for each running number.
    """

    def __init__(self, responder, to, pace, make):
        self._ended = threading.Event()
        self.sent = 0

        def run():
            while not self._ended.wait(pace):
                responder.send(make(self.sent), to)
                self.sent += 1

        self._thread = LoudThread(run)

    def close(self):
        self._ended.set()
        self._thread.join()
