"""Reads the text of a wrapped NPT_String with ctypes.

The module hands texts to scripts as wrapped NPT_String objects and has no function that turns one
into a script string. Its layout is fixed, though: the object is a single pointer, null for the
empty string, else to the characters, which end in a zero. In front of the characters stand two
unsigned 32-bit numbers: the length and the capacity.

Run it with the module's folder on the path:  PYTHONPATH=build/release python2.7 read_string.py
"""
import ctypes

import _vireon


def read_string(wrapped):
    """The bytes of a wrapped NPT_String, zero bytes included."""
    wrapped = getattr(wrapped, 'this', wrapped)  # an instance of a registered class, or bare
    characters = ctypes.c_void_p.from_address(int(wrapped)).value
    if not characters:
        return ''
    length = ctypes.c_uint32.from_address(characters - 8).value
    return ctypes.string_at(characters, length)


if __name__ == '__main__':
    device = _vireon.new_ZoSsdpDeviceInfo()
    # Borrowed from the device: read it while the device lives.
    print('uuid: %s' % read_string(_vireon.ZoSsdpDeviceInfo_GetUUID(device)))
    print('type: %r' % read_string(_vireon.ZoSsdpDeviceInfo_GetType(device)))
    _vireon.delete_ZoSsdpDeviceInfo(device)
