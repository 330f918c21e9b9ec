"""No call leaves a reference behind, as the debug interpreter counts them. Not for another one."""
import ctypes
import gc
import sys
import unittest

import contract
import support
import vireon_probe as probe

_vireon = support._vireon


class Sink(object):
    """Takes the leak reports of owned results, which belong to no class here."""

    def write(self, _):
        pass


class Registered(object):
    pass


class References(unittest.TestCase):
    ROUNDS = 1000
    # What the interpreter itself keeps between two measurements (freelists, caches).
    NOISE = 20

    @classmethod
    def setUpClass(cls):
        cls.natives = contract.Natives()
        cls.stdout, sys.stdout = sys.stdout, Sink()

    @classmethod
    def tearDownClass(cls):
        sys.stdout = cls.stdout
        cls.natives.delete()

    def growth(self, action):
        for _ in range(10):
            action()
        sys.exc_clear()
        gc.collect()
        before = sys.gettotalrefcount()
        for _ in xrange(self.ROUNDS):
            action()
        sys.exc_clear()
        gc.collect()
        return sys.gettotalrefcount() - before

    def check(self, description, action):
        growth = self.growth(action)
        self.assertLessEqual(growth, self.NOISE, '%s: %d' % (description, growth))

    def attempt(self, name, arguments):
        function = getattr(_vireon, name)

        def action():
            try:
                result = function(*arguments)
            except Exception:
                return
            if name.startswith('new_'):
                getattr(_vireon, 'delete_' + name[4:])(result)

        return action

    def calls(self):
        """(name, arguments) of good calls and of one failing call per argument and reason."""
        for name, kinds, _ in contract.FUNCTIONS:
            variants = [kinds] if kinds is not None else [each for _, each in contract.OVERLOADS[name][1]]
            yield name, (None,) * 9
            for kinds in variants:
                good = self.natives.arguments(name, kinds)
                for index, kind in enumerate(kinds):
                    if kind == contract.ANY:
                        continue
                    values = [None] + [value for value, _ in contract.bad_values(kind)[:2]]
                    for value in values:
                        yield name, good[:index] + (value,) + good[index + 1 :]
                if name not in (contract.ISOLATED_ONLY, 'PyDict_SetItem2'):
                    yield name, good

    def test_no_call_leaves_a_reference_behind(self):
        count = 0
        for name, arguments in self.calls():
            self.check('%s%r' % (name, arguments), self.attempt(name, arguments))
            count += 1
        self.assertGreater(count, 300)

    def test_dressed_results(self):
        for kind in (
            Registered,
            type('Destroyed', (object,), {'__swig_destroy__': _vireon.delete_SsdpSearchWorkerThread}),
        ):
            _vireon.SsdpSearchWorkerThread_swigregister(kind)
            self.check(kind, lambda: probe.wrap(16, '_p_SsdpSearchWorkerThread'))
        _vireon.SsdpSearchWorkerThread_swigregister(Registered)

    def test_destructors_and_revived_objects(self):
        kept = []

        class Keeping(object):
            __swig_destroy__ = kept.append

        def revive():
            probe.wrap(16, '_p_SsdpSearchWorkerThread', 1)
            kept.pop()

        _vireon.SsdpSearchWorkerThread_swigregister(Keeping)
        self.check('revived', revive)

        class Failing(object):
            @staticmethod
            def __swig_destroy__(_):
                raise KeyError('destroy')

        _vireon.SsdpSearchWorkerThread_swigregister(Failing)
        self.check('failing', lambda: probe.wrap(16, '_p_SsdpSearchWorkerThread', 1))
        _vireon.SsdpSearchWorkerThread_swigregister(Registered)

    def test_methods_of_wrapped_pointers(self):
        wrapped, other = probe.wrap(16, '_p_Vireon'), probe.wrap(32, '_p_char')
        for action in (
            lambda: repr(wrapped),
            lambda: str(wrapped),
            lambda: hex(wrapped),
            lambda: oct(wrapped),
            lambda: int(wrapped),
            lambda: wrapped == other,
            lambda: cmp(wrapped, other),
            lambda: wrapped.own(0),
            wrapped.disown,
            lambda: wrapped.append(other),
            wrapped.next,
            lambda: probe.convert(wrapped, '_p_char', 0),
            lambda: probe.convert(wrapped, '_p_float', 0),
            lambda: repr(probe.packed('abc')),
        ):
            self.check(action, action)

    def test_inserts_that_are_given_their_references(self):
        take = ctypes.pythonapi.Py_IncRef
        key, value = 'a key of its own', object()

        def insert(target, key):
            take(ctypes.py_object(key))
            take(ctypes.py_object(value))
            try:
                _vireon.PyDict_SetItem2(target, key, value)
            except (TypeError, SystemError):
                pass

        for target, each in [({}, key), ({}, []), (5, key)]:
            self.check((target, each), lambda: insert(target, each))

    def test_callables(self):
        engine, zeros = self.natives.engine, self.natives.values['va_list']

        def call(callback):
            _vireon.Vireon_SetCallback(engine, callback)
            for text in ('', 'i', 'sO'):
                _vireon.Vireon_CallBack(engine, text)
            try:
                _vireon.Vireon__Callback(engine, 'si', zeros)
            except SystemError:
                pass
            _vireon.Vireon_CallbacktoClient(engine, self.natives.device)

        before, sys.stderr = sys.stderr, Sink()
        try:
            for callback in (lambda *_: None, lambda: None, 5, None):
                self.check(callback, lambda: call(callback))
        finally:
            sys.stderr = before
            _vireon.Vireon_SetCallback(engine, None)


if __name__ == '__main__':
    unittest.main()
