"""Each of the module's functions, and each prototype of one that has several, while one allocation
after the other fails, of its own and of the interpreter that it asks for something."""
import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), '..', 'script'))

import faults

faults.turn_interpreter_calls()
import contract
import support
import vireon_probe as probe

_vireon = support._vireon
CALLS = ('allocation', 'interpreter')
MOST = 1000  # more than any function makes


class Target(object):
    """What _swigregister takes."""


class Case(object):
    """A function with arguments made anew for each call, and what has to follow a call."""

    def __init__(self, name, kinds, arguments=None, after=None):
        self.name, self.kinds = name, kinds
        self.function = getattr(_vireon, name)
        self.arguments = arguments or (lambda natives: natives.arguments(name, kinds))
        self.after = after or (lambda natives, arguments, result: None)


def delete(name):
    return lambda natives, arguments, result: result is None or getattr(_vireon, 'delete_' + name)(result)


def made(name):
    """Arguments of a delete_ function: an object of its own."""

    def arguments(natives):
        kinds = [kinds for each, kinds, _ in contract.FUNCTIONS if each == 'new_' + name][0] or []
        return (getattr(_vireon, 'new_' + name)(*natives.arguments('new_' + name, kinds)),)

    return arguments


def delete_again(name):
    # One that could not even begin has deleted nothing.
    def after(natives, arguments, result):
        if arguments[0].own():
            getattr(_vireon, 'delete_' + name)(arguments[0])

    return after


def with_task(natives):
    _vireon.CallbackTaskWorkerThread_addTask(natives.worker, natives.device)
    return (natives.worker,)


def take_tasks(natives, arguments, result):
    # A worker that has no engine gives None once it is empty.
    while _vireon.CallbackTaskWorkerThread_getTask(natives.worker) is not None:
        pass


def with_engine(natives):
    _vireon.CallbackTaskWorkerThread_m_pVireon_set(natives.worker, natives.engine)
    return (natives.worker,)


def without_engine(natives, arguments, result):
    _vireon.CallbackTaskWorkerThread_m_pVireon_set(natives.worker, None)


def with_callable(natives):
    _vireon.Vireon_SetCallback(natives.engine, lambda *arguments: None)
    return (natives.engine, '')


def without_callable(natives, arguments, result):
    _vireon.Vireon_SetCallback(natives.engine, None)


def with_element(kinds):
    def arguments(natives):
        natives.values['NPT_XmlElementNode *'] = probe.element()
        return tuple(natives.values[kind] for kind in kinds)

    return arguments


def without_element(natives, arguments, result):
    probe.delete_element(arguments[1])


def cases():
    special = {
        'Vireon_CallBack': (with_callable, without_callable),
        'Vireon__Callback': (
            lambda natives: with_callable(natives) + (natives.values['va_list'],),
            without_callable,
        ),
        'CallbackTaskWorkerThread_addTask': (None, take_tasks),
        'CallbackTaskWorkerThread_m_pVireon_get': (with_engine, without_engine),
        'Vireon_SetCallback': (lambda natives: (natives.engine, len), without_callable),
    }
    for name, kinds, _ in contract.FUNCTIONS:
        if name == contract.ISOLATED_ONLY:
            yield Case(name, kinds, None, lambda natives, arguments, result: natives.stop())
            continue
        prototypes = [kinds] if kinds is not None else [each for _, each in contract.OVERLOADS[name][1]]
        for each in prototypes:
            arguments, after = special.get(name, (None, None))
            if name.startswith('new_'):
                after = delete(name[4:])
            elif name.startswith('delete_'):
                yield Case(name, each)
                arguments, after = made(name[7:]), delete_again(name[7:])
            elif name.endswith('_swigregister'):
                arguments = lambda natives: (Target,)
            elif 'NPT_XmlElementNode *' in each:
                arguments, after = with_element(each), without_element
            elif name in contract.OVERLOADS:
                arguments = lambda natives, each=each: tuple(natives.values[kind] for kind in each)
            yield Case(name, each, arguments, after)


class Natives(contract.Natives):
    def stop(self):
        _vireon.Vireon_Stop(self.engine)
        _vireon.Vireon_isClosed_set(self.engine, False)


def run(case, natives, call=None, nth=0):
    """(whether the planned call failed, whether the function did)"""
    arguments = case.arguments(natives)
    result, failed = None, False
    if call:
        faults.plan(call, nth)
    try:
        result = case.function(*arguments)
    except MemoryError:
        failed = True
    except SystemError:
        # The callable's own failure, which was printed.
        failed = True
        if case.name != 'Vireon__Callback':
            raise
    finally:
        happened = call and faults.end()
    case.after(natives, arguments, result)
    return happened, failed


def fail_once(case, natives, call, nth):
    """None when there is no such call, else how many objects more are there than there should be."""
    before = faults.living()
    with support.Quiet():
        run(case, natives)
        kept = faults.living() - before  # by results that no script class destroys
        before = faults.living()
        happened, failed = run(case, natives, call, nth)
        _, failed_again = run(case, natives)
    assert not failed_again, 'fails ever after'
    assert happened or not failed, 'MemoryError without a reason'
    if not happened:
        return None
    faults.injected[call] += 1
    return faults.living() - before - kept * (1 if failed else 2)


def walk(case, natives, call):
    with support.Quiet():
        for _ in range(3):  # what is made once and kept
            run(case, natives)
    nth = 0
    while True:
        nth += 1
        try:
            left = fail_once(case, natives, call, nth)
            if left is None:
                return
            # Something may be kept for the next time, but not each time.
            if left > 0 and case.name != contract.ISOLATED_ONLY:
                again = [fail_once(case, natives, call, nth) for _ in range(3)]
                assert min(again) <= 0, 'leaves %r objects behind' % again
        except Exception as error:
            complaints.append(
                '%s%r, %s %d: %s: %s' % (case.name, tuple(case.kinds), call, nth, type(error).__name__, error)
            )
            if nth > MOST:
                return


complaints = []


def main():
    descriptors, threads = faults.descriptors(), faults.threads()
    natives = Natives()
    names = set()
    for case in cases():
        names.add(case.name)
        for call in CALLS:
            walk(case, natives, call)
    assert len(names) == 80, len(names)
    natives.delete()
    assert faults.threads() == threads, 'threads are left'
    assert faults.descriptors() == descriptors, 'descriptors are left'
    faults.tell()
    for complaint in complaints:
        print('complaint ' + complaint)
    return bool(complaints)


if __name__ == '__main__':
    sys.exit(main())
