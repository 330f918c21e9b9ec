"""The tests' handle on the program that runs the module (search_driver.py)."""

import ctypes
import json
import os
import shlex
import signal
import subprocess
import threading
import time

from wine_end import FailedInWine, failed, hangs

_HERE = os.path.dirname(os.path.abspath(__file__))
_DRIVER = os.path.join(_HERE, 'search_driver.py')
_PR_SET_PDEATHSIG = 1

# The runtime says this of every owned result whose type has no script class; it is expected.
_EXPECTED_PRINT = b'swig/python detected a memory leak of type '


def die_with_parent():
    ctypes.CDLL(None).prctl(_PR_SET_PDEATHSIG, signal.SIGKILL)


def driver_command(namespace=None):
    """The interpreter that runs the module, with what stands before it (a wrapper, Wine). One for a namespace
    that has a Wine brings none of its own."""
    words = os.environ.get('VIREON_PYTHON', 'python2.7')
    if namespace is None or not namespace.environment:
        words = os.environ.get('VIREON_DRIVER_PYTHON') or words
    return shlex.split(words)


def module_directory():
    return os.environ.get('VIREON_MODULE_DIR', '')


def start_driver(namespace, *words):
    """The interpreter that runs the module, inside a namespace and on pipes; it ends with the test's process."""
    environment = dict(os.environ, VIREON_MODULE_DIR=module_directory(), **namespace.environment)
    # Wine's interpreter hands these on to a console that the pipes are not.
    environment.pop('PYTHONUNBUFFERED', None)
    environment['PYTHONDONTWRITEBYTECODE'] = '1'
    if 'VIREON_DRIVER_PRELOAD' in os.environ:
        environment['LD_PRELOAD'] = os.environ['VIREON_DRIVER_PRELOAD']
    with namespace.entered():
        return subprocess.Popen(
            driver_command(namespace) + ['-u', *words],
            env=environment,
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            preexec_fn=die_with_parent,
        )


def brings_its_wine():
    """Whether that interpreter needs a Wine, for each namespace one of its own."""
    return 'VIREON_DRIVER_PYTHON' in os.environ


class Found:
    """One call of the script's callable."""

    def __init__(self, event):
        self.time = event['time']
        self.event = event

    @property
    def values(self):
        """The dictionary: text keys, values as the bytes that the script got."""
        return {key[1]: value[1].encode('latin-1') for key, value in self.event['entries']}

    @property
    def name(self):
        return self.values['friendlyName']


class Searcher:
    """Runs the module inside a namespace. Every wait has its limit; a late one fails the test."""

    def __init__(self, namespace, interval=None):
        self.process = start_driver(namespace, _DRIVER)
        self._changed = threading.Condition()
        self._replies = {}
        self._found = []
        self._stopped = []
        self._ready = None
        self._number = 0
        self._errors = b''
        self._ended = False
        self._readers = [
            threading.Thread(target=run, daemon=True) for run in (self._read_events, self._read_errors)
        ]
        for reader in self._readers:
            reader.start()
        self._wait(lambda: self._ready, 60, 'the driver to start')
        self.system = self._ready['system']
        self.call('callback', kind='client')
        if interval is not None:
            self.call('interval', seconds=interval)

    def _read_events(self):
        for line in self.process.stdout:
            event = json.loads(line.decode('utf-8'))
            with self._changed:
                kind = event['event']
                if kind == 'reply':
                    self._replies[event['id']] = event
                elif kind == 'found':
                    self._found.append(Found(event))
                elif kind == 'stopped':
                    self._stopped.append(event['seconds'])
                else:
                    self._ready = event
                self._changed.notify_all()
        with self._changed:
            self._ended = True
            self._changed.notify_all()

    def _read_errors(self):
        for line in self.process.stderr:
            with self._changed:
                self._errors += line
                self._changed.notify_all()

    def _wait(self, condition, timeout, what):
        deadline = time.monotonic() + timeout
        with self._changed:
            while not condition():
                remaining = deadline - time.monotonic()
                if remaining <= 0 or self._ended:
                    raise AssertionError(
                        'waited %s for %s; its errors:\n%s'
                        % (
                            'in vain (the driver has ended)' if self._ended else '%gs' % timeout,
                            what,
                            self._errors.decode('utf-8', 'replace'),
                        )
                    )
                self._changed.wait(remaining)
            return condition()

    def start(self, op, **arguments):
        """Sends a command and returns its number without waiting for it."""
        self._number += 1
        command = dict(arguments, op=op, id=self._number)
        self.process.stdin.write((json.dumps(command) + '\n').encode())
        self.process.stdin.flush()
        return self._number

    def finish(self, number, timeout=20):
        reply = self._wait(lambda: self._replies.get(number), timeout, 'reply %d' % number)
        if reply['error'] is not None:
            raise AssertionError('the driver answered: ' + reply['error'])
        return reply['result']

    def call(self, op, timeout=20, **arguments):
        return self.finish(self.start(op, **arguments), timeout)

    def search(self):
        return self.call('search')

    def stop(self, timeout=20):
        """Stops the search; gives the seconds that it took."""
        return self.call('stop', timeout)

    def found(self):
        with self._changed:
            return list(self._found)

    def wait_found(self, condition, what, timeout=10):
        """Waits until the condition holds for the list of calls so far; returns that list."""
        self._wait(lambda: condition(self._found), timeout, what)
        return self.found()

    def wait_name(self, name, timeout=10):
        """Waits for a call about the server of this name and returns the first such call."""
        calls = self.wait_found(
            lambda found: any(call.name == name for call in found), 'a call about %r' % name, timeout
        )
        return next(call for call in calls if call.name == name)

    def wait_stopped(self, count, timeout=20):
        """Waits for that many stops outside the main thread; gives the seconds each took."""
        self._wait(lambda: len(self._stopped) >= count, timeout, '%d stops' % count)
        with self._changed:
            return list(self._stopped)

    def errors(self):
        """What was printed to the errors, without the lines that every run prints."""
        with self._changed:
            lines = self._errors.splitlines(True)
        return b''.join(line for line in lines if not line.startswith(_EXPECTED_PRINT))

    def wait_errors(self, text, count=1, timeout=10):
        self._wait(lambda: self._errors.count(text) >= count, timeout, 'the print of %r' % text)
        return self.errors()

    def alive(self):
        return self.process.poll() is None

    def processor_seconds(self):
        with open('/proc/%d/stat' % self.process.pid) as file:
            parts = file.read().rsplit(')', 1)[1].split()
        return (int(parts[11]) + int(parts[12])) / os.sysconf('SC_CLK_TCK')

    def thread_count(self):
        return len(os.listdir('/proc/%d/task' % self.process.pid))

    def end(self, timeout=20):
        """Ends the script without another command; gives the exit code."""
        self.process.stdin.close()
        try:
            self.process.wait(timeout)
        except subprocess.TimeoutExpired:
            in_wine = self.system == 'nt' and hangs('/proc/%d' % self.process.pid)
            self.kill()
            raise (FailedInWine if in_wine else AssertionError)(
                'the driver did not end within %gs; its errors:\n%s'
                % (timeout, self._errors.decode('utf-8', 'replace'))
            )
        self._join()
        code = self.process.returncode
        if self.system == 'nt' and failed(self._errors):
            raise FailedInWine('the driver ended with %d; its errors:\n%r' % (code, self._errors))
        return code

    def kill(self):
        self.process.kill()
        self.process.wait()
        self._join()

    def _join(self):
        for reader in self._readers:
            reader.join()
        for pipe in (self.process.stdin, self.process.stdout, self.process.stderr):
            pipe.close()
