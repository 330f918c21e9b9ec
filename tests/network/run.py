"""Runs the network tests side by side by pytest, since most of their time is waiting for the clock.

    python3 run.py [--verbose] [-j JOBS] [--folder FOLDER] [pytest's options] [part of a test's name ...]

The tests run in a network namespace of their own from the start (scripts/private-network.sh), in
which they may make others without any privileges outside. Others than the network tests, which use the
same ways, lie in a folder of their own.

VIREON_MODULE_DIR names the folder with the module, VIREON_PYTHON its Python 2.7. For other ways of
running the module: VIREON_DRIVER_PYTHON is the interpreter's command line with what comes before
it, VIREON_DRIVER_PRELOAD a library to load first (a sanitizer's), and VIREON_TIME_FACTOR stretches
the tolerated delays for a slow build. VIREON_JOBS is how many tests run at a time unless -j says it. CI=true fails
what would be skipped. VIREON_SEED repeats what a test drew by chance; each such test prints its own, which is
shown when it fails or with -rP.

What was on the wire of a test that failed is kept (wire_files.py) for programs that show captures.
"""

import argparse
import importlib.util
import os
import signal
import subprocess
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
PRIVATE_NETWORK = os.path.join(HERE, '..', '..', 'scripts', 'private-network.sh')


def enter_private_network(interpreter=sys.executable):
    """Goes on in a network of its own; where none can be made each test says that and why."""
    if 'VIREON_PRIVATE_NETWORK' in os.environ:
        return
    tried = subprocess.run([PRIVATE_NETWORK, 'true'], stderr=subprocess.PIPE, universal_newlines=True)
    os.environ['VIREON_PRIVATE_NETWORK'] = ' '.join(tried.stderr.split())
    if tried.returncode == 0:
        os.execv(PRIVATE_NETWORK, [PRIVATE_NETWORK, interpreter, '-B'] + sys.argv)


def interpreter_with_pytest():
    """The system's, for which set-up installs it, where this one has none."""
    return sys.executable if importlib.util.find_spec('xdist') else '/usr/bin/python3'


def chosen(parts):
    """The tests of which any part is part of the name, module and class before it, as pytest wants it said."""
    return ' or '.join('(%s)' % ' and '.join(part.split('.')) for part in parts)


def main():
    # A shell has what it runs in the background ignore it, and some tests interrupt what they started.
    signal.signal(signal.SIGINT, signal.default_int_handler)
    interpreter = interpreter_with_pytest()
    enter_private_network(interpreter)
    if interpreter != sys.executable:
        os.execv(interpreter, [interpreter, '-B'] + sys.argv)
    parser = argparse.ArgumentParser()
    parser.add_argument('-v', '--verbose', action='store_true', help='name the tests that pass too')
    parser.add_argument('-j', '--jobs', default=os.environ.get('VIREON_JOBS', str(2 * os.cpu_count())))
    parser.add_argument('--folder', type=os.path.abspath, default=HERE, help='where the tests are')
    options, others = parser.parse_known_args()
    parts = [word for word in others if not word.startswith('-')]

    # Where pytest's processes tell each other what was done once more.
    subprocess.run(['ip', 'link', 'set', 'lo', 'up'], stderr=subprocess.DEVNULL)
    import pytest  # which the tests' own interpreter need not have

    sys.path.insert(0, HERE)
    # Processes, not threads: a thread that is held up would show as a late datagram.
    arguments = ['-p', 'xdist', '-n', options.jobs, '-p', 'spread', '-p', 'wire_files']
    arguments += ['-p', 'no:cacheprovider']
    # What failed in Wine itself is done once more, and told.
    arguments += ['-p', 'rerunfailures', '--reruns', '1', '--only-rerun', 'FailedInWine']
    arguments += ['-rfEsR', '--tb=short', '--durations=10'] + [
        word for word in others if word.startswith('-')
    ]
    if options.verbose:
        arguments += ['--verbose']
    if parts:
        arguments += ['-k', chosen(parts)]
    return pytest.main(arguments + ['--rootdir', options.folder, options.folder])


if __name__ == '__main__':
    sys.exit(main())
