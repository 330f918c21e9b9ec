"""The record of a device."""

from __future__ import absolute_import

import _vireon

from vireon.natives import as_bytes, call_with_unsigned, native_interval, native_text, new_device
from vireon.values import Url, interval_of, result_of, taken, text_of, unsigned_of, url_of


def _field(name):
    get = getattr(_vireon, 'ZoSsdpDeviceInfo_m_%s_get' % name)
    put = getattr(_vireon, 'ZoSsdpDeviceInfo_m_%s_set' % name)
    return property(
        lambda self: taken(text_of, get, self),
        lambda self, text: put(self, native_text(text)),
        doc='The header %s, as bytes.' % name,
    )


def _text(name, doc):
    get = getattr(_vireon, 'ZoSsdpDeviceInfo_' + name)
    return property(lambda self: text_of(get(self)), doc=doc)


class ZoSsdpDeviceInfo(object):
    """The record of one device. One thread at a time.

    One that a script makes lies nowhere until an engine finds it: no function of the module takes a text
    for a location.
    """

    __swig_destroy__ = _vireon.delete_ZoSsdpDeviceInfo

    def __init__(self, friendly_name='', uuid='', device_type=''):
        self.this = new_device(uuid, device_type, friendly_name)

    uuid = _text('GetUUID', 'Bare, without "uuid:".')
    friendly_name = _text('GetFriendlyName', 'The name that people see.')
    device_type = _text('GetType', 'As in the answer.')

    manufacturer = _field('Manufacturer')
    manufacturer_url = _field('ManufacturerURL')
    model_description = _field('ModelDescription')
    model_name = _field('ModelName')
    model_number = _field('ModelNumber')
    model_url = _field('ModelURL')
    serial_number = _field('SerialNumber')
    presentation_url = _field('PresentationURL')
    http_port = _field('HttpPort')
    https_port = _field('HttpsPort')
    websocket_port = _field('WebsocketPort')
    db_status = _field('DBStatus')
    version = _field('Version')

    @property
    def lease_time(self):
        """How long the device may be believed to be there. One below 10 s becomes 1800 s."""
        return interval_of(_vireon.ZoSsdpDeviceInfo_GetLeaseTime(self))

    @lease_time.setter
    def lease_time(self, seconds):
        taken(result_of, _vireon.ZoSsdpDeviceInfo_SetLeaseTime, self, native_interval(seconds))

    @property
    def boot_id(self):
        """How often the device was started, as far as it says; 32 bits."""
        return taken(unsigned_of, _vireon.ZoSsdpDeviceInfo_GetBootId, self)

    @boot_id.setter
    def boot_id(self, number):
        call_with_unsigned(_vireon.ZoSsdpDeviceInfo_SetBootId, self, number)

    def set_next_boot_id(self, number):
        call_with_unsigned(_vireon.ZoSsdpDeviceInfo_SetNextBootId, self, number)

    def generate_next_boot_id(self):
        """One that differs from the current one; nothing is stored."""
        return taken(unsigned_of, _vireon.ZoSsdpDeviceInfo_GenerateNextBootId, self)

    @property
    def config_id(self):
        return taken(unsigned_of, _vireon.ZoSsdpDeviceInfo_GetConfigId, self)

    @property
    def url_base(self):
        """What relative URLs of the description start from."""
        return taken(url_of, _vireon.ZoSsdpDeviceInfo_GetURLBase, self)

    def description_url(self, host=None):
        """Where the description lies; with a host, that one in place of the device's."""
        arguments = () if host is None else (as_bytes(host),)
        return Url(taken(text_of, _vireon.ZoSsdpDeviceInfo_GetDescriptionUrl, self, *arguments))

    def description(self):
        """The description document, as the bytes of its XML."""
        text = native_text('')
        result = taken(result_of, _vireon.ZoSsdpDeviceInfo_GetDescription, self, text)
        if not result.succeeded:
            raise RuntimeError('there is no description: %r' % result)
        return text_of(text)


_vireon.ZoSsdpDeviceInfo_swigregister(ZoSsdpDeviceInfo)
