"""Loads the neighbours into every interpreter that has this folder on its path (beside.sh).

They are packages whose native code meets the module's in the same process: `greenlet` exchanges
stacks, `psutil` looks at the process, `zmq` runs threads of its own, `pythoncom` (on Windows) brings
COM with it. VIREON_NEIGHBOURS tells when they come: `before` the module or right `after` it.
"""
import os
import site
import sys
import traceback

NAMES = ['greenlet', 'psutil', 'zmq'] + (['pythoncom'] if sys.platform == 'win32' else [])


def load():
    for name in NAMES:
        __import__(name)


class AfterTheModule(object):
    """Stands aside at the module's first import, and then goes on with the neighbours."""

    def find_module(self, name, path=None):
        return self if name == '_vireon' else None

    def load_module(self, name):
        sys.meta_path.remove(self)
        module = __import__(name)
        load()
        return module


try:
    site.addsitedir(os.path.abspath(os.environ['VIREON_NEIGHBOURS_FOLDER']))
    if os.environ['VIREON_NEIGHBOURS'] == 'after':
        sys.meta_path.append(AfterTheModule())
    else:
        load()
except Exception:
    # The interpreter would go on without whatever this file could not do.
    traceback.print_exc()
    sys.stderr.flush()
    os._exit(1)
