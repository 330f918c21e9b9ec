"""pouring.py RATE SECONDS COMMAND [ARGUMENT ...]

Runs a command; the first search in its namespace is answered RATE times a second for so many seconds, by
servers whose names are the numbers from 0. Then says how many were sent, and how many datagrams of the
namespace found no room where they were to be received. The exit code is the command's.
"""

import os
import pathlib
import socket
import subprocess
import sys
import threading
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "network"))
from answering import ADDRESS
from responder import GROUP, PORT, answer

AT_ONCE_SECONDS = 0.004


def pour(listener, rate, seconds, told):
    _, searching = listener.recvfrom(65536)
    before, after = answer(b"@").split(b"@")
    begun, sent = time.monotonic(), 0
    while True:
        passed = time.monotonic() - begun
        if passed >= seconds:
            break
        # What was not sent in time is not caught up at one go.
        due = min(int(rate * passed) + 1, sent + int(4 * rate * AT_ONCE_SECONDS) + 1)
        while sent < due:
            listener.sendto(b"%s%d%s" % (before, sent, after), searching)
            sent += 1
        time.sleep(AT_ONCE_SECONDS)
    told.append("poured %d %d\n" % (sent, without_room()))


def without_room():
    lines = [line.split() for line in open("/proc/self/net/snmp")]
    table = {titles[0]: dict(zip(titles, values)) for titles, values in zip(lines[::2], lines[1::2])}
    return int(table["Udp:"]["RcvbufErrors"])


if __name__ == "__main__":
    rate, seconds = int(sys.argv[1]), float(sys.argv[2])
    listener = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    listener.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    listener.bind(("0.0.0.0", PORT))
    listener.setsockopt(
        socket.IPPROTO_IP, socket.IP_ADD_MEMBERSHIP, socket.inet_aton(GROUP) + socket.inet_aton(ADDRESS)
    )
    told = []
    pouring = threading.Thread(target=pour, args=(listener, rate, seconds, told), daemon=True)
    pouring.start()
    code = subprocess.run(sys.argv[3:]).returncode
    # It may be behind the command, and waits for ever where that never searched.
    pouring.join(10)
    os.write(1, "".join(told).encode())
    # A signal as a shell tells it.
    os._exit(code if code >= 0 else 128 - code)
