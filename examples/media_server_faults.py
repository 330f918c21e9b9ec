"""What the sample media server can be told to do wrong (media_server.py --fault NAME), to see what a
client makes of it.

    no-ext              leaves out the header EXT
    ext-without-colon   has it as a word, which is no header
    no-friendly-name    leaves out FriendlyName
    no-location         leaves out LOCATION
    other-usn           has a USN that names another type than ST
    over-long           is longer than any client of this kind takes
    garbage             sends bytes of which nobody can make anything
    no-closing-line     leaves out the empty line at the end, which clients may forgive
    silent-after=N      answers N searches, and none after these
"""

from __future__ import unicode_literals

import argparse

OVER_LONG = 2140  # bytes of an answer
GARBAGE = bytes(bytearray(range(256)))

NAMES = (
    'no-ext',
    'ext-without-colon',
    'no-friendly-name',
    'no-location',
    'other-usn',
    'over-long',
    'garbage',
    'no-closing-line',
    'silent-after=N',
)

_LEFT_OUT = {'no-ext': 'EXT', 'no-friendly-name': 'FriendlyName', 'no-location': 'LOCATION'}


def parsed(argument):
    """A fault's name and its number, which is None for most."""
    name, equals, number = argument.partition('=')
    if (name + '=N' if equals else name) not in NAMES or equals and not number.isdigit():
        raise argparse.ArgumentTypeError('%s is none of: %s' % (argument, ', '.join(NAMES)))
    return name, int(number) if equals else None


def is_silent(wrongs, searches):
    """Whether the newest of so many searches is not answered any more."""
    return searches > wrongs.get('silent-after', searches)


def written(headers, wrongs):
    """The answer with these headers, a datagram; `wrongs` is the faults' names, each with its number."""
    if 'garbage' in wrongs:
        return GARBAGE
    left_out = {_LEFT_OUT[name] for name in wrongs if name in _LEFT_OUT}
    lines = ['HTTP/1.1 200 OK']
    for name, value in headers:
        if name == 'USN' and 'other-usn' in wrongs:
            value = value.partition('::')[0] + '::urn:schemas-upnp-org:device:MediaServer:1'
        if name == 'EXT' and 'ext-without-colon' in wrongs:
            lines.append(name)
        elif name not in left_out:
            lines.append('%s: %s' % (name, value))
    if 'over-long' in wrongs:
        lines.append('X-Padding: ')
        lines[-1] += (OVER_LONG - len(joined(lines, wrongs))) * 'x'
    return joined(lines, wrongs)


def joined(lines, wrongs):
    end = '\r\n' if 'no-closing-line' in wrongs else '\r\n\r\n'
    return ('\r\n'.join(lines) + end).encode('utf-8')
