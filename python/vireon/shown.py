"""Texts of strangers, for people.

What a server says of itself is bytes that somebody on the network sent. A terminal would obey some of
them, and so they are replaced before anything is written.
"""

from __future__ import absolute_import

import sys
import unicodedata

REPLACEMENT = u'\ufffd'
_TURNING = u'\u061c\u200e\u200f\u202a\u202b\u202c\u202d\u202e\u2066\u2067\u2068\u2069'  # right to left


def shown(data, most=None):
    """As text, without what a terminal would obey, and no longer than so many characters."""
    text = data.decode('utf-8', 'replace') if isinstance(data, bytes) else data
    if most is not None and len(text) > most:
        text = text[: max(0, most - 3)] + u'...'
    return u''.join(REPLACEMENT if _steers(each) else each for each in text)


def columns_of(text):
    """How many a terminal needs for it, at most: some scripts have characters of two columns, and so have
    pictures, which Python's tables do not know yet."""
    return sum(2 if ord(each) > 0xFFFF or unicodedata.east_asian_width(each) in 'FW' else 1 for each in text)


def _steers(character):
    return unicodedata.category(character) in ('Cc', 'Zl', 'Zp') or character in _TURNING


def say(line, stream=None):
    write(line + u'\n', stream or sys.stdout)


def write(text, stream):
    """Writes at once, in what its reader can read."""
    encoding = getattr(stream, 'encoding', None)
    try:
        data = text.encode(encoding or 'utf-8', 'replace')
    except LookupError:  # cp65001, which a console of Windows calls its UTF-8
        data = text.encode('utf-8', 'replace')
    stream.write(data)
    stream.flush()
