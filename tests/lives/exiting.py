"""exiting.py SEED FIRST COUNT, or exiting.py SEED NUMBER

Processes in which the interpreter ends while script threads, which nobody waits for, go on doing in random
order what mixing.py has. Each draws from the seed and its number. Python 2.7.
"""
import atexit
import os
import random
import signal
import subprocess
import sys
import thread
import threading
import time
import traceback

import _vireon
import inventory
import mixing

LIMIT_SECONDS = 60


def go_on(round_, number):
    draw = random.Random('%s %d' % (round_.seed, number))
    # The end of the interpreter takes away what the script needs, without a word to its threads.
    try:
        while True:
            draw.choice(round_.ACTS)(round_, draw)
            time.sleep(draw.uniform(0, 0.003))
    except BaseException:
        pass


def leave(seed, number):
    mixing.leased.disown()
    mixing.current = round_ = mixing.Round(seed, number)
    draw = round_.draw
    sys.setcheckinterval(mixing.NEVER if round_.destroys else 1)
    # What a thread prints whose interpreter ends is the interpreter's own.
    sys.stdout = sys.stderr = open(os.devnull, 'w')
    first = round_.make_engine(draw)
    way = draw.choice(['return', 'exit', 'interrupt', 'handler'])
    if way == 'interrupt':
        # Whoever started this in the background may have had it ignored.
        signal.signal(signal.SIGINT, signal.default_int_handler)
        # An interrupt lets threads change anywhere, also between a look and the call.
        round_.destroys = False
    if way == 'handler':
        atexit.register(lambda: first.is_alive and _vireon.Vireon_Stop(first.pointer))
    for each in range(draw.randrange(2, 6)):
        runner = threading.Thread(target=go_on, args=(round_, each))
        runner.daemon = True
        runner.start()
    pause = draw.uniform(0, 0.15)
    if way == 'interrupt':
        timer = threading.Timer(pause, thread.interrupt_main)
        timer.daemon = True
        try:
            timer.start()
            while True:
                time.sleep(0.01)
        except KeyboardInterrupt:
            return
    time.sleep(pause)
    if way == 'exit':
        sys.exit()


def main(seed, first, count):
    for number in range(first, first + count):
        child = subprocess.Popen([sys.executable, '-B', __file__, seed, str(number)], stderr=subprocess.PIPE)
        killer = threading.Timer(LIMIT_SECONDS, child.kill)
        killer.start()
        errors = child.communicate()[1]
        killer.cancel()
        if child.returncode != 0:
            inventory.say('complaint in exit', number, child.returncode, errors)
            return 3
    inventory.say('rounds', count)


if __name__ == '__main__':
    if len(sys.argv) == 3:
        try:
            leave(sys.argv[1], int(sys.argv[2]))
        except Exception:
            os.write(2, traceback.format_exc())
            raise
    else:
        sys.exit(main(sys.argv[1], int(sys.argv[2]), int(sys.argv[3])))
