"""The interpreter-lock helpers, from scripts."""
import ctypes
import sys
import threading
import unittest

import support

_vireon = support._vireon


def take_reference(thing):
    ctypes.pythonapi.Py_IncRef(ctypes.py_object(thing))


class Guards(unittest.TestCase):
    def test_a_script_always_holds_the_lock(self):
        self.assertIs(True, _vireon.IsCurrentThreadHoldPythonGIL2())
        seen = []
        thread = threading.Thread(target=lambda: seen.append(_vireon.IsCurrentThreadHoldPythonGIL2()))
        thread.start()
        thread.join()
        self.assertEqual([True], seen)

    def test_an_unlock_guard_is_harmless(self):
        guard = _vireon.new_PyAutoUnlock2()
        self.assertIn("'PyAutoUnlock2 *'", repr(guard))
        self.assertIs(True, guard.own())
        self.assertIs(True, _vireon.IsCurrentThreadHoldPythonGIL2())
        self.assertIs(None, _vireon.delete_PyAutoUnlock2(guard))
        self.assertIs(False, guard.own())
        self.assertIs(True, _vireon.IsCurrentThreadHoldPythonGIL2())

    def test_an_unlock_guard_may_end_on_another_thread_or_out_of_order(self):
        guards = [_vireon.new_PyAutoUnlock2() for _ in range(3)]
        thread = threading.Thread(target=_vireon.delete_PyAutoUnlock2, args=(guards[0],))
        thread.start()
        thread.join()
        _vireon.delete_PyAutoUnlock2(guards[1])
        _vireon.delete_PyAutoUnlock2(guards[2])
        self.assertIs(True, _vireon.IsCurrentThreadHoldPythonGIL2())

    def test_lock_guards_nest(self):
        outer, inner = _vireon.new_PyAutoLock2(), _vireon.new_PyAutoLock2()
        self.assertIn("'PyAutoLock2 *'", repr(outer))
        self.assertIs(True, outer.own())
        self.assertIs(None, _vireon.delete_PyAutoLock2(inner))
        self.assertIs(None, _vireon.delete_PyAutoLock2(outer))
        self.assertIs(False, outer.own())
        self.assertIs(True, _vireon.IsCurrentThreadHoldPythonGIL2())

    def test_guards_on_many_threads_at_once(self):
        def work():
            for _ in range(200):
                lock = _vireon.new_PyAutoLock2()
                unlock = _vireon.new_PyAutoUnlock2()
                _vireon.delete_PyAutoUnlock2(unlock)
                _vireon.delete_PyAutoLock2(lock)

        threads = [threading.Thread(target=work) for _ in range(8)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join(60)
            self.assertFalse(thread.is_alive())

    def test_one_guard_is_not_the_other(self):
        guard = _vireon.new_PyAutoLock2()
        with self.assertRaises(TypeError) as caught:
            _vireon.delete_PyAutoUnlock2(guard)
        self.assertEqual(
            "in method 'delete_PyAutoUnlock2', argument 1 of type 'PyAutoUnlock2 *'", str(caught.exception)
        )
        _vireon.delete_PyAutoLock2(guard)


class Insert(unittest.TestCase):
    def test_it_consumes_a_reference_to_key_and_value(self):
        key, value, target = 'a key of its own', object(), {}
        take_reference(key)
        take_reference(value)
        before = sys.getrefcount(key), sys.getrefcount(value)
        self.assertEqual(0, _vireon.PyDict_SetItem2(target, key, value))
        # The dictionary's reference in place of the consumed one.
        self.assertEqual(before, (sys.getrefcount(key), sys.getrefcount(value)))
        self.assertEqual({key: value}, target)

    def test_a_failed_insert_raises_the_interpreters_error_and_consumes_all_the_same(self):
        for target, key, exception in [({}, [], TypeError), (5, 'a key of its own', SystemError)]:
            value = object()
            take_reference(key)
            take_reference(value)
            before = sys.getrefcount(key), sys.getrefcount(value)
            self.assertRaises(exception, _vireon.PyDict_SetItem2, target, key, value)
            sys.exc_clear()
            self.assertEqual((before[0] - 1, before[1] - 1), (sys.getrefcount(key), sys.getrefcount(value)))


if __name__ == '__main__':
    unittest.main()
