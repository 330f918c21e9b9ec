"""What programs and libraries that nobody here wrote have answered, replayed.

One answer of each was recorded while the module searched among them (tests/peers). As it is it comes from
no media server. With the device type and a name put in it has to be understood whole, since a media server
may be built on any of them.
"""

import os
import unittest

from responder import DEVICE_TYPE, entries
from test_answers import AnswerTest

FOLDER = os.path.join(os.path.dirname(os.path.abspath(__file__)), 'peer_answers')
NAME = b'A server of theirs'


def recorded(is_wanted):
    """Name to datagram, of those that are wanted."""
    found = {}
    for name in sorted(os.listdir(FOLDER)):
        with open(os.path.join(FOLDER, name), 'rb') as file:
            found[name] = file.read()
    return {name: payload for name, payload in found.items() if is_wanted(payload)}


def is_answer(payload):
    return payload.startswith(b'HTTP/1.1 200 OK\r\n')


def split(payload):
    """The first line, the other lines and what follows the empty one."""
    head, empty, rest = payload.partition(b'\r\n\r\n')
    assert empty, 'an answer without an end was recorded'
    lines = head.split(b'\r\n')
    return lines[0], lines[1:], rest


def header(line):
    name, _, value = line.partition(b':')
    return name.strip().lower(), value.strip()


# Whose server was given the device type and a name.
OF_MEDIA_SERVER = 'nodessdp'


def put_in(payload):
    """The first line, its sender's own lines, ours, what follows, and the entries that they make."""
    start, lines, rest = split(payload)
    values = dict(header(line) for line in lines)
    own = [line for line in lines if header(line)[0] not in (b'st', b'usn', b'friendlyname')]
    usn = values[b'usn'].split(b'::')[0] + b'::' + DEVICE_TYPE
    ours = [b'ST: ' + DEVICE_TYPE, b'USN: ' + usn, b'FriendlyName: ' + NAME]
    return start, own, ours, rest, expected(values[b'location'], usn, NAME)


def expected(location, usn, name):
    return entries([(b'LOCATION', location), (b'USN', usn), (b'FriendlyName', name)])


def join(lines, rest, line_end=b'\r\n'):
    return line_end.join(lines) + 2 * line_end + rest


class PeerAnswersTest(AnswerTest):
    def assert_understood(self, arrange):
        """Each answer, as `arrange` puts it together from its parts, makes one call with its entries."""
        answers = recorded(is_answer)
        self.assertGreaterEqual(len(answers), 8)
        for name, payload in answers.items():
            with self.subTest(name):
                start, own, ours, rest, values = put_in(payload)
                call = self.delivered_one(arrange(start, own, ours, rest))
                self.assertEqual(call.values, values)

    def test_with_their_own_headers_first(self):
        self.assert_understood(lambda start, own, ours, rest: join([start] + own + ours, rest))

    def test_with_their_own_headers_last(self):
        self.assert_understood(lambda start, own, ours, rest: join([start] + ours + own, rest))

    def test_with_line_feeds_alone(self):
        self.assert_understood(lambda start, own, ours, rest: join([start] + own + ours, rest, b'\n'))

    def test_as_they_were_only_a_media_servers_is_understood(self):
        for name, payload in recorded(is_answer).items():
            with self.subTest(name):
                calls = [call.values for call in self.delivered(payload)]
                values = dict(header(line) for line in split(payload)[1])
                understood = []
                if name == OF_MEDIA_SERVER:
                    understood = [expected(*(values[key] for key in (b'location', b'usn', b'friendlyname')))]
                self.assertEqual(calls, understood)

    def test_an_announcement_in_place_of_an_answer_is_dropped(self):
        announcements = recorded(lambda payload: not is_answer(payload))
        self.assertEqual(list(announcements), ['ssdpy'])
        start, own, ours, rest, _ = put_in(announcements['ssdpy'])
        for payload in (announcements['ssdpy'], join([start] + own + ours + [b'EXT:'], rest)):
            self.assertTrue(payload.startswith(b'NOTIFY * HTTP/1.1\r\n'))
            self.assertEqual(self.delivered(payload), [])


if __name__ == '__main__':
    unittest.main()
