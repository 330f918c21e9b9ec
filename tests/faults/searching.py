"""searching.py CALL THREAD ERROR [STEP [FIRST]]: the life of an engine, from its making over a search
with answers to its deletion, over and over, each time with the next call failing once on one of its
threads: 0 is the script's, the others are the module's in the order of their making."""
import sys
import time

import faults

faults.turn_interpreter_calls()
import _vireon

INTERVAL_SECONDS = 0.04
# Of each sender, before a fault that is still to come and after one: more than one search of its has
# been answered then.
ENOUGH = 3
SENDERS = 2


class Engine(object):
    """What a script does; what fails for want of memory it does once more."""

    def __init__(self):
        self.refused = []
        self.found = []
        # None is what a constructor gives that finds no memory.
        self.engine = self.do(_vireon.new_Vireon) or _vireon.new_Vireon()
        self.do(_vireon.Vireon_SetInterVal, self.engine, INTERVAL_SECONDS)
        self.do(_vireon.Vireon_SetCallback, self.engine, self.on_event)

    def do(self, function, *arguments):
        try:
            return function(*arguments)
        except MemoryError:
            assert faults.happened(), 'MemoryError without a reason'
            self.refused.append(function.__name__)
        return function(*arguments)

    def on_event(self, event, server):
        port, number = server['friendlyName'].split()
        self.found.append((int(port), int(number)))

    def search(self):
        global numbers_kept
        self.do(_vireon.Vireon_SearchDevices, self.engine).disown()
        numbers_kept += 1

    def ports(self, since=-1):
        """Those senders that found enough behind this answer."""
        found = [port for port, number in list(self.found) if number > since]
        return [port for port in set(found) if found.count(port) >= ENOUGH]

    def last(self):
        return max([number for _, number in self.found] or [-1])

    def stop(self):
        begin = time.time()
        self.do(_vireon.Vireon_Stop, self.engine)
        took = time.time() - begin
        assert took < LONGEST_STOP_SECONDS, 'Stop took %g s' % took

    def delete(self):
        self.do(_vireon.delete_Vireon, self.engine)


LONGEST_STOP_SECONDS = 1


class Printed(object):
    """What the module prints of an exception that it has nobody to give to."""

    def __init__(self):
        self.text = ''

    def write(self, text):
        self.text += text


def live(call, nth, thread, error):
    """Whether the call was reached."""
    faults.plan(call, nth, thread, error)
    raised, printed = faults.raised(), Printed()
    sys.stderr = printed
    engine = Engine()
    engine.search()
    enough = lambda: len(engine.ports()) >= SENDERS
    faults.becomes_true(lambda: faults.happened() or enough(), 10)
    if faults.happened():
        last = engine.last()
        # Where a thread or a socket could not be made the script gets fewer senders, and can ask for
        # more. A thread that runs goes on.
        wanted = SENDERS if thread else 1
        if thread == 0 and not faults.becomes_true(lambda: len(engine.ports(last)) >= wanted, 1):
            fewer.append((call, nth))
            engine.search()
        faults.wait(
            lambda: len(engine.ports(last)) >= wanted, 'answers of %d senders: %r' % (wanted, engine.refused)
        )
    else:
        assert enough(), 'only %r answers without a fault' % engine.found
    engine.stop()
    sys.stderr = sys.__stderr__
    if call == 'interpreter' and thread:
        told, raised = printed.text.count('MemoryError'), faults.raised() - raised
        assert told == raised, '%d of %d exceptions are printed' % (told, raised)
    engine.delete()
    return faults.end()


fewer = []


# What a search gives has no script class that would destroy it.
numbers_kept = 0


def inventory():
    return faults.descriptors(), faults.threads(), faults.living() - numbers_kept


def left_behind(before):
    return [(was, now) for was, now in zip(before, inventory()) if now > was]


def main():
    call, thread, error = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
    step, nth = [int(word) for word in (sys.argv[4:] + ['1', '1'][len(sys.argv[4:]) :])]
    for _ in range(2):
        live(call, 0, thread, error)
    complaints = 0
    while True:
        before = inventory()
        try:
            happened = live(call, nth, thread, error)
            if not faults.becomes_true(lambda: not left_behind(before)):
                # Something may be kept for the next time, but not each time.
                before = inventory()
                live(call, nth, thread, error)
                assert faults.becomes_true(lambda: not left_behind(before)), 'leaves %r' % left_behind(before)
        except Exception as failure:
            print(
                'complaint %s %d on thread %d by error %d: %s: %s'
                % (call, nth, thread, error, type(failure).__name__, failure)
            )
            sys.stdout.flush()
            complaints += 1
            if complaints == 10:
                break
            happened = True
        if not happened:
            break
        faults.injected[call] += 1
        nth += step
    faults.tell()
    if fewer:
        print('searched again after %r' % fewer)
    return complaints > 0


if __name__ == '__main__':
    sys.exit(main())
