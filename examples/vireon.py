"""The engine as a class, to copy into a script layer: the module itself offers flat functions.

    with Vireon() as vireon:
        vireon.search(3.0, on_event)
        ...

A search that is forgotten, by an exception or because its variable is bound anew, ends with its
object: an engine must be stopped before it is destroyed, since its destruction waits for whoever
stops it.
"""
import weakref

import _vireon


class _Engine(object):
    """The wrapped engine, which stops first when it goes.

    What has a `__del__` must stand in no reference cycle, or it is never collected. So this holds
    the engine and nothing else.
    """

    __swig_destroy__ = _vireon.delete_Vireon

    def __init__(self):
        self.this = _vireon.new_Vireon()

    # Bound here, since the names of modules have gone when the interpreter ends.
    def __del__(self, stop=_vireon.Vireon_Stop):
        stop(self)


_vireon.Vireon_swigregister(_Engine)


class _Relay(object):
    """What the engine calls. It holds a `Vireon` weakly: the garbage collector does not look into
    the engine, and a callable that leads back to its `Vireon` would keep both for ever."""

    def __init__(self, vireon):
        self._vireon = weakref.ref(vireon)

    def __call__(self, event, server):
        vireon = self._vireon()
        callback = vireon and vireon.callback
        if callback:
            callback(event, server)


class Vireon(object):
    """A search for media servers. `callback(event, server)` runs on a thread of the engine's."""

    def __init__(self):
        self.callback = None
        self._engine = _Engine()
        _vireon.Vireon_SetCallback(self._engine, _Relay(self))

    def search(self, interval, callback):
        self.callback = callback
        _vireon.Vireon_SetInterVal(self._engine, interval)
        # The result is always the same number. Nobody would free it, which the module complains of.
        _vireon.Vireon_SearchDevices(self._engine).disown()

    def stop(self):
        _vireon.Vireon_Stop(self._engine)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()
