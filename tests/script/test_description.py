# -*- coding: utf-8 -*-
"""The device description document, read back by two independent parsers."""
import os
import subprocess
import tempfile
import unittest
from xml.etree import ElementTree

import ctypes
import support
import vireon_probe as probe

_vireon = support._vireon

NAMESPACE = '{urn:schemas-upnp-org:device-1-0}'
DOCUMENT = '\r\n'.join(
    [
        '<?xml version="1.0" encoding="UTF-8"?>',
        '<root configId="%d" xmlns="urn:schemas-upnp-org:device-1-0" '
        'xmlns:dlna="urn:schemas-dlna-org:device-1-0">',
        '  <specVersion>',
        '    <major>1</major>',
        '    <minor>1</minor>',
        '  </specVersion>',
        '  <device>',
        '    <deviceType>urn:schemas-upnp-org:device:ZOMediaServer:1</deviceType>',
        '    <friendlyName>Den</friendlyName>',
        '    <manufacturer>Zorvane Corporation</manufacturer>',
        '    <manufacturerURL>http://www.zorvane.com</manufacturerURL>',
        '    <modelDescription></modelDescription>',
        '    <modelName></modelName>',
        '    <modelURL></modelURL>',
        '    <UDN>uuid:0a1b2c3d-0000-1111-2222-333344445555</UDN>',
        '    <version></version>',
        '  </device>',
        '</root>',
    ]
)

# Every character that XML 1.0 allows and a text may hold, control bytes included. A carriage
# return is written as a reference, so that parsers do not make a line feed of it.
TEXTS = [
    'A&B <x> ]]> "quoted" \'single\'',
    'tab\there',
    'line\nfeed',
    'carriage\rreturn',
    '\r\n',
    u'Café 東京 Ωμέγα \U0001f4fa'.encode('utf-8'),
    u'\x85\u2028\ue000\ufffd'.encode('utf-8'),
    '\x7f',
    ' ',
    '&amp;',
    '<![CDATA[x]]>',
    3000 * 'long & ',
]


class Description(unittest.TestCase):
    def setUp(self):
        self.quiet = support.Quiet().__enter__()

    def tearDown(self):
        self.quiet.__exit__()

    def new_device(self, *texts):
        self.lease = ctypes.c_int64(60 * 10**9)
        lease = probe.wrap(ctypes.addressof(self.lease), '_p_NPT_TimeInterval')
        uuid, kind, name = texts
        device = _vireon.new_ZoSsdpDeviceInfo(probe.url('http://10.0.0.1/d.xml'), uuid, lease, kind, name)
        self.addCleanup(_vireon.delete_ZoSsdpDeviceInfo, device)
        return device

    def document(self, device):
        text = probe.string('')
        result = _vireon.ZoSsdpDeviceInfo_GetDescription(device, text)
        self.assertEqual(0, support.int32_at(result))
        document = support.text_at(text)
        probe.delete_string(text)
        return document

    def test_the_document_byte_for_byte(self):
        device = self.new_device(
            '0a1b2c3d-0000-1111-2222-333344445555', 'urn:schemas-upnp-org:device:ZOMediaServer:1', 'Den'
        )
        config_id = support.uint32_at(_vireon.ZoSsdpDeviceInfo_GetConfigId(device))
        self.assertEqual(DOCUMENT % config_id, self.document(device))
        self.assertEqual(self.document(device), self.document(device))

    def test_the_text_is_appended(self):
        device = self.new_device('a', 'b', 'c')
        text = probe.string('before ')
        _vireon.ZoSsdpDeviceInfo_GetDescription(device, text)
        self.assertEqual('before ' + self.document(device), support.text_at(text))
        probe.delete_string(text)

    def test_python_reads_every_text_back(self):
        for text in TEXTS:
            device = self.new_device('id', 'type', text)
            root = ElementTree.fromstring(self.document(device))
            name = root.find('%sdevice/%sfriendlyName' % (NAMESPACE, NAMESPACE)).text
            self.assertEqual(text.decode('utf-8'), name)

    def test_xmllint_reads_every_text_back(self):
        if support.ON_WINDOWS:
            # A Linux program; the document's bytes are compared on both systems.
            self.skipTest('platform: xmllint is no Windows program')
        query = "string(//*[local-name()='friendlyName'])"
        for text in TEXTS:
            document = self.document(self.new_device('id', 'type', text))
            handle, path = tempfile.mkstemp()
            try:
                os.write(handle, document)
                os.close(handle)
                read = subprocess.check_output(
                    ['xmllint', '--nonet', '--xpath', query, path], env=support.ENVIRONMENT
                )
            except OSError as error:
                support.missing('xmllint: %s' % error)
            finally:
                os.remove(path)
            # The tool ends its output with a line feed.
            self.assertEqual(text + '\n', read)

    def test_optional_elements_appear_with_their_text(self):
        device = self.new_device('id', 'type', 'name')
        blank = probe.string(' ')
        for field in ('ModelNumber', 'SerialNumber', 'PresentationURL'):
            self.assertNotIn(field.lower(), self.document(device).lower())
            getattr(_vireon, 'ZoSsdpDeviceInfo_m_%s_set' % field)(device, blank)
        document = self.document(device)
        order = [
            document.index('<%s> </%s>' % (name, name))
            for name in ('modelNumber', 'serialNumber', 'presentationURL')
        ]
        self.assertEqual(sorted(order), order)
        probe.delete_string(blank)

    def test_the_element_form_hands_the_element_over(self):
        device, parent = self.new_device('a', 'b', 'c'), probe.element()
        slot = ctypes.c_void_p()
        pointer = probe.wrap(ctypes.addressof(slot), '_p_p_NPT_XmlElementNode')
        describe = _vireon.ZoSsdpDeviceInfo_GetDescription
        self.assertEqual(0, support.int32_at(describe(device, parent, pointer)))
        element = probe.wrap(slot.value, '_p_NPT_XmlElementNode')
        self.assertEqual(1, probe.count_children(parent))
        self.assertEqual(9, probe.count_children(element))
        self.assertEqual(0, support.int32_at(describe(device, parent)))
        self.assertEqual(0, support.int32_at(describe(device, parent, None)))
        self.assertEqual(3, probe.count_children(parent))
        probe.delete_element(parent)

    def test_without_a_parent_there_is_no_element(self):
        device = self.new_device('a', 'b', 'c')
        slot = ctypes.c_void_p(5)
        pointer = probe.wrap(ctypes.addressof(slot), '_p_p_NPT_XmlElementNode')
        result = _vireon.ZoSsdpDeviceInfo_GetDescription(device, None, pointer)
        self.assertEqual(-20000, support.int32_at(result))
        self.assertIs(None, slot.value)


if __name__ == '__main__':
    unittest.main()
