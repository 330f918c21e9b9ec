"""The engine's two kinds of workers, for scripts that have a queue or a sender of their own.

An engine makes the workers of its search itself.
"""

from __future__ import absolute_import

import contextlib

import _vireon

from vireon.engine import INTERVAL
from vireon.natives import native_interval


@contextlib.contextmanager
def _handing_over(*natives):
    """What belongs to somebody else from now on does not end with its script object."""
    wrapped = [getattr(native, 'this', native) for native in natives if native is not None]
    owned = [each for each in wrapped if each.own()]
    for each in owned:
        each.disown()
    try:
        yield
    except BaseException:
        for each in owned:
            each.acquire()
        raise


class SsdpSearchWorkerThread(object):
    """A sender that a script makes of a socket and a request of a module of the same family.

    Both belong to it from then on. No function starts it.
    """

    __swig_destroy__ = _vireon.delete_SsdpSearchWorkerThread

    def __init__(self, engine=None, socket=None, request=None, interval=INTERVAL):
        lasting = native_interval(interval)
        with _handing_over(socket, request):
            self.this = _vireon.new_SsdpSearchWorkerThread(engine, socket, request, lasting)

    @property
    def stopped(self):
        """Whether its engine is closed or gone."""
        return _vireon.SsdpSearchWorkerThread_IsStopped(self)

    def close(self):
        _vireon.SsdpSearchWorkerThread_Close(self)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()


class CallbackTaskWorkerThread(object):
    """A queue of device records that a script has for itself. Any thread may use it."""

    __swig_destroy__ = _vireon.delete_CallbackTaskWorkerThread

    def __init__(self, engine=None):
        self.this = _vireon.new_CallbackTaskWorkerThread(engine)

    @property
    def stopped(self):
        """Whether its engine is closed or gone, or there is none."""
        return _vireon.CallbackTaskWorkerThread_IsStopped(self)

    @property
    def engine(self):
        """None when it has none, or that one has gone."""
        return _vireon.CallbackTaskWorkerThread_m_pVireon_get(self)

    @engine.setter
    def engine(self, engine):
        _vireon.CallbackTaskWorkerThread_m_pVireon_set(self, engine)

    def add_task(self, device):
        """Puts a record behind the others. It is the queue's from then on: the object has none left."""
        with _handing_over(device):
            _vireon.CallbackTaskWorkerThread_addTask(self, device)
        del device.this

    def get_task(self):
        """The oldest record, which is then the caller's. Waits for one, and until `close` or another engine
        ends that: an engine that is closed does not. None where it is closed already."""
        device = _vireon.CallbackTaskWorkerThread_getTask(self)
        if device is not None:
            getattr(device, 'this', device).acquire()
        return device

    def close(self):
        _vireon.CallbackTaskWorkerThread_Close(self)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()


_vireon.SsdpSearchWorkerThread_swigregister(SsdpSearchWorkerThread)
_vireon.CallbackTaskWorkerThread_swigregister(CallbackTaskWorkerThread)
