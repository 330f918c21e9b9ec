"""cycling.py engines COUNT or cycling.py searches COUNT

So many engines that are made, search until they are answered, stop and are destroyed; or so many searches and
stops of one engine. Python 2.7.
"""
import sys
import threading

import _vireon
import inventory

LIMIT_SECONDS = 20
SAMPLES = 100  # as far as there are as many cycles


class Cycle(object):
    def __init__(self):
        self.answered = threading.Event()
        self.engine = _vireon.new_Vireon()
        _vireon.Vireon_SetInterVal(self.engine, 30.0)
        _vireon.Vireon_SetCallback(self.engine, self.on_event)

    def on_event(self, event, server):
        self.answered.set()

    def search(self):
        self.answered.clear()
        _vireon.Vireon_isClosed_set(self.engine, False)
        _vireon.Vireon_SearchDevices(self.engine).disown()
        self.answered.wait(LIMIT_SECONDS)
        if not self.answered.isSet():
            inventory.say('complaint: no answer')
            sys.exit(3)
        _vireon.Vireon_Stop(self.engine)

    def end(self):
        _vireon.Vireon_SetCallback(self.engine, None)
        _vireon.delete_Vireon(self.engine)


def main(way, count):
    kept = Cycle()
    for number in range(count):
        cycle = Cycle() if way == 'engines' else kept
        cycle.search()
        if cycle is not kept:
            cycle.end()
        if number % max(count // SAMPLES, 1) == 0:
            inventory.say('sample', inventory.threads(), inventory.descriptors(), inventory.kilobytes())
    kept.end()
    inventory.say('rounds', count)


if __name__ == '__main__':
    main(sys.argv[1], int(sys.argv[2]))
