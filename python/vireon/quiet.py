"""Letting go of a native value without a line on the standard output.

A value that the module made for a script ends with its script object. Its type has no class that could
end it, and so the module prints that it found no destructor, before it frees the value itself.
"""

from __future__ import absolute_import

import cStringIO
import functools
import operator
import sys

_call = operator.methodcaller('__call__')


def let_go(holder):
    """Empties a list. Nothing is printed for what goes with it.

    The line is written to `sys.stdout`, which is another one for that moment. All four steps are one call
    of C functions: the interpreter lets no other thread run between them, and so nobody's output is lost.
    """
    names, before, silent = vars(sys), {}, cStringIO.StringIO()
    steps = (
        functools.partial(before.update, names),
        functools.partial(names.__setitem__, 'stdout', silent),
        functools.partial(holder.__delslice__, 0, len(holder)),
        functools.partial(names.update, before),
    )
    try:
        map(_call, steps)
    finally:
        # Memory may have ended in the middle, and there may have been no output before.
        if names.get('stdout') is silent:
            names.update(before)
            if 'stdout' not in before:
                del names['stdout']
