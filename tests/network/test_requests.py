"""What goes out: bytes, addresses, ports, times to live, interfaces."""

import unittest

from capture import by_sender
from network_case import (
    BROADCAST,
    BROADCAST_REQUEST,
    INTERVAL,
    MULTICAST_REQUEST,
    SEARCHER,
    SLACK,
    STARTED,
    NetworkCase,
    to_broadcast,
    to_group,
)
from responder import GROUP, PORT, answer


def two_cycles(datagrams):
    """Both senders of the standard network have begun their third cycle."""
    return len(to_group(datagrams)) > 4 and len(to_broadcast(datagrams)) > 4


class RequestTest(NetworkCase):
    def test_broadcast_request_is_exact(self):
        self.standard_search()
        sent = to_broadcast(self.wire.wait(to_broadcast, 10))
        self.assertEqual(sent[0].payload, BROADCAST_REQUEST)

    def test_multicast_request_is_exact(self):
        self.standard_search()
        sent = to_group(self.wire.wait(to_group, 10))
        self.assertEqual(sent[0].payload, MULTICAST_REQUEST)

    def test_one_interface_has_one_sender_of_each_kind_and_nothing_else_goes_out(self):
        self.standard_search()
        self.wire.wait(two_cycles, 10)
        self.client.stop()
        senders = by_sender(self.wire.datagrams())
        self.assertEqual(
            sorted((interface, source, destination) for interface, source, _, destination in senders),
            [('eth0', SEARCHER, BROADCAST), ('eth0', SEARCHER, GROUP)],
        )
        for datagram in self.wire.datagrams():
            self.assertEqual(datagram.destination_port, PORT)
            self.assertEqual(
                datagram.payload, MULTICAST_REQUEST if datagram.destination == GROUP else BROADCAST_REQUEST
            )

    def test_each_cycle_sends_two_datagrams_at_once(self):
        interval = INTERVAL + SLACK
        self.standard_search(interval)
        self.wire.wait(two_cycles, 10)
        self.client.stop()
        for sender, sent in by_sender(self.wire.datagrams()).items():
            # The stop may have come between the two of the last cycle.
            self.assertGreaterEqual(len(sent), 3, sender)
            for first, second in zip(sent[::2], sent[1::2]):
                self.assertLess(second.time - first.time, interval / 2, sender)
            for second, following in zip(sent[1::2], sent[2::2]):
                self.assertGreater(following.time - second.time, interval / 2, sender)

    def test_multicast_requests_live_for_four_hops(self):
        self.standard_search()
        sent = to_group(self.wire.wait(to_group, 10))
        self.assertEqual({datagram.ttl for datagram in sent}, {4})

    def test_multicast_source_ports_are_drawn_from_the_range(self):
        self.standard_network()
        self.wire = self.capture(self.here)
        client = self.searcher(self.here)
        for round_ in range(1, 11):
            client.search()
            self.wire.wait(lambda sent: len(by_sender(to_group(sent))) == round_, 10)
        ports = [port for _, _, port, _ in by_sender(to_group(self.wire.datagrams()))]
        for port in ports:
            self.assertIn(port, range(1024, 16024))
        self.assertGreater(max(ports) - min(ports), 1000, 'ten random ports spread further')

    def test_no_sender_is_bound_to_the_searched_port(self):
        self.standard_search()
        sent = self.wire.wait(two_cycles, 10)
        self.assertNotIn(PORT, {datagram.source_port for datagram in sent})

    def test_each_sender_keeps_its_port(self):
        self.standard_search()
        self.wire.wait(two_cycles, 10)
        self.client.stop()
        self.assertEqual(len(by_sender(self.wire.datagrams())), 2)

    def test_requests_reach_a_server_by_both_ways(self):
        self.standard_search()
        self.server.sender(BROADCAST)
        self.server.sender(GROUP)
        texts = {request.destination: request.payload for request in self.server.requests()}
        self.assertEqual(texts, {BROADCAST: BROADCAST_REQUEST, GROUP: MULTICAST_REQUEST})

    def test_a_server_on_the_same_machine_is_found(self):
        self.standard_network()
        self.here.ip('link set lo up')
        self.responder(
            self.here,
            (SEARCHER,),
            lambda request: [
                answer(b'here by group' if request.destination == GROUP else b'here by broadcast')
            ],
        )
        client = self.searcher(self.here)
        client.search()
        client.wait_name(b'here by group')
        client.wait_name(b'here by broadcast')

    def test_a_second_search_without_stop_doubles_the_senders(self):
        self.standard_search()
        self.wire.wait(two_cycles, 10)
        self.assertEqual(self.client.search(), STARTED)
        senders = by_sender(
            self.wire.wait(
                lambda sent: len(by_sender(sent)) == 4
                and all(len(each) > 2 for each in by_sender(sent).values()),
                10,
            )
        )
        self.assertEqual(
            sorted(destination for _, _, _, destination in senders), [BROADCAST, BROADCAST, GROUP, GROUP]
        )
        half_time = self.wire.datagrams()[-1].time
        senders = by_sender(
            self.wire.wait(
                lambda sent: all(each[-1].time > half_time for each in by_sender(sent).values()), 10
            )
        )
        for sender, sent in senders.items():
            self.assertGreater(sent[-1].time, half_time, '%s fell silent' % (sender,))

    def test_servers_found_by_either_search_reach_the_callable(self):
        self.standard_search()
        self.client.search()
        senders = self.wire.wait(lambda sent: len(by_sender(sent)) == 4, 10)
        ports = [port for _, _, port, _ in by_sender(senders)]
        for port in ports:
            self.server.send(answer(b'to %d' % port), (SEARCHER, port))
        for port in ports:
            self.client.wait_name(b'to %d' % port)


if __name__ == '__main__':
    unittest.main()
