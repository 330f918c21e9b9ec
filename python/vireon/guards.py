"""The interpreter lock's two guards.

    with vireon.PyAutoLock2():
        ...

Each is made where its block begins and destroyed where it ends, on one thread and in the order that the
lock asks for. A block that is never left, as in a generator that was dropped, leaves its guard behind:
whoever destroyed it later would do so on another thread.
"""

from __future__ import absolute_import

import _vireon


def _leave(wrapped):
    pass


class _Guard(object):
    __swig_destroy__ = staticmethod(_leave)

    def __enter__(self):
        if 'this' in vars(self):
            raise RuntimeError('this guard is in use already')
        self.this = self._new()
        return self

    def __exit__(self, *_):
        self._delete(self.this)
        del self.this


class PyAutoLock2(_Guard):
    """Holds the interpreter lock, which a script's thread does anyway."""

    _new = _vireon.new_PyAutoLock2
    _delete = _vireon.delete_PyAutoLock2


class PyAutoUnlock2(_Guard):
    """Of no effect in a script, which could not run without the lock."""

    _new = _vireon.new_PyAutoUnlock2
    _delete = _vireon.delete_PyAutoUnlock2


_vireon.PyAutoLock2_swigregister(PyAutoLock2)
_vireon.PyAutoUnlock2_swigregister(PyAutoUnlock2)
