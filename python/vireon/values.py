"""The module's values as Python has them.

The module hands out results, texts, times and URLs as wrapped pointers, and takes nothing else for them.
Here they are read; `natives` makes what it takes.
"""

from __future__ import absolute_import

import ctypes
import urlparse

import _vireon

from vireon.quiet import let_go

NANOSECONDS = 10**9  # of a second


class Result(int):
    """What an operation of the module says: 0 when it did what it should, else the number of a fault."""

    @property
    def succeeded(self):
        return self == 0

    def __repr__(self):
        return 'Result(%d)' % self


class Interval(float):
    """A span of time in seconds, which the module counts in nanoseconds."""

    def __repr__(self):
        return 'Interval(%s)' % float.__repr__(self)


class Url(str):
    """A URL as the module renders it."""

    @property
    def host(self):
        return urlparse.urlsplit(self).hostname or ''

    @property
    def port(self):
        """0 when there is none."""
        return urlparse.urlsplit(self).port or 0

    @property
    def path(self):
        return urlparse.urlsplit(self).path

    def __repr__(self):
        return 'Url(%s)' % str.__repr__(self)


def number_of(wrapped):
    return ctypes.c_int32.from_address(int(wrapped)).value


def unsigned_of(wrapped):
    return ctypes.c_uint32.from_address(int(wrapped)).value


def result_of(wrapped):
    return Result(number_of(wrapped))


def interval_of(wrapped):
    return Interval(ctypes.c_int64.from_address(int(wrapped)).value / float(NANOSECONDS))


def text_of(wrapped):
    """A native text is one pointer, null for the empty one. In front of the characters that it leads to
    stand two unsigned 32-bit numbers, of which the first is their count."""
    characters = ctypes.c_void_p.from_address(int(wrapped)).value
    if not characters:
        return ''
    return ctypes.string_at(characters, ctypes.c_uint32.from_address(characters - 8).value)


def url_of(wrapped):
    """A URL is rendered as that of a device."""
    device = _vireon.new_ZoSsdpDeviceInfo(wrapped)
    return Url(taken(text_of, _vireon.ZoSsdpDeviceInfo_GetDescriptionUrl, device))


def taken(read, function, *arguments):
    """Calls a function whose result is the caller's own; gives what is read of it, and lets it go."""
    holder = [function(*arguments)]
    try:
        return read(holder[0])
    finally:
        let_go(holder)
