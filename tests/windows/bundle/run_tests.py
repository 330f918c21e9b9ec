"""run_tests.py [--network] [--only PART]

Tests the module on the Windows machine that it lies on, and tells what machine that is. README.txt
says how it is started. Nothing is sent beyond the machine unless --network asks for it. Ends with 1
when anything failed. Python 2.7, and nothing beside it.
"""

from __future__ import print_function

import argparse
import contextlib
import ctypes
import glob
import hashlib
import os
import re
import socket
import subprocess
import sys
import threading
import uuid
import _winreg

HERE = os.path.dirname(os.path.abspath(__file__))
MODULE = os.path.join(HERE, 'module')
TESTS = os.path.join(HERE, 'tests', 'script')
EXAMPLES = os.path.join(HERE, 'examples')
sys.path.insert(0, os.path.join(MODULE, 'script_test_modules'))

PORT = 31288
BROADCAST_FLAG = 4
PROGRAM_LIMIT_SECONDS = 600
# Long enough for several searches, one a second.
SEARCH_SECONDS = 4

RAN = re.compile(r'^Ran (\d+) tests? in ', re.M)
BAD = re.compile(r'^(?:FAIL|ERROR): (.*)$', re.M)
SKIPPED = re.compile(r'^OK \(skipped=(\d+)\)|^FAILED \(.*skipped=(\d+)\)', re.M)
SKIP = re.compile(r"^(test\w* .*?) \.\.\. skipped '(.*)'$", re.M)
FOUND = re.compile(r'^ *[\d.]+ s  found (.*) at (\S+)$', re.M)


def say(text):
    # What the system says of itself may hold characters that a report's file has no encoding for.
    print(text.encode('ascii', 'replace') if isinstance(text, unicode) else text)
    sys.stdout.flush()


def title(text):
    say('\n== %s' % text)


class Failure(Exception):
    """What leaves nothing to be looked at."""


class Results(object):
    def __init__(self):
        self.passed = 0
        self.failed = []
        self.skipped = []

    def check(self, good, what):
        if good:
            self.passed += 1
        else:
            self.failed.append(what)
            say('FAILED: %s' % what)


def output_of(command, **environment):
    """What a program prints and its exit code; None for a program that does not exist. One that
    hangs is killed, which its exit code tells."""
    try:
        process = subprocess.Popen(
            command, env=dict(os.environ, **environment), stdout=subprocess.PIPE, stderr=subprocess.STDOUT
        )
    except OSError as error:
        return '%s: %s' % (command[0], error), None
    killer = threading.Timer(PROGRAM_LIMIT_SECONDS, process.kill)
    killer.start()
    try:
        text = process.communicate()[0]
    finally:
        killer.cancel()
    return text.replace('\r\n', '\n'), process.returncode


def python(*arguments, **environment):
    folders = [MODULE, EXAMPLES, TESTS]
    environment.update(VIREON_MODULE_DIR=MODULE, PYTHONPATH=os.pathsep.join(folders))
    return output_of((sys.executable, '-B') + arguments, **environment)


def check_files(results):
    """Whether every file is there as it was packed. Scanners of files like to take modules away."""
    with open(os.path.join(HERE, 'contents.txt')) as listing:
        expected = [line.split('  ', 1) for line in listing.read().splitlines()]
    for digest, name in expected:
        try:
            with open(os.path.join(HERE, *name.split('/')), 'rb') as packed:
                good = hashlib.sha256(packed.read()).hexdigest() == digest
        except IOError:
            good = False
        results.check(good, '%s is missing or not as it was packed: unpack the zip again' % name)
    say('%d files were looked at' % len(expected))


class VersionRecord(ctypes.Structure):
    _fields_ = [
        ('size', ctypes.c_uint32),
        ('major', ctypes.c_uint32),
        ('minor', ctypes.c_uint32),
        ('build', ctypes.c_uint32),
        ('platform', ctypes.c_uint32),
        ('service_pack', ctypes.c_wchar * 128),
    ]


def tell_windows():
    # Asked below the usual call, which tells programs of Python 2.7's age that it is Windows 8.
    version = VersionRecord(ctypes.sizeof(VersionRecord))
    ctypes.windll.ntdll.RtlGetVersion(ctypes.byref(version))
    with _winreg.OpenKey(
        _winreg.HKEY_LOCAL_MACHINE,
        r'SOFTWARE\Microsoft\Windows NT\CurrentVersion',
        0,
        _winreg.KEY_READ | _winreg.KEY_WOW64_64KEY,
    ) as key:
        product = _winreg.QueryValueEx(key, 'ProductName')[0]
    say(
        '%s: version %d.%d, service pack: %s, build %d'
        % (product, version.major, version.minor, version.service_pack or 'none', version.build)
    )
    say('Python %s' % sys.version.replace('\n', ''))
    say('at %s' % sys.executable)


def tell_adapters(results):
    text, code = output_of(['ipconfig', '/all'])
    say(text.strip())
    results.check(code == 0, 'ipconfig does not tell the adapters')
    import vireon_machine

    interfaces = vireon_machine.interfaces()
    say('\nThe module searches on:')
    for address, netmask, broadcast, flags in interfaces:
        searched = '' if flags & BROADCAST_FLAG else ' - no: it cannot broadcast'
        say('  %s, netmask %s, broadcast to %s%s' % (address, netmask, broadcast, searched))
    results.check(
        any(flags & BROADCAST_FLAG for _, _, _, flags in interfaces),
        'there is no adapter to search on: README.txt tells how to have one',
    )


def run_script_tests(results, only):
    paths = [
        path for path in sorted(glob.glob(os.path.join(TESTS, 'test_*.py'))) if only in os.path.basename(path)
    ]
    results.check(paths, 'no test file is named like "%s"' % only)
    for path in paths:
        name = os.path.basename(path)
        # What the machine lacks is no reason to skip here, which CI says.
        text, code = python(path, '--verbose', CI='true', VIREON_ISOLATED='1', VIREON_LOOPBACK_ONLY='1')
        ran = sum(int(count) for count in RAN.findall(text))
        bad = ['%s: %s' % (name, what) for what in BAD.findall(text)]
        skipped = sum(int(one or other) for one, other in SKIPPED.findall(text))
        skips = SKIP.findall(text)
        if len(skips) != skipped:
            bad.append('%s: %d skipped, of which %d said why' % (name, skipped, len(skips)))
        bad += [
            '%s: %s was skipped: %s' % (name, test, reason)
            for test, reason in skips
            if not reason.startswith('platform: ')
        ]
        if not bad and (code != 0 or ran == 0):
            bad.append('%s: ended with %s after %d tests' % (name, code, ran))
        say(
            '%-26s %3d passed%s'
            % (name, max(0, ran - skipped - len(bad)), ', %d FAILED' % len(bad) if bad else '')
        )
        for test, reason in skips:
            say('    skipped: %s: %s' % (test, reason))
        if bad:
            say(text)
        results.passed += max(0, ran - skipped - len(bad))
        results.failed += bad
        results.skipped += skips


def can_listen():
    """Two programs may listen on a port at once, but only one of them would hear."""
    with contextlib.closing(socket.socket(socket.AF_INET, socket.SOCK_DGRAM)) as probe:
        try:
            probe.bind(('', PORT))
        except socket.error:
            return False
    return True


@contextlib.contextmanager
def server(name, *options):
    """A media server in a process of its own, while the block runs."""
    process = subprocess.Popen(
        [sys.executable, '-B', os.path.join(EXAMPLES, 'media_server.py'), '--no-serve', '--name', name]
        + list(options),
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
    )
    try:
        line = process.stdout.readline()
        if 'listening' not in line:
            say(line + process.stdout.read())
            raise Failure('the sample server does not start')
        yield
    finally:
        if process.poll() is None:
            process.kill()
        process.wait()
        process.stdout.close()


def search(**environment):
    """Name to location of the servers that the module finds."""
    text, code = python(
        '-c',
        'import support, timed_search; timed_search.main()',
        '--seconds',
        str(SEARCH_SECONDS),
        '--interval',
        '1',
        **environment
    )
    if code != 0:
        say(text)
        raise Failure('it ended with %s' % code)
    return dict(FOUND.findall(text))


def self_test(results, what, server_options, **environment):
    """Whether the module hears a server in another process, which it asks by broadcast and by
    multicast and which answers by unicast; gives the others that it heard."""
    title(what)
    others = {}
    for port, options in (('port %d' % PORT, []), ('another port', ['--other-port'])):
        name = 'self-test %s' % uuid.uuid4()
        try:
            with server(name, *(server_options + options)):
                found = search(**environment)
        except Failure as failure:
            results.check(False, '%s: %s' % (what, failure))
            break
        say(
            'an answer by unicast from %s of another process: %s'
            % (port, 'came, from %s' % found[name] if name in found else 'DID NOT COME')
        )
        results.check(name in found, '%s: no answer from %s came through' % (what, port))
        others.update((each, place) for each, place in found.items() if each != name)
    return others


def search_here(results):
    self_test(
        results, 'A search that stays on this machine', ['--interface', '127.0.0.1'], VIREON_LOOPBACK_ONLY='1'
    )
    say(
        "Windows' own firewall does not filter what stays on a machine. Where this failed, the module,\n"
        'another firewall or a scanner of datagrams is the reason.'
    )


def search_network(results):
    others = self_test(results, 'A search of the network', [])
    say('%d other servers answered%s' % (len(others), ':' if others else '.'))
    for name, location in sorted(others.items()):
        say('  %s at %s' % (name, location))
    if others:
        say('So the firewall lets answers of other machines through.')
    else:
        say(
            'Either no other machine has a server, or the firewall keeps its answers out. Run\n'
            'examples/media_server.py on another machine of this network and try again.'
        )


def tell_firewall():
    text, code = output_of(['netsh', 'advfirewall', 'show', 'currentprofile'])
    if code != 0 or not text.strip():
        text = 'netsh tells nothing of a firewall here (exit code %s).' % code
    say(text.strip())


def arguments():
    parser = argparse.ArgumentParser(prog='run.cmd', usage='run.cmd [PYTHON.EXE] [--network] [--only PART]')
    parser.add_argument(
        '--network', action='store_true', help='also search the network that this machine is on'
    )
    parser.add_argument(
        '--only',
        metavar='PART',
        default='',
        help='of the script tests, only the files with this in their names',
    )
    return parser.parse_args()


def test_machine(results, options):
    title('The machine')
    tell_windows()
    title('Its adapters')
    tell_adapters(results)
    title('Script tests, with all datagrams kept on this machine')
    run_script_tests(results, options.only)
    # Asked once, since a port is free only a while after the program that had it has ended.
    port_is_free = can_listen()
    results.check(port_is_free, 'a program listens on port %d already: end it for this test' % PORT)
    if port_is_free:
        search_here(results)
    if port_is_free and options.network:
        search_network(results)
    if not options.network:
        say('The network was not searched: run.cmd --network does that too.')
    title('The firewall')
    tell_firewall()


def main():
    options = arguments()
    results = Results()
    title('The files')
    check_files(results)
    # With parts of it missing nothing keeps a search on the machine.
    if not results.failed:
        test_machine(results, options)
    title('Summary')
    for what in results.failed:
        say('failed: %s' % what)
    say('%d passed, %d failed, %d skipped' % (results.passed, len(results.failed), len(results.skipped)))
    return 1 if results.failed else 0


if __name__ == '__main__':
    sys.exit(main())
