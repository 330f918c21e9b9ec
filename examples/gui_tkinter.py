#!/usr/bin/env python2.7
"""A window that lists the media servers of this network, as they come and go. Python 2.7 with Tkinter.

The package `vireon` and the module `_vireon` must be on the interpreter's path, or in the folder
VIREON_MODULE_DIR.

Nothing here waits, and everything happens on the window's own thread: a timer takes what has changed
since it last ran. Any other toolkit's timer does the same.
"""

import os
import sys
import Tkinter
import ttk

sys.path.insert(0, os.environ.get('VIREON_MODULE_DIR', ''))
import vireon  # the folder is known only now

PERIOD = 250  # milliseconds between two looks at what has changed


def shown(sent):
    """What somebody on the network sent, as a text that Tk takes: it knows 65,536 characters."""
    text = sent.decode('utf-8', 'replace')
    return u''.join(each if u' ' <= each <= u'\uffff' else u'\ufffd' for each in text)


class Window(object):
    def __init__(self, root, servers):
        self._root, self._servers = root, servers
        self._rows = {}  # a server's USN to its row
        root.title('Media servers')
        root.protocol('WM_DELETE_WINDOW', self.quit)
        self._list = ttk.Treeview(root, columns=('locations',), height=6)
        self._list.heading('#0', text='Name', anchor='w')
        self._list.heading('locations', text='Locations', anchor='w')
        self._list.column('#0', width=180)
        self._list.column('locations', width=360)
        self._list.pack(fill='both', expand=True)
        self._on_timer()

    def rows(self):
        """What is to be seen: names and locations, from top to bottom."""
        rows = self._list.get_children()
        return [(self._list.item(row, 'text'), self._list.set(row, 'locations')) for row in rows]

    def quit(self):
        self._root.after_cancel(self._timer)
        self._servers.close(wait=False)
        self._root.destroy()

    def _on_timer(self):
        for kind, server in self._servers.events():
            if kind == vireon.LOST:
                self._list.delete(self._rows.pop(server.usn))
            elif kind != vireon.CLOSED:
                self._show(server)
        self._timer = self._root.after(PERIOD, self._on_timer)

    def _show(self, server):
        if server.usn not in self._rows:
            self._rows[server.usn] = self._list.insert('', 'end')
        row = self._rows[server.usn]
        self._list.item(row, text=shown(server.name))
        self._list.set(row, 'locations', ', '.join(shown(each) for each in server.locations))


def main():
    root = Tkinter.Tk()
    Window(root, vireon.Servers())
    root.mainloop()


if __name__ == '__main__':
    main()
