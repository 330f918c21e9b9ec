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

sys.path.append(os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), 'network'))
import wine_end

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


def hangs_in_wine(seed, number):
    """Whether Wine itself hangs in the end of that round's process."""
    processes = r'Z:\proc'
    for process in os.listdir(processes) if os.path.isdir(processes) else []:
        try:
            with open(os.path.join(processes, process, 'cmdline'), 'rb') as file:
                words = file.read().rstrip('\0').split('\0')
        except EnvironmentError:
            continue  # no process, or one that has ended
        if words[-3:] == [__file__, seed, str(number)] and wine_end.hangs(os.path.join(processes, process)):
            return True
    return False


def run(seed, number):
    """A round in a process of its own: the code that it ended with, none if Wine hung, and what it printed."""
    child = subprocess.Popen([sys.executable, '-B', __file__, seed, str(number)], stderr=subprocess.PIPE)
    hung = []

    def kill():
        hung.append(hangs_in_wine(seed, number))
        child.kill()

    killer = threading.Timer(LIMIT_SECONDS, kill)
    killer.start()
    errors = child.communicate()[1]
    killer.cancel()
    return None if hung == [True] else child.returncode, errors


def main(seed, first, count):
    for number in range(first, first + count):
        code, errors = run(seed, number)
        if code is None:
            inventory.say('round', number, "hung in Wine's own end and is done once more")
            code, errors = run(seed, number)
        if code != 0:
            inventory.say('complaint in exit', number, code, errors)
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
