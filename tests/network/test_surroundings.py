"""That the module runs where the run of these tests means it to."""

import os
import unittest

from network_case import NetworkCase

VERSIONS = {'win7': [6, 1], 'win81': [6, 3], 'win10': [10, 0]}
NEIGHBOURS = ['greenlet', 'psutil', 'zmq']


class SurroundingsTest(NetworkCase):
    def setUp(self):
        super().setUp()
        self.client = self.searcher(self.namespace())
        self.found = self.client.call('surroundings', neighbours=NEIGHBOURS + ['pythoncom'])

    def test_windows_is_the_version_that_was_asked_for(self):
        if self.client.system == 'posix':
            self.skipTest('platform: only Windows has versions to choose from')
        asked = os.environ.get('VIREON_WINDOWS_VERSION', 'win10')
        self.assertEqual(VERSIONS[asked], self.found['version'])

    def test_the_neighbours_that_were_asked_for_are_there(self):
        neighbours = NEIGHBOURS + ([] if self.client.system == 'posix' else ['pythoncom'])
        order = os.environ.get('VIREON_NEIGHBOURS')
        for each in ('before', 'after'):
            self.assertEqual(neighbours if each == order else [], self.found[each], each)


if __name__ == '__main__':
    unittest.main()
