"""The terminal that a program writes to: how large it is, and how its lines are written over."""

from __future__ import absolute_import

import os
import struct
import sys

from vireon.shown import columns_of, write

if os.name == 'nt':
    import ctypes

    _system = ctypes.WinDLL('kernel32')
    _system.GetStdHandle.restype = ctypes.c_void_p
    _STANDARD_OUTPUT = -11
    _INFO = struct.Struct('=2h2hH4h2h')  # CONSOLE_SCREEN_BUFFER_INFO

    class _Position(ctypes.Structure):
        _fields_ = [('column', ctypes.c_short), ('line', ctypes.c_short)]

    _system.SetConsoleCursorPosition.argtypes = [ctypes.c_void_p, _Position]
    _system.GetConsoleScreenBufferInfo.argtypes = [ctypes.c_void_p, ctypes.c_void_p]

    def _window():
        """Left, top, right and bottom of what is seen of the console; None without one."""
        info = ctypes.create_string_buffer(_INFO.size)
        if not _system.GetConsoleScreenBufferInfo(_system.GetStdHandle(_STANDARD_OUTPUT), info):
            return None
        return _INFO.unpack(info.raw)[5:9]

    def size():
        """(columns, lines) of the terminal; None where the output goes elsewhere."""
        window = _window()
        return window and (window[2] - window[0] + 1, window[3] - window[1] + 1)

    def draw(lines):
        """Writes over all that is seen: no console of an older Windows knows how to clear the rest."""
        columns, height = size()
        top = _Position(0, _window()[1])
        _system.SetConsoleCursorPosition(_system.GetStdHandle(_STANDARD_OUTPUT), top)
        for line in (lines + height * [u''])[: height - 1]:
            write(line + u' ' * (columns - 1 - columns_of(line)) + u'\n', sys.stdout)

else:
    import fcntl
    import termios

    _USUAL = (80, 24)

    def size():
        """(columns, lines) of the terminal; None where the output goes elsewhere."""
        if not sys.stdout.isatty() or os.environ.get('TERM', 'dumb') == 'dumb':
            return None
        answer = fcntl.ioctl(sys.stdout.fileno(), termios.TIOCGWINSZ, struct.pack('4H', 0, 0, 0, 0))
        height, columns = struct.unpack('4H', answer)[:2]
        return (columns, height) if columns and height else _USUAL

    def draw(lines):
        """Writes from the upper left corner on and clears the rest."""
        write(u'\x1b[H' + u''.join(line + u'\x1b[K\n' for line in lines) + u'\x1b[J', sys.stdout)
