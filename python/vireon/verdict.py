"""What the module makes of a datagram that comes in answer to a search, and why.

The module only drops what it does not want. Here its rules stand once more, in its order and with a reason
each, for whoever wonders where a server is. A test holds both to each other.
"""

from __future__ import absolute_import

import collections
import re
import string

DEVICE_TYPE = 'urn:schemas-upnp-org:device:ZOMediaServer:1'
LONGEST = 2000  # bytes
MOST_INTERIM = 10  # responses of 1xx in one datagram

Fault = collections.namedtuple('Fault', 'says mend')

# As the module comes to them. What is to be mended follows "Have the server".
TOO_LONG = Fault('%s bytes, 2,000 at most', 'leave out headers until its answer has 2,000 bytes at most')
NO_STATUS = Fault('no "HTTP/1.1 200 OK" at its beginning', 'begin its answer with the line "HTTP/1.1 200 OK"')
BAD_STATUS = Fault('the status is %s, not 200', 'answer with "HTTP/1.1 200 OK"')
NO_ST = Fault('no ST header', 'send the header ST, with the type %s' % DEVICE_TYPE)
NO_USN = Fault('no USN header', 'send the header USN, as uuid:<its uuid>::%s' % DEVICE_TYPE)
NO_EXT = Fault('no EXT header', 'send the header "EXT:", with its colon and nothing behind it')
BAD_USN = Fault(
    'USN is not uuid::ST', 'send as USN its uuid, "::" and what it sends as ST, with no further "::"'
)
NO_LOCATION = Fault('no Location header', 'send the header Location, with the URL of its description')
OTHER_DEVICE = Fault('another kind of device', 'answer with a USN that names %s' % DEVICE_TYPE)
BAD_LOCATION = Fault(
    'Location is no URL', 'send as Location an http or https URL with a host and no port but 1 to 65535'
)
NO_NAME = Fault('no FriendlyName header', 'send the header FriendlyName, with the name that people see')

FAULTS = (
    TOO_LONG,
    NO_STATUS,
    BAD_STATUS,
    NO_ST,
    NO_USN,
    NO_EXT,
    BAD_USN,
    NO_LOCATION,
    OTHER_DEVICE,
    BAD_LOCATION,
    NO_NAME,
)


class Verdict(object):
    """On one datagram: `fault` is None when the module takes it, and `says` the reason otherwise.

    `usn` and `name` are what it says of itself, None where that could not be read.
    """

    def __init__(self, fault, detail=None, message=None):
        self.fault = fault
        self.says = None if fault is None else (fault.says if detail is None else fault.says % detail)
        self.usn = message and message.find('USN')
        self.name = message and message.find('FriendlyName')


def judge(datagram):
    if len(datagram) > LONGEST:
        return Verdict(TOO_LONG, '{:,}'.format(len(datagram)))
    message = _read(datagram)
    if message is None:
        return Verdict(NO_STATUS)
    if message.status // 100 != 2:
        return Verdict(BAD_STATUS, message.status, message)
    return Verdict(_fault(message), message=message)


def is_meant_for_us(datagram):
    """Whether its sender takes itself for a media server, for all that may be wrong with it."""
    return DEVICE_TYPE in datagram or re.search(r'(?im)^FriendlyName[ \t]*:', datagram) is not None


def _fault(message):
    for header, fault in (('ST', NO_ST), ('USN', NO_USN), ('EXT', NO_EXT)):
        if message.find(header) is None:
            return fault
    parts = message.find('USN').split('::')
    if len(parts) != 2 or _folded(parts[1]) != _folded(message.find('ST')):
        return BAD_USN
    if message.find('Location') is None:
        return NO_LOCATION
    if DEVICE_TYPE not in message.find('USN'):
        return OTHER_DEVICE
    if not _is_url(message.find('Location')):
        return BAD_LOCATION
    return NO_NAME if message.find('FriendlyName') is None else None


class _Message(object):
    def __init__(self, status):
        self.status = status
        self.headers = []

    def find(self, name):
        """The value of the first header of that name; None without one."""
        for header, value in self.headers:
            if _folded(header) == _folded(name):
                return value.strip(' \t')
        return None


def _read(datagram):
    """The first message that is not interim. None where none is."""
    lines = datagram.replace('\r', '').split('\n')
    if not lines[-1]:
        lines.pop()
    for _ in range(MOST_INTERIM):
        status = _status(lines.pop(0)) if lines else None
        if status is None:
            return None
        message = _Message(status)
        _read_headers(lines, message)
        if status // 100 != 1:
            return message
    return None


def _status(line):
    """What the module reads as "HTTP/1.1 200 OK"; 0 for a code that is no number."""
    line = line.partition('\0')[0]
    first = line.find(' ')
    if first <= 0:
        return None
    second = line.find(' ', first + 1)
    if second != first + 4 if second >= 0 else len(line) != len('HTTP/1.1 200'):
        return None
    number = re.match(r'[ \t]*([0-9]+)', line[first + 1 : first + 4])
    return int(number.group(1)) if number else 0


def _read_headers(lines, message):
    """Takes the lines up to an empty one. A line that begins with a blank goes on with the last header."""
    is_open = False
    while lines:
        line = lines.pop(0)
        if not line:
            break
        line = line.partition('\0')[0]
        if is_open and line[:1] in (' ', '\t'):
            name, value = message.headers[-1]
            message.headers[-1] = name, value + line[1:]
            continue
        name, colon, value = line.partition(':')
        is_open = bool(name and colon)
        if is_open:
            message.headers.append((name, value))


def _is_url(text):
    """Whether it is an http or https URL with a host, and with a port other than 0 if it has one."""
    scheme = re.match(r'(?i)https?://', text)
    if not scheme:
        return False
    rest = text[scheme.end() :]
    bracket = rest.find(']') if rest.startswith('[') else 0
    host = re.compile('[#/:?]').search(rest, bracket if bracket >= 0 else len(rest))
    end = host.start() if host else len(rest)
    if end == 0 or rest[end : end + 1] != ':':
        return end > 0
    port = rest[end + 1 :].partition('/')[0]
    return re.match(r'[0-9]+\Z', port) is not None and 0 < int(port) <= 65535


_LOWER = string.maketrans(string.ascii_uppercase, string.ascii_lowercase)


def _folded(text):
    return text.translate(_LOWER)
