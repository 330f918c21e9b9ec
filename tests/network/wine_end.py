"""Programs whose end fails in Wine itself. Python 2.7 and 3.

There Wine first ends all other threads of the program. Now and then one of them holds a lock of Wine's own, for
which the end then waits for ever, or uses what goes meanwhile. It happens to about one in a hundred programs
whose threads are all busy then, on a machine that is busy too.
"""
import os

# The call, what it is to do, and the state of a lock that others wait for.
_FUTEX, _WAIT, _LOCKED = '202', '0x80', '0x2'


class FailedInWine(AssertionError):
    """Not the program's fault, so whoever started it does so once more."""


def hangs(process):
    """Whether it does there in that process, by its folder of /proc, which Wine shows on a drive. Such a lock is
    the C library's, and told by what is waited for: Windows programs have no others like it."""
    try:
        with open(os.path.join(process, 'syscall')) as file:
            call = file.read().split()
        tasks = os.listdir(os.path.join(process, 'task'))
    except EnvironmentError:
        return False  # it has ended meanwhile
    return len(tasks) == 1 and (call[0], call[2:4]) == (_FUTEX, [_WAIT, _LOCKED])


def one_hangs(group):
    """Whether one does in a process of that group."""
    processes = [int(name) for name in os.listdir('/proc') if name.isdigit()]
    return any(_group(process) == group and hangs('/proc/%d' % process) for process in processes)


def failed(errors):
    """Whether it did in a program under Wine that printed this."""
    return b'wine client error:' in errors


def _group(process):
    try:
        return os.getpgid(process)
    except EnvironmentError:
        return None
