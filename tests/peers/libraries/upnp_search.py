"""upnp_search.py ADDRESS PORT SEARCH_TARGET

Searches by async-upnp-client and prints the headers of each answer, as JSON.
"""

import asyncio
import json
import sys

from async_upnp_client.search import async_search

GROUP = '239.255.255.250'
address, port, search_target = sys.argv[1:]


async def show(headers):
    print(json.dumps({name: str(value) for name, value in headers.items()}), flush=True)


asyncio.run(async_search(show, 3, search_target, (address, 0), (GROUP, int(port))))
