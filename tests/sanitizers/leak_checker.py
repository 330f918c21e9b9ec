"""leak_checker.py COMMAND [ARGUMENT ...]

Runs a test program of a build whose leaks are checked. The checker looks at a program that has ended
by a process of its own, the tracer, and rarely that one crashes: no leak was looked for then, and the
program fails although its tests passed. Such an end is told, and the program is run once more; every
other end is the program's own. Any Python runs it, since the script tests import it.
"""
import re
import subprocess
import sys

_CRASH = re.compile(r'^Tracer caught signal \d+', re.M)
_FATAL = 'LeakSanitizer has encountered a fatal error'
# What any check prints that did find something.
_FINDING = re.compile(r'ERROR: \w+Sanitizer|runtime error: ')
_PASSED = re.compile(r'^Ran [1-9]\d* tests? in .*\n\nOK\b', re.M)

# The summary of a test run (scripts/test_summary.py) looks for both.
_TOLD = "the leak checker's own tracer crashed, nothing was checked: running the %s once more"
PROGRAM_RUN_AGAIN = _TOLD % 'program'
SCRIPT_RUN_AGAIN = _TOLD % 'script'


def tracer_crashed(output):
    """Whether the checker failed and the program it looked at did not."""
    return bool(_CRASH.search(output)) and _FATAL in output and not _FINDING.search(output)


def passed_but_for_the_tracer(code, output):
    """The same of a unittest program, all of whose tests passed."""
    return code != 0 and tracer_crashed(output) and bool(_PASSED.search(output))


def run(command):
    process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    # Handed on as it comes, so that a program that is killed for its time has said how far it came.
    output = b''
    for line in iter(process.stdout.readline, b''):
        output += line
        getattr(sys.stdout, 'buffer', sys.stdout).write(line)
        sys.stdout.flush()
    return process.wait(), output.decode('utf-8', 'replace')


def main():
    code, output = run(sys.argv[1:])
    if passed_but_for_the_tracer(code, output):
        print(PROGRAM_RUN_AGAIN)
        sys.stdout.flush()
        code, _ = run(sys.argv[1:])
    return code if code >= 0 else 128 - code


if __name__ == '__main__':
    sys.exit(main())
