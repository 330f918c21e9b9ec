"""Every function of the module: names, counts, conversions, results."""
import ctypes
import unittest

import contract
import support
import vireon_probe as probe

_vireon = support._vireon


def plain_functions():
    return [row for row in contract.FUNCTIONS if row[1] is not None]


class Names(unittest.TestCase):
    def test_the_module_holds_the_80_functions_and_nothing_else(self):
        names = [name for name, _, _ in contract.FUNCTIONS]
        self.assertEqual(80, len(names))
        own = set(dir(_vireon)) - set(['__doc__', '__file__', '__name__', '__package__'])
        self.assertEqual(sorted(names), sorted(own))

    def test_no_function_has_documentation_or_a_self(self):
        for name, _, _ in contract.FUNCTIONS:
            function = getattr(_vireon, name)
            self.assertIs(None, function.__doc__, name)
            self.assertIs(None, function.__self__, name)

    def test_functions_stand_in_the_order_of_the_table(self):
        # The table is one array: the rows' addresses grow with their place.
        head = object.__basicsize__

        def row_address(name):
            function = getattr(_vireon, name)
            return ctypes.c_void_p.from_address(id(function) + head).value

        addresses = [row_address(name) for name, _, _ in contract.FUNCTIONS]
        self.assertEqual(sorted(addresses), addresses)
        self.assertEqual(79 * 32, addresses[-1] - addresses[0])


class ContractTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.natives = contract.Natives()

    @classmethod
    def tearDownClass(cls):
        cls.natives.delete()

    def refuse(self, exception, message, name, arguments):
        with support.Quiet():
            try:
                getattr(_vireon, name)(*arguments)
            except Exception as raised:
                self.assertIs(exception, type(raised), '%s%r: %r' % (name, arguments, raised))
                self.assertEqual(message, str(raised))
            else:
                self.fail('%s%r was accepted' % (name, arguments))

    def check_result(self, name, expected, result):
        if expected == contract.NONE:
            self.assertIs(None, result, name)
        elif expected == contract.BOOL:
            self.assertIs(bool, type(result), name)
        elif expected == contract.INTEGER:
            self.assertEqual(0, result, name)
        elif expected != contract.OBJECT:
            self.assertEqual('PySwigObject', type(result).__name__, name)
            self.assertIn("'%s' at" % expected.kind, repr(result), name)
            self.assertIs(expected.own, result.own(), name)


class Calls(ContractTest):
    def test_keyword_arguments_are_refused(self):
        for name, _, _ in contract.FUNCTIONS:
            with self.assertRaises(TypeError) as caught:
                getattr(_vireon, name)(keyword=1)
            self.assertEqual('%s() takes no keyword arguments' % name, str(caught.exception))

    def test_a_wrong_count_names_the_function(self):
        for name, kinds, _ in plain_functions():
            shown = 'swigregister' if name.endswith('_swigregister') else name
            counts = [len(kinds) - 1, len(kinds) + 1]
            if name == 'Vireon_CallBack':
                counts = [0, 1]
            for count in counts:
                if count < 0:
                    continue
                self.refuse(
                    TypeError,
                    '%s expected %d arguments, got %d' % (shown, len(kinds), count),
                    name,
                    (None,) * count,
                )

    def test_every_argument_of_a_wrong_type_is_named(self):
        for name, kinds, _ in plain_functions():
            if name == contract.ISOLATED_ONLY:
                good = (self.natives.engine,)
            else:
                good = self.natives.arguments(name, kinds)
            for index, kind in enumerate(kinds):
                if kind == contract.ANY:
                    continue
                for value, exception in contract.bad_values(kind):
                    arguments = good[:index] + (value,) + good[index + 1 :]
                    self.refuse(exception, contract.argument_message(name, index + 1, kind), name, arguments)

    def test_a_wrapped_pointer_of_another_type_is_refused(self):
        stranger = probe.wrap(1, '_p_wchar_t')
        for name, kinds, _ in plain_functions():
            good = self.natives.arguments(name, kinds)
            for index, kind in enumerate(kinds):
                if contract.is_wrapped(kind) or kind == contract.TEXT:
                    arguments = good[:index] + (stranger,) + good[index + 1 :]
                    self.refuse(TypeError, contract.argument_message(name, index + 1, kind), name, arguments)

    def test_none_for_an_object_a_value_or_a_reference_is_a_null_reference(self):
        checked = 0
        for name, kinds, _ in plain_functions():
            good = self.natives.arguments(name, kinds)
            for index, kind in enumerate(kinds):
                if contract.refuses_null(name, index + 1, kind):
                    checked += 1
                    arguments = good[:index] + (None,) + good[index + 1 :]
                    self.refuse(
                        ValueError,
                        'invalid null reference ' + contract.argument_message(name, index + 1, kind),
                        name,
                        arguments,
                    )
        self.assertGreater(checked, 60)

    def test_the_first_bad_argument_ends_the_call(self):
        self.refuse(
            TypeError,
            contract.argument_message('Vireon_SetInterVal', 1, 'Vireon *'),
            'Vireon_SetInterVal',
            (5, 'x'),
        )

    def test_a_deleted_none_is_none(self):
        for class_name in contract.CLASSES:
            self.assertIs(None, getattr(_vireon, 'delete_' + class_name)(None))

    def test_every_result_is_of_its_kind_and_ownership(self):
        for name, kinds, expected in plain_functions():
            if name in (
                contract.ISOLATED_ONLY,
                'Vireon__Callback',
                'new_PyAutoUnlock2',
                'new_PyAutoLock2',
            ) or name.endswith('_swigregister'):
                continue  # each has a test of its own
            arguments = self.natives.arguments(name, kinds)
            if name.startswith('CallbackTaskWorkerThread_') and expected.__class__ is not str:
                # A worker with an engine and a record, so that there is something to borrow.
                _vireon.CallbackTaskWorkerThread_m_pVireon_set(self.natives.worker, self.natives.engine)
                _vireon.CallbackTaskWorkerThread_addTask(self.natives.worker, self.natives.device)
            with support.Quiet():
                result = getattr(_vireon, name)(*arguments)
                self.check_result(name, expected, result)
                if name.startswith('new_'):
                    getattr(_vireon, 'delete_' + name[4:])(result)
                del result

    def test_search_devices_gives_an_owned_number(self):
        code, output, errors = support.run_isolated(
            '''
import _vireon
engine = _vireon.new_Vireon()
result = _vireon.Vireon_SearchDevices(engine)
print type(result).__name__, result.own(), "zorvane::Int32 *' at" in repr(result)
print support.int32_at(result)
_vireon.Vireon_isClosed_set(engine, True)
_vireon.Vireon_SetInterVal(engine, 0.1)
_vireon.Vireon_Stop(engine)
_vireon.delete_Vireon(engine)
with support.Quiet():
    del result
'''
        )
        self.assertEqual('', errors)
        self.assertEqual('PySwigObject True True\n%d\n' % 0x28800F00, output)
        self.assertEqual(0, code)

    def test_results_of_the_getters_are_the_fields_themselves(self):
        device = self.natives.device
        for name in ('GetLeaseTime', 'GetUUID', 'GetFriendlyName', 'GetType', 'GetModelDescription'):
            getter = getattr(_vireon, 'ZoSsdpDeviceInfo_' + name)
            self.assertEqual(int(getter(device)), int(getter(device)), name)
            self.assertNotEqual(int(device), int(getter(device)), name)

    def test_the_callback_returns_the_callables_own_result(self):
        result = object()
        engine = _vireon.new_Vireon()
        _vireon.Vireon_SetCallback(engine, lambda *arguments: result)
        zeros = self.natives.values['va_list']
        self.assertIs(result, _vireon.Vireon__Callback(engine, '', zeros))
        _vireon.delete_Vireon(engine)


class Overloads(ContractTest):
    def test_every_prototype_is_called_and_gives_its_result(self):
        for name, (expected, prototypes) in contract.OVERLOADS.items():
            for prototype, kinds in prototypes:
                arguments = tuple(self.natives.values[kind] for kind in kinds)
                with support.Quiet():
                    result = getattr(_vireon, name)(*arguments)
                    self.check_result(prototype, expected, result)
                    if name.startswith('new_'):
                        _vireon.delete_ZoSsdpDeviceInfo(result)
                    del result

    def test_no_match_lists_the_prototypes(self):
        for name, (_, prototypes) in contract.OVERLOADS.items():
            largest = max(len(kinds) for _, kinds in prototypes)
            for count in range(1, largest + 2):
                self.refuse(NotImplementedError, contract.no_match_message(name), name, (1,) * count)
        for name in contract.OVERLOADS:
            if not name.startswith('new_'):
                self.refuse(NotImplementedError, contract.no_match_message(name), name, ())

    def test_every_argument_takes_part_in_the_choice(self):
        for name, (_, prototypes) in contract.OVERLOADS.items():
            for _, kinds in prototypes:
                good = tuple(self.natives.values[kind] for kind in kinds)
                for index in range(len(kinds)):
                    self.refuse(
                        NotImplementedError,
                        contract.no_match_message(name),
                        name,
                        good[:index] + (object(),) + good[index + 1 :],
                    )

    def test_an_argument_that_changes_after_the_choice_is_named(self):
        class Fickle(object):
            """Stands for the pointer as often as it is told to, and then for nothing."""

            __slots__ = ('pointer', 'looks')

            def __init__(self, pointer, looks):
                self.pointer, self.looks = pointer, looks

            @property
            def this(self):
                self.looks -= 1
                return self.pointer if self.looks >= 0 else None

        characters = probe.wrap(ctypes.addressof(self.natives.memory), '_p_char')
        for name, (_, prototypes) in contract.OVERLOADS.items():
            tried = []
            for _, kinds in prototypes:
                good = tuple(self.natives.values[kind] for kind in kinds)
                tried.append(len(kinds))
                for index, kind in enumerate(kinds):
                    pointer = characters if kind == contract.TEXT else good[index]
                    # Each candidate that takes so many arguments has looked once.
                    looks = tried.count(len(kinds))
                    self.refuse(
                        TypeError,
                        contract.argument_message(name, index + 1, kind),
                        name,
                        good[:index] + (Fickle(pointer, looks),) + good[index + 1 :],
                    )

    def test_none_passes_the_choice_and_then_fails_as_a_null_reference(self):
        for name, (_, prototypes) in contract.OVERLOADS.items():
            for _, kinds in prototypes:
                good = tuple(self.natives.values[kind] for kind in kinds)
                for index, kind in enumerate(kinds):
                    if contract.refuses_null(name, index + 1, kind) or kind == contract.URL:
                        self.refuse(
                            ValueError,
                            'invalid null reference ' + contract.argument_message(name, index + 1, kind),
                            name,
                            good[:index] + (None,) + good[index + 1 :],
                        )

    def test_none_as_the_only_argument_of_get_description_means_the_text_form(self):
        self.refuse(
            ValueError,
            "invalid null reference in method "
            "'ZoSsdpDeviceInfo_GetDescription', argument 2 of type 'NPT_String &'",
            'ZoSsdpDeviceInfo_GetDescription',
            (self.natives.device, None),
        )

    def test_arguments_beyond_the_largest_arity_are_the_candidates_own_error(self):
        for name, (_, prototypes) in contract.OVERLOADS.items():
            largest = max(len(kinds) for _, kinds in prototypes)
            kinds = [kinds for _, kinds in prototypes if len(kinds) == largest][0]
            arguments = tuple(self.natives.values[kind] for kind in kinds) + (1,)
            self.refuse(
                TypeError, '%s expected %d arguments, got %d' % (name, largest, largest + 1), name, arguments
            )

    def test_further_arguments_of_call_back_are_ignored(self):
        self.assertIs(None, _vireon.Vireon_CallBack(self.natives.engine, 'text', 1, 2, 3))


if __name__ == '__main__':
    unittest.main()
