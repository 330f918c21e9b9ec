"""ssdpy_search.py PORT SEARCH_TARGET

Searches by ssdpy and prints the headers of each answer, as JSON.
"""

import json
import sys

from ssdpy import SSDPClient

port, search_target = sys.argv[1:]
for headers in SSDPClient(port=int(port), timeout=3).m_search(search_target):
    print(json.dumps(headers))
