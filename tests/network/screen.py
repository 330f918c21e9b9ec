"""A screen that nobody sees (Xvfb), and pictures of it."""

import ctypes
import os
import shutil
import signal
import struct
import subprocess
import tempfile
import time
import zlib

_PR_SET_PDEATHSIG = 1


def missing():
    """Why there can be none, or None."""
    return None if shutil.which('Xvfb') else 'Xvfb is not installed (./dev setup test)'


def _die_with_parent():
    ctypes.CDLL(None).prctl(_PR_SET_PDEATHSIG, signal.SIGKILL)


class Screen:
    """One that the programs of a namespace reach, from construction until close. The namespace keeps it
    apart from every other screen of the machine, since nothing of it lies in a common folder."""

    DISPLAY = '127.0.0.1:7'

    def __init__(self, namespace, width=640, height=240):
        namespace.ip('link set lo up')
        self._folder = tempfile.mkdtemp(prefix='vireon_screen.')
        command = 'Xvfb :7 -nolisten unix -listen tcp -ac -nolock -displayfd 1 -fbdir %s -screen 0 %dx%dx24'
        with namespace.entered():
            self._process = subprocess.Popen(
                (command % (self._folder, width, height)).split(),
                stdout=subprocess.PIPE,
                stderr=subprocess.DEVNULL,
                preexec_fn=_die_with_parent,
            )
        # It tells its number once it is ready.
        if self._process.stdout.readline() != b'7\n':
            self.close()
            raise OSError('Xvfb does not start')

    def picture(self):
        """What is on it now."""
        with open(os.path.join(self._folder, 'Xvfb_screen0'), 'rb') as file:
            return Picture(file.read())

    def await_picture(self, condition, timeout):
        """The first that the condition holds for, or the one that there is at last."""
        deadline = time.monotonic() + timeout
        while True:
            picture = self.picture()
            if condition(picture) or time.monotonic() > deadline:
                return picture
            time.sleep(0.05)

    def close(self):
        self._process.kill()
        self._process.wait()
        self._process.stdout.close()
        shutil.rmtree(self._folder, ignore_errors=True)


class Picture:
    """Lines of points, each three bytes, from an X window dump (xwd) of 24 bits."""

    def __init__(self, dump):
        header = struct.unpack('>25I', dump[:100])
        size, self.width, self.height = header[0], header[4], header[5]
        bits, stride, colours = header[11], header[12], header[19]
        assert (header[1], bits) == (7, 32), 'a dump of another kind'
        start = size + 12 * colours
        order = (2, 1, 0) if header[7] == 0 else (1, 2, 3)  # of red, green and blue
        self.lines = []
        for line in range(self.height):
            points = dump[start + line * stride :][: 4 * self.width]
            joined = bytearray(3 * self.width)
            for place, byte in enumerate(order):
                joined[place::3] = points[byte::4]
            self.lines.append(bytes(joined))

    def colours(self):
        """How many points there are of each colour."""
        counts = {}
        for line in self.lines:
            for place in range(0, len(line), 3):
                colour = line[place : place + 3]
                counts[colour] = counts.get(colour, 0) + 1
        return counts

    def differences(self, other):
        """How many bytes of the points are not the same as in another one of the same size."""
        return sum(
            sum(one != another for one, another in zip(line, line_of_other))
            for line, line_of_other in zip(self.lines, other.lines)
            if line != line_of_other
        )

    def cut(self):
        """Without the background around it, which its last point shows."""
        background = self.lines[-1][-3:]
        rows = [number for number, line in enumerate(self.lines) if line != background * self.width]
        lines = self.lines[rows[0] : rows[-1] + 1]
        columns = [
            number
            for number in range(self.width)
            if any(line[3 * number : 3 * number + 3] != background for line in lines)
        ]
        self.lines = [line[3 * columns[0] : 3 * columns[-1] + 3] for line in lines]
        self.width, self.height = columns[-1] + 1 - columns[0], len(lines)
        return self

    def png(self):
        def chunk(kind, data):
            check = zlib.crc32(kind + data)
            return struct.pack('>I', len(data)) + kind + data + struct.pack('>I', check)

        head = struct.pack('>2I5B', self.width, self.height, 8, 2, 0, 0, 0)
        points = zlib.compress(b''.join(b'\0' + line for line in self.lines), 9)
        return b'\x89PNG\r\n\x1a\n' + chunk(b'IHDR', head) + chunk(b'IDAT', points) + chunk(b'IEND', b'')
