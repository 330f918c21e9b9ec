"""Values of Python as the module takes them.

No function makes a text or a time for a script. But a device has both, and so a device that is made for
the purpose lends them: their chain keeps it for as long as they are used.
"""

from __future__ import absolute_import

import ctypes

import _vireon

from vireon.quiet import let_go
from vireon.values import NANOSECONDS


def as_bytes(text):
    """A text as the module takes it: bytes as they are, unicode as UTF-8."""
    data = text.encode('utf-8') if isinstance(text, unicode) else text
    if '\0' in data:
        raise ValueError('a text of the module ends at its first zero byte: %r' % data)
    return data


def new_device(uuid='', device_type='', friendly_name=''):
    """A wrapped device at no location, since no function makes one of a text."""
    plain = _vireon.new_ZoSsdpDeviceInfo()
    lease = _vireon.ZoSsdpDeviceInfo_GetLeaseTime(plain)
    url = [_vireon.ZoSsdpDeviceInfo_GetURLBase(plain)]
    try:
        return _vireon.new_ZoSsdpDeviceInfo(
            url[0], as_bytes(uuid), lease, as_bytes(device_type), as_bytes(friendly_name)
        )
    finally:
        let_go(url)


def native_text(text):
    device = new_device(friendly_name=text)
    native = _vireon.ZoSsdpDeviceInfo_GetFriendlyName(device)
    native.append(device)
    return native


def native_interval(seconds):
    nanoseconds = int(round(seconds * NANOSECONDS))
    if not -(2**63) <= nanoseconds < 2**63:
        raise OverflowError('no span of time that the module can count: %r' % seconds)
    device = _vireon.new_ZoSsdpDeviceInfo()
    native = _vireon.ZoSsdpDeviceInfo_GetLeaseTime(device)
    ctypes.c_int64.from_address(int(native)).value = nanoseconds
    native.append(device)
    return native


def call_with_unsigned(function, device, number):
    """Calls a function of a device with a number of the module's kind, which only a device returns."""
    if not 0 <= number < 2**32:
        raise OverflowError('not between 0 and 4294967295: %r' % number)
    holder = [_vireon.ZoSsdpDeviceInfo_GetBootId(device)]
    try:
        ctypes.c_uint32.from_address(int(holder[0])).value = number
        function(device, holder[0])
    finally:
        let_go(holder)
