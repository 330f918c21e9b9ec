"""The bundle as its user has it: unpacked on a Windows machine of its own and started by run.cmd.

Each machine is a Wine prefix whose drive nothing else has, in a network namespace with one cable.
"""

import hashlib
import os
import pathlib
import re
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import unittest
import zipfile

import make_bundle

ROOT = make_bundle.ROOT
sys.path.insert(0, str(ROOT / "tests" / "network"))
import run as network_run  # its folder is known only now
from namespace import Namespace
from network_case import missing_namespaces, unmet

BUNDLE = pathlib.Path(os.environ["VIREON_BUNDLE"])
BUILD = pathlib.Path(os.environ["VIREON_MODULE_DIR"])
PYTHON = os.environ["VIREON_WINDOWS_PYTHON"]
SCRIPT_TESTS = os.environ["VIREON_SCRIPT_TESTS"].split()
WINE_PREFIX = ROOT / "scripts" / "windows" / "wine-prefix.sh"

PORT = 31288
ETH_P_ALL, ETH_P_IPV6 = 3, 0x86DD
# A clone of the interpreter starts for each test file, on a machine that is busy with others.
LIMIT_SECONDS = 600

NAMES = {
    "README.txt",
    "contents.txt",
    "run.cmd",
    "run_tests.py",
    "module/_vireon.pyd",
    "module/script_test_modules/vireon_machine.pyd",
    "module/script_test_modules/vireon_probe.pyd",
    "module/script_test_modules/vireon_sibling.pyd",
    "examples/find_servers.py",
    "examples/gui_tkinter.py",
    "examples/media_server.py",
    "examples/media_server_faults.py",
    "examples/read_string.py",
    "examples/timed_search.py",
    "tests/sanitizers/leak_checker.py",
    "tests/script/contract.py",
    "tests/script/support.py",
}
# Of them one is made by the build.
LAYER = {f"module/vireon/{file.name}" for file in (ROOT / "python" / "vireon").glob("*.py")}
LAYER.add("module/vireon/_version.py")


class Zip(unittest.TestCase):
    def setUp(self):
        self.zip = zipfile.ZipFile(BUNDLE)
        self.addCleanup(self.zip.close)

    def test_holds_what_it_needs_and_nothing_else(self):
        self.assertEqual(
            sorted(NAMES | LAYER | {f"tests/script/{name}" for name in SCRIPT_TESTS}),
            sorted(self.zip.namelist()),
        )

    def test_names_no_folder_of_the_machine_that_made_it(self):
        for folder in {str(ROOT), str(BUILD), PYTHON, str(pathlib.Path.home())}:
            for written in (f"{folder}/", f"{folder}/".replace("/", "\\")):
                self.assertEqual(
                    [],
                    [name for name in self.zip.namelist() if written.encode() in self.zip.read(name)],
                    written,
                )

    def test_is_the_same_each_time(self):
        with tempfile.TemporaryDirectory() as folder:
            again = pathlib.Path(folder) / "again.zip"
            make_bundle.main(again, BUILD, *SCRIPT_TESTS)
            self.assertEqual(BUNDLE.read_bytes(), again.read_bytes())


class Wire:
    """What an interface sends from now on."""

    def __init__(self, namespace, interface):
        with namespace.entered():
            self._socket = socket.socket(socket.AF_PACKET, socket.SOCK_DGRAM, socket.htons(ETH_P_ALL))
        self._socket.bind((interface, ETH_P_ALL))
        self._socket.setblocking(False)

    def sent(self):
        """The packets' destinations, apart from what the system says by itself (of IPv6)."""
        destinations = []
        while True:
            try:
                packet, (_, protocol, kind, *_) = self._socket.recvfrom(65536)
            except BlockingIOError:
                return destinations
            if kind == socket.PACKET_OUTGOING and protocol != ETH_P_IPV6:
                destinations.append(socket.inet_ntoa(packet[16:20]))

    def close(self):
        self._socket.close()


class Machine:
    """A Windows machine of its own, 10.77.1.1 on a cable, with the bundle in C:\\My tests."""

    def __init__(self, has_python=True):
        self.here, self.there = Namespace(), Namespace()
        self.here.ip("link set lo up")
        self.here.connect("eth0", self.there, "eth0")
        self.here.ip("addr add 10.77.1.1/24 broadcast + dev eth0")
        self.there.ip("addr add 10.77.1.2/24 broadcast + dev eth0")
        self.wire = Wire(self.here, "eth0")
        self.prefix = pathlib.Path(tempfile.mkdtemp(prefix="vireon-machine."))
        subprocess.run([WINE_PREFIX, "clone", self.prefix], check=True)
        drive = self.prefix / "drive_c"
        shared = drive.resolve()
        drive.unlink()
        drive.mkdir()
        for each in shared.iterdir():
            (drive / each.name).symlink_to(each)
        if has_python:
            (drive / "Python27").symlink_to(PYTHON)
        self.folder = drive / "My tests"
        with zipfile.ZipFile(BUNDLE) as bundle:
            bundle.extractall(self.folder)
        self.environment = {
            "PATH": os.environ["PATH"],
            "HOME": str(self.prefix),
            "TMPDIR": str(self.prefix),  # of the sockets of Wine's server
            "WINEDEBUG": "-all",
            "WINEPREFIX": str(self.prefix),
        }
        # Wine's own background programs start with the first one, which a busy machine may refuse.
        self.start("exit")

    def change(self, name, change):
        """Changes a file, as if it had been packed so."""
        file = self.folder / name
        before = file.read_bytes()
        file.write_bytes(change(before))
        assert file.read_bytes() != before
        listing = self.folder / "contents.txt"
        listing.write_text(
            listing.read_text().replace(
                hashlib.sha256(before).hexdigest(), hashlib.sha256(file.read_bytes()).hexdigest()
            )
        )

    def run(self, *words):
        """The exit code of run.cmd and what it printed."""
        return self.start("run.cmd", *words)

    def start(self, *command):
        # No pipe: Wine's own programs would hold it open long after this one has ended.
        with tempfile.TemporaryFile() as output, self.here.entered():
            process = subprocess.Popen(
                ["wine", "cmd", "/c", *command],
                cwd=self.folder,
                env=self.environment,
                stdin=subprocess.DEVNULL,
                stdout=output,
                stderr=subprocess.STDOUT,
            )
            try:
                process.wait(LIMIT_SECONDS)
            finally:
                process.kill()
            output.seek(0)
            return process.returncode, output.read().decode("utf-8", "replace").replace("\r\n", "\n")

    def remove(self):
        subprocess.run(["wineserver", "-k"], env=self.environment, stderr=subprocess.DEVNULL)
        shutil.rmtree(self.prefix, ignore_errors=True)
        self.wire.close()
        self.here.close()
        self.there.close()


class OnAMachine(unittest.TestCase):
    def machine(self, **options):
        reason = missing_namespaces()
        if reason:
            unmet(reason)
        machine = Machine(**options)
        self.addCleanup(machine.remove)
        return machine


class NewUser(OnAMachine):
    def test_passes_all_tests_and_learns_what_machine_it_is_and_nothing_is_sent(self):
        machine = self.machine()
        code, said = machine.run()
        self.assertEqual(0, code, said)
        self.assertEqual([], machine.wire.sent())
        for name in SCRIPT_TESTS:
            self.assertRegex(said, rf"(?m)^{name} +\d+ passed$")
        for expected in (
            r"^Microsoft Windows .*: version \d+\.\d+, service pack: .*, build \d+$",
            r"^Python 2\.7\.\d+ .* 64 bit",
            r"^ +10\.77\.1\.1, netmask 255\.255\.255\.0",
            r"IPv4 address.*: 10\.77\.1\.1",
            r"^an answer by unicast from port 31288 of another process: came, from http://127",
            r"^an answer by unicast from another port of another process: came, from http://127",
            r"^== The firewall\n.+",
            r"^[2-9]\d\d passed, 0 failed, \d+ skipped$",
        ):
            self.assertRegex(said, re.compile(expected, re.M))

    def test_searches_the_network_when_asking_for_it(self):
        machine = self.machine()
        with machine.there.entered():
            server = subprocess.Popen(
                [
                    sys.executable,
                    "-B",
                    ROOT / "examples" / "media_server.py",
                    "--name",
                    "Elsewhere",
                    "--interface",
                    "10.77.1.2",
                ],
                stdout=subprocess.PIPE,
            )
        self.addCleanup(server.stdout.close)
        self.addCleanup(server.wait)
        self.addCleanup(server.send_signal, signal.SIGTERM)
        self.assertIn(b"listening", server.stdout.readline())
        code, said = machine.run("--network", "--only", "constants")
        self.assertEqual(0, code, said)
        self.assertIn(
            "  Elsewhere at http://10.77.1.2:8080/description.xml\n"
            "So the firewall lets answers of other machines through.\n",
            said,
        )
        self.assertLessEqual({"239.255.255.250", "10.77.1.255"}, set(machine.wire.sent()))

    def test_without_an_interpreter_is_told_what_to_do(self):
        code, said = self.machine(has_python=False).run()
        self.assertEqual(1, code, said)
        self.assertIn(
            'run.cmd: there is no 64-bit Python 2.7 in C:\\Python27, and the launcher "py" '
            "knows none.\nInstall it, or say where it is: ",
            said,
        )

    def test_may_name_an_interpreter_which_must_be_one(self):
        machine = self.machine(has_python=False)
        code, said = machine.run("C:\\none here\\python.exe")
        self.assertEqual(
            (1, "run.cmd: this is no 64-bit Python 2.7: C:\\none here\\python.exe\n"), (code, said)
        )
        (machine.prefix / "drive_c" / "none here").symlink_to(PYTHON)
        code, said = machine.run("C:\\none here\\python.exe", "--help")
        self.assertEqual(0, code, said)
        self.assertIn("usage: run.cmd", said)

    def test_is_spared_naming_one_that_the_launcher_knows(self):
        machine = self.machine(has_python=False)
        (machine.prefix / "drive_c" / "some where").symlink_to(PYTHON)
        (machine.folder / "py.cmd").write_text('@if "%1"=="-2.7" echo C:\\some where\\python.exe\n')
        code, said = machine.run("--help")
        self.assertEqual(0, code, said)
        self.assertIn("usage: run.cmd", said)


class Fault(OnAMachine):
    def expect(self, machine, *words):
        """What failed, in a run that must fail."""
        code, said = machine.run(*words)
        self.assertEqual(1, code, said)
        return re.findall(r"^failed: (.*)$", said, re.M), said

    def test_that_a_file_is_missing_ends_the_run_before_it_searches(self):
        machine = self.machine()
        (machine.folder / "module/script_test_modules/vireon_machine.pyd").unlink()
        failed, said = self.expect(machine)
        self.assertEqual(
            [
                "module/script_test_modules/vireon_machine.pyd is missing or not as it was "
                "packed: unpack the zip again"
            ],
            failed,
        )
        self.assertNotIn("search", said)

    def test_of_a_test_or_a_skip_without_a_platforms_reason_fails_the_run(self):
        machine = self.machine()
        machine.change(
            "tests/script/test_constants.py",
            lambda text: text.replace(
                b"    def test_no_bytes(self):\n", b"    def test_no_bytes(self):\n        self.fail()\n"
            ),
        )
        machine.change(
            "tests/script/test_constants.py",
            lambda text: text.replace(
                b"    def test_the_comparison_ends_at_the_first_zero(self):\n",
                b"    def test_the_comparison_ends_at_the_first_zero(self):\n        self.skipTest('tired')\n",
            ),
        )
        failed, said = self.expect(machine, "--only", "constants")
        self.assertEqual(
            [
                "test_constants.py: test_no_bytes (__main__.PackedValues)",
                "test_constants.py: test_the_comparison_ends_at_the_first_zero "
                "(__main__.PackedValues) was skipped: tired",
            ],
            failed,
            said,
        )

    def test_of_the_module_fails_the_run(self):
        machine = self.machine()
        machine.change("module/_vireon.pyd", lambda content: content[:-100000])
        failed, said = self.expect(machine, "--only", "constants")
        self.assertEqual(
            [
                "test_constants.py: ended with 1 after 0 tests",
                "A search that stays on this machine: it ended with 1",
            ],
            failed,
            said,
        )

    def test_that_a_server_runs_already_is_told(self):
        machine = self.machine()
        with machine.here.entered():
            server = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.addCleanup(server.close)
        server.bind(("", PORT))
        failed, said = self.expect(machine, "--only", "constants")
        self.assertEqual(["a program listens on port 31288 already: end it for this test"], failed, said)


if __name__ == "__main__":
    network_run.enter_private_network()
    unittest.main()
