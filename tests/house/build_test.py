#!/usr/bin/env python3
"""The build's own decisions, on small trees: what `./dev` refuses, what CMake takes."""

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import zipfile

ROOT = pathlib.Path(__file__).resolve().parents[2]


class SmallTree(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name).resolve()

    def write(self, path, text="", mode=0o644):
        file = self.root / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_text(text, encoding="utf-8")
        file.chmod(mode)

    def run_command(self, *command, **environment):
        return subprocess.run(
            command,
            env=dict(os.environ, **environment),
            cwd=self.root,
            text=True,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            timeout=60,
            check=False,
        )


class Dev(SmallTree):
    def setUp(self):
        super().setUp()
        for name in ("dev", "CMakePresets.json"):
            shutil.copy(ROOT / name, self.root)
        self.write("scripts/setup.sh", "#!/bin/sh\necho installing; exit 3\n", 0o755)

    def test_an_unknown_preset_is_refused_before_anything_is_installed(self):
        for words in (
            ("test", "nosuch"),
            ("test", "dev", "nosuch"),
            ("test", "base"),
            ("build", "nosuch"),
            ("test", "bench"),
        ):
            with self.subTest(words):
                done = self.run_command("./dev", *words)
                self.assertEqual((1, f"dev: no such preset: {words[-1]}\n"), (done.returncode, done.stdout))

    def test_each_preset_is_known(self):
        for verb, presets in (
            ("test", "dev clang release pydebug asan tsan windows"),
            (
                "build",
                "dev clang release pydebug asan tsan bench fuzz windows manylinux-x86_64 manylinux-aarch64",
            ),
        ):
            done = self.run_command("./dev", verb, *presets.split())
            self.assertEqual((3, "installing\n"), (done.returncode, done.stdout))

    def test_windows_takes_two_options(self):
        done = self.run_command("./dev", "windows", "--bundel")
        self.assertEqual(
            (1, "dev: 'windows' takes nothing but --all or --bundle\n"), (done.returncode, done.stdout)
        )
        for option in ((), ("--all",), ("--bundle",)):
            done = self.run_command("./dev", "windows", *option)
            self.assertEqual((3, "installing\n"), (done.returncode, done.stdout))

    def test_an_unknown_wheel_is_refused_before_anything_is_installed(self):
        done = self.run_command("./dev", "wheel", "linux", "solaris")
        said = "dev: no such wheel: solaris (linux, aarch64, windows, source)\n"
        self.assertEqual((1, said), (done.returncode, done.stdout))
        for kinds in ((), ("linux",), ("aarch64", "windows", "source")):
            done = self.run_command("./dev", "wheel", *kinds)
            self.assertEqual((3, "installing\n"), (done.returncode, done.stdout))

    def test_peers_takes_one_option(self):
        done = self.run_command("./dev", "peers", "--rekord")
        self.assertEqual((1, "dev: 'peers' takes nothing but --record\n"), (done.returncode, done.stdout))
        for option in ((), ("--record",)):
            done = self.run_command("./dev", "peers", *option)
            self.assertEqual((3, "installing\n"), (done.returncode, done.stdout))

    def test_what_is_tested_without_a_word_is_known(self):
        done = self.run_command("./dev", "test")
        self.assertEqual((3, "installing\n"), (done.returncode, done.stdout))

    def test_a_word_of_googletest_chooses_among_the_tests_of_a_preset(self):
        for presets, chosen in ((["clang"], "clang"), ([], "dev")):
            done = self.run_chosen("1: [==========] Running 2 tests from 1 test suite.", *presets)
            self.assertEqual(0, done.returncode, done.stdout)
            self.assertIn(f"--preset {chosen} --label-regex ^unit$ --verbose of List.*\n", done.stdout)
            self.assertIn("\n[==========] Running 2 tests", done.stdout)

    def test_a_word_that_chooses_nothing_is_told(self):
        done = self.run_chosen("1: [==========] Running 0 tests from 0 test suites.", "clang")
        self.assertEqual((1, "dev: no such test in clang"), (done.returncode, done.stdout.splitlines()[-1]))

    def run_chosen(self, said, *presets):
        self.write("scripts/setup.sh", "#!/bin/sh\n", 0o755)
        self.write("bin/cmake", "#!/bin/sh\n", 0o755)
        self.write("bin/ctest", f"#!/bin/sh\necho \"1: $* of $GTEST_FILTER\"\necho '{said}'\n", 0o755)
        return self.run_command(
            "./dev", "test", *presets, "--gtest_filter=List.*", PATH=f"{self.root}/bin:{os.environ['PATH']}"
        )

    def test_the_hook_is_offered_and_taken_back(self):
        self.run_command("git", "init", "--quiet")
        for words, setting in (((), "scripts/hooks"), (("--remove",), "")):
            self.assertEqual(0, self.run_command("./dev", "hook", *words).returncode)
            self.assertEqual(setting, self.run_command("git", "config", "core.hooksPath").stdout.strip())
        self.assertEqual("dev: there is no hook\n", self.run_command("./dev", "hook", "--remove").stdout)


class Presets(unittest.TestCase):
    def test_each_that_is_tested_has_a_workflow_that_does_it_all(self):
        presets = json.loads((ROOT / "CMakePresets.json").read_text(encoding="utf-8"))
        tested = [each["name"] for each in presets["testPresets"] if not each.get("hidden")]
        workflows = {each["name"]: each["steps"] for each in presets["workflowPresets"]}
        self.assertEqual(tested, list(workflows))
        for name, steps in workflows.items():
            self.assertEqual([{"type": kind, "name": name} for kind in ("configure", "build", "test")], steps)


class Hook(SmallTree):
    def test_a_commit_that_breaks_a_rule_is_refused(self):
        (self.root / "scripts/hooks").mkdir(parents=True)
        shutil.copy(ROOT / "scripts/hooks/pre-commit", self.root / "scripts/hooks")
        self.run_command("git", "init", "--quiet")
        self.run_command("git", "config", "core.hooksPath", "scripts/hooks")
        for code in (1, 0):
            self.write("tests/house/house_rules_test.py", f"import sys; sys.exit({code})")
            self.run_command("git", "add", ".")
            done = self.run_command("git", "-c", "user.name=x", "-c", "user.email=x", "commit", "-m", "x")
            self.assertEqual(code, done.returncode, done.stdout)


class Interpreter(SmallTree):
    """The interpreter's wrappers, so that a test script runs without ctest as well."""

    def told(self, name, folder, **environment):
        self.write(
            "wrap.cmake", f"configure_file({ROOT}/cmake/{name}.sh.in {self.root}/{folder}/python @ONLY)"
        )
        self.run_command(
            "cmake",
            f"-DPROJECT_BINARY_DIR={self.root}/{folder}",
            f"-Dpython_EXECUTABLE={self.root}/interpreter",
            f"-DPROJECT_SOURCE_DIR={self.root}",
            "-P",
            "wrap.cmake",
        )
        return self.run_command("sh", f"{folder}/python", **environment).stdout

    def test_a_script_is_told_where_the_module_lies(self):
        for name in ("interpreter", "scripts/windows/wine.sh", "scripts/windows/wine-isolated.sh"):
            self.write(name, '#!/bin/sh\necho "$VIREON_MODULE_DIR $VIREON_PYTHON"\n', 0o755)
        unset = {"VIREON_MODULE_DIR": "", "VIREON_PYTHON": ""}
        self.assertEqual(f"{self.root}/here {self.root}/here/python\n", self.told("python", "here", **unset))
        self.assertEqual(
            "there my\n", self.told("python", "here", VIREON_MODULE_DIR="there", VIREON_PYTHON="my")
        )
        for name in ("windows-python", "windows-python-isolated"):
            self.assertEqual(f"{self.root}/here \n", self.told(name, "here", **unset))


class FindingPython(SmallTree):
    """An interpreter that is not one: it prints what it is asked to look for."""

    def find(self, *arguments):
        return self.run_command(
            ROOT / "scripts/find-python2.sh", *arguments, PATH=f"{self.root}/bin:{os.environ['PATH']}"
        )

    def test_the_one_that_is_named_is_taken_before_those_on_the_path(self):
        self.write("bin/python2.7", "#!/bin/sh\necho found\n", 0o755)
        self.write("named", "#!/bin/sh\nshift 2; echo \"$@\"\n", 0o755)
        self.assertEqual("found\n", self.find().stdout)
        self.assertEqual("plain named\n", self.find("./named").stdout)
        self.assertEqual("debug named\n", self.find("--debug", "./named").stdout)

    def test_one_that_is_named_and_will_not_do_is_told(self):
        self.write("bin/python2.7", "#!/bin/sh\necho found\n", 0o755)
        self.write("named", "#!/bin/sh\nexit 1\n", 0o755)
        done = self.find("./named")
        self.assertEqual(1, done.returncode)
        self.assertEqual("find-python2: no plain Python 2.7 with headers: ./named\n", done.stdout)


class CompilerCache(SmallTree):
    """Where the machine's own programs are out of sight."""

    def setUp(self):
        super().setUp()
        self.write(
            "CMakeLists.txt",
            f"""
cmake_minimum_required(VERSION 3.25)
project(small LANGUAGES NONE)
include({ROOT}/cmake/VireonCompilerCache.cmake)
message(STATUS "launcher: '${{CMAKE_CXX_COMPILER_LAUNCHER}}'")
""",
        )
        self.cmake = shutil.which("cmake")
        (self.root / "empty").mkdir()
        self.write("with/ccache", "#!/bin/sh\n", 0o755)

    def launcher(self, path):
        done = self.run_command(
            self.cmake,
            "-S",
            ".",
            "-B",
            "build",
            "-G",
            "Ninja",
            f"-DCMAKE_MAKE_PROGRAM={shutil.which('ninja')}",
            "-DCMAKE_FIND_USE_CMAKE_SYSTEM_PATH=OFF",
            PATH=str(self.root / path),
        )
        self.assertEqual(0, done.returncode, done.stdout)
        return done.stdout.split("launcher: '")[1].split("'")[0]

    def test_one_that_is_there_is_taken(self):
        self.assertIn(str(self.root / "with/ccache"), self.launcher("with"))

    def test_one_that_comes_later_changes_no_command_line(self):
        self.assertEqual(["", ""], [self.launcher("empty"), self.launcher("with")])


class Folders(SmallTree):
    """vireon_folder on small trees, which are configured only."""

    def configure(self, *folders, platform="posix", settings=""):
        """Each folder is a name and what vireon_folder is told of it."""
        self.write(
            "CMakeLists.txt",
            f"""
cmake_minimum_required(VERSION 3.25)
project(small LANGUAGES CXX)
set(VIREON_BUILD_TESTS ON)
add_library(vireon_options INTERFACE)
add_library(GTest::gmock_main INTERFACE IMPORTED)
{settings}
include({ROOT}/cmake/VireonFolder.cmake)
set(VIREON_PLATFORM_FOLDER {platform})
"""
            + "".join(f"add_subdirectory({name})\n" for name, _ in folders),
        )
        for name, told in folders:
            self.write(f"{name}/CMakeLists.txt", f"vireon_folder({name} SOURCES own.cpp {told})")
            for source in ("own.cpp", "own_test.cpp", "posix/own_test.cpp", "win32/own_test.cpp"):
                self.write(f"{name}/{source}")
        done = self.run_command("cmake", "-S", ".", "-B", "build", "-G", "Ninja")
        return done.returncode, " ".join(done.stdout.split())

    def test_a_folder_may_use_those_before_it(self):
        code, said = self.configure(("core", ""), ("net", "USES core"))
        self.assertEqual(0, code, said)

    def test_a_folder_that_comes_later_is_refused(self):
        code, said = self.configure(("core", "USES net"), ("net", ""))
        self.assertEqual(1, code, said)
        self.assertIn("core uses net, which is no folder before it", said)

    def test_a_folder_that_there_is_none_of_is_refused(self):
        code, said = self.configure(("core", "USES misc"))
        self.assertEqual(1, code, said)
        self.assertIn("core uses misc, which is no folder before it", said)

    def test_platform_tests_are_those_of_the_platform_at_hand(self):
        tests = "TESTS own_test.cpp PLATFORM_TESTS posix/own_test.cpp win32/own_test.cpp"
        for here, there in (("posix", "win32"), ("win32", "posix")):
            with self.subTest(here):
                code, said = self.configure(("core", tests), platform=here)
                self.assertEqual(0, code, said)
                built = (self.root / "build/build.ninja").read_text(encoding="utf-8")
                for source in ("own_test.cpp", f"{here}/own_test.cpp"):
                    self.assertIn(f" {self.root}/core/{source}", built)
                self.assertNotIn(f"/{there}/", built)

    def test_a_platform_test_of_no_platform_is_refused(self):
        code, said = self.configure(("core", "PLATFORM_TESTS own_test.cpp"))
        self.assertEqual(1, code, said)
        self.assertIn("own_test.cpp stands in neither posix/ nor win32/", said)

    def test_optimising_as_a_whole_leaves_nothing_to_make_where_it_is_only_installed(self):
        for only_module, processes in (("OFF", "auto"), ("ON", "1")):
            code, said = self.configure(
                ("core", ""), settings=f"set(VIREON_SPLIT_DEBUG ON)\nset(VIREON_ONLY_MODULE {only_module})"
            )
            self.assertEqual(0, code, said)
            built = (self.root / "build/build.ninja").read_text(encoding="utf-8")
            self.assertEqual({processes}, set(re.findall(r"-flto=(\w+)", built)))


class WindowsPython(SmallTree):
    SCRIPT = f"""
include({ROOT}/cmake/VireonWindowsPython.cmake)
vireon_check_windows_python("${{FOLDER}}" library)
message("library: ${{library}}")
"""

    def check(self, *files):
        self.write("check.cmake", self.SCRIPT)
        for file in files:
            self.write(f"python/{file}")
        done = self.run_command("cmake", f"-DFOLDER={self.root}/python", "-P", "check.cmake")
        return done.returncode, " ".join(done.stdout.split())

    def test_the_official_import_library_is_taken(self):
        self.assertEqual(
            (0, f"library: {self.root}/python/libs/python27.lib"),
            self.check("include/Python.h", "libs/python27.lib"),
        )

    def test_it_is_taken_before_the_other_one(self):
        self.assertEqual(
            (0, f"library: {self.root}/python/libs/python27.lib"),
            self.check("include/Python.h", "libs/python27.lib", "libs/libpython27.a"),
        )

    def test_the_other_one_will_do(self):
        self.assertEqual(
            (0, f"library: {self.root}/python/libs/libpython27.a"),
            self.check("include/Python.h", "libs/libpython27.a"),
        )

    def test_a_folder_without_headers_is_told(self):
        code, said = self.check("libs/python27.lib")
        self.assertEqual(1, code)
        self.assertIn(f"names no folder with include/Python.h: '{self.root}/python'", said)

    def test_a_folder_without_an_import_library_is_told(self):
        code, said = self.check("include/Python.h")
        self.assertEqual(1, code)
        self.assertIn(
            "without an import library of python27.dll (libs/python27.lib or "
            f"libs/libpython27.a): '{self.root}/python'",
            said,
        )


class Fetching(SmallTree):
    """What the scripts that fetch the Windows interpreter and its neighbours say when they cannot."""

    def setUp(self):
        super().setUp()
        shutil.copytree(ROOT / "scripts", self.root / "scripts")
        for name in (
            "bash",
            "basename",
            "sh",
            "cat",
            "mkdir",
            "mktemp",
            "rm",
            "dirname",
            "cut",
            "sha256sum",
            "df",
            "tr",
            "awk",
            "mv",
        ):
            (self.root / "bin").mkdir(exist_ok=True)
            (self.root / "bin" / name).symlink_to(shutil.which(name))
        self.cache = self.root / "cache"

    def fake(self, name, script):
        self.write(f"bin/{name}", f"#!/bin/sh\n{script}\n", 0o755)

    def expect(self, sentence, command=("scripts/windows/interpreter.sh",), **environment):
        done = self.run_command(
            *command, PATH=str(self.root / "bin"), XDG_CACHE_HOME=str(self.cache), **environment
        )
        self.assertEqual((1, sentence), (done.returncode, done.stdout.splitlines()[-1]), done.stdout)
        self.assertEqual([], [str(left) for left in self.cache.rglob("*") if left.is_file()])
        self.assertEqual([], list(self.cache.glob("vireon/*")))

    def offer_a_package(self):
        with zipfile.ZipFile(self.root / "some.whl", "w") as wheel:
            wheel.writestr("package/__init__.py", "")
        self.fake(
            "pip3",
            f"echo >>{self.root}/fetched; for folder; do :; done\n"
            f"{shutil.which('cp')} {self.root}/some.whl \"$folder\"",
        )
        (self.root / "bin/python3").symlink_to(sys.executable)

    def test_no_pip(self):
        self.expect("fetch-wheels: pip3 is missing: 'scripts/setup.sh test' installs it")

    def test_no_network(self):
        self.fake("pip3", "echo ERROR: Could not find a version that satisfies the requirement; exit 1")
        self.expect("fetch-wheels: pip could not fetch what interpreter.txt pins; is the network there?")

    def test_another_file_than_the_pinned_one(self):
        self.fake(
            "pip3", "echo ERROR: THESE PACKAGES DO NOT MATCH THE HASHES FROM THE REQUIREMENTS FILE; exit 1"
        )
        self.expect("fetch-wheels: pip was given other files than interpreter.txt pins")

    def test_a_disk_that_is_full_from_the_start(self):
        self.fake("df.small", "echo; echo 299M")
        (self.root / "bin/df").unlink()
        (self.root / "bin/df.small").rename(self.root / "bin/df")
        self.expect(
            f"interpreter: {self.cache}/vireon has room for 299 MB, " "the Windows interpreter takes 300 MB"
        )

    def test_a_disk_that_fills_up(self):
        self.fake("pip3", "echo 'ERROR: [Errno 28] No space left on device'; exit 1")
        done = self.run_command(
            "scripts/fetch-wheels.sh", "some.txt", "wheels", "win_amd64", "cp27m", PATH=str(self.root / "bin")
        )
        self.assertEqual(
            (1, "fetch-wheels: no room left in wheels"), (done.returncode, done.stdout.splitlines()[-1])
        )

    def test_a_mirror_that_cannot_be_reached(self):
        self.offer_a_package()
        self.fake("apt-get", "echo 'bookworm|Debian|main|http://mirror.invalid/'; [ \"$1\" = indextargets ]")
        self.expect(
            "interpreter: could not fetch CPython's source package from this machine's mirror; "
            "is the network there?"
        )

    def test_a_package_that_cannot_be_unpacked(self):
        self.fake("pip3", "for folder; do :; done; echo no zip >\"$folder/some.whl\"")
        self.fake("apt-get", "echo 'bookworm|Debian|main|http://mirror.invalid/'")
        (self.root / "bin/python3").symlink_to(sys.executable)
        self.expect(f"interpreter: could not unpack what interpreter.txt pins into {self.cache}/vireon")

    def test_what_makes_wheels_without_a_network(self):
        self.fake("pip3", "echo ERROR: Could not find a version that satisfies the requirement; exit 1")
        for command in (("zig.sh",), ("packages.sh", "python27"), ("packages.sh", "checks")):
            name = command[-1].replace(".sh", "")
            self.expect(
                f"fetch-wheels: pip could not fetch what {name}.txt pins; is the network there?",
                (f"scripts/wheels/{command[0]}", *command[1:]),
            )

    def test_interpreters_for_wheels_without_a_mirror(self):
        self.fake("apt-get", "echo 'bookworm|Debian|main|http://mirror.invalid/'; [ \"$1\" = indextargets ]")
        for command, what in (
            (("scripts/wheels/debian-python.sh", "arm64"), "Debian 11's packages"),
            (("scripts/wheels/ucs2-python.sh",), "CPython's source package"),
        ):
            name = pathlib.Path(command[0]).stem
            self.expect(
                f"{name}: could not fetch {what} from this machine's mirror; is the network there?", command
            )

    def test_neighbours_without_a_network(self):
        self.fake("pip3", "echo ERROR: Could not find a version that satisfies the requirement; exit 1")
        for platform in ("linux", "windows"):
            self.expect(
                f"fetch-wheels: pip could not fetch what neighbours-{platform}.txt pins; "
                "is the network there?",
                ("scripts/neighbours.sh", platform),
            )

    def test_neighbours_that_cannot_be_unpacked(self):
        self.fake("pip3", "for folder; do :; done; echo no zip >\"$folder/some.whl\"")
        (self.root / "bin/python3").symlink_to(sys.executable)
        self.expect(
            f"neighbours: could not unpack what neighbours-linux.txt pins into {self.cache}/vireon",
            ("scripts/neighbours.sh", "linux"),
        )

    def test_neighbours_are_fetched_once(self):
        self.offer_a_package()
        said = [
            self.run_command(
                "scripts/neighbours.sh", "linux", PATH=str(self.root / "bin"), XDG_CACHE_HOME=str(self.cache)
            ).stdout.splitlines()
            for _ in range(2)
        ]
        (folder,) = self.cache.glob("vireon/*")
        self.assertEqual([[str(folder)], [str(folder)]], [said[0][1:], said[1]])
        self.assertTrue((folder / "package/__init__.py").exists())
        self.assertEqual("\n", (self.root / "fetched").read_text())

    # Knows one package, and downloads it to where it is told.
    APT = """
for word; do case $word in Dir::Cache::archives=*) folder=${word#*=} ;; esac; done
case $* in
    *--print-uris*) echo "'mirror:/some.deb' some.deb 100 SHA256:00" ;;
    *) echo >"$folder/some.deb" ;;
esac"""

    def fake_peers(self):
        for name in ("grep", "cp", "ln"):
            (self.root / "bin" / name).symlink_to(shutil.which(name))
        (self.root / "bin/python3").symlink_to(sys.executable)
        self.fake("apt-get", self.APT)
        self.fake("dpkg-deb", f'{shutil.which("mkdir")} -p "$3/usr/bin" "$3/lib"; echo >"$3/lib/some.so"')
        with zipfile.ZipFile(self.root / "some.whl", "w") as wheel:
            wheel.writestr("package/__init__.py", "")
        self.fake("pip3", f'for folder; do :; done; {shutil.which("cp")} {self.root}/some.whl "$folder"')
        self.fake("npm", f'echo "$*" >>{self.root}/npm')

    def test_peers_that_apt_does_not_know(self):
        self.fake_peers()
        self.fake("apt-get", "exit 100")
        packages = (ROOT / "scripts/peers-debian.txt").read_text(encoding="utf-8").splitlines()
        names = " ".join(name for name in packages if not name.startswith("#"))
        self.expect(f"peers: apt-get knows not all of: {names}", ("scripts/peers.sh",))

    def test_peers_without_a_network(self):
        self.fake_peers()
        self.fake("npm", "exit 1")
        node = "peers: npm could not fetch what peers-node/ pins; is the network there?"
        self.expect(node, ("scripts/peers.sh",))
        self.fake("pip3", "exit 1")
        python = "fetch-wheels: pip could not fetch what peers-python.txt pins; is the network there?"
        self.expect(python, ("scripts/peers.sh",))
        self.fake("apt-get", 'case $* in *--print-uris*) echo "uri file 1 hash" ;; *) exit 100 ;; esac')
        debian = (
            "peers: apt-get could not fetch Debian's peers; is the network there, and are the package lists "
            "recent?"
        )
        self.expect(debian, ("scripts/peers.sh",))

    def test_peers_are_fetched_once_and_what_stands_beside_usr_stands_in_it(self):
        self.fake_peers()
        said = [
            self.run_command(
                "scripts/peers.sh", PATH=str(self.root / "bin"), XDG_CACHE_HOME=str(self.cache)
            ).stdout.splitlines()[-1]
            for _ in range(2)
        ]
        (folder,) = self.cache.glob("vireon/*")
        self.assertEqual([str(folder)] * 2, said)
        self.assertTrue((folder / "programs/usr/lib/some.so").exists())
        self.assertTrue((folder / "python/package/__init__.py").exists())
        self.assertTrue((folder / "node/package-lock.json").exists())
        self.assertEqual(1, len((self.root / "npm").read_text().splitlines()))

    def test_a_chosen_interpreter_that_is_not_whole(self):
        for name in ("python.exe", "DLLs/select.pyd", "Lib/os.py", "include/Python.h", "libs/python27.lib"):
            self.write(f"chosen/{name}")
        self.expect(
            f"interpreter: VIREON_WINDOWS_PYTHON names a folder without python27.dll: {self.root}/chosen",
            VIREON_WINDOWS_PYTHON=f"{self.root}/chosen",
        )

    def test_a_chosen_interpreter_is_taken_as_it_is(self):
        for name in (
            "python.exe",
            "python27.dll",
            "DLLs/select.pyd",
            "Lib/os.py",
            "include/Python.h",
            "libs/python27.lib",
        ):
            self.write(f"chosen/{name}")
        done = self.run_command(
            "scripts/windows/interpreter.sh", XDG_CACHE_HOME=str(self.cache), VIREON_WINDOWS_PYTHON="chosen"
        )
        self.assertEqual((0, f"{self.root}/chosen\n"), (done.returncode, done.stdout))
        self.assertFalse(self.cache.exists())


if __name__ == "__main__":
    unittest.main()
