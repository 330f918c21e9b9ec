"""Runs the network tests side by side, since most of their time is waiting for the clock.

    python3 run.py [--verbose] [-j JOBS] [--folder FOLDER] [part of a test's name ...]

The tests run in a network namespace of their own from the start (scripts/private-network.sh), in
which they may make others without any privileges outside. Others than the network tests, which use the
same ways, lie in a folder of their own.

VIREON_MODULE_DIR names the folder with the module, VIREON_PYTHON its Python 2.7. For other ways of
running the module: VIREON_DRIVER_PYTHON is the interpreter's command line with what comes before
it, VIREON_DRIVER_PRELOAD a library to load first (a sanitizer's), and VIREON_TIME_FACTOR stretches
the tolerated delays for a slow build. VIREON_JOBS is how many tests run at a time unless -j says it. CI=true fails
what would be skipped. VIREON_SEED repeats what a test drew by chance; each such test prints its own.

Prints what unittest prints, in the order in which the tests end. What passed is named when all did:
where something failed, nothing else is in the way of whoever reads what it was.
"""

import argparse
import collections
import concurrent.futures
import contextlib
import io
import multiprocessing
import os
import subprocess
import sys
import time
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
PRIVATE_NETWORK = os.path.join(HERE, '..', '..', 'scripts', 'private-network.sh')
LINE = '-' * 70


def test_names(suite):
    for test in suite:
        if isinstance(test, unittest.TestSuite):
            yield from test_names(test)
        else:
            yield test.id()


def run_one(name, folder):
    """Runs one test; gives its name, its outcome, what there is to say of it, its seconds, and what it
    printed."""
    sys.path[:0] = [folder, HERE]
    start = time.monotonic()
    result = unittest.TestResult()
    with contextlib.redirect_stdout(io.StringIO()) as printed:
        unittest.defaultTestLoader.loadTestsFromName(name).run(result)
    seconds = time.monotonic() - start
    for outcome, found in (('ERROR', result.errors), ('FAIL', result.failures), ('skipped', result.skipped)):
        if found:
            return (
                name,
                outcome,
                '\n'.join('%s\n%s' % (test, text) if outcome != 'skipped' else text for test, text in found),
                seconds,
                printed.getvalue(),
            )
    return name, 'ok', '', seconds, printed.getvalue()


def announce(name, outcome, text, seconds, printed):
    label = '%s (%s)' % (name.rsplit('.', 1)[1], name)
    if outcome == 'skipped':
        outcome = 'skipped %r' % text
    print('%s%s ... %.1fs %s' % (printed, label, seconds, outcome), flush=True)


def enter_private_network():
    """Goes on in a network of its own; where none can be made each test says that and why."""
    if 'VIREON_PRIVATE_NETWORK' in os.environ:
        return
    tried = subprocess.run([PRIVATE_NETWORK, 'true'], stderr=subprocess.PIPE, universal_newlines=True)
    os.environ['VIREON_PRIVATE_NETWORK'] = ' '.join(tried.stderr.split())
    if tried.returncode == 0:
        os.execv(PRIVATE_NETWORK, [PRIVATE_NETWORK, sys.executable, '-B'] + sys.argv)


def main():
    enter_private_network()
    parser = argparse.ArgumentParser()
    parser.add_argument('-v', '--verbose', action='store_true', help='name the tests that pass too')
    parser.add_argument('-j', '--jobs', type=int, default=os.environ.get('VIREON_JOBS', 2 * os.cpu_count()))
    parser.add_argument('--folder', type=os.path.abspath, default=HERE, help='where the tests are')
    parser.add_argument('parts', nargs='*')
    options = parser.parse_args()

    sys.path[:0] = [options.folder, HERE]
    names = [
        name
        for name in test_names(unittest.defaultTestLoader.discover(options.folder))
        if not options.parts or any(part in name for part in options.parts)
    ]
    start = time.monotonic()
    results = []
    # Processes, not threads: a thread that is held up would show as a late datagram.
    with concurrent.futures.ProcessPoolExecutor(options.jobs, multiprocessing.get_context('spawn')) as pool:
        for done in concurrent.futures.as_completed(
            [pool.submit(run_one, name, options.folder) for name in names]
        ):
            results.append(done.result())
            if results[-1][1] != 'ok':
                announce(*results[-1])

    counts = collections.Counter(result[1] for result in results)
    failed = 'FAIL' in counts or 'ERROR' in counts or not results
    for result in results:
        name, outcome, text = result[:3]
        if outcome in ('ERROR', 'FAIL'):
            print('=' * 70, '%s: %s' % (outcome, name), LINE, text, sep='\n')
        elif outcome == 'ok' and options.verbose and not failed:
            announce(*result)
    print(LINE, 'Ran %d tests in %.1fs' % (len(results), time.monotonic() - start), '', sep='\n')
    details = ', '.join(
        '%s=%d' % (title, counts[outcome])
        for outcome, title in (('FAIL', 'failures'), ('ERROR', 'errors'), ('skipped', 'skipped'))
        if outcome in counts
    )
    print(('FAILED' if failed else 'OK') + (details and ' (%s)' % details))
    return 1 if failed else 0


if __name__ == '__main__':
    sys.exit(main())
