"""mixing.py SEED FIRST COUNT [fork]

Rounds in which some script threads do with engines and workers, in random order, all that scripts may:
search, stop, open again, set callables, make and destroy, collect garbage and, where asked for, fork. A
round ends when its threads have ended and all that it made is gone. Each draws from the seed and its own
number, so that a round can be done again alone. Python 2.7.
"""
import gc
import os
import random
import signal
import sys
import thread
import threading
import time
import traceback

import _vireon
import inventory

LONGEST_ROUND_SECONDS = 60
# The interpreter then changes threads only where one waits.
NEVER = 2**31 - 1
forks = 'fork' in sys.argv


class Vireon(object):
    """As a script layer dresses it: destroyed when it is forgotten."""

    __swig_destroy__ = _vireon.delete_Vireon

    def __init__(self):
        self.this = _vireon.new_Vireon()


_vireon.Vireon_swigregister(Vireon)


def complain(text):
    """Ends the process: what follows a fault tells nothing. In one piece, since others may write."""
    inventory.say('complaint in round', current.number, text)
    os._exit(3)


def search(engine):
    _vireon.Vireon_SearchDevices(engine).disown()


class Item(object):
    """Something that one thread destroys while others use it. They look at is_alive first and then call,
    between which no other thread runs."""

    def __init__(self, pointer):
        self.pointer = pointer
        self.is_alive = True


class Round(object):
    def __init__(self, seed, number):
        self.number = number
        self.seed = '%s %d' % (seed, number)
        self.draw = random.Random(self.seed)
        # Things are destroyed under those that use them only where no thread runs between a look and the
        # call; elsewhere threads change anywhere.
        self.destroys = self.draw.random() < 0.7
        self.deleting = threading.Lock()
        self.engines = []
        self.workers = []
        self.records = {}
        self.children = []
        self.scripts = set([thread.get_ident()])

    # What threads do. Each gets the thread's own random source.

    def engine(self, draw):
        alive = [item for item in self.engines if item.is_alive]
        return draw.choice(alive) if alive else self.make_engine(draw)

    def make_engine(self, draw):
        item = Item(Vireon() if draw.random() < 0.5 else _vireon.new_Vireon())
        _vireon.Vireon_SetInterVal(item.pointer, draw.choice([0.004, 0.03, 5.0]))
        self.set_callback(draw, item)
        self.engines.append(item)
        return item

    def set_callback(self, draw, item):
        kind = draw.choice(['nothing', 'nothing', 'none', 'sleep', 'raise', 'act', 'act'])
        if kind == 'none':
            _vireon.Vireon_SetCallback(item.pointer, None)
            return
        seed = draw.random()

        def callback(event, server, calls=[0]):
            calls[0] += 1
            own = random.Random('%r %d' % (seed, calls[0]))
            if kind == 'sleep':
                time.sleep(own.uniform(0, 0.004))
            elif kind == 'raise' and calls[0] == 1:
                raise Expected('on purpose')
            elif kind == 'act':
                self.act_in_callback(own, item)

        _vireon.Vireon_SetCallback(item.pointer, callback)

    def act_in_callback(self, draw, item):
        """With its own engine only: of two callables that stop each other's, each waits for the other."""
        if not item.is_alive:
            return
        act = draw.choice(['stop', 'search', 'set', 'close', 'open', 'delete', 'collect', 'fork'])
        if act == 'stop':
            _vireon.Vireon_Stop(item.pointer)
        elif act == 'search':
            self.search(draw, item)
        elif act == 'set':
            self.set_callback(draw, item)
        elif act in ('close', 'open'):
            _vireon.Vireon_isClosed_set(item.pointer, act == 'close')
        elif act == 'delete':
            self.delete(item)
        elif act == 'collect':
            gc.collect()
        elif forks and thread.get_ident() not in self.scripts and draw.random() < 0.1:
            # The child has this dispatch thread and returns from the callable, which ends it.
            child = os.fork()
            if child == 0:
                signal.alarm(LONGEST_ROUND_SECONDS)
            else:
                self.children.append(child)

    def search(self, draw, item):
        # Without a bound senders would outnumber the processors, each with a search every few ms.
        item.searches = getattr(item, 'searches', 0) + 1
        if item.searches <= 6:
            search(item.pointer)

    def do_search(self, draw):
        item = self.engine(draw)
        if item.is_alive:
            self.search(draw, item)

    def do_stop(self, draw):
        item = self.engine(draw)
        if item.is_alive:
            item.searches = 0
            _vireon.Vireon_Stop(item.pointer)

    def do_set_callback(self, draw):
        item = self.engine(draw)
        if item.is_alive:
            self.set_callback(draw, item)

    def do_open(self, draw):
        item = self.engine(draw)
        if item.is_alive:
            _vireon.Vireon_isClosed_set(item.pointer, draw.random() < 0.3)

    def do_call(self, draw):
        item = self.engine(draw)
        if item.is_alive:
            _vireon.Vireon_CallBack(item.pointer, draw.choice(['', 's', 'is']))

    def do_delete(self, draw):
        item = self.engine(draw)
        if item.is_alive and self.destroys:
            self.delete(item)

    def delete(self, item):
        if not self.destroys:
            return
        # At a round's end its callable may be about to, and has looked long before.
        with self.deleting:
            if not item.is_alive:
                return
            item.is_alive = False
        _vireon.Vireon_Stop(item.pointer)
        _vireon.delete_Vireon(item.pointer)

    def do_cycle(self, draw):
        """An engine that only the collector finds."""
        engine = Vireon()
        engine.itself = engine
        if draw.random() < 0.5:
            search(engine)
            _vireon.Vireon_Stop(engine)
        del engine
        gc.collect()

    def do_forget(self, draw):
        engine = Vireon()
        # One that is only closed is waited for, an interval at most.
        _vireon.Vireon_SetInterVal(engine, 0.01)
        _vireon.Vireon_SetCallback(engine, lambda *_: None)
        if draw.random() < 0.5:
            search(engine)
        _vireon.Vireon_isClosed_set(engine, True)

    # Workers of the scripts' own

    def worker(self, draw):
        alive = [item for item in self.workers if item.is_alive]
        if alive and draw.random() < 0.8:
            return draw.choice(alive)
        item = Item(_vireon.new_CallbackTaskWorkerThread(self.engine(draw).pointer))
        self.workers.append(item)
        return item

    def do_add(self, draw):
        item = self.worker(draw)
        record = _vireon.new_ZoSsdpDeviceInfo()
        record.disown()
        if item.is_alive:
            self.records[int(record)] = record
            _vireon.CallbackTaskWorkerThread_addTask(item.pointer, record)
        else:
            _vireon.delete_ZoSsdpDeviceInfo(record)

    def do_take(self, draw):
        item = self.worker(draw)
        if item.is_alive:
            found = _vireon.CallbackTaskWorkerThread_getTask(item.pointer)
            if found is not None:
                _vireon.delete_ZoSsdpDeviceInfo(self.records.pop(int(found)))

    def do_close_worker(self, draw):
        item = self.worker(draw)
        if item.is_alive:
            _vireon.CallbackTaskWorkerThread_Close(item.pointer)

    def do_set_engine(self, draw):
        engine, item = self.engine(draw), self.worker(draw)
        if item.is_alive and engine.is_alive:
            pointer = engine.pointer if draw.random() < 0.5 else None
            _vireon.CallbackTaskWorkerThread_m_pVireon_set(item.pointer, pointer)

    def do_delete_worker(self, draw):
        item = self.worker(draw)
        if item.is_alive and self.destroys:
            item.is_alive = False
            _vireon.delete_CallbackTaskWorkerThread(item.pointer)

    def do_search_worker(self, draw):
        # A number of seconds as the module has it.
        interval = _vireon.ZoSsdpDeviceInfo_GetLeaseTime(leased)
        worker = _vireon.new_SsdpSearchWorkerThread(self.engine(draw).pointer, None, None, interval)
        _vireon.SsdpSearchWorkerThread_IsStopped(worker)
        _vireon.SsdpSearchWorkerThread_Close(worker)
        _vireon.delete_SsdpSearchWorkerThread(worker)

    def do_collect(self, draw):
        gc.collect()

    def do_fork(self, draw):
        if not forks or draw.random() < 0.7:
            return
        child = os.fork()
        if child:
            self.children.append(child)
            return
        signal.alarm(LONGEST_ROUND_SECONDS)
        code = 1
        try:
            # In the child there is this thread alone, and so it may go over all of them.
            for item in self.engines:
                if item.is_alive and draw.random() < 0.7:
                    if draw.random() < 0.3:
                        _vireon.Vireon_isClosed_set(item.pointer, False)
                        search(item.pointer)
                    _vireon.Vireon_Stop(item.pointer)
                    if self.destroys:
                        _vireon.delete_Vireon(item.pointer)
            code = 0
        except BaseException:
            inventory.say('complaint in a child', self.number, traceback.format_exc())
        os._exit(code)

    ACTS = (
        [do_search] * 5
        + [do_stop, do_open] * 3
        + [do_set_callback, do_call, do_add, do_take, do_delete, do_set_engine] * 2
        + [do_cycle, do_forget, do_close_worker, do_delete_worker, do_search_worker, do_collect, do_fork]
    )

    def act(self, number, count):
        draw = random.Random('%s %d' % (self.seed, number))
        self.scripts.add(thread.get_ident())
        try:
            for _ in range(count):
                draw.choice(self.ACTS)(self, draw)
                pause = draw.random()
                if pause < 0.5:
                    time.sleep(0 if pause < 0.3 else draw.uniform(0, 0.003))
        except BaseException:
            complain(traceback.format_exc())

    def run(self):
        sys.setcheckinterval(NEVER if self.destroys else self.draw.choice([1, 7, 100]))
        self.make_engine(self.draw)
        count = self.draw.randrange(2, 6)
        threads = [
            threading.Thread(target=self.act, args=(number, self.draw.randrange(4, 16)))
            for number in range(count)
        ]
        for each in threads:
            each.start()
        self.end(threads)

    def end(self, threads):
        limit = time.time() + LONGEST_ROUND_SECONDS
        while any(each.isAlive() for each in threads):
            if time.time() > limit:
                frames = [traceback.format_stack(frame) for frame in sys._current_frames().values()]
                complain('hangs\n' + '\n'.join(''.join(frame) for frame in frames))
            # Those that wait for a record end with their worker.
            for item in list(self.workers):
                if item.is_alive:
                    _vireon.CallbackTaskWorkerThread_Close(item.pointer)
            time.sleep(0.001)
        self.destroys = True
        for item in self.engines:
            if item.is_alive:
                self.delete(item)
        for item in self.workers:
            if item.is_alive:
                _vireon.delete_CallbackTaskWorkerThread(item.pointer)
        for record in self.records.values():
            _vireon.delete_ZoSsdpDeviceInfo(record)
        for child in self.children:
            status = os.waitpid(child, 0)[1]
            if status != 0:
                complain('a forked child ended with the status %d' % status)


class Expected(Exception):
    pass


leased = _vireon.new_ZoSsdpDeviceInfo()


class Errors(object):
    """What callables print is expected or a complaint."""

    def __init__(self):
        self.text = ''

    def write(self, text):
        self.text += text
        if self.text.endswith('\n'):
            line, self.text = self.text, ''
            if line[:1] not in ' T' and not line.startswith(('__main__.Expected: ', 'swig/python')):
                os.write(2, line)


def what_there_is():
    return inventory.threads(), inventory.descriptors(), inventory.references()


def settled():
    """What there is once threads that have nothing more to do have ended."""
    limit = time.time() + 5
    now, before = what_there_is(), None
    while now != before and time.time() < limit:
        time.sleep(0.05)
        now, before = what_there_is(), now
    return now


def main():
    """Says what there is after a quarter of the rounds and after all."""
    global current
    seed, first, count = sys.argv[1], int(sys.argv[2]), int(sys.argv[3])
    gc.disable()
    sys.stdout = sys.stderr = Errors()
    for number in range(first, first + count):
        current = Round(seed, number)
        current.run()
        current = Round(seed, number)
        gc.collect()
        if number - first in (count // 4, count - 1):
            inventory.say('inventory', *settled())
    inventory.say('rounds', count)
    _vireon.delete_ZoSsdpDeviceInfo(leased)


if __name__ == '__main__':
    main()
