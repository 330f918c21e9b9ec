"""Random calls of the module's functions from several threads, in a network of their own."""
import os
import random
import sys
import unittest

FUZZ_DIR = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(FUZZ_DIR, '..', 'script'))

import support


class RandomCalls(unittest.TestCase):
    def check(self, seed):
        script = 'sys.path.insert(0, %r); import script_surface; sys.exit(script_surface.main(%r))'
        code, output, errors = support.run_isolated(script % (FUZZ_DIR, ['--seed', seed, '--calls', '4000']))
        sys.stdout.write(output)
        self.assertEqual((0, ''), (code, errors), 'seed %s: %s%s' % (seed, output, errors))
        self.assertIn('calls', output)

    def test_those_of_a_known_seed_end_well(self):
        self.check('1')

    def test_those_of_a_new_seed_end_well(self):
        self.check('%d' % random.SystemRandom().getrandbits(32))


if __name__ == '__main__':
    unittest.main()
