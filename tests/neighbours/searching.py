"""A search with servers to be found, all in one process, in a namespace made by isolated.sh."""
import contextlib
import itertools
import socket
import threading
import time

from vireon import Vireon

GROUP, ADDRESS, PORT = '239.255.255.250', '10.77.0.1', 31288
INTERVAL = 0.05
DEVICE_TYPE = 'urn:schemas-upnp-org:device:ZOMediaServer:1'
ANSWER = '\r\n'.join(
    (
        'HTTP/1.1 200 OK',
        'EXT: ',
        'LOCATION: http://10.77.0.1/',
        'ST: ' + DEVICE_TYPE,
        'USN: uuid:%(number)d::' + DEVICE_TYPE,
        'FriendlyName: Server %(number)d',
        '',
        '',
    )
)


class Servers(threading.Thread):
    """Answers each request for as many servers as that; each answer has another number."""

    def __init__(self, count):
        threading.Thread.__init__(self)
        self.count = count
        self.has_ended = False
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.bind(('', PORT))
        self.socket.settimeout(INTERVAL)
        self.socket.setsockopt(
            socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, socket.inet_aton(GROUP) + socket.inet_aton(ADDRESS)
        )

    def run(self):
        numbers = itertools.count()
        while not self.has_ended:
            try:
                _, source = self.socket.recvfrom(2000)
            except socket.timeout:
                continue
            for number in itertools.islice(numbers, self.count):
                self.socket.sendto(ANSWER % {'number': number}, source)
        self.socket.close()

    def end(self):
        self.has_ended = True
        self.join()


@contextlib.contextmanager
def searching(callback, count=3):
    """Within it servers are found over and over. Its end is a stop."""
    servers = Servers(count)
    servers.start()
    try:
        with Vireon() as vireon:
            vireon.search(INTERVAL, callback)
            yield vireon
    finally:
        servers.end()


def wait(condition, seconds=20):
    """Goes on as soon as the condition holds, and at the latest after that time; tells whether it does."""
    limit = time.time() + seconds
    while not condition() and time.time() < limit:
        time.sleep(0.005)
    return condition()
