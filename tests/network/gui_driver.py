"""Runs the example with a window for its test. Python 2.7.

Writes one JSON line whenever the window shows something else, and one when it is gone. It is closed by a
line of input, as by its button. Every tick is late by what the window's thread was held up.
"""

import json
import os
import sys
import threading
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, '..', '..', 'examples'))
import Tkinter
import gui_tkinter

TICK = 20  # milliseconds

events = os.fdopen(os.dup(1), 'wb', 0)
ends = threading.Event()


def emit(**event):
    events.write(json.dumps(event) + '\n')


def await_end():
    sys.stdin.readline()
    ends.set()


class Watch(object):
    def __init__(self, root, window):
        self._root, self._window = root, window
        self._shown = None
        self._looked = time.time()
        self.latest = 0.0  # seconds, of the tick that was held up most
        self._tick()

    def _tick(self):
        now = time.time()
        self.latest = max(self.latest, now - self._looked - TICK / 1000.0)
        self._looked = now
        rows = self._window.rows()
        if rows != self._shown:
            self._shown = rows
            # What is in the list is on the screen.
            self._root.update_idletasks()
            emit(event='shows', rows=rows)
        if ends.is_set():
            self._window.quit()
            self.latest = max(self.latest, time.time() - now)
        else:
            self._root.after(TICK, self._tick)


root = Tkinter.Tk()
root.geometry('+20+20')
servers = gui_tkinter.vireon.Servers(interval=float(sys.argv[1]), lost_after=int(sys.argv[2]))
watch = Watch(root, gui_tkinter.Window(root, servers))
reader = threading.Thread(target=await_end)
reader.daemon = True
reader.start()
root.mainloop()
emit(event='gone', latest=watch.latest)
