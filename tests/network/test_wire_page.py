"""The page on the wire, held to what is on the wire."""

import collections
import os
import re
import unittest

from network_case import SEARCHER, SLACK, NetworkCase, to_broadcast, to_group
from responder import GROUP, PORT, answer

PAGE = os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', '..', 'docs', 'wire.md')

SECONDS = 3.0  # between two searches, unless a script says otherwise
ROUNDS = 2
DATAGRAMS = ROUNDS * 2 * 2  # of each kind: two senders send twice

ROW = re.compile(r'^ *([\d.]+)  ([\d.]+):(\d+) +([\d.]+):(\d+) +(\d+) +(\d+)  (request|answer)$', re.M)
Row = collections.namedtuple('Row', 'time source source_port destination destination_port ttl size kind')


def rows_of(text):
    return [
        Row(float(time), source, int(port), destination, int(to), int(ttl), int(size), kind)
        for time, source, port, destination, to, ttl, size, kind in ROW.findall(text)
    ]


def as_rows(datagrams):
    start = datagrams[0].time
    return [
        Row(
            each.time - start,
            each.source,
            each.source_port,
            each.destination,
            each.destination_port,
            each.ttl,
            len(each.payload),
            'request' if each.destination_port == PORT else 'answer',
        )
        for each in datagrams
    ]


def printed(rows):
    return '\n'.join(
        '%7.3f  %-16s  %-21s  %3d  %5d  %s'
        % (
            row.time,
            '%s:%d' % (row.source, row.source_port),
            '%s:%d' % (row.destination, row.destination_port),
            row.ttl,
            row.size,
            row.kind,
        )
        for row in rows
    )


def what_repeats(rows):
    """Without the ports that are drawn and the order within a round."""
    return collections.Counter(
        row._replace(
            time=int(row.time / SECONDS + 0.5),
            source_port=row.source_port if row.kind == 'answer' else 'drawn',
            destination_port=row.destination_port if row.kind == 'request' else 'drawn',
        )
        for row in rows
    )


class WirePageTest(NetworkCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        with open(PAGE) as file:
            cls.page = file.read()

    def messages(self):
        """The page's, as the bytes that they are, but for blanks at the end of a line, which editors take."""
        found = re.findall(r'^```http\n(.*?)^```', self.page, re.M | re.S)
        return [text.replace('\n', '\r\n').encode() for text in found]

    def two_rounds(self):
        """Of the default interval: the requests, and what the server sent."""
        self.standard_network()
        self.wire, answers = self.capture(self.here), self.capture(self.there)
        self.server = self.responder(self.there, reply=lambda request: [answer()])
        self.client = self.searcher(self.here, None)
        self.client.search()
        sent = self.wire.wait(lambda each: len(each) >= DATAGRAMS, ROUNDS * SECONDS + 10)
        given = answers.wait(lambda each: len(each) >= DATAGRAMS, 10)
        self.client.stop()
        self.assertEqual((len(sent), len(given)), (DATAGRAMS, DATAGRAMS))
        return sorted(sent + given, key=lambda each: each.time)

    def test_the_messages_and_the_capture_are_real(self):
        seen = self.two_rounds()
        rows = as_rows(seen)
        self.assertEqual(
            self.messages(),
            [
                to_group(seen)[0].payload,
                to_broadcast(seen)[0].payload,
                next(
                    each.payload.replace(b' \r\n', b'\r\n') for each in seen if each.destination == SEARCHER
                ),
            ],
        )
        self.assertEqual(what_repeats(rows_of(self.page)), what_repeats(rows), 'captured:\n' + printed(rows))
        for row in rows:
            late = row.time % SECONDS
            self.assertLess(min(late, SECONDS - late), SLACK, printed(rows))

    def test_the_captures_answers_go_where_its_requests_came_from(self):
        rows = rows_of(self.page)
        asked = {row.source_port for row in rows if row.kind == 'request'}
        answered = {row.destination_port for row in rows if row.kind == 'answer'}
        self.assertEqual(len(asked), 2)
        self.assertEqual(asked, answered)
        for row in rows:
            if row.destination == GROUP:
                self.assertIn(row.source_port, range(1024, 16024))


if __name__ == '__main__':
    unittest.main()
