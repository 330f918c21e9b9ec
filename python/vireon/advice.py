"""The one sentence on what to do, of all that was found out."""

from __future__ import absolute_import

import collections

# `searched`: how many addresses are. `is_connected`: whether there is one beside loopback. `sent`: how many
# searches went out, `error` why others did not. `found`: the USNs of servers whose answers are good, `told`
# those of servers that the module told of. `faulty`: (source, fault) of servers that none was found of.
# `others`: how many more answer, and are no media servers. `drops`: of the firewall's state.
Findings = collections.namedtuple(
    'Findings', 'searched is_connected sent error found told faulty others drops'
)

CONNECT = 'Connect this machine to a network: only its own loopback interface is here.'
NOT_SEARCHED = 'Mend what stands behind the addresses above: none of them can be searched.'
NOT_SENT = 'See to the network or the firewall of this machine, which lets no search out: %s.'
MISSED = 'Run this once more, and report it if the module misses a good answer again: it did not tell of %s.'
FINE = 'Nothing is to be done: %s.'
MEND = 'Have the server at %s %s.'
MEND_BESIDE = '%s; have the server at %s %s.'
MORE = ', and see above for what is wrong with %d more'
START = 'Start a media server in one of the networks above: %s.'
OTHERS_ONLY = 'of what answers (%d) nothing is one'
SILENT = 'nothing answers'
FIREWALL = {
    False: ', though this machine\'s firewall drops nothing',
    None: ', and if there is one already, a firewall may drop its answers: let in UDP from port 31288',
    True: ', and if there is one already, this machine\'s firewall may drop its answers: '
    'let in UDP from port 31288, or all UDP for this program',
}


def advice(findings):
    if not findings.searched:
        return NOT_SEARCHED if findings.is_connected else CONNECT
    if not findings.sent:
        return NOT_SENT % findings.error
    missed = sorted(findings.found - findings.told)
    if missed:
        return MISSED % ', '.join(missed[:3])
    found = findings.found | findings.told
    if found:
        return _beside(
            '1 server is found' if len(found) == 1 else '%d servers are found' % len(found), findings
        )
    if findings.faulty:
        return MEND % _first(findings.faulty)
    if findings.others:
        return START % (OTHERS_ONLY % findings.others)
    return START % (SILENT + FIREWALL[findings.drops])


def _beside(found, findings):
    if not findings.faulty:
        return FINE % found
    return MEND_BESIDE % ((found[0].upper() + found[1:],) + _first(findings.faulty))


def _first(faulty):
    source, fault = faulty[0]
    return source, fault.mend + (MORE % (len(faulty) - 1) if len(faulty) > 1 else '')
