"""How much of what arrives at once finds room, as the system has it."""

from __future__ import absolute_import

import contextlib
import os
import socket

ASKED_FOR = 4 * 1024 * 1024  # bytes
LINUX_COUNTS = 2304  # bytes, for one short answer
LIMIT = '/proc/sys/net/core/rmem_max'


def ask_for(receiving):
    """As a sender of the module's does: some systems cut what is too much for them, others refuse it."""
    size = ASKED_FOR
    while size > receiving.getsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF):
        try:
            return receiving.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, size)
        except socket.error:
            size //= 2


def state():
    """In words."""
    with contextlib.closing(socket.socket(socket.AF_INET, socket.SOCK_DGRAM)) as receiving:
        ask_for(receiving)
        size = receiving.getsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF)
    says = '{:,} bytes'.format(size)
    if os.name == 'nt':
        return says
    says += ', room for some {:,} answers at once'.format(size // LINUX_COUNTS // 10 * 10)
    try:
        with open(LIMIT) as file:
            return says + '; net.core.rmem_max is {:,}'.format(int(file.read()))
    except IOError:  # as in a container of an older Linux
        return says
