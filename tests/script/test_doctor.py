"""What the doctor makes of what it finds: rules, verdicts and sentences, without a network. That the module
takes the same answers, the network tests show."""
import unittest

import support
from vireon import firewall, interface_list, interfaces, verdict
from vireon.advice import Findings, advice
from vireon.answers import MOST, Answers
from vireon.dropped import MOST_AT_ONCE, Dropped
from vireon.interfaces import Address, broadcast_of, judged, prefix_of
from vireon.verdict import DEVICE_TYPE, judge


def address(number=1, **changes):
    usual = Address('eth0', '10.0.0.%d' % number, '255.255.255.0', True, False, False, True, True)
    return usual._replace(**changes)


LOOPBACK = Address('lo', '127.0.0.1', '255.0.0.0', True, True, False, False, False)


class WhichAddressesAreSearched(unittest.TestCase):
    def expect(self, reasons, *found):
        self.assertEqual(reasons, [reason for _, reason in judged(found)])

    def test_each_that_can_be(self):
        self.expect([None, None], address(1), address(2))

    def test_others_for_a_reason(self):
        self.expect([interfaces.DOWN, None], address(is_up=False), address())
        self.expect([interfaces.NO_MULTICAST, None], address(can_multicast=False), address())
        self.expect([interfaces.POINT_TO_POINT, None], address(is_point_to_point=True), address())
        self.expect([interfaces.UNSET, None], address(address='0.0.0.0'), address())
        self.expect([interfaces.NO_BROADCAST, None], address(can_broadcast=False), address())

    def test_loopback_only_where_no_other_is_kept(self):
        capable = LOOPBACK._replace(can_multicast=True, can_broadcast=True)
        self.expect([interfaces.LOOPBACK, None], capable, address())
        self.expect([None, interfaces.DOWN], capable, address(is_up=False))
        # One that is kept and cannot be searched all the same keeps loopback out.
        self.expect([interfaces.LOOPBACK, interfaces.NO_BROADCAST], capable, address(can_broadcast=False))

    def test_loopback_as_systems_have_it_never(self):
        self.expect([interfaces.LOOPBACK], LOOPBACK)
        self.expect([interfaces.NO_BROADCAST], LOOPBACK._replace(can_multicast=True))

    @unittest.skipIf(support.ON_WINDOWS, 'platform: the system names none')
    def test_interfaces_without_one_are_left_out_where_the_system_does_not_tell_them(self):
        self.addCleanup(setattr, interface_list, 'LIST', interface_list.LIST)
        interface_list.LIST = '/no/such/file'
        self.assertEqual([], interface_list.without_address())

    def test_the_first_thirty_two_are_looked_at_whether_up_or_not(self):
        found = [address(number + 1, is_up=number > 0) for number in range(33)]
        self.expect([interfaces.DOWN] + 31 * [None] + [interfaces.TOO_MANY], *found)

    def test_a_broadcast_goes_where_the_mask_says(self):
        self.assertEqual('10.0.31.255', broadcast_of(address(address='10.0.16.9', mask='255.255.240.0')))
        self.assertEqual(20, prefix_of(address(mask='255.255.240.0')))


def findings(**changes):
    nothing = Findings(
        searched=1,
        is_connected=True,
        sent=4,
        error='',
        found=set(),
        told=set(),
        faulty=[],
        others=0,
        drops=None,
    )
    return nothing._replace(**changes)


FAULTY = [('10.0.0.2', verdict.NO_EXT)]


class WhatToDo(unittest.TestCase):
    def expect(self, beginning, **changes):
        sentence = advice(findings(**changes))
        self.assertEqual(beginning, sentence[: len(beginning)])
        self.assertTrue(sentence.endswith('.'), sentence)

    def test_without_a_network(self):
        self.expect('Connect this machine to a network', searched=0, is_connected=False)

    def test_on_a_network_that_is_not_searched(self):
        self.expect('Mend what stands behind the addresses above', searched=0)

    def test_where_nothing_goes_out(self):
        self.expect(
            'See to the network or the firewall of this machine, which lets no search out: Not permitted.',
            sent=0,
            error='Not permitted',
        )

    def test_where_nothing_answers(self):
        start = 'Start a media server in one of the networks above: nothing answers, '
        self.expect(start + 'and if there is one already, a firewall may drop its answers')
        self.expect(start + 'and if there is one already, this machine\'s firewall may', drops=True)
        self.expect(start + 'though this machine\'s firewall drops nothing.', drops=False)

    def test_where_only_others_answer(self):
        self.expect('Start a media server in one of the networks above: of what answers (2)', others=2)

    def test_where_an_answer_is_dropped(self):
        self.expect('Have the server at 10.0.0.2 send the header "EXT:"', faulty=FAULTY)
        both = FAULTY + [('10.0.0.3', verdict.NO_ST)]
        self.assertIn(', and see above for what is wrong with 1 more.', advice(findings(faulty=both)))

    def test_where_a_server_is_found(self):
        one = set(['uuid:1'])
        self.expect('Nothing is to be done: 1 server is found.', found=one, told=one)
        self.expect('1 server is found; have the server at 10.0.0.2 send', found=one, told=one, faulty=FAULTY)
        # It may have come to be in between.
        self.expect('Nothing is to be done: 1 server is found.', told=one)

    def test_where_the_module_misses_one(self):
        self.expect('Run this once more, and report it', found=set(['uuid:1']))


class Firewall(unittest.TestCase):
    def test_rules_that_drop_are_counted(self):
        rules = 'chain input { type filter hook input priority 0; policy drop; udp dport 53 accept }'
        state = firewall.state_of_rules('nftables', rules)
        self.assertEqual(('nftables: 1 of its rules and policies drop or reject', True), state)
        self.assertTrue(firewall.state_of_rules('iptables', '-P INPUT DROP\n').drops)
        self.assertTrue(firewall.state_of_rules('iptables', '-A INPUT -p udp -j REJECT\n').drops)

    def test_rules_that_drop_nothing_are_told_so(self):
        for rules in ('', '-P INPUT ACCEPT\n', 'comment "drop"', 'chain dropbox { policy accept; }'):
            self.assertFalse(firewall.state_of_rules('nftables', rules).drops, rules)

    def test_profiles_of_windows(self):
        self.assertEqual(('off', False), firewall.state_of_profiles({'public': [False, False, False]}))
        self.assertEqual((firewall.WITHOUT_KEY, None), firewall.state_of_profiles({'public': None}))
        on = firewall.state_of_profiles({'public': [True, False, False], 'private': [False, True, True]})
        self.assertEqual(('on for public; without a rule it lets answers in for 3 s only', True), on)
        for strict in ([True, True, False], [True, False, True]):
            state = firewall.state_of_profiles({'public': strict, 'private': [True, False, False]})
            self.assertEqual(('on for private, public, and drops all answers in public', True), state)

    def test_this_machines_can_be_asked_for(self):
        state = firewall.state()
        known = (
            'on for |off$|its settings'
            if support.ON_WINDOWS
            else 'nftables: |iptables: |ufw |neither |its rules'
        )
        self.assertRegexpMatches(state.says, known)


GOOD = (
    ('CACHE-CONTROL', 'max-age=1800'),
    ('EXT', ''),
    ('LOCATION', 'http://10.0.0.1:8080/'),
    ('ST', DEVICE_TYPE),
    ('USN', 'uuid:1::' + DEVICE_TYPE),
    ('FriendlyName', 'Den'),
)


def answer(start='HTTP/1.1 200 OK', without=None, **changes):
    headers = [(name, changes.get(name, value)) for name, value in GOOD if name != without]
    return '\r\n'.join([start] + ['%s: %s' % header for header in headers]) + '\r\n\r\n'


SOURCE, OTHER = ('10.0.0.1', 31288), ('10.0.0.2', 1900)


class OneAnswer(unittest.TestCase):
    def expect(self, says, datagram):
        self.assertEqual(says, judge(datagram).says)

    def test_a_good_one_is_taken_with_what_it_says(self):
        good = judge(answer())
        self.assertEqual(
            (None, None, 'uuid:1::' + DEVICE_TYPE, 'Den'), (good.fault, good.says, good.usn, good.name)
        )

    def test_each_header_that_it_needs_is_missed(self):
        for header in ('ST', 'USN', 'EXT'):
            self.expect('no %s header' % header, answer(without=header))
        self.expect('no Location header', answer(without='LOCATION'))
        self.expect('no FriendlyName header', answer(without='FriendlyName'))

    def test_a_header_without_its_colon_is_none(self):
        self.expect('no EXT header', answer().replace('EXT: ', 'EXT'))
        self.expect('no EXT header', answer().replace('EXT: ', 'EXT :'))

    def test_one_that_is_too_long_is_told_how_long(self):
        self.expect(None, answer(FriendlyName='x' * (2000 - len(answer(FriendlyName='')))))
        self.expect(
            '2,001 bytes, 2,000 at most', answer(FriendlyName='x' * (2001 - len(answer(FriendlyName=''))))
        )

    def test_what_is_no_answer_is_told_so(self):
        for start in ('', 'NOTIFY * HTTP/1.1', 'M-SEARCH * HTTP/1.1', 'HTTP/1.1 2000 OK'):
            self.expect('no "HTTP/1.1 200 OK" at its beginning', answer(start))
        self.expect('the status is 404, not 200', answer('HTTP/1.1 404 Not Found'))

    def test_a_usn_has_two_parts_and_ends_in_the_st(self):
        for usn in ('uuid:1', 'uuid:1::upnp:rootdevice', 'uuid:1::%s::' % DEVICE_TYPE):
            self.expect('USN is not uuid::ST', answer(USN=usn))

    def test_another_device_is_told_so(self):
        self.expect('another kind of device', answer(USN='uuid:1::upnp:rootdevice', ST='upnp:rootdevice'))

    def test_a_location_is_a_url_of_the_web(self):
        for location in (
            '',
            '/path',
            'ftp://10.0.0.1/',
            'http://',
            'http://10.0.0.1:0/',
            'http://10.0.0.1:x/',
        ):
            self.expect('Location is no URL', answer(LOCATION=location))


class ManyAnswers(unittest.TestCase):
    def setUp(self):
        self.answers = Answers()

    def add(self, *datagrams, **options):
        for datagram in datagrams:
            self.answers.add(datagram, options.get('source', SOURCE))

    def test_equal_ones_of_a_source_are_counted(self):
        self.add(answer(), answer(), answer(without='EXT'))
        self.add(answer(), source=OTHER)
        self.assertEqual(
            [(SOURCE, None, 2), (SOURCE, 'no EXT header', 1), (OTHER, None, 1)],
            [(kind.source, kind.says, count) for kind, count in self.answers.counted()],
        )
        self.assertEqual(set(['uuid:1::' + DEVICE_TYPE]), self.answers.found())

    def test_a_server_that_also_tells_of_its_parts_has_no_fault(self):
        self.add(
            answer(), answer(USN='uuid:1', ST='uuid:1'), answer(USN='uuid:1::x', ST='x'), answer(without='ST')
        )
        self.assertEqual([('10.0.0.1', verdict.NO_ST)], self.answers.faulty())

    def test_the_fault_of_a_source_is_that_of_its_best_answer(self):
        self.add('FriendlyName: Den\r\n', answer(without='FriendlyName'), answer(without='EXT'))
        self.assertEqual([('10.0.0.1', verdict.NO_NAME)], self.answers.faulty())

    def test_who_means_to_be_no_media_server_has_none(self):
        self.add('HTTP/1.1 200 OK\r\nST: upnp:rootdevice\r\nUSN: uuid:1::upnp:rootdevice\r\n\r\n', 'x')
        self.assertEqual(([], 1), (self.answers.faulty(), self.answers.others()))

    def test_what_is_dropped_is_counted_by_address_with_the_reason_of_the_best_answer(self):
        self.add('garbage', answer(without='EXT'), 'garbage', source=('10.0.0.2', 1))
        self.add('garbage', source=('10.0.0.2', 2))
        self.add(answer(without='ST'))
        self.assertEqual(
            [('10.0.0.2', 4, 'no EXT header'), ('10.0.0.1', 1, 'no ST header')],
            [(source.address, source.count, source.says) for source in self.answers.dropped()],
        )

    def test_what_a_server_tells_of_its_parts_is_not_dropped(self):
        self.add(answer(USN='uuid:1', ST='uuid:1'))
        self.assertEqual(1, len(self.answers.dropped()))
        self.add(answer())
        self.assertEqual([], self.answers.dropped())

    def test_more_kinds_than_the_most_are_only_counted(self):
        self.add(*[answer(FriendlyName='%d' % number) for number in range(MOST + 3)])
        self.assertEqual((MOST, 3), (len(self.answers.counted()), self.answers.passed_over))


class Endless(object):
    """A sender that is answered faster than anybody reads."""

    def __init__(self):
        self.received = 0

    def receive(self):
        self.received += 1
        if self.received > 2 * MOST_AT_ONCE:
            raise AssertionError('it is read without end')
        return 'garbage', SOURCE


class WhatIsDropped(unittest.TestCase):
    def test_a_flood_does_not_keep_whoever_looks(self):
        dropped = Dropped(1)
        dropped._due = float('inf')  # nothing is sent
        dropped._senders = [Endless()]
        for count in (MOST_AT_ONCE, 2 * MOST_AT_ONCE):
            self.assertEqual(
                [('10.0.0.1', count)], [(source.address, source.count) for source in dropped.look()]
            )

    def test_who_answers_from_ever_new_ports_takes_nobody_elses_place(self):
        class Answering(object):
            def __init__(self):
                self.received = [(answer(), ('10.0.0.1', 1024 + number)) for number in range(MOST)]
                self.received.append((answer(without='EXT'), OTHER))

            def receive(self):
                return self.received.pop(0) if self.received else None

        dropped = Dropped(1)
        dropped._due = float('inf')
        dropped._senders = [Answering()]
        looks = [dropped.look() for _ in range(MOST // MOST_AT_ONCE + 1)]
        self.assertEqual([('10.0.0.2', 1)], [(source.address, source.count) for source in looks[-1]])


if __name__ == '__main__':
    unittest.main()
