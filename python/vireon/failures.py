"""Exceptions that nobody else gets to know of."""

from __future__ import absolute_import

import traceback


def print_failure():
    """Prints the exception that is handled just then, where that can be done."""
    try:
        traceback.print_exc()
    except:
        # The standard error may be a full disk, or none at all as in a program of Windows without a console.
        pass
