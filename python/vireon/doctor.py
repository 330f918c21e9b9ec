"""`doctor`: why a server is found or not.

It sends the same searches as the module from sockets of its own, which see what the module drops without a
word, and lets the module search beside them.
"""

from __future__ import absolute_import

from vireon import asking, firewall, interface_list, receive_buffer
from vireon.advice import Findings, advice
from vireon.answers import Answers
from vireon.engine import Vireon
from vireon.interfaces import judged, prefix_of
from vireon.roll import MOST_SERVERS
from vireon.shown import say, shown

MOST_LINES = 40  # of answers
MOST_NAME = 60  # characters


def examine(seconds, interval):
    """Writes what it finds out. Gives the exit code: 0 when there is a server."""
    addresses = judged(interface_list.read())
    _write_addresses(addresses)
    searched = [address for address, reason in addresses if reason is None]
    answers, told = Answers(), set()
    with asking.senders_of(searched) as senders:
        if senders:
            say(u'\nSearching for %g s ...' % seconds)
            _search(senders, seconds, interval, answers, told)
            _write_searches(senders)
            _write_answers(answers, told)
    state = firewall.state()
    _write_machine(state)
    found = answers.found()
    findings = Findings(
        searched=len(searched),
        is_connected=any(not address.is_loopback for address, _ in addresses),
        sent=sum(sender.sent for sender in senders),
        error=', '.join(sorted(set(shown(sender.error) for sender in senders if sender.error))),
        found=found,
        told=told,
        faulty=answers.faulty(),
        others=answers.others(),
        drops=state.drops,
    )
    say(u'\nWhat to do: ' + shown(advice(findings)))
    return 0 if found or told else 1


def _search(senders, seconds, interval, answers, told):
    def on_event(_, server):
        if len(told) < MOST_SERVERS:
            told.add(server['usn'])

    with Vireon() as engine:
        engine.search(interval, on_event)
        asking.ask(senders, seconds, interval, answers.add)


def _write_addresses(addresses):
    say(u'Addresses of this machine')
    for address, reason in addresses:
        place = '%s/%d' % (address.address, prefix_of(address))
        told = 'searched' if reason is None else 'not searched: ' + reason
        say(u'  %-15s %-18s %s' % (shown(address.interface), place, told))
    for name in interface_list.without_address():
        say(u'  %-15s %-18s not searched: it has no IPv4 address' % (shown(name), '-'))


def _write_searches(senders):
    say(u'Searches that went out')
    for sender in senders:
        target = '%s:%d' % (sender.destination, asking.PORT)
        error = u', the last error is: %s' % shown(sender.error) if sender.error else u''
        # Where a broadcast leaves from is the system's to choose.
        source = sender.address + u', ' if sender.destination == asking.GROUP else u''
        say(u'  %-22s %d from %sport %d%s' % (target, sender.sent, source, sender.port, error))


def _write_answers(answers, told):
    say(u'Answers')
    counted = answers.counted()
    for kind, count in counted[:MOST_LINES]:
        source = u'%s:%d' % kind.source
        say(u'  %-22s %d %s' % (source, count, _words(kind, answers, told)))
    if len(counted) > MOST_LINES:
        say(u'  and %d more kinds of answers' % (len(counted) - MOST_LINES))
    if answers.passed_over:
        say(u'  and %d more answers, of too many kinds to be told apart' % answers.passed_over)
    if not counted:
        say(u'  none')
    for usn in sorted(told - answers.found())[:MOST_LINES]:
        say(u'  the module alone was told of %s' % shown(usn))


def _words(kind, answers, told):
    if kind.fault is None:
        whether = u'told of it, too' if kind.usn in told else u'did not tell of it'
        return u'taken: %s (the module %s)' % (shown(kind.name, MOST_NAME), whether)
    if answers.is_needless(kind):
        return u'not needed: ' + kind.says
    return (u'dropped: ' if kind.is_meant else u'no media server: ') + kind.says


def _write_machine(state):
    say(u'This machine')
    say(u'  firewall        ' + shown(state.says))
    say(u'  receive buffer  ' + shown(receive_buffer.state()))
