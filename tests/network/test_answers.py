"""Which answers reach the script, and with what."""

import os
import re
import socket
import unittest

from network_case import BROADCAST, MULTICAST_REQUEST, SEARCHER, NetworkCase
from responder import COMPLETE, DEVICE_TYPE, GROUP, PORT, answer, entries, fields, message

MAKERS_PAGE = os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', '..', 'docs', 'server-makers.md')


class AnswerTest(NetworkCase):
    def setUp(self):
        super().setUp()
        self.standard_search()
        self.to = self.server.sender(GROUP)

    def send(self, payload):
        self.server.send(payload, self.to)

    def delivered(self, payload):
        """Sends one answer and then one that is known to be good; gives the calls before it."""
        before = len(self.client.found())
        self.send(payload)
        name = b'good %d' % before
        self.send(answer(name))
        self.client.wait_name(name)
        calls = self.client.found()[before:]
        self.assertEqual(calls[-1].name, name)
        return calls[:-1]

    def delivered_one(self, payload):
        calls = self.delivered(payload)
        self.assertEqual(len(calls), 1)
        return calls[0]


class DictionaryTest(AnswerTest):
    def test_all_fifteen_entries_are_the_answers_own_bytes(self):
        call = self.delivered_one(message(fields()))
        self.assertEqual(call.values, entries(fields()))

    def test_the_call_has_the_event_name_and_a_dictionary_of_byte_strings(self):
        event = self.delivered_one(message(fields())).event
        self.assertEqual(event['name'], ['str', 'Update Service'])
        self.assertEqual((event['arguments'], event['keywords']), (2, 0))
        self.assertEqual({(key[0], value[0]) for key, value in event['entries']}, {('unicode', 'str')})
        self.assertEqual(len(event['entries']), 15)

    def test_bytes_beyond_ascii_arrive_unchanged(self):
        every = bytes(byte for byte in range(1, 256) if byte not in b'\r\n')
        for name, _ in COMPLETE[6:]:
            with self.subTest(name):
                headers = fields(**{name.decode(): b'<' + every + b'>'})
                self.assertEqual(self.delivered_one(message(headers)).values, entries(headers))

    def test_optional_headers_that_are_missing_are_empty(self):
        optional = ('HttpPort', 'HttpsPort', 'WebsocketPort', 'DBStatus', 'Version')
        for without in [(name,) for name in optional] + [optional]:
            with self.subTest(without):
                headers = fields(without)
                self.assertEqual(self.delivered_one(message(headers)).values, entries(headers))

    def test_other_property_headers_may_be_missing(self):
        for name in (
            'Manufacturer',
            'ManufacturerURL',
            'ModelDescription',
            'ModelName',
            'ModelURL',
            'ModelNumber',
            'SerialNumber',
            'PresentationURL',
        ):
            with self.subTest(name):
                call = self.delivered_one(message(fields((name,))))
                self.assertEqual(len(call.values), 15)

    def test_values_may_be_empty(self):
        headers = fields(**{name.decode(): b'' for name, _ in COMPLETE[6:]})
        self.assertEqual(self.delivered_one(message(headers)).values, entries(headers))

    def test_header_names_are_found_in_any_case(self):
        for change in (bytes.lower, bytes.upper):
            headers = [(change(name), value) for name, value in fields()]
            self.assertEqual(self.delivered_one(message(headers)).values, entries(fields()))

    def test_the_first_of_two_headers_counts(self):
        doubled = fields() + [(name, b'second') for name, _ in COMPLETE]
        self.assertEqual(self.delivered_one(message(doubled)).values, entries(fields()))

    def test_blanks_around_a_value_are_dropped(self):
        for separator in (b':', b':   ', b':\t \t'):
            with self.subTest(separator):
                payload = message([(name, value + b' \t') for name, value in fields()], separator=separator)
                self.assertEqual(self.delivered_one(payload).values, entries(fields()))

    def test_a_folded_line_goes_on_without_its_first_character(self):
        payload = message(fields(ModelName=b'one\r\n  two\r\n\tthree'))
        self.assertEqual(self.delivered_one(payload).values, entries(fields(ModelName=b'one twothree')))

    def test_lines_may_end_without_carriage_return(self):
        self.assertEqual(self.delivered_one(message(fields(), line_end=b'\n')).values, entries(fields()))

    def test_carriage_returns_inside_a_line_are_dropped(self):
        payload = message(fields(ModelName=b'one\rtwo'))
        self.assertEqual(self.delivered_one(payload).values, entries(fields(ModelName=b'onetwo')))

    def test_lines_that_are_no_headers_are_ignored(self):
        headers = fields()
        payload = (
            message(headers[:5])[:-2]
            + b'no colon\r\n: no name\r\n'
            + message(headers[5:]).split(b'\r\n', 1)[1]
        )
        self.assertEqual(self.delivered_one(payload).values, entries(headers))

    def test_what_follows_the_head_is_ignored(self):
        payload = message(fields()) + b'a body\r\n' + answer(b'not a second answer')
        self.assertEqual(self.delivered_one(payload).values, entries(fields()))

    def test_an_answer_may_fill_the_buffer(self):
        head = message(fields(), end=b'')
        pad = b'X-Pad: ' + b'x' * (2000 - len(head) - len(b'X-Pad: \r\n\r\n')) + b'\r\n\r\n'
        self.assertEqual(len(head + pad), 2000)
        self.assertEqual(self.delivered_one(head + pad).values, entries(fields()))


class MakersPageTest(AnswerTest):
    """What makers of servers are told, tried as it stands there."""

    def setUp(self):
        super().setUp()
        with open(MAKERS_PAGE, encoding='utf-8') as file:
            page = file.read()
        self.messages = [
            re.sub('(?m)^    ', '', block).strip('\n').replace('\n', '\r\n').encode() + b'\r\n\r\n'
            for block in re.findall(r'(?:^    \S.*\n)+', page, re.M)
        ]
        # A header, whether it must be there, its rule and the script's key for it.
        self.rows = re.findall(r'^\| `([\w-]+)` \| (yes|no) \| .*\| (?:`(\w+)` )?\|$', page, re.M)

    def test_its_search_is_what_is_sent(self):
        self.assertEqual(self.messages[0], MULTICAST_REQUEST)

    def test_its_answer_is_understood_whole(self):
        lines = self.messages[1].decode().split('\r\n')[1:-2]
        headers = dict(re.split(': ?', line, maxsplit=1) for line in lines)
        self.assertEqual(sorted(headers), sorted(name for name, _, _ in self.rows))
        told = {key: headers[name].encode() for name, _, key in self.rows if key}
        self.assertEqual(self.delivered_one(self.messages[1]).values, told)

    def test_what_it_says_must_be_there_must_and_nothing_else(self):
        self.assertEqual(len(self.rows), 20)
        for name, must, _ in self.rows:
            with self.subTest(name):
                payload = re.sub(rb'(?m)^%s:.*\r\n' % name.encode(), b'', self.messages[1])
                self.assertNotEqual(payload, self.messages[1])
                self.assertEqual(len(self.delivered(payload)), 0 if must == 'yes' else 1)


class LocationTest(AnswerTest):
    def assert_locations(self, table):
        for sent, expected in table:
            with self.subTest(sent):
                call = self.delivered_one(message(fields(LOCATION=sent)))
                self.assertEqual(call.values['location'], expected)

    def test_locations_are_written_anew(self):
        self.assert_locations(
            (
                (b'http://10.77.1.2:8080/a/b.xml', b'http://10.77.1.2:8080/a/b.xml'),
                (b'http://10.77.1.2:80/x', b'http://10.77.1.2/x'),
                (b'http://10.77.1.2', b'http://10.77.1.2/'),
                (b'http://Host.Example:8080', b'http://Host.Example:8080/'),
                (b'HTTP://10.77.1.2:08080/x', b'http://10.77.1.2:8080/x'),
                (b'https://10.77.1.2/x', b'https://10.77.1.2/x'),
                (b'https://10.77.1.2:443/x', b'https://10.77.1.2/x'),
                (b'https://10.77.1.2:80/x', b'https://10.77.1.2:80/x'),
                (b'http://10.77.1.2/x?a=b&c=d#top', b'http://10.77.1.2/x?a=b&c=d#top'),
                (b'http://10.77.1.2?q', b'http://10.77.1.2/?q'),
                (b'http://10.77.1.2/%7e x\xe4', b'http://10.77.1.2/%7e x\xe4'),
                (b'http://[fe80::1]:1900/x', b'http://[fe80::1]:1900/x'),
            )
        )

    def test_a_loopback_host_becomes_the_responders_address(self):
        self.assert_locations(
            (
                (b'http://localhost:8080/d/e.xml?q=1', b'http://10.77.1.2:8080/d/e.xml?q=1'),
                (b'http://127.0.0.1:8080/d.xml', b'http://10.77.1.2:8080/d.xml'),
                (b'http://localhost', b'http://10.77.1.2/'),
                (b'https://localhost/x', b'https://10.77.1.2/x'),
                (b'http://LOCALHOST:8080/x', b'http://LOCALHOST:8080/x'),
                (b'http://127.0.0.2:8080/x', b'http://127.0.0.2:8080/x'),
                (b'http://localhost.:8080/x', b'http://localhost.:8080/x'),
            )
        )

    def test_the_responders_address_is_that_of_each_datagram(self):
        self.there.ip('addr add 10.77.1.9/24 dev eth0')
        with self.there.entered():
            other = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.addCleanup(other.close)
        other.bind(('10.77.1.9', 40000))
        other.sendto(answer(b'other', LOCATION=b'http://localhost:81/x'), self.to)
        self.send(answer(b'usual', LOCATION=b'http://localhost:81/x'))
        self.assertEqual(self.client.wait_name(b'other').values['location'], b'http://10.77.1.9:81/x')
        self.assertEqual(self.client.wait_name(b'usual').values['location'], b'http://10.77.1.2:81/x')


class AcceptanceTest(AnswerTest):
    """Each row of what is refused, between answers that are not."""

    def assert_dropped(self, payloads):
        for payload in payloads:
            with self.subTest(payload[:60]):
                self.assertEqual(self.delivered(payload), [])

    def test_statuses_outside_the_two_hundreds_are_dropped(self):
        self.assert_dropped(
            message(fields(), b'HTTP/1.1 ' + status)
            for status in (
                b'300 Multiple Choices',
                b'404 Not Found',
                b'500 Error',
                b'000 Zero',
                b'abc OK',
                b'-20 OK',
                b'999 ?',
            )
        )

    def test_statuses_in_the_two_hundreds_are_accepted(self):
        for status in (
            b'HTTP/1.1 200 OK',
            b'HTTP/1.1 200',
            b'HTTP/1.0 206 Partial',
            b'HTTP/1.1 299 ',
            b'ANYTHING 200 OK',
        ):
            with self.subTest(status):
                self.assertEqual(self.delivered_one(message(fields(), status)).values, entries(fields()))

    def test_malformed_status_lines_are_dropped(self):
        self.assert_dropped(
            message(fields(), status)
            for status in (
                b'',
                b'HTTP/1.1',
                b' 200 OK',
                b'HTTP/1.1 2000 OK',
                b'HTTP/1.1 200OK',
                b'HTTP/1.1 20 OK',
                b'HTTP/1.1  200 OK',
                b'M-SEARCH * HTTP/1.1',
                b'HTTP/1.10 200',
                b'\x00\xff\x80',
                b'HTTP/1.1\t200\tOK',
            )
        )

    def test_answers_without_target_name_or_extension_are_dropped(self):
        self.assert_dropped(message(fields((name,))) for name in ('ST', 'USN', 'EXT'))

    def test_names_of_another_form_are_dropped(self):
        self.assert_dropped(
            answer(USN=usn)
            for usn in (
                b'uuid:0001',
                DEVICE_TYPE,
                b'',
                b'uuid:0001:' + DEVICE_TYPE,
                b'uuid:0001::' + DEVICE_TYPE + b'::x',
                b'uuid:0001::x::' + DEVICE_TYPE,
                b'uuid:0001::::' + DEVICE_TYPE,
                b'uuid:::' + DEVICE_TYPE,
                b'uuid:0001::' + DEVICE_TYPE + b'::',
            )
        )

    def test_a_name_that_is_the_target_itself_is_dropped(self):
        self.assert_dropped(
            [answer(ST=b'uuid:abc', USN=b'uuid:abc'), answer(ST=DEVICE_TYPE, USN=DEVICE_TYPE)]
        )

    def test_a_name_that_does_not_end_with_the_target_is_dropped(self):
        self.assert_dropped(
            answer(ST=target)
            for target in (b'ssdp:all', b'', DEVICE_TYPE[:-1], DEVICE_TYPE + b'0', b'upnp:rootdevice')
        )

    def test_target_and_name_are_compared_in_any_case(self):
        headers = fields(ST=DEVICE_TYPE.upper())
        self.assertEqual(self.delivered_one(message(headers)).values, entries(headers))

    def test_the_prefix_of_the_name_is_not_looked_at(self):
        for prefix in (b'wxyz:12', b'', b'x', b'uuid'):
            with self.subTest(prefix):
                headers = fields(USN=prefix + b'::' + DEVICE_TYPE)
                self.assertEqual(self.delivered_one(message(headers)).values, entries(headers))

    def test_answers_without_location_are_dropped(self):
        self.assert_dropped([message(fields(('LOCATION',)))])

    def test_other_device_types_are_dropped(self):
        self.assert_dropped(
            answer(ST=kind, USN=b'uuid:0001::' + kind)
            for kind in (
                b'urn:schemas-upnp-org:device:MediaServer:1',
                b'upnp:rootdevice',
                DEVICE_TYPE.lower(),
                DEVICE_TYPE[:-1] + b'2',
                b'x',
            )
        )

    def test_a_device_type_may_be_part_of_a_longer_one(self):
        for kind in (DEVICE_TYPE + b'0', b'x' + DEVICE_TYPE):
            with self.subTest(kind):
                headers = fields(ST=kind, USN=b'uuid:0001::' + kind)
                self.assertEqual(self.delivered_one(message(headers)).values, entries(headers))

    def test_invalid_locations_are_dropped(self):
        self.assert_dropped(
            answer(LOCATION=location)
            for location in (
                b'',
                b'x',
                b'http',
                b'http:',
                b'http:/10.77.1.2/x',
                b'http:10.77.1.2',
                b'http://',
                b'http:///x',
                b'http://:80/x',
                b'ftp://10.77.1.2/x',
                b'//10.77.1.2/x',
                b'http://10.77.1.2:70000/x',
                b'http://10.77.1.2:12a/x',
                b'http://10.77.1.2:0/x',
                b'http://10.77.1.2:/x',
                b'http://10.77.1.2:-1/x',
                b'h ttp://10.77.1.2/x',
                b'http://10.77.1.2:80?q',
            )
        )

    def test_answers_without_a_friendly_name_are_dropped(self):
        nameless = fields(('FriendlyName',))
        self.assert_dropped([message(nameless), message(nameless + [(b'FriendlyName ', b'x')])])

    def test_the_lease_never_decides(self):
        # It is not passed to the script; what counts is that no form of it gets in the way.
        for lease in (
            b'max-age=60',
            b'MAX-AGE=60',
            b'max-age=abc',
            b'max-age=',
            b'no-cache',
            b'max-age=-1',
            b'max-age=99999999999999999999999',
            b'max-age=4294967297',
        ):
            with self.subTest(lease):
                self.delivered_one(answer(CACHE_CONTROL=lease))
        self.delivered_one(message(fields(('CACHE-CONTROL',))))

    def test_up_to_nine_interim_answers_may_precede_the_final_one(self):
        interim = message([], b'HTTP/1.1 100 Continue')
        self.assertEqual(self.delivered_one(9 * interim + message(fields())).values, entries(fields()))
        self.assert_dropped([10 * interim + message(fields())])

    def test_there_is_no_suppression_of_duplicates(self):
        for _ in range(5):
            self.send(answer(b'same'))
        self.send(answer(b'last'))
        self.client.wait_name(b'last')
        self.assertEqual([call.name for call in self.client.found()], [b'same'] * 5 + [b'last'])

    def test_calls_keep_the_order_of_arrival(self):
        names = [b'server %d' % number for number in range(100)]
        for name in names:
            self.send(answer(name))
        self.client.wait_found(lambda found: len(found) == 100, 'all calls')
        self.assertEqual([call.name for call in self.client.found()], names)

    def test_both_senders_listen(self):
        for destination in (BROADCAST, GROUP):
            self.server.send(answer(destination.encode()), self.server.sender(destination))
        self.client.wait_name(BROADCAST.encode())
        self.client.wait_name(GROUP.encode())

    def test_an_answer_may_come_from_any_port(self):
        with self.there.entered():
            other = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.addCleanup(other.close)
        other.sendto(answer(b'elsewhere'), self.to)
        self.assertNotEqual(other.getsockname()[1], PORT)
        self.client.wait_name(b'elsewhere')
        self.assertEqual(self.to[0], SEARCHER)


if __name__ == '__main__':
    unittest.main()
