#!/usr/bin/env python3
"""Counts the datagrams of a search on the wire until it is ended, then prints the counts.

    wire_count.py INTERFACE

Linux only, and only for who may open a packet socket (root).
"""

import collections
import signal
import socket
import struct
import sys

PORT = 31288
GROUP = '239.255.255.250'
ETH_P_ALL = 3  # only a socket for all protocols sees what goes out
ETH_P_IP = 0x0800


def kind(packet):
    """What an IP packet is to a search, or None."""
    header_size = (packet[0] & 15) * 4
    if packet[9] != socket.IPPROTO_UDP or len(packet) < header_size + 8:
        return None
    source_port, destination_port = struct.unpack_from('!HH', packet, header_size)
    if destination_port == PORT:
        return 'multicast' if socket.inet_ntoa(packet[16:20]) == GROUP else 'broadcast'
    return 'answer' if source_port == PORT else None


class Ended(Exception):
    pass


def end(*_):
    raise Ended


def main():
    counts, sizes = collections.Counter(), collections.Counter()
    try:
        wire = socket.socket(socket.AF_PACKET, socket.SOCK_DGRAM, socket.htons(ETH_P_ALL))
    except PermissionError:
        sys.exit('what is on the wire shows itself only to root (CAP_NET_RAW)')
    wire.bind((sys.argv[1], ETH_P_ALL))
    signal.signal(signal.SIGTERM, end)
    signal.signal(signal.SIGINT, end)
    print('counting on %s' % sys.argv[1], flush=True)
    try:
        while True:
            packet, address = wire.recvfrom(65536)
            if address[1] == ETH_P_IP:
                what = kind(packet)
                counts[what] += 1
                sizes[what] += len(packet)
    except Ended:
        pass
    print(
        'on the wire: %d requests by multicast (%d bytes), %d by broadcast (%d bytes), '
        '%d answers (%d bytes)'
        % (
            counts['multicast'],
            sizes['multicast'],
            counts['broadcast'],
            sizes['broadcast'],
            counts['answer'],
            sizes['answer'],
        ),
        flush=True,
    )


if __name__ == '__main__':
    main()
