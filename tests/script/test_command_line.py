"""The program: what it takes, and what it lets through to a terminal."""
import cStringIO
import sys
import unittest

import support
from vireon import clock, screen, watching
from vireon import shown as showing
from vireon.answers import Source
from vireon.events import FOUND, Event
from vireon.server import Server
from vireon.shown import shown
from vireon.watching import table

HOSTILE = '\x1b]0;title\x07\x1b[2J\r\nK\xc3\xbcche\xc2\x9b1m\x7f\xe2\x80\xae\xe2\x80\xa8\xff'
SAFE = u'\ufffd]0;title\ufffd\ufffd[2J\ufffd\ufffdK\xfcche\ufffd1m\ufffd\ufffd\ufffd\ufffd'


def server(name='Den', location='http://10.0.0.1/', **others):
    return Server({'usn': 'uuid:1', 'friendlyName': name, 'location': location}, **others)


class Texts(unittest.TestCase):
    def test_what_a_terminal_would_obey_is_replaced(self):
        self.assertEqual(SAFE, shown(HOSTILE))

    def test_a_long_one_is_cut(self):
        self.assertEqual((u'abcd', u'ab...'), (shown('abcd', 5), shown('abcdef', 5)))

    def test_they_are_written_as_their_reader_reads_them(self):
        class Terminal(object):
            def __init__(self, encoding):
                self.encoding, self.text = encoding, ''

            def write(self, text):
                self.text += text

            def flush(self):
                pass

        utf_8 = 'K\xc3\xbc\xef\xbf\xbd'
        for encoding, expected in (
            ('latin-1', 'K\xfc?'),
            (None, utf_8),
            ('ascii', 'K??'),
            ('an encoding of a console that Python does not know', utf_8),
        ):
            terminal = Terminal(encoding)
            showing.write(u'K\xfc\ufffd', terminal)
            self.assertEqual(expected, terminal.text)
        file = cStringIO.StringIO()
        showing.say(u'K\xfc', file)
        self.assertEqual('K\xc3\xbc\n', file.getvalue())


class Table(unittest.TestCase):
    def test_it_has_a_line_for_each_server(self):
        two = ('http://10.0.0.1/', 'http://10.9.0.1/')
        lines = table([server(HOSTILE, age=2.9), server('Kitchen', locations=two, answers=12)], 80, 24)
        self.assertEqual(4, len(lines))
        self.assertEqual([u'NAME', u'ADDRESS', u'NETWORKS', u'AGE', u'ANSWERS'], lines[0].split())
        self.assertTrue(lines[1].startswith(SAFE), lines[1])
        self.assertEqual([u'10.0.0.1', u'1', u'2', u's', u'1'], lines[1].split()[-5:])
        self.assertEqual([u'Kitchen', u'10.0.0.1', u'2', u'0', u's', u'12'], lines[2].split())

    def test_without_one_it_says_so(self):
        self.assertIn(u'No server has answered so far.', table([], 80, 24))

    def test_it_is_no_larger_than_the_terminal(self):
        for columns, height in ((80, 24), (20, 5), (10, 3)):
            lines = table([server('x' * 100) for _ in range(100)], columns, height)
            self.assertEqual(height - 1, len(lines))
            self.assertTrue(all(len(line) < columns for line in lines), lines)
        self.assertIn(u'and 80 more', table([server() for _ in range(100)], 80, 24))

    def test_it_is_no_wider_either_where_characters_take_two_columns(self):
        # An interpreter whose characters are narrow takes a picture for two of a name's 30, the dots for three.
        pictures = 29 if sys.maxunicode > 0xFFFF else 13
        for character, fitting in ((u'\u30c6', 29), (u'\U0001f4fa', pictures), (u'\xe4', 30)):
            line = table([server((character * 30).encode('utf-8'))], 60, 24)[1]
            self.assertEqual(fitting, line.count(character), line)

    def test_below_it_stand_those_whose_answers_are_dropped(self):
        lines = table([server()], 80, 24, [Source('10.0.0.2', 12, None, 'no EXT header')])
        self.assertEqual(
            [u'', u'DROPPED FROM     ANSWERS  REASON', u'10.0.0.2              12  no EXT header'], lines[2:5]
        )
        self.assertIn(u'No answer was dropped so far.', table([server()], 80, 24, []))

    def test_with_them_it_is_no_larger_than_the_terminal(self):
        sources = 100 * [Source('10.0.0.2', 12, None, 'no EXT header')]
        for height in range(3, 12):
            lines = table([server() for _ in range(100)], 80, height, sources)
            self.assertEqual(height - 1, len(lines))
        self.assertEqual([u'and 94 more', u'Ctrl-C ends it.'], table([], 80, 20, sources)[-2:])

    def test_it_ends_with_a_word_when_its_terminal_has_gone(self):
        class NoServers(object):
            def events(self):
                return []

        size, screen.size = screen.size, lambda: None
        try:
            with self.assertRaisesRegexp(EnvironmentError, 'the terminal has gone'):
                watching._Table()(NoServers(), None)
        finally:
            screen.size = size

    def test_a_location_that_is_none_has_no_address(self):
        self.assertEqual(
            [u'Den', u'1', u'0', u's', u'1'], table([server(location='http://[/')], 80, 24)[1].split()
        )


class Watch(unittest.TestCase):
    def put(self, module, name, value):
        self.addCleanup(setattr, module, name, getattr(module, name))
        setattr(module, name, value)

    def test_what_happens_up_to_its_end_is_told(self):
        class Late(object):
            def __init__(self, interval):
                self.due = clock.steady() + watching.LOOK * 1.2

            def events(self):
                return [Event(FOUND, server('Late'))] if clock.steady() >= self.due else []

            def close(self):
                pass

        self.put(watching, 'Servers', Late)
        self.put(screen, 'size', lambda: None)
        with support.Quiet() as said:
            watching.watch(watching.LOOK * 1.5, 3)
        self.assertIn('Late', said.text)


class Words(unittest.TestCase):
    def run_it(self, *words):
        run = 'import runpy; sys.argv = ["vireon"] + %r; runpy.run_module("vireon", None, "__main__")'
        return support.run_script(run % (list(words),))

    def test_it_tells_its_version(self):
        code, output, errors = self.run_it('--version')
        self.assertRegexpMatches(output + errors, r'^\d+\.\d+\.\d+\n$')  # Python 2.7 writes it to the errors
        self.assertEqual(0, code)

    def test_what_it_does_not_know_is_refused_before_anything_is_searched(self):
        for words in (
            [],
            ['look'],
            ['list', 'x'],
            ['list', '--seconds', '0'],
            ['watch', '--interval', 'nan'],
        ):
            code, output, errors = self.run_it(*words)
            self.assertEqual((2, ''), (code, output), words)
            self.assertIn('error: ', errors)

    def test_the_package_alone_imports_nothing_of_it(self):
        code, output, errors = support.run_script(
            '''
before = set(sys.modules)
import vireon
new = set(sys.modules) - before
print sorted(new & set(['argparse', 'vireon.doctor', 'vireon.listing', 'vireon.shown']))
''',
            prologue='import sys; sys.path.insert(0, %r)\n' % support.MODULE_DIR,
        )
        self.assertEqual((0, '[]\n', ''), (code, output, errors))


if __name__ == '__main__':
    unittest.main()
