"""Searches among programs and libraries that nobody here wrote, on one bridge.

What they answer must cost nobody anything: it is dropped without a word, a media server is found within
a cycle all the same, and not one of its answers is lost.
"""

import functools
import json
import os
import socket
import subprocess
import sys
import time
import unittest

import peers
from network_case import BROADCAST, MULTICAST_REQUEST, SEARCHER, SERVER, SLACK, STARTED, NetworkCase, unmet
from responder import DEVICE_TYPE, GROUP, PORT, Stream, answer
from test_misbehaving import udp_packet

INTERVAL = 3.0
CYCLES = 3
PACE = 0.02  # seconds between two answers of the media server to each sender
MEDIA_SERVER = os.path.join(peers.HERE, '..', '..', 'examples', 'media_server.py')

# As a control point would ask for media players, by those who answer nothing else.
USUAL_REQUEST = MULTICAST_REQUEST.replace(b':%d' % PORT, b':%d' % peers.SSDP_PORT)


class PeersCase(NetworkCase):
    def setUp(self):
        super().setUp()
        if 'VIREON_PEERS' not in os.environ:
            unmet('VIREON_PEERS names no folder with the peers (./dev peers)')
        self.bridge, self.joined = self.namespace(), 0
        self.bridge.ip('link add bridge type bridge mcast_snooping 0')
        self.bridge.ip('link set bridge up')
        self.here, self.there = self.join(SEARCHER), self.join(SERVER)
        self.wire = self.capture(self.bridge)

    def join(self, address):
        namespace, port = self.namespace(), 'port%d' % self.joined
        self.joined += 1
        namespace.connect('eth0', self.bridge, port)
        self.bridge.ip('link set %s master bridge' % port)
        namespace.ip('addr add %s/24 broadcast + dev eth0' % address)
        return namespace

    def start(self, kind, number=0):
        reason = kind.missing()
        if reason:
            unmet(reason)
        address = '10.77.1.%d' % (10 + self.joined)
        peer = kind(self.join(address), address, number)
        self.addCleanup(peer.close)
        return peer

    def answers(self, peer):
        """What this peer has sent to the searcher so far."""
        return [
            datagram
            for datagram in self.wire.datagrams()
            if (datagram.interface, datagram.source, datagram.destination)
            == ('port0', peer.address, SEARCHER)
        ]


class AmongPeersTest(PeersCase):
    def search(self):
        """Begins a search that the media server answers all the time."""
        self.replies, self.senders = [], {}

        def reply(request):
            # Others announce themselves to the same group and port.
            if request.source[0] != SEARCHER:
                return []
            self.senders[request.destination] = request.source
            self.replies.append(b'reply %d' % len(self.replies))
            return [answer(self.replies[-1])]

        self.server = self.responder(self.there, reply=reply)
        self.client = self.searcher(self.here, INTERVAL)
        self.begun = time.time()
        self.assertEqual(self.client.search(), STARTED)
        first = self.client.wait_name(b'reply 0')
        self.assertLess(first.time - self.begun, INTERVAL)
        self.client.wait_found(lambda _: len(self.senders) == 2, 'both senders')
        self.assertEqual(set(self.senders), {GROUP, BROADCAST})
        self.sent = {}

        def make(to, number):
            name = b'%s %d' % (to.encode(), number)
            self.sent[name] = time.time()
            return answer(name)

        self.streams = {
            to: Stream(self.server, source, PACE, functools.partial(make, to))
            for to, source in self.senders.items()
        }

    def ask(self, peer):
        """Asks one in the name of the search's senders, in words that it answers."""
        with self.here.entered():
            raw = socket.socket(socket.AF_INET, socket.SOCK_RAW, socket.IPPROTO_RAW)
        with raw:
            raw.setsockopt(socket.SOL_SOCKET, socket.SO_BINDTODEVICE, b'eth0')
            for _, port in self.senders.values():
                packet = udp_packet((SEARCHER, port), (GROUP, peers.SSDP_PORT), USUAL_REQUEST)
                raw.sendto(packet, (GROUP, 0))

    def await_answers(self, those, each=3):
        """Goes on once each of those has answered so often, some cycles after the search's begin."""
        deadline = time.monotonic() + 180
        while True:
            silent = [peer for peer in those if len(self.answers(peer)) < each]
            if not silent and time.time() - self.begun > CYCLES * INTERVAL:
                return
            if time.monotonic() > deadline:
                self.fail('\n'.join('%s answers nothing: %s' % (peer.name, peer.log()) for peer in silent))
            for peer in silent:
                if not peer.answers_other_ports:
                    self.ask(peer)
            time.sleep(1)

    def assert_cost_nothing(self, found=()):
        """Ends the media server's answers, each of which was called, in time and in order; and nobody
        else was found but the devices of these names."""
        self.server.reply = lambda request: []
        for to, stream in self.streams.items():
            stream.close()
            self.client.wait_name(b'%s %d' % (to.encode(), stream.sent - 1))
        self.client.wait_name(self.replies[-1])
        heard = self.client.found()
        calls = [call.name for call in heard]
        for to, stream in self.streams.items():
            self.assertEqual(
                [name for name in calls if name.startswith(to.encode())],
                [b'%s %d' % (to.encode(), number) for number in range(stream.sent)],
            )
        self.assertEqual(sorted(name for name in calls if name.startswith(b'reply')), sorted(self.replies))
        self.assertEqual(set(calls) - set(self.sent) - set(self.replies), set(found))
        delays = [call.time - self.sent[call.name] for call in heard if call.name in self.sent]
        self.assertLess(max(delays), 0.5 + SLACK)
        self.note('the slowest of %d answers of the media server took %.3f s' % (len(delays), max(delays)))

    def search_among(self, those):
        for peer in those:
            peer.await_ready()
        self.search()
        self.await_answers(those)
        self.assert_cost_nothing()
        kinds = {}
        for peer in those:
            kinds.setdefault(peer.name, []).append(len(self.answers(peer)))
            self.record(peer)
        told = ', '.join('%s %d' % (kind, sum(counts)) for kind, counts in kinds.items())
        self.note('among answers of ' + told)

    def record(self, peer):
        """Keeps an answer, to be replayed without its sender (tests/network/test_peer_answers.py)."""
        if 'VIREON_RECORD' not in os.environ:
            return
        payloads = [datagram.payload for datagram in self.answers(peer)]
        of_device = [payload for payload in payloads if b':device:' in payload]
        # Which kernel it was recorded on is nobody's business.
        recorded = (of_device or payloads)[0].replace(os.uname().release.encode(), b'6.1.0')
        with open(os.path.join(os.environ['VIREON_RECORD'], peer.name.lower()), 'wb') as file:
            file.write(recorded)

    def test_minidlna_costs_nothing(self):
        self.search_among([self.start(peers.Minidlna)])

    def test_gerbera_costs_nothing(self):
        self.search_among([self.start(peers.Gerbera)])

    def test_gmediarender_costs_nothing(self):
        self.search_among([self.start(peers.Gmediarender)])

    def test_rygel_costs_nothing(self):
        self.search_among([self.start(peers.Rygel)])

    def test_miniupnpd_costs_nothing(self):
        self.search_among([self.start(peers.Miniupnpd)])

    def test_gupnp_tools_cost_nothing(self):
        self.search_among([self.start(peers.GupnpTools)])

    def test_all_of_them_and_twenty_more_cost_nothing(self):
        those = [self.start(kind) for kind in peers.PROGRAMS]
        those += [self.start(peers.Minidlna, number) for number in range(1, 21)]
        self.search_among(those)

    def test_ssdpy_which_announces_instead_of_answering_costs_nothing(self):
        self.search_among([self.start(peers.Ssdpy)])
        for datagram in self.wire.datagrams():
            if datagram.source == SEARCHER or datagram.source == SERVER:
                continue
            self.assertTrue(datagram.payload.startswith(b'NOTIFY * HTTP/1.1\r\n'), datagram)

    def test_async_upnp_client_whose_answers_hold_no_name_costs_nothing(self):
        peer = self.start(peers.AsyncUpnpClient)
        self.search_among([peer])
        self.assertTrue(any(b'\nST:' + DEVICE_TYPE in datagram.payload for datagram in self.answers(peer)))

    def test_a_server_by_node_ssdp_is_found(self):
        peer = self.start(peers.NodeSsdp)
        peer.await_ready()
        self.search()
        self.await_answers([peer], each=8)
        self.assert_cost_nothing(found=[b'NodeSsdp'])
        self.record(peer)
        answers = self.answers_as_media_server(peer)
        self.assertEqual(
            {datagram.destination_port for datagram in answers}, {port for _, port in self.senders.values()}
        )
        self.client.wait_found(lambda _: len(self.calls_of_node_ssdp()) >= len(answers), 'a call for each')
        calls = self.calls_of_node_ssdp()
        self.assertLessEqual(len(calls), len(self.answers_as_media_server(peer)))
        location, udn, *_ = peer.device
        for values in calls:
            self.assertEqual(values['location'], location.encode())
            self.assertEqual(values['usn'], udn.encode() + b'::' + DEVICE_TYPE)
        self.note('called for all %d answers of node-ssdp' % len(answers))

    def answers_as_media_server(self, peer):
        return [datagram for datagram in self.answers(peer) if b'ST: ' + DEVICE_TYPE in datagram.payload]

    def calls_of_node_ssdp(self):
        return [call.values for call in self.client.found() if call.name == b'NodeSsdp']


UDN = 'uuid:01234567-89ab-cdef-0123-456789abcdef'


class SearchingPeersTest(PeersCase):
    """The sample media server, searched by others."""

    def setUp(self):
        super().setUp()
        command = [sys.executable, '-B', MEDIA_SERVER, '--uuid', UDN[5:]]
        with self.there.entered():
            server = subprocess.Popen(command, stdout=subprocess.PIPE, text=True)
        self.addCleanup(server.stdout.close)
        self.addCleanup(server.wait)
        self.addCleanup(server.kill)
        self.assertIn('listening on port %d' % PORT, server.stdout.readline())

    def assert_finds(self, command):
        kind = DEVICE_TYPE.decode()
        for target, targets in (('ssdp:all', {'upnp:rootdevice', UDN, kind}), (kind, {kind})):
            with self.subTest(target):
                peer = self.start(peers.Searching)
                said = peer.output_of(*command(peer, target))
                found = [json.loads(line) for line in said.splitlines() if line.startswith('{')]
                headers = [{name.lower(): value for name, value in each.items()} for each in found]
                self.assertEqual({each.get('st') for each in headers}, targets, said)
                self.assertEqual({each['friendlyname'] for each in headers}, {'Sample server'})
                self.assertEqual(
                    {each['location'] for each in headers}, {'http://%s:8080/description.xml' % SERVER}
                )

    def test_node_ssdp_finds_it(self):
        self.assert_finds(lambda peer, target: peers.node('node_search.js', str(PORT), target))

    def test_async_upnp_client_finds_it(self):
        self.assert_finds(
            lambda peer, target: peers.python('upnp_search.py', peer.address, str(PORT), target)
        )

    def test_ssdpy_finds_it(self):
        self.assert_finds(lambda peer, target: peers.python('ssdpy_search.py', str(PORT), target))

    def hear_usual_searches(self):
        """From now on those that are sent to SSDP's own port come to the server."""
        beside = peers.Searching(self.there, SERVER)
        self.addCleanup(beside.close)
        beside.rewrite(peers.SSDP_PORT, PORT)

    def test_gupnp_universal_cp_fetches_its_description(self):
        self.hear_usual_searches()
        peer = self.start(peers.GupnpUniversalCp)
        # The connection is known for a while after its end.
        used = '%s:1F90 %s:' % tuple(peers.hexadecimal(address) for address in (SERVER, peer.address))
        deadline = time.monotonic() + 60
        while used not in self.connections():
            self.assertLess(time.monotonic(), deadline, peer.log())
            time.sleep(0.2)

    def connections(self):
        with self.there.entered(), open('/proc/thread-self/net/tcp') as table:
            return table.read()

    def test_gssdp_discover_finds_it_whatever_it_asks_for(self):
        self.hear_usual_searches()
        kind = DEVICE_TYPE.decode()
        for target, usn in (
            ('upnp:rootdevice', UDN + '::upnp:rootdevice'),
            (UDN, UDN),
            (kind, UDN + '::' + kind),
        ):
            with self.subTest(target):
                said = self.start(peers.GssdpDiscover).output_of(
                    'gssdp-discover', '--interface=eth0', '--timeout=3', '--target=' + target
                )
                self.assertRegex(said, r'USN: +%s\n' % usn)
                self.assertRegex(said, r'Location: +http://%s:8080/description\.xml' % SERVER)


if __name__ == '__main__':
    unittest.main()
