"""The wrapped pointer object, and the unusual objects that scripts pass in its place."""
from __future__ import print_function

import ctypes
import os
import tempfile
import types
import unittest
import weakref

import support
import vireon_probe as probe

_vireon = support._vireon


def accepted(thing):
    """Whether the object passes as a ZoSsdpDeviceInfo."""
    return probe.convert(thing, '_p_ZoSsdpDeviceInfo', 0)[0] >= 0


class WrappedPointers(unittest.TestCase):
    def setUp(self):
        self.device = _vireon.new_ZoSsdpDeviceInfo()

    def tearDown(self):
        if self.device is not None:
            _vireon.delete_ZoSsdpDeviceInfo(self.device)

    def test_type_and_methods_carry_their_texts(self):
        kind = type(self.device)
        self.assertEqual('PySwigObject', kind.__name__)
        self.assertEqual('Swig object carries a C/C++ instance pointer', kind.__doc__)
        for method, text in [
            ('disown', 'releases ownership of the pointer'),
            ('acquire', 'aquires ownership of the pointer'),
            ('own', 'returns/sets ownership of the pointer'),
            ('append', "appends another 'this' object"),
            ('next', "returns the next 'this' object"),
            ('__repr__', 'returns object representation'),
        ]:
            self.assertEqual(text, getattr(kind, method).__doc__)

    def test_scripts_cannot_make_or_derive_one(self):
        kind = type(self.device)
        self.assertRaises(TypeError, kind)
        self.assertRaises(TypeError, type, 'Derived', (kind,), {})

    def test_representation_names_the_type_and_the_address(self):
        shown = "<Swig Object of type 'ZoSsdpDeviceInfo *' at 0x%x>" % int(self.device)
        self.assertEqual(shown, repr(self.device))
        self.assertEqual(shown, self.device.__repr__())

    def test_representation_shows_the_last_alternative_of_the_name(self):
        self.assertEqual("<Swig Object of type 'TCHAR *' at 0x10>", repr(probe.wrap(16, '_p_char')))

    def test_representation_shows_the_last_of_many_alternatives(self):
        kind = support.descriptor('_p_char')
        usual = kind.human_name
        kind.human_name = 'char *|first *|second *'
        try:
            self.assertEqual("<Swig Object of type 'second *' at 0x10>", repr(probe.wrap(16, '_p_char')))
        finally:
            kind.human_name = usual

    def test_representation_without_a_type(self):
        self.assertEqual("<Swig Object of type '(null)' at 0x10>", repr(probe.wrap(16, None)))
        self.assertEqual('_1000000000000000', str(probe.wrap(16, None)))

    def test_text_is_the_address_in_memory_order_and_the_mangled_name(self):
        wrapped = probe.wrap(0x123456789ABCDEF0, '_p_Vireon')
        self.assertEqual('_f0debc9a78563412_p_Vireon', str(wrapped))

    def test_numbers(self):
        wrapped = probe.wrap(0xFFFFFFFFFFFFFFF8, '_p_Vireon')
        self.assertEqual(0xFFFFFFFFFFFFFFF8, int(wrapped))
        self.assertEqual(0xFFFFFFFFFFFFFFF8, long(wrapped))
        self.assertIs(long, type(long(wrapped)))
        self.assertEqual('fffffffffffffff8', hex(wrapped))
        self.assertEqual('1777777777777777777770', oct(wrapped))

    def test_printing_to_a_file_writes_the_representation(self):
        handle, path = tempfile.mkstemp()
        try:
            with os.fdopen(handle, 'w+') as output:
                print(self.device, file=output)
                print(probe.packed('\x01'), file=output)
                output.seek(0)
                self.assertEqual('%r\n%r\n' % (self.device, probe.packed('\x01')), output.read())
        finally:
            os.remove(path)

    def test_addresses_alone_are_compared(self):
        low, high = probe.wrap(16, '_p_Vireon'), probe.wrap(32, '_p_Vireon')
        self.assertEqual(low, probe.wrap(16, '_p_char'))
        self.assertEqual([0, -1, 1], [cmp(low, probe.wrap(16, None)), cmp(low, high), cmp(high, low)])
        self.assertTrue(low < high and low <= high and high > low and high >= low and low != high)
        self.assertFalse(low == high)
        self.assertNotEqual(low, 16)
        self.assertNotEqual(low, None)

    def test_addresses_that_are_far_apart_are_compared_whole(self):
        for low, high in [(16, 16 + 2**32), (16, 16 + 2**31), (16, 16 + 2**63)]:
            pair = probe.wrap(low, '_p_Vireon'), probe.wrap(high, '_p_Vireon')
            self.assertTrue(pair[0] < pair[1], (low, high))

    def test_ownership(self):
        self.assertIs(True, self.device.own())
        self.assertIs(None, self.device.disown())
        self.assertIs(False, self.device.own())
        self.assertIs(None, self.device.acquire())
        self.assertIs(True, self.device.own(0))
        self.assertIs(False, self.device.own([1]))
        self.assertIs(True, self.device.own())
        self.assertRaises(TypeError, self.device.own, 1, 2)

    def test_an_ownership_flag_without_a_truth_raises(self):
        class Undecided(object):
            def __nonzero__(self):
                raise KeyError('undecided')

        self.assertRaises(KeyError, self.device.own, Undecided())
        self.assertIs(True, self.device.own())

    def test_a_deleted_object_is_not_owned_any_more(self):
        device, self.device = self.device, None
        _vireon.delete_ZoSsdpDeviceInfo(device)
        self.assertIs(False, device.own())

    def test_an_owned_object_without_a_class_reports_a_leak(self):
        with support.Quiet() as output:
            text = _vireon.ZoSsdpDeviceInfo_m_Version_get(self.device)
            del text
            probe.wrap(16, None, 1)
            probe.wrap(16, '_p_char', 1)
        self.assertEqual(
            support.leak_message('NPT_String *')
            + support.leak_message('(null)')
            + support.leak_message('TCHAR *'),
            output.text,
        )

    def test_a_borrowed_or_disowned_object_dies_silently(self):
        with support.Quiet() as output:
            _vireon.ZoSsdpDeviceInfo_GetUUID(self.device)
            other = _vireon.new_ZoSsdpDeviceInfo()
            address = int(other)
            other.disown()
            del other
        self.assertEqual('', output.text)
        # The native object lived on.
        again = probe.wrap(address, '_p_ZoSsdpDeviceInfo')
        self.assertEqual(36, len(support.text_at(_vireon.ZoSsdpDeviceInfo_GetUUID(again))))
        _vireon.delete_ZoSsdpDeviceInfo(again)

    def test_a_leak_report_survives_any_standard_output(self):
        class Broken(object):
            def write(self, _):
                raise KeyError('broken')

        script = (
            'import sys, vireon_probe\n'
            'class Broken(object):\n'
            '    def write(self, _): raise KeyError("broken")\n'
            'sys.stdout = Broken()\n'
            'vireon_probe.wrap(16, "_p_Vireon", 1)\n'
            'del sys.stdout\n'
            'vireon_probe.wrap(16, "_p_Vireon", 1)\n'
        )
        code, output, errors = support.run_script(script)
        self.assertEqual((0, 2 * support.leak_message('Vireon *'), ''), (code, output, errors))

    def test_a_pending_exception_is_kept_when_an_owned_object_dies(self):
        def fail():
            dies_with_the_frame = probe.wrap(16, '_p_Vireon', 1)
            self.assertTrue(dies_with_the_frame.own())
            raise KeyError('kept')

        with support.Quiet():
            self.assertRaises(KeyError, fail)

    def test_an_exception_that_its_end_meets_is_still_there_afterwards(self):
        holder = [probe.wrap(16, '_p_char', 1)]
        with support.Quiet():
            self.assertEqual((None, KeyError), probe.call_with_pending(KeyError, holder.__delitem__, (0,)))


class Chains(unittest.TestCase):
    def test_entries_are_appended_and_read(self):
        first, second = probe.wrap(16, '_p_Vireon'), probe.wrap(32, '_p_char')
        self.assertIs(None, first.next())
        self.assertIs(None, first.append(second))
        self.assertIs(second, first.next())
        self.assertEqual(repr(second), repr(first)[-len(repr(second)) :])
        self.assertEqual(
            "<Swig Object of type 'Vireon *' at 0x10>" "<Swig Object of type 'TCHAR *' at 0x20>", repr(first)
        )

    def test_only_wrapped_pointers_are_appended(self):
        # Null without an exception, which the interpreter reports in its own words.
        with self.assertRaises(SystemError) as caught:
            probe.wrap(16, '_p_Vireon').append(5)
        self.assertEqual('error return without exception set', str(caught.exception))

    def test_appending_again_lets_the_old_entry_go(self):
        first = probe.wrap(16, '_p_Vireon')
        with support.Quiet() as output:
            first.append(probe.wrap(32, '_p_char', 1))
            first.append(probe.wrap(48, '_p_char'))
        self.assertEqual(support.leak_message('TCHAR *'), output.text)

    def test_a_conversion_takes_the_first_entry_that_matches(self):
        first = probe.wrap(16, '_p_Vireon')
        first.append(probe.wrap(32, '_p_char', 1))
        first.next().append(probe.wrap(48, '_p_char', 1))
        self.assertEqual((0, 32), probe.convert(first, '_p_char', 0))
        self.assertEqual((0, 16), probe.convert(first, None, 0))
        self.assertEqual((-1, 0), probe.convert(first, '_p_float', 0))
        # Disowning reaches the entry that matched and no other.
        probe.convert(first, '_p_char', 1)
        self.assertEqual([False, True], [first.next().own(), first.next().next().own()])
        first.next().next().disown()

    def test_types_that_convert_go_on_doing_so_whatever_was_asked_before(self):
        kind = support.descriptor('_p_int')
        own = kind.casts
        others = ['_p_char', '_p_float', '_p_long']
        links = (support.CastLink * len(others))()
        before = own
        for name, link in zip(others, links):
            link.from_type = ctypes.pointer(support.descriptor(name))
            link.previous = before
            before.contents.next = before = ctypes.pointer(link)
        try:
            for name in others + others:
                self.assertEqual((0, 16), probe.convert(probe.wrap(16, name), '_p_int', 0), name)
        finally:
            kind.casts = own
            own.contents.next = own.contents.previous = None

    def test_the_entry_that_was_found_lives_as_long_as_the_call(self):
        alive, seen = [1], []

        class Device(object):
            @staticmethod
            def __swig_destroy__(device):
                alive.pop()
                _vireon.delete_ZoSsdpDeviceInfo(device)

        version = probe.string('1')

        class DropsTheEntry(object):
            __slots__ = ()

            @property
            def this(self):
                first.append(probe.wrap(32, '_p_char'))
                seen.extend(alive)
                return version

        _vireon.ZoSsdpDeviceInfo_swigregister(Device)
        try:
            first = probe.wrap(16, '_p_Vireon')
            first.append(_vireon.new_ZoSsdpDeviceInfo())
            _vireon.ZoSsdpDeviceInfo_m_Version_set(first, DropsTheEntry())
        finally:
            _vireon.ZoSsdpDeviceInfo_swigregister(None)
        self.assertEqual(([1], []), (seen, alive))
        probe.delete_string(version)

    def test_a_chain_that_leads_back_ends(self):
        for length in (1, 2, 3, 7):
            entries = [probe.wrap(16 * (i + 1), '_p_Vireon') for i in range(length)]
            singles = ''.join(repr(entry) for entry in entries)
            for entry, following in zip(entries, entries[1:] + entries[:1]):
                entry.append(following)
            self.assertEqual(singles, repr(entries[0]))
            self.assertEqual((-1, 0), probe.convert(entries[0], '_p_char', 0))
            support.fields_of(entries[-1]).next = None
            ctypes.pythonapi.Py_DecRef(ctypes.py_object(entries[0]))

    def test_a_chain_that_leads_back_into_its_middle_ends(self):
        entries = [probe.wrap(16 * (i + 1), '_p_Vireon') for i in range(5)]
        singles = ''.join(repr(entry) for entry in entries)
        for entry, following in zip(entries, entries[1:] + entries[2:3]):
            entry.append(following)
        self.assertEqual(singles, repr(entries[0]))
        support.fields_of(entries[-1]).next = None
        ctypes.pythonapi.Py_DecRef(ctypes.py_object(entries[2]))

    def test_a_very_long_chain_is_dropped_without_recursion(self):
        first = probe.wrap(16, '_p_Vireon')
        last = first
        for _ in range(200000):
            following = probe.wrap(16, '_p_Vireon')
            last.append(following)
            last = following
        self.assertEqual((-1, 0), probe.convert(first, '_p_char', 0))
        del first, last, following


class OldStyle:
    pass


class NewStyle(object):
    pass


class UnusualObjects(unittest.TestCase):
    """What passes for a wrapped pointer, and what does not."""

    def setUp(self):
        self.device = _vireon.new_ZoSsdpDeviceInfo()

    def tearDown(self):
        _vireon.delete_ZoSsdpDeviceInfo(self.device)

    def refused(self, thing):
        with self.assertRaises(TypeError) as caught:
            _vireon.ZoSsdpDeviceInfo_GetUUID(thing)
        self.assertEqual(
            "in method 'ZoSsdpDeviceInfo_GetUUID', argument 1 of type " "'ZoSsdpDeviceInfo const *'",
            str(caught.exception),
        )

    def test_instances_that_hold_this(self):
        for kind in (OldStyle, NewStyle):
            instance = kind()
            self.assertFalse(accepted(instance))
            instance.this = self.device
            self.assertTrue(accepted(instance))
            outer = kind()
            outer.this = instance
            self.assertTrue(accepted(outer))

    def test_a_property_or_a_class_attribute_beside_an_instance_dictionary_does_not_count(self):
        class WithProperty(object):
            this = property(lambda _: self.device)

        self.refused(WithProperty())

    def test_a_property_of_an_object_without_a_dictionary(self):
        class WithProperty(object):
            __slots__ = ()
            this = property(lambda _: self.device)

        self.assertTrue(accepted(WithProperty()))

    def test_what_a_property_delivers_lives_as_long_as_the_call(self):
        alive = []

        class Temporary(object):
            """Holds the pointer; tells when it goes."""

            __slots__ = ('this',)

            def __init__(self, this):
                self.this = this
                alive.append(1)

            def __del__(self):
                alive.pop()

        class WithProperty(object):
            __slots__ = ()
            this = property(lambda _: Temporary(probe.wrap(int(device), '_p_ZoSsdpDeviceInfo')))

        device = self.device
        uuid = _vireon.ZoSsdpDeviceInfo_GetUUID(WithProperty())
        self.assertEqual(36, len(support.text_at(uuid)))
        self.assertEqual([], alive)

    def test_a_slot(self):
        class Slotted(object):
            __slots__ = ('this',)

        slotted = Slotted()
        self.refused(slotted)
        slotted.this = self.device
        self.assertTrue(accepted(slotted))

    def test_a_property_that_raises_is_refused_and_its_exception_gone(self):
        class Raising(object):
            __slots__ = ()

            @property
            def this(self):
                raise KeyboardInterrupt()

        self.refused(Raising())

    def test_this_that_leads_back_to_itself(self):
        for kind in (OldStyle, NewStyle):
            one, other = kind(), kind()
            one.this = one
            self.refused(one)
            one.this, other.this = other, one
            self.refused(one)
            del one.this

    def test_this_that_delivers_ever_new_objects(self):
        class Endless(object):
            __slots__ = ()
            this = property(lambda _: Endless())

        self.refused(Endless())

    def test_this_is_followed_a_hundred_times(self):
        thing = self.device
        for _ in range(100):
            outer = NewStyle()
            outer.this = thing
            thing = outer
        self.assertTrue(accepted(thing))
        outer = NewStyle()
        outer.this = thing
        self.refused(outer)

    def test_weak_proxies(self):
        instance = NewStyle()
        instance.this = self.device
        proxy = weakref.proxy(instance)
        self.assertTrue(accepted(proxy))
        del instance
        self.refused(proxy)

    def test_a_proxy_of_something_callable(self):
        class Callable(object):
            def __call__(self):
                pass

        instance = Callable()
        instance.this = self.device
        proxy = weakref.proxy(instance)
        self.assertEqual('weakcallableproxy', type(proxy).__name__)
        self.assertTrue(accepted(proxy))

    def test_a_script_class_that_bears_the_name(self):
        Impostor = type('PySwigObject', (object,), {'__slots__': ('a', 'b', 'c', 'd', 'e', 'f')})
        impostor = Impostor()
        self.refused(impostor)
        with self.assertRaises(SystemError):
            self.device.append(impostor)
        self.assertNotEqual(self.device, impostor)
        holder = type('PySwigObject', (object,), {})()
        holder.this = self.device
        self.assertTrue(accepted(holder))

    def test_an_old_style_class_that_bears_the_name(self):
        class PySwigObject:
            pass

        self.refused(PySwigObject())

    def test_a_dictionary_with_hostile_keys(self):
        class Hostile(object):
            def __hash__(self):
                return hash('this')

            def __eq__(self, other):
                raise KeyError('hostile')

        instance = NewStyle()
        instance.__dict__[Hostile()] = 1
        self.refused(instance)

    def test_a_dictionary_that_a_key_replaces_lives_until_it_is_searched(self):
        seen = []

        class ReplacesTheDictionary(object):
            def __init__(self, owner):
                self.owner = owner

            def __hash__(self):
                return hash('this')

            def __eq__(self, _):
                owner, self.owner = self.owner, None
                if owner is not None:
                    value = weakref.ref(owner.__dict__['value'])
                    owner.__dict__ = {}
                    seen.append(value() is not None)
                return False

        class OldStyleClass:
            pass

        for owner, argument in [(NewStyle(), None), (OldStyle(), None), (OldStyleClass, OldStyleClass())]:
            owner.__dict__[ReplacesTheDictionary(owner)] = 1
            owner.value = NewStyle()
            self.refused(owner if argument is None else argument)
        self.assertEqual([True] * 3, seen)

    def test_old_style_bases_that_a_key_replaces_live_until_they_are_searched(self):
        class ReplacesTheBases(object):
            def __hash__(self):
                return hash('this')

            def __eq__(self, _):
                Derived.__bases__ = ()
                return False

        class Derived(types.ClassType('Base', (), {}), types.ClassType('Second', (), {})):
            pass

        Derived.__bases__[0].__dict__[ReplacesTheBases()] = 1
        Derived.__bases__[1].this = self.device
        self.assertTrue(accepted(Derived()))

    def test_old_style_classes_are_searched_as_the_interpreter_does(self):
        class Base:
            pass

        class First(Base):
            pass

        class Second(Base):
            this = self.device

        class Derived(First, Second):
            pass

        self.assertTrue(accepted(Derived()))
        Base.this = 5
        self.refused(Derived())
        instance = Derived()
        instance.this = self.device
        self.assertTrue(accepted(instance))

    def test_modules_and_classes(self):
        module = types.ModuleType('m')
        self.refused(module)
        module.this = self.device
        self.assertTrue(accepted(module))

        class Holder(object):
            this = self.device

        self.assertTrue(accepted(Holder))


if __name__ == '__main__':
    unittest.main()
