"""How the tests run the host: in a network namespace of its own, where searches are answered or not."""
import os
import pathlib
import signal
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
ROOT = HERE.parents[1]
sys.path.insert(0, str(ROOT / 'tests' / 'network'))
from isolated_case import ANSWERED, ANSWERING, ISOLATED, IsolatedCase, without_leak_checks  # known only now
from staying_wine import StayingWine
from wine_end import FailedInWine, failed, one_hangs

MODULE_DIR = os.environ['VIREON_MODULE_DIR']
HOST = os.environ['VIREON_HOST']
ON_WINDOWS = HOST.endswith('.exe')
PATH = [MODULE_DIR, os.path.join(MODULE_DIR, 'script_test_modules'), str(HERE)]
WINE = ROOT / 'scripts' / 'windows'

SAME_THREAD = '--same'
OWN_THREADS = '--own'
BOTH_WAYS = (SAME_THREAD, OWN_THREADS)


def go_on_in_one_network():
    """On Windows, where a Wine stays for all tests of a file, which it cannot in a network for each. Where there
    is none the tests say why."""
    if not ON_WINDOWS or 'VIREON_ONE_NETWORK' in os.environ:
        return
    if subprocess.run([ISOLATED, 'true'], stderr=subprocess.DEVNULL).returncode == 0:
        os.environ['VIREON_ONE_NETWORK'] = 'yes'
        os.execv(ISOLATED, [ISOLATED, sys.executable, '-B'] + sys.argv)


def command(is_answered, *arguments):
    start = ANSWERED if is_answered else [ISOLATED]
    if ON_WINDOWS:
        start = [*(ANSWERING if is_answered else []), WINE / 'wine.sh']
    return [str(word) for word in [*start, HOST, *arguments]]


def environment(leaves_engines, wine):
    changed = without_leak_checks() if leaves_engines else dict(os.environ)
    changed['VIREON_SCRIPT_PATH' if ON_WINDOWS else 'PYTHONPATH'] = ':'.join(PATH)
    if wine:
        changed.update(wine.environment)
    return changed


go_on_in_one_network()


class HostCase(IsolatedCase):
    maxDiff = None
    time_limit_seconds = 300
    # Whether the scripts leave their engines behind, which a check for leaks would tell.
    leaves_engines = False
    # Whether a server is there.
    is_answered = True
    wine = None

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        if ON_WINDOWS:
            python = os.path.join(os.environ['VIREON_WINDOWS_PYTHON'], 'python.exe')
            cls.wine = StayingWine([str(WINE / 'wine-isolated.sh'), python])
            cls.addClassCleanup(cls.wine.end)

    def run_host(self, way, script, *options):
        """(exit code, lines of the standard output in order, standard error)."""
        return self.run_words(way, *options, '-c', script)

    def run_words(self, *arguments):
        try:
            return self.run_once(*arguments)
        except FailedInWine as failure:
            print('once more, since its end failed in Wine itself: %s' % failure)
            return self.run_once(*arguments)

    def run_once(self, *arguments):
        process = subprocess.Popen(
            command(self.is_answered, *arguments),
            env=environment(self.leaves_engines, self.wine),
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            start_new_session=True,
        )
        try:
            output, errors = process.communicate(timeout=self.time_limit_seconds)
        except subprocess.TimeoutExpired:
            in_wine = ON_WINDOWS and one_hangs(process.pid)
            os.killpg(process.pid, signal.SIGKILL)
            raise (FailedInWine if in_wine else self.failureException)(
                'the host hangs; it said %r and %r' % process.communicate()
            )
        if ON_WINDOWS and failed(errors):
            raise FailedInWine(
                'the host ended with %d; it said %r and %r' % (process.returncode, output, errors)
            )
        lines = output.decode().replace('\r', '').splitlines()
        return process.returncode, lines, errors.decode()

    def expect(self, lines, way, script, *options):
        """The host's scripts say these lines, in any order, and nothing goes wrong."""
        code, said, errors = self.run_host(way, script, *options)
        self.assertEqual((0, sorted(lines), ''), (code, sorted(said), errors), way)

    def expect_both_ways(self, lines, script, *options):
        for way in BOTH_WAYS:
            with self.subTest(way):
                self.expect(lines, way, script, *options)
