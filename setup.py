"""Builds and installs the module and its script-side layer for the Python 2.7 that runs this. CMake does both;
this file tells it where, and hands what it installs to Python's packaging."""
import io
import os
import re
import subprocess
import sys
from distutils.errors import DistutilsExecError, DistutilsPlatformError

from setuptools import Extension, setup
from setuptools.command.build_ext import build_ext
from wheel.bdist_wheel import bdist_wheel

ROOT = os.path.dirname(os.path.abspath(__file__))

DESCRIPTION = """\
Finds companion media servers on the local network by SSDP, the discovery protocol of UPnP, and tells a script
where each is and what it offers. ``vireon`` is for scripts: ``vireon.search(5)`` gives servers as they answer,
``vireon.Servers()`` keeps a list of them. ``_vireon`` is the extension module beneath it.
"""


def told_by_cmake(pattern):
    """What the one place that declares it says."""
    with io.open(os.path.join(ROOT, 'CMakeLists.txt'), encoding='utf-8') as opened:
        return str(re.search(pattern, opened.read(), re.M).group(1))


def cmake(arguments, run=subprocess.check_call):
    try:
        return run(['cmake'] + arguments, cwd=ROOT)
    except OSError as error:
        raise DistutilsExecError('cmake builds the module, and cannot be run: %s' % error)
    except subprocess.CalledProcessError as error:
        raise DistutilsExecError('cmake %s ended with %d' % (' '.join(arguments), error.returncode))


def numbers(version):
    return [int(number) for number in version.split('.')]


def check_cmake():
    """An older one would complain of the presets in its own way."""
    oldest = told_by_cmake(r'^cmake_minimum_required\(VERSION ([\d.]+)\)')
    found = re.search(r'^cmake version (\d+\.\d+)', cmake(['--version'], subprocess.check_output)).group(1)
    if numbers(found) < numbers(oldest):
        raise DistutilsExecError('CMake %s or later builds the module, this is %s' % (oldest, found))


class BuildByCMake(build_ext):
    """The module and the layer, by the settings with which the module is shipped."""

    # By which its options are found when it is run once more.
    command_name = 'build_ext'
    user_options = build_ext.user_options + [
        ('built=', None, 'where CMake has built the module already; it is only installed from there')
    ]

    def initialize_options(self):
        build_ext.initialize_options(self)
        self.built = None

    def run(self):
        if self.inplace:
            raise DistutilsPlatformError("there is no build in place; './dev build' makes one to work with")
        check_cmake()
        built = self.built or self.build()
        cmake(['--install', os.path.abspath(built), '--prefix', os.path.abspath(self.build_lib)])

    def build(self):
        folder = os.path.abspath(self.build_temp)
        python = '-DVIREON_PYTHON=%s' % sys.executable
        if sys.platform == 'win32':
            # Not that of an environment made from it, which has no headers.
            installed = getattr(sys, 'real_prefix', None) or getattr(sys, 'base_prefix', sys.prefix)
            python = '-DVIREON_WINDOWS_PYTHON=%s' % installed
        cmake(['--preset', 'release', '-B', folder, '-DVIREON_ONLY_MODULE=ON', python])
        cmake(['--build', folder])
        return folder

    def get_outputs(self):
        return [os.path.join(folder, name) for folder, _, names in os.walk(self.build_lib) for name in names]


class TaggedWheel(bdist_wheel):
    """May be for others than the interpreter that makes it."""

    command_name = 'bdist_wheel'
    user_options = bdist_wheel.user_options + [
        ('tags=', None, 'what the wheel is for, where that is more than what runs this: cp27-cp27m-win_amd64')
    ]

    def initialize_options(self):
        bdist_wheel.initialize_options(self)
        self.tags = None

    def get_tag(self):
        return tuple(self.tags.split('-')) if self.tags else bdist_wheel.get_tag(self)


setup(
    name='vireon',
    version=told_by_cmake(r'^project\(vireon VERSION ([\d.]+) '),
    description='Finds companion media servers on the local network',
    long_description=DESCRIPTION,
    long_description_content_type='text/x-rst',
    author='the _vireon authors',
    license='MIT',
    python_requires='==2.7.*',
    classifiers=[
        'Intended Audience :: Developers',
        'License :: OSI Approved :: MIT License',
        'Operating System :: Microsoft :: Windows',
        'Operating System :: POSIX :: Linux',
        'Programming Language :: C++',
        'Programming Language :: Python :: 2.7',
        'Programming Language :: Python :: Implementation :: CPython',
        'Topic :: Multimedia',
        'Topic :: System :: Networking',
    ],
    # A name without sources: there is something to build, and it is no pure Python.
    ext_modules=[Extension('_vireon', sources=[])],
    cmdclass={'build_ext': BuildByCMake, 'bdist_wheel': TaggedWheel},
    zip_safe=False,
)
