"""What the page on finding no server has people type, and what it says they see."""

import os
import re
import unittest

from responder import answer
from test_script_layer import LayerCase

PAGE = os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', '..', 'docs', 'troubleshooting.md')


class TroubleshootingPageTest(LayerCase):
    @classmethod
    def setUpClass(cls):
        with open(PAGE) as file:
            cls.page = file.read()

    def typed(self, part):
        """The one program of the page's command lines that has this in it."""
        programs = re.findall(r'^    .*python -c "(.*)"$', self.page, re.M)
        (program,) = [each for each in programs if part in each]
        return program

    def output(self, program):
        layer = self.layer('run', text=program + '\n')
        code, errors = layer.end()
        self.assertEqual(code, 0, errors)
        return layer.lines, errors.decode().splitlines()

    def found(self):
        return self.output(self.typed('search(6)').replace('search(6)', 'search(1)'))[0]

    def test_the_command_of_all_steps_prints_who_answers(self):
        self.standard_network()
        self.assertEqual(self.found(), ['[]'])
        self.responder(self.there, reply=lambda request: [answer()])
        self.assertEqual(self.found(), ["['Living room']"])

    def test_the_lines_of_the_diagnostics_are_those(self):
        self.standard_network()
        self.on_posix_only(self.searcher(self.here), 'platform: lines go to the debugger channel there')
        os.environ['VIREON_LOG'] = '5'
        self.addCleanup(os.environ.pop, 'VIREON_LOG')
        _, lines = self.output(self.typed('vireon.Vireon().search()'))
        (sample,) = re.findall(r'^```\n(\[vireon\].*?)^```', self.page, re.M | re.S)
        thread = re.compile(r'(?<=thread: )\d+')
        self.assertEqual([thread.sub('N', line) for line in lines], thread.sub('N', sample).splitlines())
        for line in lines:
            self.assertIn('| `%s` |' % thread.sub('...', line), self.page)


if __name__ == '__main__':
    unittest.main()
