"""What the module's file shows to the system."""
import subprocess
import unittest

import support


def output_of(*command):
    try:
        return subprocess.check_output(command, env=support.ENVIRONMENT)
    except OSError as error:
        support.missing('%s: %s' % (command[0], error))


@unittest.skipIf(support.ON_WINDOWS, 'platform: tests/windows/test_module_file.py examines the .pyd')
class SharedObject(unittest.TestCase):
    PATH = support.MODULE_FILE

    def test_the_entry_function_is_its_only_export(self):
        lines = output_of('nm', '--dynamic', '--defined-only', self.PATH).splitlines()
        # A sanitizer's own marks aside.
        names = [line.split()[-1] for line in lines]
        self.assertEqual(['init_vireon'], [name for name in names if 'asan' not in name])

    def test_it_does_not_link_the_interpreter(self):
        lines = output_of('objdump', '-p', self.PATH).splitlines()
        needed = [line.split()[1] for line in lines if 'NEEDED' in line]
        self.assertNotEqual([], needed)
        self.assertEqual([], [name for name in needed if 'python' in name])

    def test_it_asks_for_no_interpreter_of_one_width_of_unicode(self):
        lines = output_of('nm', '--dynamic', '--undefined-only', self.PATH).splitlines()
        kinds = dict(reversed(line.split()) for line in lines if 'PyUnicodeUCS' in line)
        # Weak references: the loader leaves out the one that the interpreter has not.
        name = 'PyUnicodeUCS%d_FromWideChar'
        self.assertEqual({name % 2: 'w', name % 4: 'w'}, kinds)


if __name__ == '__main__':
    unittest.main()
