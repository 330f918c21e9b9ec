"""The engine, which searches."""

from __future__ import absolute_import

import _vireon

from vireon.natives import native_interval
from vireon.values import number_of, result_of, taken
from vireon.weak import WeakMethod

INTERVAL = 3.0  # seconds between two searches, as the module has them


def _stop_and_delete(wrapped, stop=_vireon.Vireon_Stop, delete=_vireon.delete_Vireon):
    # Bound here, since the names of modules have gone when the interpreter ends.
    try:
        stop(wrapped)
    finally:
        try:
            stop(wrapped)  # an interrupt may have come in front of the first one
        finally:
            delete(wrapped)


class Vireon(object):
    """A search for media servers, and the callable that is told of each answer of a server.

        with vireon.Vireon() as engine:
            engine.search(3.0, on_event)        # seconds between two searches
            ...

    `on_event(event, server)` runs on a thread of the engine's. `event` is always "Update Service",
    `server` a dictionary. An exception that it raises is printed and the search goes on.

    A search ends with its object, however that goes: destroying an engine waits for whoever stops it, and
    so it is stopped first. What is destroyed is the wrapped pointer, which stands in no reference cycle.
    """

    __swig_destroy__ = staticmethod(_stop_and_delete)

    # Of an instance too that the module makes, without a call of __init__.
    callback = None

    def __init__(self):
        self.this = _vireon.new_Vireon()
        _vireon.Vireon_SetCallback(self, WeakMethod(self._on_event))

    def _on_event(self, event, server):
        callback = self.callback
        if callback is not None:
            callback(event, server)

    def search(self, interval=INTERVAL, callback=None):
        """Starts a search on the addresses that the machine has now, also after a stop.

        Gives the module's number, 0 where a sender found no port or no thread could be had. A second
        search without a stop between them is one more beside the first.
        """
        if callback is not None:
            self.callback = callback
        _vireon.Vireon_SetInterVal(self, interval)
        _vireon.Vireon_isClosed_set(self, False)
        return taken(number_of, _vireon.Vireon_SearchDevices, self)

    def stop(self):
        """Ends the search. Waits for the callable if it is running, and else 50 ms at most."""
        _vireon.Vireon_Stop(self)

    @property
    def closed(self):
        """Whether it was stopped, and did not search since."""
        return _vireon.Vireon_isClosed_get(self)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()

    # For modules of the same family, which have the messages and the like as wrapped pointers.

    def process_search_response(self, result, request, context, response):
        return taken(
            result_of, _vireon.Vireon_ProcessSsdpSearchResponse, self, result, request, context, response
        )

    def process_message(self, message, context, uuid):
        return taken(result_of, _vireon.Vireon_ProcessSsdpMessage, self, message, context, uuid)

    def inspect_device(self, message, location, uuid, usn, lease_time):
        lease = native_interval(lease_time)
        return taken(result_of, _vireon.Vireon_InspectDevice, self, message, location, uuid, usn, lease)

    def call_with_device(self, device):
        """Calls the callable with the record of a device."""
        _vireon.Vireon_CallbacktoClient(self, device)

    def call(self, format):
        """Calls the callable with arguments of a format, each of them null or zero."""
        _vireon.Vireon_CallBack(self, format)

    def call_with_list(self, format, arguments):
        """Calls the callable with a native list of arguments; gives what it returned."""
        return _vireon.Vireon__Callback(self, format, arguments)


_vireon.Vireon_swigregister(Vireon)


def search_begun(interval, callback):
    """An engine that searches, and whether all of the search could begin.

    An exception, of an interrupt say, ends what has begun of it: its traceback may keep the engine for long.
    """
    engine = Vireon()
    try:
        is_whole = engine.search(interval, callback) != 0
    except BaseException:
        engine.stop()
        raise
    return engine, is_whole
