"""What the scripts share that the host runs, each in an interpreter of its own. Python 2.7."""
import os
import sys

import _vireon

NUMBER = int(sys.argv[1]) if len(sys.argv) > 1 else 0


def say(*words):
    """One whole line, since the others write as well."""
    os.write(1, ' '.join(str(word) for word in words) + '\n')


def start(engine):
    """Searches; the number that tells how it went is let go without a word."""
    result = _vireon.Vireon_SearchDevices(engine)
    result.disown()


def search(callback):
    """An engine that searches."""
    engine = _vireon.new_Vireon()
    _vireon.Vireon_SetInterVal(engine, 0.2)
    _vireon.Vireon_SetCallback(engine, callback)
    start(engine)
    return engine
