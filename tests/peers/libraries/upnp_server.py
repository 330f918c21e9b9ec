"""upnp_server.py ADDRESS PORT LOCATION UDN DEVICE_TYPE FRIENDLY_NAME

Answers searches for the device by async-upnp-client until it is ended. The name stands in its description
only.
"""

import asyncio
import sys
from urllib.parse import urlsplit
from xml.etree import ElementTree

from async_upnp_client.aiohttp import AiohttpRequester
from async_upnp_client.client import DeviceInfo
from async_upnp_client.server import SsdpSearchResponder, UpnpServerDevice

GROUP = '239.255.255.250'
address, port, location, udn, device_type, friendly_name = sys.argv[1:]


class Device(UpnpServerDevice):
    DEVICE_DEFINITION = DeviceInfo(
        device_type=device_type,
        friendly_name=friendly_name,
        manufacturer='Maker Ltd.',
        manufacturer_url=None,
        model_description=None,
        model_name='Tester',
        model_number=None,
        model_url=None,
        serial_number=None,
        udn=udn,
        upc=None,
        presentation_url=None,
        url=urlsplit(location).path,
        icons=[],
        xml=ElementTree.Element('device'),
    )
    EMBEDDED_DEVICES = []
    SERVICES = []


async def serve():
    device = Device(AiohttpRequester(), location.rpartition('/')[0])
    await SsdpSearchResponder(device, (address, 0), (GROUP, int(port))).async_start()
    await asyncio.Event().wait()


asyncio.run(serve())
