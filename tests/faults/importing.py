"""The import of the module, and the loss of what it registered, each in a process of its own for each call
that fails. The import raises MemoryError or succeeds; whatever happened, the module works then."""
import os
import sys
import traceback

import faults

CALLS = ('allocation', 'interpreter', 'pthread_mutex_init', 'pthread_mutexattr_init')
MOST = 2000  # more than any of these makes


def use(module):
    assert len(dir(module)) == 84, 'the module lacks something: %d' % len(dir(module))
    engine = module.new_Vireon()
    seen = []
    module.Vireon_SetCallback(engine, lambda *arguments: seen.append(arguments))
    module.Vireon_CallBack(engine, '')
    module.delete_Vireon(engine)
    assert seen == [()], seen


def import_twice(call, nth):
    faults.plan(call, nth)
    try:
        __import__('_vireon')
    except MemoryError:
        assert faults.happened(), 'MemoryError without a reason'
    except ImportError as error:
        # What the interpreter says when there is no module and no exception either.
        assert faults.happened(), error
    faults.end()
    import _vireon

    use(_vireon)


def lose_the_classes(call, nth):
    import _vireon

    class Engine(object):
        __swig_destroy__ = _vireon.delete_Vireon

    _vireon.Vireon_swigregister(Engine)
    kept = sys.modules.pop('swig_runtime_data3')
    faults.plan(call, nth)
    del kept
    faults.end()
    use(_vireon)


def in_a_child(scenario, call, nth):
    """Its wait status."""
    child = os.fork()
    if child:
        return os.waitpid(child, 0)[1]
    try:
        scenario(call, nth)
    except BaseException:
        traceback.print_exc()
        os._exit(2)
    os._exit(0)


def main():
    faults.turn_interpreter_calls()
    complaints = 0
    for scenario in (import_twice, lose_the_classes):
        for call in CALLS:
            for nth in range(1, MOST):
                faults.forget()
                status = in_a_child(scenario, call, nth)
                if status != 0:
                    print('complaint %s, %s %d: status %d' % (scenario.__name__, call, nth, status))
                    complaints += 1
                if not faults.happened():
                    break
                faults.injected[call] += 1
    faults.tell()
    return complaints > 0


if __name__ == '__main__':
    sys.exit(main())
