"""installed.py FOLDER

Whether what pip installed into the folder is what an interpreter then imports. For the interpreter that is to
use it, with the folder on its path.
"""
import glob
import io
import os
import re
import sys

import _vireon
import vireon

folder = os.path.realpath(sys.argv[1])
for module in (_vireon, vireon):
    place = os.path.realpath(module.__file__)
    if not place.startswith(folder + os.sep):
        sys.exit('%s was imported from %s' % (module.__name__, place))
[metadata] = glob.glob(os.path.join(folder, 'vireon-*.dist-info', 'METADATA'))
with io.open(metadata, encoding='utf-8') as opened:
    [version] = re.findall(r'^Version: (.*)$', opened.read(), re.M)
if version != vireon.__version__:
    sys.exit('pip installed %s, the package says that it is %s' % (version, vireon.__version__))
print(
    'vireon %s in Python %s, UCS%d' % (version, sys.version.split()[0], 4 if sys.maxunicode > 0xFFFF else 2)
)
