"""Spreads the tests of a file over all processes of the tests' runner: a plugin of it.

Each process is given some neighbours at a time. Those of a file take much the same time, so one process would have
all that take long, while the others have nothing left to do.
"""

import collections


def pytest_collection_modifyitems(items):
    seen = collections.Counter()

    def place(item):
        seen[item.module] += 1
        return seen[item.module]

    # All first ones, then all second ones, each in the order of the files.
    items.sort(key=place)
