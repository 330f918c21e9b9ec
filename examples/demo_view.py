"""The demo's view: `python -m vireon watch --dropped`, below one line that says what happens now.

On a terminal of some size the watch gets a terminal of its own, two lines lower, and what it draws there is
drawn below that line. Elsewhere its lines are handed on. Linux only.
"""

import fcntl
import os
import pty
import re
import select
import shutil
import signal
import struct
import subprocess
import sys
import termios
import time

from demo_network import Failure

INTERVAL = 1  # seconds between two searches: a server is lost after three without an answer
COLUMNS, LINES = 80, 16  # of a terminal that has room for everything
HEADING = 2  # lines
QUIET = 0.9  # seconds after which something is said
END = 30  # seconds that a watch may take to end
HOME, REST_OF_LINE, REST = '\x1b[H', '\x1b[K', '\x1b[J'

SERVER = re.compile(r'(\S.*?) +[\d.]+ +(\d+) +\d+ s +\d+$')
SOURCE = re.compile(r'([\d.]+) +(\d+)  \S')
EVENT = re.compile(r'(found|changed|lost) +(\S.*?)  +[\d.]+ +(http.*)$')


class Seen:
    """What the watch has shown."""

    def __init__(self):
        self.networks = {}  # how many a server is in, by its name: of those that are there
        self.found, self.lost = set(), set()
        self.dropped = {}  # answers, by address

    def read_table(self, lines):
        rows = [row.groups() for row in map(SERVER.match, lines) if row]
        self._now_there({name: int(networks) for name, networks in rows})
        self._read_sources(lines)

    def read_line(self, line):
        event = EVENT.match(line)
        if event:
            kind, name, locations = event.groups()
            there = dict(self.networks, **{name: len(locations.split())})
            if kind == 'lost':
                del there[name]
            self._now_there(there)
        elif line.startswith('dropped '):
            self._read_sources([line.partition(' ')[2].strip()])

    def _now_there(self, networks):
        self.found |= set(networks)
        self.lost |= set(self.networks) - set(networks)
        self.networks = networks

    def _read_sources(self, lines):
        for row in filter(None, map(SOURCE.match, lines)):
            self.dropped[row.group(1)] = int(row.group(2))


class View:
    """Runs the watch from construction until close. `heed` is called again and again, and may raise."""

    def __init__(self, output, heed):
        self._heed = heed
        self.seen = Seen()
        self._unread = b''
        command = [os.environ['VIREON_PYTHON'], '-B', '-m', 'vireon', 'watch', '--dropped']
        path = [os.environ['VIREON_MODULE_DIR'], os.environ.get('PYTHONPATH')]
        self._process = subprocess.Popen(
            command + ['--interval', str(INTERVAL)],
            env=dict(os.environ, PYTHONPATH=':'.join(filter(None, path))),
            stdin=subprocess.DEVNULL,
            stdout=output,
            stderr=output,
        )

    def tell(self, says):
        """What happens from now on."""
        raise NotImplementedError

    def watch_until(self, condition, least, most):
        """Shows what there is, for so many seconds. Gives whether the condition came true."""
        start = time.monotonic()
        while True:
            self._heed()
            passed = time.monotonic() - start
            if passed >= least and condition(self.seen):
                return True
            if passed >= most:
                return False
            if not self._take(0.1):
                raise Failure('the watch ended early: %s' % self._last_words())

    def end(self):
        """As Ctrl-C does. Gives how many seconds it took."""
        start = time.monotonic()
        self._process.send_signal(signal.SIGINT)
        while self._take(END):
            pass
        code = self._process.wait(END)
        if code != 0:
            raise Failure('the watch ended with %d: %s' % (code, self._last_words()))
        return time.monotonic() - start

    def close(self):
        if self._process.poll() is None:
            self._process.kill()
            self._process.wait()
        os.close(self._input)

    def _take(self, seconds):
        """Waits no longer than that for output of the watch. False when there will be none any more."""
        if not select.select([self._input], [], [], seconds)[0]:
            self._nothing_came()
            return True
        try:
            came = os.read(self._input, 65536)
        except OSError:  # the end, where it is a terminal
            came = b''
        self._unread += came
        self._show()
        return came != b''

    def _last_words(self):
        return self._unread.decode('utf-8', 'replace').strip().rpartition('\n')[2]


class LinesView(View):
    def __init__(self, heed):
        self._input, output = os.pipe()
        self._since = self._said = time.monotonic()  # when the scene began, when a line was written
        super().__init__(output, heed)
        os.close(output)

    def tell(self, says):
        self._since = time.monotonic()
        self._say('==> ' + says)

    def _show(self):
        *lines, self._unread = self._unread.split(b'\n')
        for line in lines:
            line = line.decode('utf-8', 'replace')
            self.seen.read_line(line)
            self._say(line)

    def _nothing_came(self):
        if time.monotonic() - self._said >= QUIET:
            self._say('    ... %d s' % round(time.monotonic() - self._since))

    def _say(self, line):
        print(line, flush=True)
        self._said = time.monotonic()


class TableView(View):
    def __init__(self, heed):
        self._input, output = pty.openpty()
        self._says, self._size, self._table = '', None, []
        self._fit()
        super().__init__(output, heed)
        os.close(output)

    def tell(self, says):
        self._says = says
        self._draw()

    def _show(self):
        while REST.encode() in self._unread:
            frame, _, self._unread = self._unread.partition(REST.encode())
            frame = frame.decode('utf-8', 'replace').rpartition(HOME)[2]
            self._table = frame.replace(REST_OF_LINE, '').replace('\r', '').split('\n')
            self.seen.read_table(self._table)
            self._draw()
            self._fit()

    def _nothing_came(self):
        pass  # the watch draws anew each second

    def _draw(self):
        lines = ['\x1b[7m %s \x1b[0m' % self._says, ''] + self._table
        sys.stdout.write(HOME + (REST_OF_LINE + '\n').join(lines) + REST)
        sys.stdout.flush()

    def _fit(self):
        """Gives the watch what room there is now."""
        size = shutil.get_terminal_size()
        if size != self._size:
            self._size = size
            room = struct.pack('4H', max(size.lines - HEADING, 1), size.columns, 0, 0)
            fcntl.ioctl(self._input, termios.TIOCSWINSZ, room)


def open_view(heed):
    size = shutil.get_terminal_size()
    is_terminal = sys.stdout.isatty() and os.environ.get('TERM', 'dumb') != 'dumb'
    has_room = size.columns >= COLUMNS and size.lines >= LINES
    return (TableView if is_terminal and has_room else LinesView)(heed)
