"""The package as a whole."""
import os
import unittest

import support
import vireon


class Package(unittest.TestCase):
    def test_its_version_is_the_projects(self):
        self.assertEqual(os.environ['VIREON_VERSION'], vireon.__version__)

    def test_the_module_has_none(self):
        self.assertFalse(hasattr(support._vireon, '__version__'))

    def test_its_import_prints_nothing(self):
        self.assertEqual((0, '', ''), support.run_script('import vireon'))

    def test_it_offers_what_it_says(self):
        for name in vireon.__all__:
            self.assertTrue(hasattr(vireon, name), name)

    def test_everything_of_it_is_documented(self):
        self.assertTrue(vireon.__doc__)
        for name in vireon.__all__:
            offered = getattr(vireon, name)
            if callable(offered):
                self.assertTrue(offered.__doc__, name)


if __name__ == '__main__':
    unittest.main()
