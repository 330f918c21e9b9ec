#!/usr/bin/env python3
"""What the build puts where it is told to, what Python's packaging makes of that, and what the source
distribution holds: tried with the module that was built, by the packages that are the last for Python 2.7."""

import os
import pathlib
import subprocess
import sys
import tarfile
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ["VIREON_MODULE_DIR"])
PYTHON = os.environ["VIREON_PLAIN_PYTHON"]
MODULE = os.environ["VIREON_MODULE_FILE"]
VERSION = os.environ["VIREON_VERSION"]


def run(*command, **environment):
    # Not the module that was built, which the tests' environment may name.
    environment = dict(os.environ, **environment)
    if "PYTHONPATH" not in environment:
        environment["PYTHONPATH"] = ""
    done = subprocess.run(
        command,
        cwd=ROOT,
        env=environment,
        text=True,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        check=False,
    )
    return done.returncode, done.stdout


def tools():
    """The folder with setuptools, wheel and pip."""
    code, said = run(ROOT / "scripts/wheels/packages.sh", "python27")
    if code:
        if os.environ.get("CI") == "true":
            raise AssertionError(said)
        raise unittest.SkipTest(" ".join(said.split()))
    return said.splitlines()[-1]


def files(folder):
    return {path.relative_to(folder).as_posix() for path in folder.rglob("*") if path.is_file()}


class InFolder(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name).resolve()

    def succeed(self, *command, **environment):
        code, said = run(*command, **environment)
        self.assertEqual(0, code, said)
        return said

    def python(self, *arguments, path):
        return self.succeed(PYTHON, "-B", *arguments, PYTHONPATH=str(path))

    def expect_usable(self, folder):
        said = self.python(
            "-c", "import vireon, _vireon; print vireon.__version__, _vireon.__file__", path=folder
        )
        self.assertEqual(f"{VERSION} {folder / MODULE}\n", said)


class Installation(InFolder):
    def install(self, *options):
        self.succeed("cmake", "--install", BUILD, "--prefix", self.folder, *options)
        return files(self.folder)

    def test_the_module_and_the_layer_are_all_that_is_installed(self):
        installed = self.install()
        self.assertEqual({MODULE, "vireon"}, {name.split("/")[0] for name in installed})
        self.expect_usable(self.folder)

    def test_either_may_be_installed_alone(self):
        self.assertEqual({MODULE}, self.install("--component", "module"))
        (self.folder / MODULE).unlink()
        layer = self.install("--component", "layer")
        self.assertIn("vireon/_version.py", layer)
        self.assertEqual(files(BUILD / "vireon"), {name[len("vireon/") :] for name in layer})


class Distribution(InFolder):
    def setUp(self):
        super().setUp()
        self.tools = tools()

    def set_up(self, *command):
        self.python("setup.py", "--quiet", "egg_info", "--egg-base", self.folder, *command, path=self.tools)

    def make_wheel(self, *options):
        self.set_up(
            *("build", "--build-base", self.folder / "build", "build_ext", "--built", BUILD),
            *("bdist_wheel", "--bdist-dir", self.folder / "bdist", "--dist-dir", self.folder / "dist"),
            *options,
        )
        # Nothing is built anew.
        self.assertEqual([], list((self.folder / "build").glob("temp*")))
        [wheel] = (self.folder / "dist").glob("*.whl")
        return wheel

    def test_a_wheel_of_what_is_built_is_as_it_should_be(self):
        wheel = self.make_wheel()
        self.assertRegex(wheel.name, rf"^vireon-{VERSION}-cp27-cp27mu-linux_\w+\.whl$")
        self.succeed(sys.executable, "-B", ROOT / "tests/packaging/wheel_file_test.py", wheel)

    def test_a_wheel_may_be_for_more_than_what_makes_it(self):
        wheel = self.make_wheel("--tags", "cp27-cp27m.cp27mu-manylinux_2_17_x86_64.manylinux2014_x86_64")
        self.assertEqual(
            f"vireon-{VERSION}-cp27-cp27m.cp27mu-manylinux_2_17_x86_64.manylinux2014_x86_64.whl", wheel.name
        )
        self.succeed(sys.executable, "-B", ROOT / "tests/packaging/wheel_file_test.py", wheel)

    def expect_refused(self, sentence, cmake):
        """With a cmake that is such a script, or with none."""
        if cmake:
            (self.folder / "cmake").write_text(f"#!/bin/sh\n{cmake}\n")
            (self.folder / "cmake").chmod(0o755)
        code, said = run(
            *(PYTHON, "-B", "setup.py", "build", "--build-base", self.folder / "build"),
            PYTHONPATH=self.tools,
            PATH=str(self.folder),
        )
        self.assertEqual((1, f"error: {sentence}"), (code, said.splitlines()[-1]))

    def test_a_cmake_that_is_too_old_is_told(self):
        self.expect_refused(
            "CMake 3.25 or later builds the module, this is 3.18", "echo cmake version 3.18.4"
        )

    def test_no_cmake_is_told(self):
        self.expect_refused(
            "cmake builds the module, and cannot be run: [Errno 2] No such file or directory", None
        )

    def test_pip_builds_the_source_distribution_from_what_it_holds(self):
        self.set_up("sdist", "--dist-dir", self.folder)
        archive = self.folder / f"vireon-{VERSION}.tar.gz"
        with tarfile.open(archive) as opened:
            names = {name.split("/", 1)[1] for name in opened.getnames() if "/" in name}
        self.assertLessEqual({"LICENSE", "THIRD-PARTY.md", "README.md", "pyproject.toml"}, names)
        self.assertEqual(
            [], [name for name in names if name.startswith("tests") or name.endswith("_test.cpp")]
        )
        installed = self.folder / "installed"
        self.python(
            *(
                "-m",
                "pip",
                "install",
                "--quiet",
                "--disable-pip-version-check",
                "--no-index",
                "--no-build-isolation",
            ),
            *("--no-cache-dir", "--no-compile", "--target", installed, archive),
            path=self.tools,
        )
        self.expect_usable(installed)
        self.assertEqual(files(BUILD / "vireon"), files(installed / "vireon"))


if __name__ == "__main__":
    unittest.main()
