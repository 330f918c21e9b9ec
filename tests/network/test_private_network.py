"""How the tests and the demonstration come by a network of their own: scripts/private-network.sh."""

import os
import subprocess
import tempfile
import unittest

from network_case import missing_namespaces, unmet
from privileges import reduced

HERE = os.path.dirname(os.path.abspath(__file__))
SCRIPT = os.path.join(HERE, '..', '..', 'scripts', 'private-network.sh')
HAS_VETH = ('sh', '-c', 'ip link add one type veth peer name two && ip -o link | wc -l')
NO_WAY = 77


class PrivateNetworkTest(unittest.TestCase):
    def setUp(self):
        if missing_namespaces():
            unmet(missing_namespaces())
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.asked = os.path.join(self.folder, 'asked')
        self.sudo('exit 1')

    def sudo(self, answer):
        """Puts a sudo in front of the machine's that notes what it is asked."""
        path = os.path.join(self.folder, 'sudo')
        with open(path, 'w') as file:
            file.write('#!/bin/sh\necho "$*" >>%s\n%s\n' % (self.asked, answer))
        os.chmod(path, 0o755)

    def run_script(self, *command):
        environment = dict(os.environ, PATH=self.folder + ':' + os.environ['PATH'])
        return subprocess.run(
            command,
            env=environment,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            universal_newlines=True,
            timeout=60,
        )

    def requests(self):
        if not os.path.exists(self.asked):
            return []
        with open(self.asked) as file:
            return file.read().splitlines()

    def test_a_command_has_loopback_and_what_it_makes(self):
        done = self.run_script(SCRIPT, *HAS_VETH)
        self.assertEqual((done.returncode, done.stdout.strip()), (0, '3'), done.stderr)

    def test_a_commands_exit_code_is_its_own(self):
        self.assertEqual(self.run_script(SCRIPT, 'sh', '-c', 'exit 5').returncode, 5)

    def test_nobody_is_asked_who_can_do_without(self):
        as_user = ['unshare', '--user', '--map-user=1000', '--map-group=1000']
        if self.run_script(*as_user, 'true').returncode != 0:
            self.skipTest('platform: no user namespaces can be made here, as in a chroot')
        done = self.run_script(*as_user, SCRIPT, *HAS_VETH)
        self.assertEqual((done.returncode, done.stdout.strip()), (0, '3'), done.stderr)
        self.assertEqual(self.requests(), [])

    def test_root_needs_no_user_namespaces(self):
        done = self.run_script(*reduced('+all', SCRIPT, *HAS_VETH))
        self.assertEqual((done.returncode, done.stdout.strip()), (0, '3'), done.stderr)
        self.assertEqual(self.requests(), [])

    def test_sudo_comes_next_and_asks_for_no_password(self):
        self.sudo('exit 0')
        done = self.run_script(*reduced('-net_admin', SCRIPT, 'true'))
        self.assertEqual(done.returncode, 0, done.stderr)
        trial, command = self.requests()
        self.assertTrue(trial.startswith('-n unshare --net '), trial)
        self.assertRegex(command, '^-E env PATH=.* HOME=.* unshare --net true$')

    def test_sudo_may_ask_where_somebody_looks_on(self):
        self.sudo('exit 0')
        self.run_script(*reduced('-net_admin', SCRIPT, '--ask', 'true'))
        self.assertTrue(self.requests()[0].startswith('unshare --net '), self.requests())

    def test_each_way_that_failed_is_told(self):
        self.sudo('echo a password is required >&2; exit 1')
        done = self.run_script(*reduced('-net_admin', SCRIPT, 'echo', 'ran'))
        self.assertEqual((done.returncode, done.stdout), (NO_WAY, ''))
        self.assertRegex(
            done.stderr,
            '(?s)in a user namespace: .*'
            'with the privileges there are: .*not permitted.*'
            'by sudo: a password is required',
        )


if __name__ == '__main__':
    unittest.main()
