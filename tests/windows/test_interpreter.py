"""Which interpreter all this was seen with: one that its publishers built, as its users have it."""
import ctypes
import hashlib
import os
import re
import sys
import unittest

# Of the python27.dll in what scripts/windows/interpreter.txt pins.
PUBLISHED = '5845edc96b8a12626f2752518d5aa80113ce4e075b41ceb53bad701fd939b0b0'
# As the publishers' own builds say it: a tag of theirs, by the compiler of their time.
OFFICIAL = r'2\.7\.(\d+) \(v2\.7\.\1:[0-9a-f]+, .*\) \[MSC v\.1500 64 bit \(AMD64\)\]$'


def library():
    name = ctypes.create_unicode_buffer(1024)
    ctypes.windll.kernel32.GetModuleFileNameW(ctypes.c_void_p(sys.dllhandle), name, 1024)
    return name.value


def same_file(one, other):
    return os.path.normcase(os.path.abspath(one)) == os.path.normcase(os.path.abspath(other))


class Interpreter(unittest.TestCase):
    folder = os.environ['VIREON_WINDOWS_PYTHON'].replace('/', '\\')

    def test_is_the_published_one_or_an_installed_one(self):
        with open(library(), 'rb') as file:
            found = hashlib.sha256(file.read()).hexdigest()
        if found != PUBLISHED:
            self.assertTrue(re.match(OFFICIAL, sys.version), (found, sys.version))

    def test_is_the_one_that_was_chosen(self):
        for path in (sys.executable, library()):
            self.assertTrue(same_file(os.path.dirname(path), self.folder), path)

    def test_its_library_is_its_own(self):
        self.assertTrue(same_file(os.path.dirname(os.__file__), self.folder + r'\Lib'), os.__file__)

    def test_the_system_is_the_version_that_was_asked_for(self):
        numbers = (ctypes.c_uint32 * 71)(71 * 4)
        ctypes.windll.ntdll.RtlGetVersion(numbers)
        expected = {'win7': (6, 1), 'win81': (6, 3), 'win10': (10, 0)}
        self.assertEqual(
            expected[os.environ.get('VIREON_WINDOWS_VERSION', 'win10')], (numbers[1], numbers[2])
        )


if __name__ == '__main__':
    unittest.main()
