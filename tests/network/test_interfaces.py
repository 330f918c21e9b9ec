"""Which interfaces are searched, and from which address to which."""

import resource
import socket
import time
import unittest

from capture import by_sender
from network_case import (
    BROADCAST,
    BROADCAST_REQUEST,
    INTERVAL,
    SEARCHER,
    SERVER,
    SLACK,
    STARTED,
    STOP,
    NetworkCase,
    to_broadcast,
    to_group,
    unmet,
)
from responder import GROUP, answer


class InterfaceTest(NetworkCase):
    def ways(self, count, settle=INTERVAL + SLACK):
        """Starts a search and gives its senders as (interface, source, destination), sorted.

        Waits for as many senders as there should be, then long enough for one too many to show.
        """
        self.wire = self.capture(self.here)
        self.client = self.searcher(self.here)
        self.result = self.client.search()
        self.wire.wait(lambda sent: len(by_sender(sent)) >= count, 10)
        time.sleep(settle)
        return sorted(
            (interface, source, destination)
            for interface, source, _, destination in by_sender(self.wire.datagrams())
        )

    def test_each_interface_is_searched_from_its_own_address(self):
        self.standard_network()
        second = self.namespace()
        self.here.connect('eth1', second, 'eth0')
        self.here.ip('addr add 10.77.2.1/24 broadcast + dev eth1')
        self.assertEqual(
            self.ways(4),
            [
                ('eth0', SEARCHER, BROADCAST),
                ('eth0', SEARCHER, GROUP),
                ('eth1', '10.77.2.1', '10.77.2.255'),
                ('eth1', '10.77.2.1', GROUP),
            ],
        )

    def test_servers_on_each_interface_are_found(self):
        self.standard_network()
        second = self.namespace()
        self.here.connect('eth1', second, 'eth0')
        self.here.ip('addr add 10.77.2.1/24 broadcast + dev eth1')
        second.ip('addr add 10.77.2.2/24 broadcast + dev eth0')
        self.responder(self.there, (SERVER,), lambda request: [answer(b'first')])
        self.responder(second, ('10.77.2.2',), lambda request: [answer(b'second')])
        client = self.searcher(self.here)
        client.search()
        client.wait_name(b'first')
        client.wait_name(b'second')

    def test_each_address_of_an_interface_is_searched(self):
        self.standard_network()
        self.here.ip('addr add 10.77.2.1/24 broadcast + dev eth0')
        self.assertEqual(
            self.ways(4),
            [
                ('eth0', SEARCHER, BROADCAST),
                ('eth0', SEARCHER, GROUP),
                ('eth0', '10.77.2.1', '10.77.2.255'),
                ('eth0', '10.77.2.1', GROUP),
            ],
        )

    def test_two_addresses_of_one_network_make_two_pairs_of_senders(self):
        self.standard_network()
        self.here.ip('addr add 10.77.1.5/24 broadcast + dev eth0')
        # The system picks the source of a broadcast, and prefers the first address.
        self.assertEqual(
            self.ways(4),
            [
                ('eth0', SEARCHER, BROADCAST),
                ('eth0', SEARCHER, BROADCAST),
                ('eth0', SEARCHER, GROUP),
                ('eth0', '10.77.1.5', GROUP),
            ],
        )

    def test_the_broadcast_address_is_computed(self):
        for options in ('', 'broadcast 10.77.1.77', 'broadcast 255.255.255.255'):
            with self.subTest(options):
                self.standard_network(options)
                wire = self.capture(self.here)
                client = self.searcher(self.here)
                client.search()
                sent = wire.wait(lambda sent: to_broadcast(sent) and to_group(sent), 10)
                self.assertEqual(to_broadcast(sent)[0].payload, BROADCAST_REQUEST)
                client.stop()
                self.assertEqual({datagram.destination for datagram in wire.datagrams()}, {BROADCAST, GROUP})

    def test_the_broadcast_address_follows_the_netmask(self):
        for address, broadcast in (
            ('10.77.16.9/20', '10.77.31.255'),
            ('172.16.5.4/12', '172.31.255.255'),
            ('192.168.3.130/26', '192.168.3.191'),
        ):
            with self.subTest(address):
                self.here, there = self.namespace(), self.namespace()
                self.here.connect('eth0', there, 'eth0')
                self.here.ip('addr add %s dev eth0' % address)
                source = address.split('/')[0]
                self.assertEqual(
                    self.ways(2, settle=0), sorted([('eth0', source, broadcast), ('eth0', source, GROUP)])
                )

    def test_a_down_interface_is_not_searched(self):
        self.standard_network()
        self.here.ip('link add name eth1 type veth peer name eth2')
        self.here.ip('addr add 10.77.2.1/24 broadcast + dev eth1')
        self.assertEqual(self.ways(2), [('eth0', SEARCHER, BROADCAST), ('eth0', SEARCHER, GROUP)])

    def test_an_interface_without_multicast_is_not_searched(self):
        self.standard_network()
        self.here.connect('eth1', self.namespace(), 'eth0')
        self.here.ip('link set eth1 multicast off')
        self.here.ip('addr add 10.77.2.1/24 broadcast + dev eth1')
        self.assertEqual(self.ways(2), [('eth0', SEARCHER, BROADCAST), ('eth0', SEARCHER, GROUP)])

    def test_a_point_to_point_interface_is_not_searched(self):
        self.standard_network()
        # The one kind of tunnel that most kernels have built in; it takes no device file.
        try:
            self.here.ip('link add name tun0 type vxlan dstport 4790 gpe external')
        except OSError as error:
            unmet('no point-to-point interface can be made: %s' % error)
        self.here.ip('link set tun0 up')
        self.here.ip('addr add 10.77.2.1/24 dev tun0')
        self.assertIn('POINTOPOINT,MULTICAST', self.here.ip('link show tun0'))
        self.assertEqual(self.ways(2), [('eth0', SEARCHER, BROADCAST), ('eth0', SEARCHER, GROUP)])

    def test_an_interface_that_was_made_anew_is_searched_again(self):
        # A dongle that was pulled, a network that dropped, a machine that slept.
        self.standard_search()
        self.wire.wait(lambda sent: len(by_sender(sent)) == 2, 10)
        ports = {each.source_port for each in self.wire.datagrams()}
        self.here.ip('link del eth0')
        time.sleep(2 * INTERVAL)
        self.here.connect('eth0', self.there, 'eth0')
        before = len(self.wire.datagrams())
        self.here.ip('addr add %s/24 broadcast + dev eth0' % SEARCHER)
        sent = self.wire.wait(lambda sent: len(by_sender(sent[before:])) == 2, 10)[before:]
        self.assertEqual({each.destination for each in sent}, {BROADCAST, GROUP})
        self.assertEqual({each.source_port for each in sent}, ports)

    def test_the_loopback_interface_is_not_searched_beside_others(self):
        self.standard_network()
        self.here.ip('link set lo multicast on')
        self.here.ip('link set lo up')
        self.assertEqual(self.ways(2), [('eth0', SEARCHER, BROADCAST), ('eth0', SEARCHER, GROUP)])

    def test_a_machine_with_only_loopback_sends_nothing(self):
        # The fallback keeps the loopback interface where it has multicast, but it cannot broadcast.
        for multicast in ('off', 'on'):
            with self.subTest(multicast=multicast):
                self.here = self.namespace()
                self.here.ip('link set lo multicast %s' % multicast)
                self.here.ip('link set lo up')
                self.assertEqual(self.ways(0), [])
                self.assertEqual(self.result, STARTED)
                self.assertLess(self.client.stop(), STOP)

    def test_a_machine_without_interfaces_sends_nothing(self):
        self.here = self.namespace()
        self.assertEqual(self.ways(0), [])
        self.assertEqual(self.result, STARTED)
        self.assertLess(self.client.stop(), STOP)

    def test_the_list_ends_after_32_addresses(self):
        self.standard_network()
        for last in range(2, 36):
            self.here.ip('addr add 10.77.%d.1/24 broadcast + dev eth0' % last)
        client = self.searcher(self.here)
        self.on_posix_only(client, "platform: Wine's list of interfaces fails as a whole beyond 32 entries")
        ways = self.ways(64)
        self.assertEqual(len(ways), 64)
        self.assertEqual({source for _, source, _ in ways}, {'10.77.%d.1' % last for last in range(1, 33)})

    def test_an_interface_may_go_down_and_come_back(self):
        self.standard_network()
        self.responder(self.there, reply=lambda request: [answer()])
        wire = self.capture(self.here)
        client = self.searcher(self.here)
        client.search()
        client.wait_found(lambda found: found, 'the first call')
        wire.wait(lambda sent: len(by_sender(sent)) == 2, 10)
        self.here.ip('link set eth0 down')
        time.sleep(2 * INTERVAL)
        self.here.ip('link set eth0 up')
        seen, sent = len(client.found()), len(wire.datagrams())
        client.wait_found(lambda found: len(found) > seen + 4, 'calls after the pause')
        again = wire.wait(lambda all_: len(by_sender(all_[sent:])) == 2, 10)
        self.assertEqual(set(by_sender(again[sent:])), set(by_sender(again[:sent])))

    def test_a_search_without_a_free_port_returns_zero_and_keeps_its_broadcast_sender(self):
        self.standard_network()
        soft, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
        needed = 15000 + 100
        resource.setrlimit(resource.RLIMIT_NOFILE, (max(soft, needed), max(hard, needed)))
        self.addCleanup(resource.setrlimit, resource.RLIMIT_NOFILE, (soft, hard))
        wire = self.capture(self.here)
        client = self.searcher(self.here)
        with self.here.entered():
            for port in range(1024, 16024):
                taken = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
                self.addCleanup(taken.close)
                taken.bind(('0.0.0.0', port))
        self.assertEqual(client.search(), 0)
        sent = wire.wait(lambda sent: len(sent) > 2, 10)
        self.assertEqual({datagram.destination for datagram in sent}, {BROADCAST})
        self.assertEqual(to_group(sent), [])
        self.responder(self.there, reply=lambda request: [answer()])
        client.wait_found(lambda found: found, 'a call by the broadcast sender')


if __name__ == '__main__':
    unittest.main()
