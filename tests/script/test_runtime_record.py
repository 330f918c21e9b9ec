"""The shared runtime record, read back from memory as a sibling module would."""
import ctypes
import sys
import unittest

import support

_vireon = support._vireon

# In the order of the array.
TYPES = [
    ('_p_CallbackTaskWorkerThread', 'CallbackTaskWorkerThread *'),
    ('_p_NPT_HttpMessage', 'NPT_HttpMessage *'),
    ('_p_NPT_HttpRequest', 'NPT_HttpRequest *'),
    ('_p_NPT_HttpRequestContext', 'NPT_HttpRequestContext *'),
    ('_p_NPT_HttpResponse', 'NPT_HttpResponse *'),
    ('_p_NPT_HttpUrl', 'NPT_HttpUrl *'),
    ('_p_NPT_Result', 'NPT_Result *'),
    ('_p_NPT_String', 'NPT_String *'),
    ('_p_NPT_TimeInterval', 'NPT_TimeInterval *'),
    ('_p_NPT_TimeStamp', 'NPT_TimeStamp *'),
    ('_p_NPT_UInt32', 'NPT_UInt32 *'),
    ('_p_NPT_UdpSocket', 'NPT_UdpSocket *'),
    ('_p_NPT_XmlElementNode', 'NPT_XmlElementNode *'),
    ('_p_PyAutoLock2', 'PyAutoLock2 *'),
    ('_p_PyAutoUnlock2', 'PyAutoUnlock2 *'),
    ('_p_SsdpSearchWorkerThread', 'SsdpSearchWorkerThread *'),
    ('_p_Vireon', 'Vireon *'),
    ('_p_ZoSsdpDeviceInfo', 'ZoSsdpDeviceInfo *'),
    ('_p_char', 'char *|TCHAR *'),
    ('_p_double', 'double *|DOUBLE *'),
    ('_p_float', 'float *|FLOAT *'),
    ('_p_int', 'int *|INT_PTR *'),
    ('_p_long', 'long *|LRESULT *'),
    ('_p_long_long', 'long long *|int64 *'),
    ('_p_p_NPT_XmlElementNode', 'NPT_XmlElementNode **'),
    ('_p_std__queueTZoSsdpDeviceInfo_p_t', 'std::queue<ZoSsdpDeviceInfo * > *|CallbackTaskQueue *'),
    (
        '_p_std__shared_ptrTSsdpSearchWorkerThread_t',
        'std::shared_ptr<SsdpSearchWorkerThread > *|sp_ssdpSearchWorkerThread *',
    ),
    (
        '_p_std__tr1__shared_ptrTCallbackTaskQueue_t',
        'std::tr1::shared_ptr<CallbackTaskQueue > *|shared_CallbackTaskQueue *',
    ),
    (
        '_p_std__tr1__shared_ptrTCallbackTaskWorkerThread_t',
        'std::tr1::shared_ptr<CallbackTaskWorkerThread > *|shared_callbackTaskWorkerThread *',
    ),
    ('_p_unsigned_char', 'unsigned char *|uint8 *'),
    ('_p_unsigned_int', 'unsigned int *|WPARAM *'),
    ('_p_unsigned_long', 'unsigned long *|ULONG_PTR *'),
    ('_p_unsigned_long_long', 'unsigned long long *|ULONGLONG *'),
    ('_p_unsigned_short', 'unsigned short *|WORD *'),
    ('_p_va_list', 'va_list *'),
    ('_p_wchar_t', 'wchar_t *|WCHAR *'),
    ('_p_zorvane__Int32', 'zorvane::Int32 *'),
]


class RuntimeRecord(unittest.TestCase):
    def setUp(self):
        self.record = support.head_record()
        self.types = support.descriptors(self.record)

    def test_it_is_a_capsule_of_the_runtime_module(self):
        import swig_runtime_data3

        self.assertIs(sys.modules['swig_runtime_data3'], swig_runtime_data3)
        self.assertEqual('PyCapsule', type(swig_runtime_data3.type_pointer).__name__)
        import_capsule = ctypes.pythonapi.PyCapsule_Import
        import_capsule.restype = support.pointer
        self.assertEqual(ctypes.addressof(self.record), import_capsule('swig_runtime_data3.type_pointer', 0))

    def test_nothing_of_it_is_deprecated(self):
        code, output, errors = support.run_script(
            'import _vireon; print support.head_record().count', flags=['-3', '-W', 'error']
        )
        self.assertEqual(('', '37\n', 0), (errors, output, code))

    def test_it_names_the_37_types(self):
        self.assertEqual(37, self.record.count)
        self.assertEqual(TYPES, [(each.name, each.human_name) for each in self.types])

    def test_the_types_are_sorted_by_bytes(self):
        names = [each.name for each in self.types]
        self.assertEqual(sorted(names), names)
        self.assertEqual(len(set(names)), len(names))

    def test_each_type_starts_with_a_link_to_itself_and_has_no_other(self):
        for each in self.types:
            link = each.casts.contents
            self.assertEqual(ctypes.addressof(each), ctypes.addressof(link.from_type.contents))
            self.assertIs(None, link.convert)
            self.assertFalse(link.next)
            self.assertFalse(link.previous)

    def test_no_type_has_a_dynamic_cast_or_a_class(self):
        for each in self.types:
            self.assertIs(None, each.dynamic_cast)
            self.assertFalse(each.client_data)
            self.assertEqual(0, each.owns_client_data)

    def test_the_module_alone_is_a_ring_of_one(self):
        self.assertEqual(ctypes.addressof(self.record), ctypes.addressof(self.record.next.contents))

    def test_the_initial_arrays_match_and_end(self):
        count = self.record.count
        for index in range(count):
            self.assertEqual(self.types[index].name, self.record.type_initial[index].contents.name)
            table = self.record.cast_initial[index]
            self.assertEqual(self.types[index].name, table[0].from_type.contents.name)
            self.assertFalse(table[1].from_type)
        self.assertFalse(self.record.types[count])
        self.assertFalse(self.record.type_initial[count])
        self.assertFalse(self.record.cast_initial[count])
        self.assertIs(None, self.record.client_data)

    def test_a_wrapped_pointer_has_its_fields_in_order(self):
        device = _vireon.new_ZoSsdpDeviceInfo()
        fields = support.fields_of(device)
        self.assertEqual(int(device), fields.address)
        self.assertEqual('_p_ZoSsdpDeviceInfo', fields.type.contents.name)
        self.assertEqual(1, fields.own)
        self.assertIs(None, fields.next)
        _vireon.delete_ZoSsdpDeviceInfo(device)


if __name__ == '__main__':
    unittest.main()
