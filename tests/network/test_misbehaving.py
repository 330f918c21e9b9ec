"""Links, addresses, routes and neighbours that come, go and are not what they say they are.

Each test tells which share of the answers has to arrive while that lasts and once it is over.
"""

import socket
import struct
import time
import unittest

from network_case import BROADCAST, MULTICAST_REQUEST, SEARCHER, SERVER, SLACK, STARTED, STOP, NetworkCase
from responder import DEVICE_TYPE, GROUP, PORT, Stream, answer

QUICK = 0.125  # an interval for what takes many cycles


def checksum(data):
    total = sum(struct.unpack('!%dH' % (len(data) // 2), data))
    total = (total & 0xFFFF) + (total >> 16)
    return 0xFFFF ^ (total & 0xFFFF) ^ (total >> 16)


def ip_header(source, destination, protocol, size):
    # Without its checksum, which is the system's to work out.
    fields = [
        0x45,
        0,
        20 + size,
        0,
        0,
        4,
        protocol,
        0,
        socket.inet_aton(source),
        socket.inet_aton(destination),
    ]
    return struct.pack('!BBHHHBBH4s4s', *fields)


def udp_packet(source, destination, payload):
    """A packet from (address, port) to (address, port), without a checksum of its text."""
    udp = struct.pack('!HHHH', source[1], destination[1], 8 + len(payload), 0) + payload
    return ip_header(source[0], destination[0], socket.IPPROTO_UDP, len(udp)) + udp


def report(kind, code, sender, destination):
    """The message that a request of this sender's did not arrive: its own headers come back."""
    udp = struct.pack('!HHHH', sender[1], PORT, 8 + len(MULTICAST_REQUEST), 0)
    about = ip_header(sender[0], destination, socket.IPPROTO_UDP, len(udp) + len(MULTICAST_REQUEST)) + udp
    icmp = struct.pack('!BBHI', kind, code, 0, 0) + about
    return icmp[:2] + struct.pack('!H', checksum(icmp)) + icmp[4:]


class MisbehavingCase(NetworkCase):
    answers = 0

    def answered_search(self):
        """A quick search whose requests are all answered; both senders have found."""
        self.standard_search(interval=QUICK, reply=lambda request: [answer()])
        self.client.wait_found(lambda found: len(found) >= 8, 'calls at first')

    def let_the_responder_catch_up(self):
        """What was sent before a change may still wait to be read behind it."""
        time.sleep(SLACK)

    def assert_all_answered(self, cycles=4, senders=2):
        """From now on each request of so many senders is answered, and each answer is called."""
        senders_heard, answers = set(), []

        def reply(request):
            senders_heard.add(request.source)
            self.answers += 1
            answers.append(b'answer %d' % self.answers)
            return [answer(answers[-1])]

        def called():
            return [call.name for call in self.client.found() if call.name in answers]

        self.server.reply = reply
        self.client.wait_found(
            lambda _: len(called()) >= 2 * senders * cycles,
            'a call for each request',
            (cycles + 2) * QUICK + 4 * SLACK,
        )
        self.server.reply = lambda request: []
        self.client.wait_found(lambda _: len(called()) >= len(answers), 'a call for the last request')
        self.assertEqual(sorted(called()), sorted(answers))
        self.assertEqual(len(senders_heard), senders)
        self.note('%d of %d' % (len(called()), len(answers)))

    def assert_nothing_found(self, cycles=4):
        """Nothing is found for some cycles, which costs next to no processor time."""
        time.sleep(QUICK + SLACK)
        found, before = len(self.client.found()), self.client.processor_seconds()
        time.sleep(cycles * QUICK)
        self.assertEqual(len(self.client.found()), found)
        self.assertLess(self.client.processor_seconds() - before, cycles * QUICK / 2)


class LinkTest(MisbehavingCase):
    def test_a_cable_that_was_pulled_out_and_plugged_in_again_costs_only_the_time_between(self):
        self.answered_search()
        self.there.ip('link set eth0 down')
        self.assert_nothing_found()
        self.there.ip('link set eth0 up')
        self.here.await_carrier('eth0')
        self.assert_all_answered()

    def test_a_stop_without_a_carrier_returns_at_once(self):
        self.answered_search()
        self.there.ip('link set eth0 down')
        time.sleep(2 * QUICK)
        self.assertLess(self.client.stop(), STOP)

    def test_a_link_that_comes_and_goes_ten_times_finds_all_in_the_end(self):
        self.answered_search()
        for _ in range(10):
            self.here.ip('link set eth0 down')
            time.sleep(0.02)
            self.here.ip('link set eth0 up')
            time.sleep(0.02)
        self.here.await_carrier('eth0')
        self.assert_all_answered()

    def test_an_interface_that_was_made_anew_has_all_its_answers_again(self):
        self.answered_search()
        self.here.ip('link del eth0')
        self.assert_nothing_found()
        self.here.connect('eth0', self.there, 'eth0')
        self.here.ip('addr add %s/24 broadcast + dev eth0' % SEARCHER)
        self.there.ip('addr add %s/24 broadcast + dev eth0' % SERVER)
        self.server.join(SERVER)
        self.assert_all_answered()

    def test_one_interface_of_two_that_goes_costs_the_other_no_answer(self):
        self.answered_search()
        second = self.namespace()
        self.here.connect('eth1', second, 'eth0')
        self.here.ip('addr add 10.77.2.1/24 broadcast + dev eth1')
        second.ip('addr add 10.77.2.2/24 broadcast + dev eth0')
        other = self.responder(second, ('10.77.2.2',), lambda request: [answer(b'second')])
        self.client.stop()
        self.client.call('set_closed', value=False)
        self.client.search()
        self.client.wait_name(b'second')
        self.here.ip('link del eth1')
        self.let_the_responder_catch_up()
        requests = len(other.requests())
        self.assert_all_answered()
        self.assertLessEqual(len(other.requests()), requests + 4)

    def test_a_broadcast_whose_network_has_gone_goes_to_no_gateway(self):
        self.answered_search()
        self.on_posix_only(self.client, 'platform: Windows keeps no broadcast from its gateways')
        beyond = self.namespace()
        self.here.connect('eth1', beyond, 'eth0')
        self.here.ip('addr add 10.77.2.1/24 broadcast + dev eth1')
        beyond.ip('addr add 10.77.2.2/24 broadcast + dev eth0')
        self.here.ip('route add default via 10.77.2.2')
        self.here.ip('addr del %s/24 dev eth0' % SEARCHER)
        time.sleep(4 * QUICK)
        self.assertEqual(
            [],
            [
                each
                for each in self.wire.datagrams()
                if (each.destination, each.interface) == (BROADCAST, 'eth1')
            ],
        )
        self.here.ip('addr add %s/24 broadcast + dev eth0' % SEARCHER)
        self.assert_all_answered()


class AddressTest(MisbehavingCase):
    def test_an_address_that_was_removed_and_added_again_costs_only_the_time_between(self):
        self.answered_search()
        self.here.ip('addr del %s/24 dev eth0' % SEARCHER)
        self.assert_nothing_found()
        self.here.ip('addr add %s/24 broadcast + dev eth0' % SEARCHER)
        self.assert_all_answered()

    def test_a_stop_without_an_address_returns_at_once(self):
        self.answered_search()
        self.here.ip('addr del %s/24 dev eth0' % SEARCHER)
        time.sleep(2 * QUICK)
        self.assertLess(self.client.stop(), STOP)

    def test_an_address_that_is_added_costs_no_answer_and_is_searched_by_the_next_search(self):
        self.answered_search()
        self.here.ip('addr add 10.77.2.1/24 broadcast + dev eth0')
        self.assert_all_answered()
        self.client.stop()
        self.client.call('set_closed', value=False)
        self.there.ip('addr add 10.77.2.2/24 broadcast + dev eth0')
        self.let_the_responder_catch_up()
        self.client.search()
        self.assert_all_answered(senders=4)

    def test_an_address_that_was_changed_leaves_the_broadcast_senders_answers(self):
        self.answered_search()
        self.here.ip('addr del %s/24 dev eth0' % SEARCHER)
        self.here.ip('addr add 10.77.1.9/24 broadcast + dev eth0')
        self.let_the_responder_catch_up()
        # The multicast sender's address has gone, and it sends from no other.
        self.assert_all_answered(senders=1)
        self.assertEqual({each.destination for each in self.server.requests()[-4:]}, {BROADCAST})
        self.client.stop()
        self.client.call('set_closed', value=False)
        self.let_the_responder_catch_up()
        self.client.search()
        self.assert_all_answered()

    def test_an_address_that_moved_to_another_interface_takes_the_search_along(self):
        self.answered_search()
        second = self.namespace()
        self.here.connect('eth1', second, 'eth0')
        second.ip('addr add %s/24 broadcast + dev eth0' % SERVER)
        self.server = self.responder(second)
        self.here.ip('addr del %s/24 dev eth0' % SEARCHER)
        self.here.ip('addr add %s/24 broadcast + dev eth1' % SEARCHER)
        self.assert_all_answered()


class InterfacesTest(MisbehavingCase):
    def test_servers_on_eight_interfaces_are_all_found_within_a_cycle(self):
        self.here = self.namespace()
        # An interval longer than this test, so that all belongs to one cycle.
        client = self.searcher(self.here, 30.0)
        # Wine takes milliseconds for each answer.
        servers = 10 if client.system == 'posix' else 2
        names = []
        for number in range(1, 9):
            there = self.namespace()
            self.here.connect('eth%d' % number, there, 'eth0')
            self.here.ip('addr add 10.77.%d.1/24 broadcast + dev eth%d' % (number, number))
            there.ip('addr add 10.77.%d.2/24 broadcast + dev eth0' % number)
            names_there = [b'%d.%d' % (number, server) for server in range(servers)]
            names += names_there
            answers = [answer(name) for name in names_there]
            self.responder(there, ('10.77.%d.2' % number,), lambda request, answers=answers: answers)
        begun = time.time()
        self.assertEqual(client.search(), STARTED)
        # Two requests of two senders each.
        found = client.wait_found(lambda found: len(found) >= 4 * len(names), 'all answers')
        self.assertEqual(sorted(call.name for call in found), sorted(4 * names))
        self.assertLess(max(call.time for call in found) - begun, 0.5 + 2 * SLACK)


class RouteTest(MisbehavingCase):
    def test_without_a_route_the_multicast_senders_answers_are_left(self):
        self.answered_search()
        self.here.ip('route del broadcast %s dev eth0 table local' % BROADCAST)
        self.here.ip('route del 10.77.1.0/24 dev eth0')
        self.let_the_responder_catch_up()
        # What goes to a group needs no route where the outgoing interface is named.
        self.assert_all_answered(senders=1)
        self.assertEqual({each.destination for each in self.server.requests()[-4:]}, {GROUP})
        self.here.ip('route add 10.77.1.0/24 dev eth0 src %s' % SEARCHER)
        self.here.ip('route add broadcast %s dev eth0 table local scope link src %s' % (BROADCAST, SEARCHER))
        self.assert_all_answered()

    def test_reports_of_unreachable_hosts_and_ports_cost_no_answer(self):
        self.standard_search(interval=30.0)
        senders = {to: self.server.sender(to) for to in (GROUP, BROADCAST)}
        with self.there.entered():
            raw = socket.socket(socket.AF_INET, socket.SOCK_RAW, socket.IPPROTO_ICMP)
        self.addCleanup(raw.close)
        sent = {}
        # Unreachable in all ways, time exceeded, parameter problem.
        for kind, code in [(3, code) for code in range(16)] + [(11, 0), (11, 1), (12, 0)]:
            for destination, sender in senders.items():
                for about in (destination, SERVER):
                    raw.sendto(report(kind, code, sender, about), (SEARCHER, 0))
                name = b'%d.%d to %s' % (kind, code, destination.encode())
                sent[name] = time.time()
                self.server.send(answer(name), sender)
        calls = self.client.wait_found(lambda found: len(found) >= len(sent), 'all answers')
        self.assertEqual({call.name for call in calls}, set(sent))
        self.assertLess(max(call.time - sent[call.name] for call in calls), SLACK)


class ForgedTest(MisbehavingCase):
    """Answers that come from elsewhere, or go elsewhere, than they should."""

    def setUp(self):
        super().setUp()
        self.standard_search(interval=30.0)
        self.to = self.server.sender(GROUP)
        with self.there.entered():
            self.raw = socket.socket(socket.AF_INET, socket.SOCK_RAW, socket.IPPROTO_RAW)
        self.addCleanup(self.raw.close)
        # The way back is there for those of other networks as well.
        self.here.ip('route add default via %s' % SERVER)

    def forge(self, name, source, to=None, **changes):
        destination = to or self.to
        packet = udp_packet(source, destination, answer(name, **changes))
        self.raw.sendto(packet, (SEARCHER, 0))

    def called(self):
        """The names of all calls before that for one more answer, which comes as it should."""
        self.server.send(answer(b'last'), self.to)
        self.client.wait_name(b'last')
        return [call.name for call in self.client.found()[:-1]]

    def test_answers_from_any_address_and_port_arrive(self):
        sources = [
            (SERVER, 1),
            (SERVER, 1900),
            (SERVER, 65535),
            ('10.77.1.77', PORT),
            ('10.99.9.9', PORT),
            ('192.0.2.1', 53),
        ]
        for number, source in enumerate(sources):
            self.forge(b'%d' % number, source)
        self.assertEqual(self.called(), [b'%d' % number for number in range(len(sources))])

    def test_a_loopback_location_becomes_the_address_that_the_answer_came_from(self):
        for address in ('10.77.1.77', '10.99.9.9'):
            self.forge(address.encode(), (address, PORT), LOCATION=b'http://localhost:8080/x')
        self.called()
        for call in self.client.found()[:-1]:
            self.assertEqual(call.values['location'], b'http://%s:8080/x' % call.name)
        self.assertEqual(len(self.client.found()), 3)

    def test_answers_from_addresses_that_nobody_has_do_not_arrive(self):
        for address in ('127.0.0.1', '255.255.255.255', '239.255.255.250', SEARCHER):
            self.forge(address.encode(), (address, PORT))
        self.assertEqual(self.called(), [])

    def test_answers_to_other_ports_do_not_arrive(self):
        for port in (PORT, 1900, self.to[1] + 1, 1, 65535):
            self.forge(b'to %d' % port, (SERVER, PORT), (SEARCHER, port))
        self.assertEqual(self.called(), [])

    def test_answers_to_other_machines_do_not_arrive(self):
        for address in ('10.77.1.9', '10.99.9.9', GROUP):
            self.forge(address.encode(), (SERVER, PORT), (address, self.to[1]))
        self.assertEqual(self.called(), [])

    def test_answers_to_everybody_arrive(self):
        # To the network, to all networks at hand, to the group that each machine is in.
        everybody = (BROADCAST, '255.255.255.255', '224.0.0.1')
        for address in everybody:
            self.forge(address.encode(), (SERVER, PORT), (address, self.to[1]))
        self.assertEqual(self.called(), [address.encode() for address in everybody])

    def test_answers_that_name_another_protocol_or_kind_do_not_arrive(self):
        for status in (b'HTTP/1.1 404 Not Found', b'NOTIFY * HTTP/1.1', b'M-SEARCH * HTTP/1.1'):
            text = answer(b'other').replace(b'HTTP/1.1 200 OK', status)
            self.raw.sendto(udp_packet((SERVER, PORT), self.to, text), (SEARCHER, 0))
        self.forge(b'other', (SERVER, PORT), USN=b'uuid:1::' + DEVICE_TYPE.upper())
        self.assertEqual(self.called(), [])


class FloodTest(MisbehavingCase):
    def test_once_a_flood_of_both_senders_is_over_all_answers_arrive(self):
        self.answered_search()
        senders = [self.server.sender(to) for to in (GROUP, BROADCAST)]
        self.server.reply = lambda request: []
        deadline = time.monotonic() + 1
        while time.monotonic() < deadline:
            for sender in senders:
                self.server.send(b'', sender)
            if self.client.system != 'posix':
                time.sleep(0.02)
        # What fills the buffers has to be taken in first: then there is room again.
        deadline = time.monotonic() + 1 + 4 * SLACK
        for sender in senders:
            name = b'room at %d' % sender[1]
            while not any(call.name == name for call in self.client.found()):
                self.assertLess(time.monotonic(), deadline, 'no room after the flood')
                self.server.send(answer(name), sender)
                time.sleep(0.01)
        self.assert_all_answered()


class StopTest(MisbehavingCase):
    def test_answers_during_stops_bring_no_call_after_and_all_calls_in_between(self):
        self.standard_search(interval=30.0)
        self.server.sender(GROUP)
        for round_ in range(10):
            to = self.server.requests()[-1].source
            for number in range(20):
                self.server.send(answer(b'%d.%d' % (round_, number)), to)
            self.client.wait_name(b'%d.19' % round_)
            stream = Stream(self.server, to, 0.0005, lambda number: answer(b'during'))
            self.addCleanup(stream.close)
            time.sleep(0.02)
            self.assertLess(self.client.stop(), STOP)
            found = len(self.client.found())
            time.sleep(0.02)
            self.assertEqual(len(self.client.found()), found)
            stream.close()
            self.client.call('set_closed', value=False)
            requests = len(self.server.requests())
            self.client.search()
            deadline = time.monotonic() + 10
            while len(self.server.requests()) < requests + 4:
                self.assertLess(time.monotonic(), deadline, 'the next search sends nothing')
                time.sleep(0.005)
        called = [call.name for call in self.client.found() if call.name != b'during']
        self.assertEqual(
            called, [b'%d.%d' % (round_, number) for round_ in range(10) for number in range(20)]
        )


if __name__ == '__main__':
    unittest.main()
