"""Which addresses of this machine a search goes out from, and why it does not from others.

The module chooses them without a word. Here its rules stand once more, with a reason each.
"""

from __future__ import absolute_import

import collections
import socket
import struct

MOST = 32  # addresses that are looked at, whether their interface is up or not

# The name is empty where the system gives none, address and mask are as in '10.0.0.1'.
Address = collections.namedtuple(
    'Address', 'interface address mask is_up is_loopback is_point_to_point can_broadcast can_multicast'
)

TOO_MANY = 'only the first %d addresses are looked at' % MOST
DOWN = 'its interface is down'
LOOPBACK = 'it is loopback'
NO_MULTICAST = 'its interface takes no multicast'
POINT_TO_POINT = 'its interface has one other end, as that of a VPN'
UNSET = 'its interface waits for an address'
NO_BROADCAST = 'its interface takes no broadcast'


def judged(found):
    """(address, reason) of each, in the system's order; the reason is None for one that is searched."""
    reasons = [_reason(number, each) for number, each in enumerate(found)]
    # Loopback is searched where no other address is kept, even if that were not searched in the end.
    if all(reasons):
        reasons = [
            None if reason == LOOPBACK and each.can_multicast and not each.is_point_to_point else reason
            for each, reason in zip(found, reasons)
        ]
    return [(each, reason or _reason_of_a_kept_one(each)) for each, reason in zip(found, reasons)]


def _reason(number, each):
    if number >= MOST:
        return TOO_MANY
    if not each.is_up:
        return DOWN
    if each.is_loopback:
        return LOOPBACK
    if not each.can_multicast:
        return NO_MULTICAST
    if each.is_point_to_point:
        return POINT_TO_POINT
    return UNSET if each.address == '0.0.0.0' else None


def _reason_of_a_kept_one(each):
    if not each.can_broadcast:
        return NO_BROADCAST
    return UNSET if each.address == '0.0.0.0' else None


def broadcast_of(each):
    """By the mask, since the one that the system was told may be wrong."""
    address, mask = (struct.unpack('!L', socket.inet_aton(text))[0] for text in (each.address, each.mask))
    return socket.inet_ntoa(struct.pack('!L', (address & mask) | (~mask & 0xFFFFFFFF)))


def prefix_of(each):
    """How many bits of an address tell the network."""
    return bin(struct.unpack('!L', socket.inet_aton(each.mask))[0]).count('1')
