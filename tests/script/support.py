"""What the script tests share: the module under test, its helpers, and the runtime's memory."""
import contextlib
import ctypes
import imp
import os
import subprocess
import sys
import threading
import unittest

MODULE_DIR = os.environ['VIREON_MODULE_DIR']
HELPERS_DIR = os.path.join(MODULE_DIR, 'script_test_modules')
TESTS_DIR = os.path.dirname(os.path.abspath(__file__))
for folder in (HELPERS_DIR, MODULE_DIR):
    if folder not in sys.path:
        sys.path.insert(0, folder)

import _vireon

MODULE_FILE = _vireon.__file__
if 'VIREON_LOOPBACK_ONLY' in os.environ:
    # The machine is somebody's own and has its network: nothing is sent there.
    import vireon_machine

    vireon_machine.keep_here(MODULE_FILE)

ON_WINDOWS = sys.platform == 'win32'

pointer = ctypes.c_void_p


class TypeDescriptor(ctypes.Structure):
    pass


class CastLink(ctypes.Structure):
    pass


class ModuleRecord(ctypes.Structure):
    pass


class ClassRecord(ctypes.Structure):
    _fields_ = [
        ('script_class', pointer),
        ('constructor', pointer),
        ('raw_arguments', pointer),
        ('destructor', pointer),
        ('destructor_takes_wrapped', ctypes.c_int),
        ('implicit_conversion_running', ctypes.c_int),
    ]


CastLink._fields_ = [
    ('from_type', ctypes.POINTER(TypeDescriptor)),
    ('convert', pointer),
    ('next', ctypes.POINTER(CastLink)),
    ('previous', ctypes.POINTER(CastLink)),
]
TypeDescriptor._fields_ = [
    ('name', ctypes.c_char_p),
    ('human_name', ctypes.c_char_p),
    ('dynamic_cast', pointer),
    ('casts', ctypes.POINTER(CastLink)),
    ('client_data', ctypes.POINTER(ClassRecord)),
    ('owns_client_data', ctypes.c_int),
]
ModuleRecord._fields_ = [
    ('types', ctypes.POINTER(ctypes.POINTER(TypeDescriptor))),
    ('count', ctypes.c_size_t),
    ('next', ctypes.POINTER(ModuleRecord)),
    ('type_initial', ctypes.POINTER(ctypes.POINTER(TypeDescriptor))),
    ('cast_initial', ctypes.POINTER(ctypes.POINTER(CastLink))),
    ('client_data', pointer),
]


class WrappedPointer(ctypes.Structure):
    """What follows the interpreter's object head."""

    _fields_ = [
        ('address', pointer),
        ('type', ctypes.POINTER(TypeDescriptor)),
        ('own', ctypes.c_int),
        ('next', pointer),
    ]


# What a callable is told of a server.
SERVER_KEYS = (
    'location',
    'usn',
    'friendlyName',
    'HttpPort',
    'HttpsPort',
    'manufacturer',
    'manufacturerURL',
    'modelDescription',
    'modelName',
    'modelURL',
    'modelNumber',
    'serialNumber',
    'WebsocketPort',
    'DBStatus',
    'version',
)


def fields_of(wrapped):
    return WrappedPointer.from_address(id(wrapped) + object.__basicsize__)


def head_address():
    """What a reader of the older kind gets, whichever kind of opaque object it is."""
    import swig_runtime_data3

    as_pointer = ctypes.pythonapi.PyCObject_AsVoidPtr
    as_pointer.restype = pointer
    as_pointer.argtypes = [ctypes.py_object]
    return as_pointer(swig_runtime_data3.type_pointer)


def head_record():
    return ModuleRecord.from_address(head_address())


def descriptors(record):
    return [record.types[i].contents for i in range(record.count)]


def descriptor(name, record=None):
    """Of the record at that address, or of the head's."""
    record = ModuleRecord.from_address(record) if record else head_record()
    return [each for each in descriptors(record) if each.name == name][0]


def int32_at(wrapped):
    return ctypes.c_int32.from_address(int(wrapped)).value


def uint32_at(wrapped):
    return ctypes.c_uint32.from_address(int(wrapped)).value


def int64_at(wrapped):
    return ctypes.c_int64.from_address(int(wrapped)).value


def text_at(wrapped):
    """The text of a wrapped NPT_String: its one pointer, null for the empty string."""
    characters = pointer.from_address(int(wrapped)).value
    return ctypes.string_at(characters) if characters else ''


class Quiet(object):
    """Keeps the runtime's leak messages out of the test's output; remembers them."""

    def __init__(self):
        self.text = ''

    def write(self, text):
        self.text += text

    def flush(self):
        pass

    def __enter__(self):
        self.before, sys.stdout = sys.stdout, self
        return self

    def __exit__(self, *_):
        sys.stdout = self.before


def leak_message(type_name):
    return "swig/python detected a memory leak of type '%s', no destructor found.\n" % type_name


def interpreter():
    """The command that runs a script with the module on its path."""
    return [os.environ.get('VIREON_PYTHON') or sys.executable]


# The interpreter's wrapper preloads what a checked build needs; it is not for the tools around it.
ENVIRONMENT = dict((name, value) for name, value in os.environ.items() if name != 'LD_PRELOAD')
SCRIPT_LIMIT_SECONDS = 120
PROLOGUE = 'import sys; sys.path.insert(0, %r); import support\n' % TESTS_DIR

# The standard error of a script, as that of a program without a console.
NO_ERRORS = '''
class NoErrors(object):
    def write(self, text):
        raise IOError(9, 'Bad file descriptor')
sys.stderr = NoErrors()
'''

LEAK_CHECKER = os.path.join(TESTS_DIR, '..', 'sanitizers', 'leak_checker.py')


def run_script(text, command=None, prologue=PROLOGUE, flags=()):
    """Runs a script in an interpreter of its own: (exit code, standard output, standard error).

    One that hangs is killed, which its exit code tells. One whose leak checker failed is run again.
    """
    # The interpreter itself on Windows, where the wrapper is for the other system's shell.
    command = (command or []) + ([sys.executable] if ON_WINDOWS else interpreter())
    command += ['-B'] + list(flags) + ['-c', prologue + text]
    # Here, and not in every script that imports this file.
    leak_checker = imp.load_source('leak_checker', LEAK_CHECKER)
    ended = run_command(command)
    if ended[0] != 0 and leak_checker.tracer_crashed(ended[2]):
        print(leak_checker.SCRIPT_RUN_AGAIN)
        ended = run_command(command)
    return ended


def run_command(command):
    process = subprocess.Popen(command, env=ENVIRONMENT, stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    killer = threading.Timer(SCRIPT_LIMIT_SECONDS, process.kill)
    killer.start()
    try:
        output, errors = process.communicate()
    finally:
        killer.cancel()
    return process.returncode, output.replace('\r\n', '\n'), errors.replace('\r\n', '\n')


def missing(what):
    """Skips for something that the machine lacks; in CI, which lacks nothing, fails."""
    if os.environ.get('CI') == 'true':
        raise AssertionError(what)
    raise unittest.SkipTest(what)


@contextlib.contextmanager
def children_that_end():
    """For scripts whose forked children end as a program does, and not by os._exit: what the parent's threads
    own looks leaked to a leak check there."""
    options = ENVIRONMENT.get('ASAN_OPTIONS')
    ENVIRONMENT['ASAN_OPTIONS'] = (options or '') + ':detect_leaks=0'
    try:
        yield
    finally:
        ENVIRONMENT.pop('ASAN_OPTIONS')
        if options is not None:
            ENVIRONMENT['ASAN_OPTIONS'] = options


def run_isolated(text):
    """run_script in a network namespace of its own, with one interface that leads nowhere."""
    if ON_WINDOWS:
        # A Windows program cannot leave the namespace that its Wine server was started in, so the
        # whole test is run in one of its own.
        if 'VIREON_ISOLATED' not in os.environ:
            missing('run this test by isolated.sh, with VIREON_ISOLATED=1')
        return run_script(text)
    isolated = [os.path.join(TESTS_DIR, 'isolated.sh')]
    try:
        tried = subprocess.Popen(isolated + ['true'], env=ENVIRONMENT, stderr=subprocess.PIPE)
        reason = tried.communicate()[1]
    except OSError as error:
        missing('isolated.sh: %s' % error)
    if tried.returncode:
        missing(' '.join(reason.split()))
    return run_script(text, isolated)
