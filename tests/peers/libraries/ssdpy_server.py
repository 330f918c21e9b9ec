"""ssdpy_server.py PORT LOCATION UDN DEVICE_TYPE FRIENDLY_NAME

Answers searches for the device by ssdpy until it is ended: with announcements.
"""

import sys

from ssdpy import SSDPServer

port, location, udn, device_type, friendly_name = sys.argv[1:]
SSDPServer(
    '%s::%s' % (udn, device_type),
    port=int(port),
    device_type=device_type,
    location=location,
    extra_fields={'FriendlyName': friendly_name},
).serve_forever()
