#!/usr/bin/env python2.7
"""Finds media servers for five seconds. Where `vireon` lies is on the path, or in VIREON_MODULE_DIR."""
from __future__ import print_function

import os
import sys

sys.path.insert(0, os.environ.get('VIREON_MODULE_DIR', ''))
import vireon

for server in vireon.search(5):
    # As Python writes them, since a terminal obeys some of the characters that a stranger may send.
    print('%r at %r' % (server.name, server.location))
