"""The device record through the script functions."""
import ctypes
import re
import time
import unittest

import contract
import support
import vireon_probe as probe

_vireon = support._vireon


def number(value, kind=ctypes.c_int64, name='_p_NPT_TimeInterval'):
    """A wrapped native number; keep the first of the pair."""
    memory = kind(value)
    return memory, probe.wrap(ctypes.addressof(memory), name)


class DeviceRecord(unittest.TestCase):
    def setUp(self):
        self.quiet = support.Quiet().__enter__()
        self.device = _vireon.new_ZoSsdpDeviceInfo()

    def tearDown(self):
        _vireon.delete_ZoSsdpDeviceInfo(self.device)
        self.quiet.__exit__()

    def get(self, name, *arguments):
        return getattr(_vireon, 'ZoSsdpDeviceInfo_' + name)(self.device, *arguments)

    def lease(self):
        return support.int64_at(self.get('GetLeaseTime'))

    def test_defaults(self):
        self.assertTrue(
            re.match('^[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}$', support.text_at(self.get('GetUUID')))
        )
        self.assertEqual(1800 * 10**9, self.lease())
        self.assertEqual('Zorvane Corporation', support.text_at(self.get('m_Manufacturer_get')))
        for name in ('GetFriendlyName', 'GetType', 'GetModelDescription'):
            self.assertEqual('', support.text_at(self.get(name)))
        self.assertEqual(0, support.uint32_at(self.get('GetBootId')))
        self.assertLessEqual(support.uint32_at(self.get('GetConfigId')), 0xFFFFFF)

    def test_constructors_take_their_arguments_in_order(self):
        memory, lease = number(60 * 10**9)
        arguments = [probe.url('http://10.0.0.1:8080/a/d.xml'), 'an id', lease, 'a type', 'a name']
        defaults = ['', None, 1800 * 10**9, '', '']
        for count in range(6):
            device = _vireon.new_ZoSsdpDeviceInfo(*arguments[:count])
            self.assertIs(True, device.own())
            text = lambda name: support.text_at(getattr(_vireon, 'ZoSsdpDeviceInfo_' + name)(device))
            url = 'http://10.0.0.1:8080/a/d.xml' if count else '/description.xml'
            self.assertTrue(text('GetDescriptionUrl').endswith(url))
            self.assertEqual(count > 1, text('GetUUID') == 'an id')
            self.assertEqual(
                memory.value if count > 2 else defaults[2],
                support.int64_at(_vireon.ZoSsdpDeviceInfo_GetLeaseTime(device)),
            )
            self.assertEqual('a type' if count > 3 else '', text('GetType'))
            self.assertEqual('a name' if count > 4 else '', text('GetFriendlyName'))
            _vireon.delete_ZoSsdpDeviceInfo(device)

    def test_null_texts_are_empty(self):
        memory, lease = number(60 * 10**9)
        device = _vireon.new_ZoSsdpDeviceInfo(probe.url('http://a/'), None, lease, None, None)
        self.assertEqual(36, len(support.text_at(_vireon.ZoSsdpDeviceInfo_GetUUID(device))))
        self.assertEqual('', support.text_at(_vireon.ZoSsdpDeviceInfo_GetType(device)))
        _vireon.delete_ZoSsdpDeviceInfo(device)

    def test_a_host_takes_the_place_of_the_description_urls(self):
        device = _vireon.new_ZoSsdpDeviceInfo(probe.url('http://10.0.0.1:8080/d.xml'))
        url = _vireon.ZoSsdpDeviceInfo_GetDescriptionUrl(device, '192.168.1.5')
        self.assertEqual('http://192.168.1.5:8080/d.xml', support.text_at(url))
        base = _vireon.ZoSsdpDeviceInfo_GetURLBase(device)
        self.assertEqual('http://10.0.0.1:8080/', probe.read_url(base))
        _vireon.delete_ZoSsdpDeviceInfo(device)

    def test_leases_below_ten_seconds_are_not_believed(self):
        for given, kept in [
            (9999999999, 1800 * 10**9),
            (10**10, 10**10),
            (-5 * 10**9, 1800 * 10**9),
            (10500000000, 10500000000),
        ]:
            memory, lease = number(given)
            self.assertEqual(0, support.int32_at(self.get('SetLeaseTime', lease)))
            self.assertEqual(kept, self.lease())
            stamp_memory, stamp = number(5, name='_p_NPT_TimeStamp')
            self.assertEqual(0, support.int32_at(self.get('SetLeaseTime', lease, stamp)))
            self.assertEqual(kept, self.lease())

    def test_a_lease_keeps_when_it_was_given(self):
        memory, lease = number(60 * 10**9)
        stamp_memory, stamp = number(5, name='_p_NPT_TimeStamp')
        # That moment has no function of its own; it stands behind the lease.
        given = ctypes.c_int64.from_address(int(self.get('GetLeaseTime')) + 8)
        self.get('SetLeaseTime', lease, stamp)
        self.assertEqual(5, given.value)
        self.get('SetLeaseTime', lease)
        self.assertLess(abs(given.value - time.time() * 10**9), 10 * 10**9)

    def test_boot_ids(self):
        memory, value = number(4000000000, ctypes.c_uint32, '_p_NPT_UInt32')
        self.assertIs(None, self.get('SetBootId', value))
        self.assertEqual(4000000000, support.uint32_at(self.get('GetBootId')))
        next_memory, next_value = number(7, ctypes.c_uint32, '_p_NPT_UInt32')
        self.assertIs(None, self.get('SetNextBootId', next_value))
        self.assertEqual(4000000000, support.uint32_at(self.get('GetBootId')))
        before = int(time.time())
        self.assertLessEqual(abs(support.uint32_at(self.get('GenerateNextBootId')) - before), 2)

    def test_a_number_or_a_text_of_the_script_is_no_native_one(self):
        for name, value in [('SetBootId', 5), ('m_Version_set', 'text'), ('SetLeaseTime', 5.0)]:
            with self.assertRaises((TypeError, NotImplementedError)):
                self.get(name, value)

    def test_every_field_keeps_a_copy_of_its_own(self):
        for index, field in enumerate(contract.FIELDS):
            text = probe.string('value %d' % index)
            self.assertIs(None, self.get('m_%s_set' % field, text))
            probe.delete_string(text)
        for index, field in enumerate(contract.FIELDS):
            copy = self.get('m_%s_get' % field)
            self.assertEqual('value %d' % index, support.text_at(copy))
            self.assertNotEqual(copy, self.get('m_%s_get' % field))

    def test_a_field_can_be_set_to_what_it_holds(self):
        self.get('m_ModelDescription_set', probe.string('same'))
        self.get('m_ModelDescription_set', self.get('GetModelDescription'))
        self.assertEqual('same', support.text_at(self.get('GetModelDescription')))


if __name__ == '__main__':
    unittest.main()
