"""Several modules of the family in one interpreter: a second copy of the module, and a sibling that
shares none of its code. Each script runs in an interpreter of its own, since modules stay loaded."""
import unittest

import support

COPY = '''
import imp, os, shutil, tempfile
def load_copy():
    """A second copy of the module, as another file is another module for the system."""
    first = sys.modules.pop('_vireon')
    folder = tempfile.mkdtemp()
    copy = os.path.join(folder, os.path.basename(first.__file__))
    shutil.copy(first.__file__, copy)
    second = imp.load_dynamic('_vireon', copy)
    sys.modules['_vireon'] = first
    if not support.ON_WINDOWS:  # which keeps loaded files
        shutil.rmtree(folder)
    return second
first, second = support._vireon, load_copy()
assert first is not second and first.new_Vireon is not second.new_Vireon
'''


class Siblings(unittest.TestCase):
    def expect(self, output, script):
        self.assertEqual((0, output, ''), support.run_script(script))

    def test_a_second_copy_joins_the_ring_and_uses_the_firsts_types(self):
        self.expect(
            '37 37 True\n0 True\n',
            COPY
            + '''
import ctypes
head = support.head_record()
other = head.next.contents
print head.count, other.count, ctypes.addressof(other.next.contents) == ctypes.addressof(head)
address = ctypes.addressof
differing = [i for i in range(37)
             if address(head.types[i].contents) != address(other.types[i].contents)]
print len(differing), address(other.type_initial[0].contents) != address(head.types[0].contents)
''',
        )

    def test_pointers_pass_between_two_copies_in_both_directions(self):
        self.expect(
            'True False True\n36 36\nTrue True True\n',
            COPY
            + '''
one, two = first.new_ZoSsdpDeviceInfo(), second.new_ZoSsdpDeviceInfo()
second.ZoSsdpDeviceInfo_m_Version_set(one, first.ZoSsdpDeviceInfo_GetUUID(two))
print type(one) is not type(two), one == two, one != two
print len(support.text_at(second.ZoSsdpDeviceInfo_GetUUID(one))), \\
    len(support.text_at(first.ZoSsdpDeviceInfo_GetUUID(two)))
one.append(two)
alias = second.ZoSsdpDeviceInfo_GetUUID(one)
same = first.ZoSsdpDeviceInfo_GetUUID(one)
print alias == same, not alias < same, cmp(alias, same) == 0
first.delete_ZoSsdpDeviceInfo(two)
second.delete_ZoSsdpDeviceInfo(one)
''',
        )

    def test_a_class_registered_with_one_copy_dresses_the_results_of_the_other(self):
        self.expect(
            'First destroyed\nTrue\nSecond destroyed\nTrue\n',
            COPY
            + '''
class First(object):
    @staticmethod
    def __swig_destroy__(device):
        print 'First destroyed'
        second.delete_ZoSsdpDeviceInfo(device)
class Second(object):
    @staticmethod
    def __swig_destroy__(device):
        print 'Second destroyed'
        first.delete_ZoSsdpDeviceInfo(device)
def queued(module):
    worker = module.new_CallbackTaskWorkerThread(engine)
    device = module.new_ZoSsdpDeviceInfo()
    module.CallbackTaskWorkerThread_addTask(worker, device)
    result = module.CallbackTaskWorkerThread_getTask(worker)
    module.delete_CallbackTaskWorkerThread(worker)
    return result
engine = first.new_Vireon()
first.ZoSsdpDeviceInfo_swigregister(First)
print type(queued(second)) is First
second.ZoSsdpDeviceInfo_swigregister(Second)
print type(queued(first)) is Second
first.delete_Vireon(engine)
''',
        )

    def test_an_engine_that_searches_for_one_copy_ends_by_the_other_at_exit(self):
        self.assertEqual(
            (0, 'end\n', ''),
            support.run_isolated(
                COPY
                + '''
class Vireon(object):
    __swig_destroy__ = second.delete_Vireon
second.Vireon_swigregister(Vireon)
engine = second.new_Vireon()
with support.Quiet():
    first.Vireon_SearchDevices(engine)
print 'end'
'''
            ),
        )

    SIBLING = '''
import ctypes
def show():
    engine, device = _vireon.new_Vireon(), _vireon.new_ZoSsdpDeviceInfo()
    print sibling.unwrap(engine, '_p_Vireon') == int(engine)
    foreign = sibling.wrap(int(engine), '_p_Vireon')
    print type(foreign).__name__, type(foreign) is type(engine), foreign == engine
    print _vireon.Vireon_isClosed_get(foreign)
    pair = (ctypes.c_uint32 * 2)(5, 6)
    wrapped = sibling.wrap(ctypes.addressof(pair), '_p_SiblingPair')
    _vireon.ZoSsdpDeviceInfo_SetBootId(device, wrapped)
    number = _vireon.ZoSsdpDeviceInfo_GetBootId(device)
    print support.uint32_at(number)
    with support.Quiet():
        del number
    text = ctypes.create_string_buffer('sibling.example')
    url = _vireon.ZoSsdpDeviceInfo_GetDescriptionUrl(
        device, sibling.wrap(ctypes.addressof(text), '_p_char'))
    print support.text_at(url)
    with support.Quiet():
        del url
    engine.append(wrapped)
    print repr(engine) == ''.join(
        "<Swig Object of type '%s *' at 0x%x>" % each
        for each in [('Vireon', int(engine)), ('SiblingPair', ctypes.addressof(pair))])
    _vireon.delete_ZoSsdpDeviceInfo(device)
    _vireon.delete_Vireon(engine)
    records, record = set(), support.head_record()
    while ctypes.addressof(record) not in records:
        records.add(ctypes.addressof(record))
        record = record.next.contents
    print len(records), sibling.record() in records
    shared = [support.descriptor(name) for name in ('_p_NPT_UInt32', '_p_Vireon', '_p_char')]
    print [ctypes.addressof(each) == sibling.descriptor(each.name) for each in shared]
'''
    SHOWN = 'True\nPySwigObject False True\nFalse\n6\n/sibling.example\nTrue\n2 True\n' '[True, True, True]\n'

    def sibling_output(self):
        # A description URL without a port keeps the host alone.
        return self.SHOWN.replace('/sibling.example', 'http://sibling.example:0/description.xml')

    def test_a_sibling_that_comes_second_exchanges_pointers(self):
        self.expect(
            self.sibling_output(),
            '''
import _vireon, vireon_sibling as sibling
'''
            + self.SIBLING
            + 'show()\n',
        )

    def test_a_sibling_that_comes_first_exchanges_pointers(self):
        code, output, errors = support.run_script(
            'show()\n',
            prologue='''
import sys; sys.path[:0] = [%r, %r]
import vireon_sibling as sibling
import support
_vireon = support._vireon
'''
            % (support.HELPERS_DIR, support.TESTS_DIR)
            + self.SIBLING,
        )
        self.assertEqual((0, self.sibling_output(), ''), (code, output, errors))

    LINKED = '''
import _vireon, vireon_sibling as sibling, vireon_probe as probe
class First: pass
class Second: pass
def held(each):
    return sys.getrefcount(each) > unheld
unheld = (lambda each: sys.getrefcount(each))(First)
def classes():
    return [probe.wrap(16, name).__class__.__name__ for name in ('_p_Vireon', '_p_SiblingEngine')]
'''

    def test_a_linked_type_without_a_class_gets_the_registered_one(self):
        self.expect(
            "['First', 'First']\n",
            self.LINKED
            + '''
_vireon.Vireon_swigregister(First)
print classes()
''',
        )

    def test_a_linked_type_keeps_the_class_that_it_has_when_another_is_registered(self):
        self.expect(
            "['Second', 'First']\n",
            self.LINKED
            + '''
_vireon.Vireon_swigregister(First)
_vireon.Vireon_swigregister(Second)
print classes()
''',
        )

    def test_a_linked_type_keeps_the_class_that_a_sibling_registered(self):
        self.expect(
            "['First', 'Second']\n",
            self.LINKED
            + '''
sibling.register('_p_SiblingEngine', Second)
_vireon.Vireon_swigregister(First)
print classes()
''',
        )

    def test_a_class_is_let_go_when_no_type_has_it_any_more(self):
        self.expect(
            'True True\nFalse True\n',
            self.LINKED
            + '''
_vireon.Vireon_swigregister(First)
_vireon.Vireon_swigregister(Second)
print held(First), held(Second)
support.descriptor('_p_SiblingEngine', sibling.record()).client_data = None
_vireon.Vireon_swigregister(Second)
print held(First), held(Second)
''',
        )

    def test_classes_that_linked_types_have_go_with_the_runtime_module(self):
        self.expect(
            "['PySwigObject', 'PySwigObject']\nFalse False\n",
            self.LINKED
            + '''
_vireon.Vireon_swigregister(First)
_vireon.Vireon_swigregister(Second)
del sys.modules['swig_runtime_data3']
print classes()
print held(First), held(Second)
''',
        )

    def test_two_copies_that_register_in_turn_hold_one_class_each(self):
        self.expect(
            '[False, False, True, True]\n',
            COPY
            + '''
classes = [type(name, (object,), {}) for name in 'ABCD']
def counts():
    return [sys.getrefcount(each) for each in classes]
before = counts()
for module, each in zip((first, second, first, second), classes):
    module.Vireon_swigregister(each)
del module, each
print [now > then for now, then in zip(counts(), before)]
''',
        )

    def test_a_siblings_own_record_is_left_alone(self):
        self.expect(
            "['First', 'Second']\nTrue True\n",
            self.LINKED
            + '''
import ctypes
record = support.ClassRecord.from_address(sibling.register('_p_Vireon', Second))
support.descriptor('_p_SiblingEngine', sibling.record()).client_data = ctypes.pointer(record)
_vireon.Vireon_swigregister(First)
print classes()
print record.script_class == id(Second), record.raw_arguments == id(Second)
''',
        )

    def test_a_sibling_that_published_a_capsule_is_joined(self):
        code, output, errors = support.run_script(
            'print ring() == set([sibling.record(), own])\n',
            prologue='''
import sys; sys.path[:0] = [%r, %r]
import ctypes, vireon_sibling as sibling, swig_runtime_data3
new_capsule = ctypes.pythonapi.PyCapsule_New
new_capsule.restype = ctypes.py_object
name = ctypes.c_char_p('swig_runtime_data3.type_pointer')
swig_runtime_data3.type_pointer = new_capsule(ctypes.c_void_p(sibling.record()), name, None)
import support
own = ctypes.addressof(support.head_record().next.contents)
def ring():
    head = support.head_record()
    second = head.next.contents
    assert ctypes.addressof(second.next.contents) == ctypes.addressof(head)
    assert second.count == 37
    return set([ctypes.addressof(head), ctypes.addressof(second)])
'''
            % (support.HELPERS_DIR, support.TESTS_DIR),
        )
        self.assertEqual((0, 'True\n', ''), (code, output, errors))

    def test_three_modules_make_one_ring(self):
        self.expect(
            '3\n',
            COPY
            + '''
import ctypes, vireon_sibling
records, record = [], support.head_record()
while ctypes.addressof(record) not in records:
    records.append(ctypes.addressof(record))
    record = record.next.contents
print len(records)
''',
        )

    def test_rings_that_lost_their_runtime_module_stay_finite(self):
        self.expect(
            'True True\n',
            COPY
            + '''
del sys.modules['swig_runtime_data3']
import vireon_probe as probe
third = load_copy()
pointer = first.new_ZoSsdpDeviceInfo()
uuids = [module.ZoSsdpDeviceInfo_GetUUID(pointer) for module in (first, second, third)]
print uuids[0] == uuids[1] == uuids[2], probe.convert(pointer, '_p_ZoSsdpDeviceInfo', 0)[0] == 0
for module in (first, second, third):
    module.ZoSsdpDeviceInfo_swigregister(int)
first.delete_ZoSsdpDeviceInfo(pointer)
''',
        )

    def test_a_ring_that_a_sibling_left_open_is_closed(self):
        code, output, errors = support.run_script(
            'print len(ring())\n',
            prologue='''
import sys; sys.path[:0] = [%r, %r]
import ctypes, vireon_sibling as sibling
ctypes.c_void_p.from_address(sibling.record() + 16).value = None
import support
def ring():
    records, record = [], support.head_record()
    while ctypes.addressof(record) not in records:
        records.append(ctypes.addressof(record))
        record = record.next.contents
    return records
'''
            % (support.HELPERS_DIR, support.TESTS_DIR),
        )
        self.assertEqual((0, '2\n', ''), (code, output, errors))

    def test_loading_the_same_module_again_changes_nothing(self):
        self.expect(
            'True 1\nTrue 1\n',
            '''
import ctypes, imp, os, _vireon
def ring():
    records, record = [], support.head_record()
    while ctypes.addressof(record) not in records:
        records.append(ctypes.addressof(record))
        record = record.next.contents
    return len(records)
path = _vireon.__file__
detour = os.path.join(os.path.dirname(path), '.', os.path.basename(path))
for lost in (False, True):
    del sys.modules['_vireon']
    if lost:
        del sys.modules['swig_runtime_data3']
    again = imp.load_dynamic('_vireon', detour)
    detour = os.path.join(os.path.dirname(path), '.', '.', os.path.basename(path))
    guard = again.new_ZoSsdpDeviceInfo()
    print again.ZoSsdpDeviceInfo_GetUUID(guard) == _vireon.ZoSsdpDeviceInfo_GetUUID(guard), ring()
    again.delete_ZoSsdpDeviceInfo(guard)
''',
        )


if __name__ == '__main__':
    unittest.main()
