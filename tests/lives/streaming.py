"""streaming.py SECONDS PAUSE

An engine that searches once, for so many seconds, with a callable that takes PAUSE seconds for each answer.
Says every now and then what the process has; then how long Stop took, how many answers were called and
whether in the order of their numbers. Python 2.7.
"""
import sys
import time

import _vireon
import inventory

SAMPLES = 120


class Client(object):
    def __init__(self, pause):
        self.pause = pause
        self.count = 0
        self.last = -1
        self.is_in_order = True

    def __call__(self, event, server):
        number = int(server['friendlyName'])
        self.is_in_order = self.is_in_order and number > self.last
        self.last = number
        self.count += 1
        if self.pause:
            time.sleep(self.pause)


def main(seconds, pause):
    client = Client(pause)
    engine = _vireon.new_Vireon()
    _vireon.Vireon_SetInterVal(engine, 2 * seconds + 60)
    _vireon.Vireon_SetCallback(engine, client)
    _vireon.Vireon_SearchDevices(engine).disown()
    begin = time.time()
    for number in range(1, SAMPLES + 1):
        time.sleep(max(0, begin + number * seconds / SAMPLES - time.time()))
        inventory.say('sample', inventory.threads(), inventory.descriptors(), inventory.kilobytes())
    # What has been sent by then is called, if the callable keeps up.
    if not pause:
        before = -1
        while before != client.count:
            before = client.count
            time.sleep(2)
    begin = time.time()
    _vireon.Vireon_Stop(engine)
    took = time.time() - begin
    called = client.count
    time.sleep(2 * pause + 0.2)
    inventory.say('stopped', took, called, client.last, int(client.is_in_order), client.count - called)
    _vireon.Vireon_SetCallback(engine, None)
    _vireon.delete_Vireon(engine)
    inventory.say('rounds', 1)


if __name__ == '__main__':
    main(float(sys.argv[1]), float(sys.argv[2]))
