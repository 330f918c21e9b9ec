#!/usr/bin/env python3
"""Shows what the module is for: servers in two networks, one that joins, one that leaves, and two whose
answers are dropped, in the table of `python -m vireon watch --dropped`.

demo.sh starts it, in a network namespace of its own. The exit code is 0 when all of it was seen. Linux only.
"""

import collections
import contextlib
import signal
import sys

import demo_view
from demo_network import Failure, Machine, Network

LIMIT = 20  # seconds for what happens within five

# What is said, what is done, for how many seconds it is shown at least and what has to be seen then.
Scene = collections.namedtuple('Scene', 'says act seconds awaits')


def scenes(machines):
    def start(*names):
        return lambda: [machines[name].start() for name in names]

    return [
        Scene(
            'Two networks: Living room is in both, Study in one',
            start('Living room', 'Study'),
            3,
            lambda seen: seen.networks == {'Living room': 2, 'Study': 1},
        ),
        Scene('Kitchen joins', start('Kitchen'), 3, lambda seen: 'Kitchen' in seen.networks),
        Scene(
            'Attic sends garbage, Garage forgets the header EXT: both are dropped',
            start('Attic', 'Garage'),
            4,
            lambda seen: len(seen.dropped) == 2,
        ),
        Scene(
            'Study leaves, and is lost when it has not answered three times',
            machines['Study'].stop,
            3,
            lambda seen: seen.lost == {'Study'},
        ),
        Scene(
            'Who is there stays; Ctrl-C ends the search',
            lambda: None,
            2,
            lambda seen: seen.networks == {'Living room': 2, 'Kitchen': 1},
        ),
    ]


class Interruption:
    """Heeded between two steps: within one it might leave a program behind that nobody knows of."""

    def __init__(self):
        self._number = None
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            signal.signal(number, self._take)

    def heed(self):
        if self._number is not None:
            sys.exit(128 + self._number)

    def _take(self, number, _):
        self._number = number


def make_machines(stack, heed):
    networks = one, other = Network(1), Network(2)
    machines = {}
    for name, cables, wrong in (
        ('Living room', networks, None),
        ('Study', [other], None),
        ('Kitchen', [one], None),
        ('Attic', [one], 'garbage'),
        ('Garage', [other], 'no-ext'),
    ):
        machines[name] = Machine(name, cables, wrong)
        stack.callback(machines[name].close)
        heed()
    return machines


def play(view, machines):
    for scene in scenes(machines):
        view.tell(scene.says)
        scene.act()
        if not view.watch_until(scene.awaits, scene.seconds, LIMIT):
            complaints = filter(None, (machine.complaint() for machine in machines.values()))
            raise Failure('; '.join(['this was not to be seen: ' + scene.says, *complaints]))


def summary(seen, seconds):
    return '%d servers found, %d lost, %d answers of %d machines dropped; stopped in %d ms' % (
        len(seen.found),
        len(seen.lost),
        sum(seen.dropped.values()),
        len(seen.dropped),
        1000 * seconds,
    )


def main():
    # Also where a shell has started it in its background, with interrupts ignored, by the watch as well.
    heed = Interruption().heed
    try:
        with contextlib.ExitStack() as stack:
            print('making two networks, and five machines in them', flush=True)
            machines = make_machines(stack, heed)
            view = demo_view.open_view(heed)
            stack.callback(view.close)
            play(view, machines)
            seconds = view.end()
        print('\n' + summary(view.seen, seconds))
    except Failure as reason:
        heed()  # which may be the reason of the reason
        sys.exit('\ndemo: %s' % reason)


if __name__ == '__main__':
    main()
