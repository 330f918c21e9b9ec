"""Script classes: registration, instances in place of wrapped pointers, destruction."""
import sys
import unittest
import weakref

import support
import vireon_probe as probe

_vireon = support._vireon


class Recorded(unittest.TestCase):
    """Uses the type SsdpSearchWorkerThread, which nothing else in this process registers."""

    NAME = '_p_SsdpSearchWorkerThread'

    @staticmethod
    def register(script_class):
        assert _vireon.SsdpSearchWorkerThread_swigregister(script_class) is None

    def borrowed(self, address=16):
        return probe.wrap(address, self.NAME)

    def owned(self, address=16):
        return probe.wrap(address, self.NAME, 1)


class Records(Recorded):
    def test_registration_fills_the_types_class_record(self):
        class NewStyle(object):
            __swig_destroy__ = _vireon.delete_SsdpSearchWorkerThread

        self.register(NewStyle)
        kind = support.descriptor(self.NAME)
        record = kind.client_data.contents
        self.assertEqual(1, kind.owns_client_data)
        self.assertEqual(id(NewStyle), record.script_class)
        self.assertNotEqual(None, record.constructor)
        self.assertEqual(id(_vireon.delete_SsdpSearchWorkerThread), record.destructor)
        self.assertEqual(1, record.destructor_takes_wrapped)
        self.assertEqual(0, record.implicit_conversion_running)

    def test_an_old_style_class_has_no_constructor(self):
        class OldStyle:
            pass

        self.register(OldStyle)
        record = support.descriptor(self.NAME).client_data.contents
        self.assertEqual(
            (id(OldStyle), None, id(OldStyle), None),
            (record.script_class, record.constructor, record.raw_arguments, record.destructor),
        )

    def test_a_class_whose_destructor_could_not_be_looked_up_is_refused(self):
        class WithoutMemory(type):
            def __getattribute__(cls, name):
                if name == '__swig_destroy__':
                    raise MemoryError
                return type.__getattribute__(cls, name)

        class NewStyle(object):
            __metaclass__ = WithoutMemory
            __swig_destroy__ = _vireon.delete_SsdpSearchWorkerThread

        self.assertRaises(MemoryError, _vireon.SsdpSearchWorkerThread_swigregister, NewStyle)

    def test_only_a_builtin_of_one_object_takes_the_dying_object_itself(self):
        for destructor, takes_wrapped in [
            ([].append, 0),
            (lambda _: None, 1),
            (len, 0),
            (_vireon.delete_Vireon, 1),
            (abs, 0),
            (object(), 1),
        ]:

            class NewStyle(object):
                __swig_destroy__ = staticmethod(destructor)

            self.register(NewStyle)
            self.assertEqual(
                takes_wrapped,
                support.descriptor(self.NAME).client_data.contents.destructor_takes_wrapped,
                destructor,
            )

    def test_a_new_registration_replaces_the_old_one_and_lets_its_class_go(self):
        class First(object):
            pass

        class Second(object):
            pass

        before = sys.getrefcount(First)
        self.register(First)
        self.register(First)
        self.register(Second)
        self.assertEqual(before, sys.getrefcount(First))
        self.assertIs(Second, type(self.borrowed()))

    def test_a_new_registration_lets_the_old_ones_destructor_go(self):
        def destroy(wrapped):
            pass

        class First(object):
            __swig_destroy__ = staticmethod(destroy)

        before = sys.getrefcount(destroy)
        self.register(First)
        self.assertEqual(before + 1, sys.getrefcount(destroy))
        self.register(None)
        self.assertEqual(before, sys.getrefcount(destroy))

    def test_anything_can_be_registered(self):
        for thing in (None, 5, 'text', object(), len, sys):
            self.register(thing)
            self.assertEqual('PySwigObject', type(self.borrowed()).__name__)


class Dressing(Recorded):
    def test_a_new_style_class_dresses_borrowed_results(self):
        class NewStyle(object):
            def __init__(self):
                raise KeyError('not called')

        self.register(NewStyle)
        instance = self.borrowed(32)
        self.assertIs(NewStyle, type(instance))
        self.assertEqual(['this'], list(instance.__dict__))
        self.assertEqual(32, int(instance.this))
        self.assertEqual(2, sys.getrefcount(instance.this))
        self.assertEqual((0, 32), probe.convert(instance, self.NAME, 0))

    def test_an_old_style_class_dresses_without_being_called(self):
        class OldStyle:
            def __init__(self):
                raise KeyError('not called')

        self.register(OldStyle)
        instance = self.borrowed(32)
        self.assertTrue(isinstance(instance, OldStyle))
        self.assertEqual(['this'], list(instance.__dict__))
        self.assertEqual(2, sys.getrefcount(instance.this))

    def test_results_of_functions_are_dressed_and_new_objects_are_bare(self):
        class Engine(object):
            pass

        _vireon.Vireon_swigregister(Engine)
        bare = _vireon.new_Vireon()
        self.assertEqual('PySwigObject', type(bare).__name__)
        worker = _vireon.new_CallbackTaskWorkerThread(bare)
        dressed = _vireon.CallbackTaskWorkerThread_m_pVireon_get(worker)
        self.assertIs(Engine, type(dressed))
        self.assertEqual(bare, dressed.this)
        self.assertIs(False, dressed.this.own())
        _vireon.delete_CallbackTaskWorkerThread(worker)
        _vireon.delete_Vireon(bare)

    def test_a_class_that_cannot_be_instantiated_leaves_the_bare_pointer(self):
        class Raising(object):
            def __new__(cls):
                raise KeyError('no instance')

        class Slotted(object):
            __slots__ = ()

        class Number(object):
            def __new__(cls):
                return 5

        for kind in (Raising, Slotted, Number):
            self.register(kind)
            self.assertEqual(
                "<Swig Object of type 'SsdpSearchWorkerThread *' at 0x20>", repr(self.borrowed(32))
            )

    def test_a_constructor_that_makes_the_dictionary_keeps_it(self):
        class Prepared(object):
            def __new__(cls):
                instance = object.__new__(cls)
                instance.name = 'prepared'
                return instance

        self.register(Prepared)
        instance = self.borrowed(32)
        self.assertEqual('prepared', instance.name)
        self.assertEqual(32, int(instance.this))

    def test_this_of_the_constructors_own_stays(self):
        class Prepared(object):
            def __new__(cls):
                instance = object.__new__(cls)
                instance.this = 'own'
                return instance

        self.register(Prepared)
        self.assertEqual('own', self.borrowed(32).this)

    def test_a_dictionary_that_a_key_replaces_lives_until_it_is_searched(self):
        seen = []

        class Value(object):
            pass

        class ReplacesTheDictionary(object):
            def __init__(self, instance):
                self.instance = instance

            def __hash__(self):
                return hash('this')

            def __eq__(self, _):
                instance, self.instance = self.instance, None
                if instance is not None:
                    value = weakref.ref(instance.__dict__['value'])
                    instance.__dict__ = {}
                    seen.append(value() is not None)
                return False

        class NewStyle(object):
            def __new__(cls):
                instance = object.__new__(cls)
                instance.__dict__[ReplacesTheDictionary(instance)] = 1
                instance.value = Value()
                return instance

        self.register(NewStyle)
        result = self.borrowed(32)
        self.assertEqual([True], seen)
        # The instance does not hold the pointer, so it is no dress for it.
        self.assertEqual('PySwigObject', type(result).__name__)

    def test_the_class_may_register_another_while_it_dresses(self):
        outer = self

        class Fickle(object):
            def __new__(cls):
                outer.register(int)
                return object.__new__(cls)

        self.register(Fickle)
        self.assertEqual(32, int(self.borrowed(32).this))

    def test_the_null_address_is_none_whatever_the_class(self):
        self.register(object)
        self.assertIs(None, self.borrowed(0))


class Destruction(Recorded):
    def destroyed_by(self, destructor):
        class NewStyle(object):
            __swig_destroy__ = staticmethod(destructor)

        self.register(NewStyle)

    def test_a_function_gets_a_temporary_pointer_that_owns_nothing(self):
        seen = []
        self.destroyed_by(lambda dying: seen.append((int(dying), dying.own())))
        with support.Quiet() as output:
            self.owned(32)
        self.assertEqual([(32, False)], seen)
        self.assertEqual('', output.text)

    def test_a_borrowed_pointer_calls_nothing(self):
        seen = []
        self.destroyed_by(seen.append)
        self.borrowed(32)
        self.assertEqual([], seen)

    def test_a_builtin_may_keep_the_dying_object(self):
        kept = []
        self.destroyed_by(kept.append)
        for address in (32, 48):
            self.owned(address)
        self.assertEqual([32, 48], map(int, kept))
        self.assertEqual([(False, 2)] * 2, [(kept[i].own(), sys.getrefcount(kept[i])) for i in range(2)])
        del kept[:]

    def test_a_kept_object_ends_only_once(self):
        kept = []
        self.destroyed_by(kept.append)
        self.owned(32)
        self.assertEqual(1, len(kept))
        kept.pop()
        self.assertEqual([], kept)

    def test_a_function_may_keep_its_temporary_pointer(self):
        kept = []
        self.destroyed_by(lambda dying: kept.append(dying))
        self.owned(32)
        self.assertEqual([32], [int(each) for each in kept])

    def test_an_exception_of_the_destructor_is_cleared(self):
        def fail(_):
            raise KeyError('in the destructor')

        for destructor in (fail, len, object()):
            self.destroyed_by(destructor)
            self.owned(32)
            self.assertIs(None, _vireon.delete_Vireon(None))

    def test_an_exception_on_its_way_survives_the_destructor(self):
        def fail(_):
            raise KeyError('in the destructor')

        def raise_with(destructor):
            self.destroyed_by(destructor)
            dies_with_the_frame = self.owned(32)
            self.assertEqual(32, int(dies_with_the_frame.this))
            raise IndexError('on its way')

        for destructor in (fail, len, lambda _: None, [].append):
            try:
                raise_with(destructor)
            except IndexError as error:
                self.assertEqual('on its way', str(error))
            sys.exc_clear()

    def test_the_destructor_may_register_another_class(self):
        class First(object):
            @staticmethod
            def __swig_destroy__(_):
                Recorded.register(int)

        self.register(First)
        self.owned(32)

    def test_a_real_native_object_ends_with_its_instance(self):
        class Device(object):
            __swig_destroy__ = _vireon.delete_ZoSsdpDeviceInfo

        _vireon.ZoSsdpDeviceInfo_swigregister(Device)
        with support.Quiet() as output:
            for _ in range(3):
                _vireon.new_ZoSsdpDeviceInfo()
        self.assertEqual('', output.text)


class ImplicitConversion(Recorded):
    def setUp(self):
        outer = self

        class Convertible(object):
            calls = []

            def __init__(self, value):
                self.calls.append(value)
                if value == 'again':
                    outer.assertEqual(-1, probe.convert('inner', outer.NAME, 2)[0])
                if value == 'raise':
                    raise KeyError(value)
                if value != 'nothing':
                    self.this = wrapped

        self.register(None)  # so that the next pointer comes bare
        wrapped = self.wrapped = probe.wrap(32, self.NAME)
        wrapped.acquire()
        self.convertible = Convertible
        self.register(Convertible)

    def tearDown(self):
        self.wrapped.disown()

    def test_the_class_converts_and_hands_its_object_over(self):
        self.assertEqual((0x200, 32), probe.convert('value', self.NAME, 2))
        self.assertEqual(['value'], self.convertible.calls)
        self.assertIs(False, self.wrapped.own())

    def test_only_when_asked_for(self):
        self.assertEqual((-1, 0), probe.convert('value', self.NAME, 0))
        self.assertEqual([], self.convertible.calls)

    def test_it_does_not_run_inside_itself(self):
        self.assertEqual(0x200, probe.convert('again', self.NAME, 2)[0])
        self.assertEqual(['again'], self.convertible.calls)
        self.assertEqual(0x200, probe.convert('value', self.NAME, 2)[0])

    def test_a_class_that_fails_or_converts_to_nothing_is_a_failure(self):
        for value in ('raise', 'nothing'):
            self.assertEqual((-1, 0), probe.convert(value, self.NAME, 2))

    def test_what_matches_already_is_not_converted(self):
        self.assertEqual((0, 32), probe.convert(self.wrapped, self.NAME, 2))
        self.assertEqual([], self.convertible.calls)


class CleanUp(unittest.TestCase):
    SCRIPT = '''
import gc, sys, weakref, _vireon, vireon_probe as probe
class Device(object):
    __swig_destroy__ = _vireon.delete_ZoSsdpDeviceInfo
_vireon.ZoSsdpDeviceInfo_swigregister(Device)
owned = _vireon.new_ZoSsdpDeviceInfo()
dressed = probe.wrap(int(owned), '_p_ZoSsdpDeviceInfo')
gone = weakref.ref(Device)
descriptor = support.descriptor('_p_ZoSsdpDeviceInfo')
del sys.modules['swig_runtime_data3']
print bool(descriptor.client_data), descriptor.owns_client_data
print type(probe.wrap(16, '_p_ZoSsdpDeviceInfo')).__name__
print len(support.text_at(_vireon.ZoSsdpDeviceInfo_GetUUID(dressed)))
del dressed, Device
gc.collect()
print gone()
address = int(owned)
del owned
_vireon.delete_ZoSsdpDeviceInfo(probe.wrap(address, '_p_ZoSsdpDeviceInfo'))
class Device(object):
    __swig_destroy__ = _vireon.delete_ZoSsdpDeviceInfo
_vireon.ZoSsdpDeviceInfo_swigregister(Device)
owned = _vireon.new_ZoSsdpDeviceInfo()
print type(probe.wrap(16, '_p_ZoSsdpDeviceInfo')) is Device
del owned
try:
    import swig_runtime_data3
except ImportError:
    print 'gone'
'''

    def test_after_the_runtime_module_has_gone_nothing_dangles(self):
        code, output, errors = support.run_script(self.SCRIPT)
        self.assertEqual('', errors)
        self.assertEqual(
            'False 0\nPySwigObject\n36\nNone\n%sTrue\ngone\n' % support.leak_message('ZoSsdpDeviceInfo *'),
            output,
        )
        self.assertEqual(0, code)

    def test_the_name_of_this_outlives_it_while_it_is_looked_for(self):
        # Without the standard modules, which keep the text for their own use.
        code, output, errors = support.run_script(
            '''
import sys
sys.path.insert(0, %r)
import _vireon
counts, armed = [], []
class Key(object):
    def __hash__(self):
        return hash(''.join(['th', 'is']))
    def __eq__(self, name):
        if armed:
            sys.modules.pop('swig_runtime_data3', None)
            counts.append(sys.getrefcount(name))
        return False
class Instance(object):
    pass
instance = Instance()
for _ in range(2):
    instance.__dict__[Key()] = 1
armed.append(1)
try:
    _vireon.ZoSsdpDeviceInfo_GetUUID(instance)
except TypeError:
    print 'refused', len(counts) >= 2, counts == counts[:1] * len(counts)
'''
            % support.MODULE_DIR,
            prologue='',
            flags=['-S', '-E'],
        )
        self.assertEqual(('', 'refused True True\n', 0), (errors, output, code))

    def test_a_module_that_is_loaded_afterwards_joins_again(self):
        code, output, errors = support.run_script(
            '''
import imp, sys, _vireon
del sys.modules['swig_runtime_data3']
import vireon_probe as probe
print int(probe.wrap(16, '_p_Vireon'))
engine = _vireon.new_Vireon()
print probe.convert(engine, '_p_Vireon', 0) == (0, int(engine))
print support.head_record().count
_vireon.delete_Vireon(engine)
'''
        )
        self.assertEqual(('', '16\nTrue\n37\n', 0), (errors, output, code))


if __name__ == '__main__':
    unittest.main()
