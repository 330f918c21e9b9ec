"""python -m vireon: lists, watches and describes media servers, and tells why one is not found."""

from __future__ import absolute_import

import argparse
import errno
import os
import sys

import vireon
from vireon import doctor, listing, watching
from vireon.engine import INTERVAL
from vireon.shown import say, shown

# A server may take 5 s to answer: searches ask for no less.
SECONDS = 6.0
SECONDS_OF_DOCTOR = 9.0
MOST_SECONDS = 1000000  # what every platform can sleep
INTERRUPTED = 130  # as shells tell it


def _seconds(text):
    number = float(text)
    if not 0 < number <= MOST_SECONDS:
        raise argparse.ArgumentTypeError('%s is not above 0 and up to %d' % (text, MOST_SECONDS))
    return number


def _text(argument):
    return argument.decode('mbcs' if os.name == 'nt' else 'utf-8', 'replace')


def _parser():
    parser = argparse.ArgumentParser(prog='python -m vireon', description='Media servers on this network.')
    parser.add_argument('--version', action='version', version=vireon.__version__)
    verbs = parser.add_subparsers(metavar='VERB')

    def verb(name, run, says, seconds):
        added = verbs.add_parser(name, help=says, description=says[0].upper() + says[1:] + '.')
        default = 'until Ctrl-C' if seconds is None else '%(default)g'
        added.add_argument(
            '--seconds', type=_seconds, default=seconds, help='how long to search (%s)' % default
        )
        added.add_argument(
            '--interval', type=_seconds, default=INTERVAL, help='seconds between two searches (%(default)g)'
        )
        added.set_defaults(run=run)
        return added

    verb('list', lambda o: listing.list_servers(o.seconds, o.interval), 'list each server once', SECONDS)
    watched = verb(
        'watch',
        lambda o: watching.watch(o.seconds, o.interval, o.dropped),
        'show the servers that are there',
        None,
    )
    watched.add_argument(
        '--dropped', action='store_true', help='count the answers that the module drops, by source, as well'
    )
    describing = verb(
        'describe',
        lambda o: listing.describe_servers(o.which, o.seconds, o.interval),
        'write all that servers say of themselves',
        SECONDS,
    )
    describing.add_argument(
        'which', nargs='?', type=_text, help='the name, location or USN of one (all of them)'
    )
    verb(
        'doctor',
        lambda o: doctor.examine(o.seconds, o.interval),
        'tell why a server is found or not',
        SECONDS_OF_DOCTOR,
    )
    return parser


def main():
    """Gives the exit code."""
    options = _parser().parse_args()
    try:
        return options.run(options)
    except KeyboardInterrupt:
        return INTERRUPTED
    except EnvironmentError as error:
        if error.errno == errno.EPIPE:
            # Whoever read has read enough; the interpreter's end writes what is left nowhere.
            os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
            return 0
        say(u'vireon: %s' % shown(str(error)), sys.stderr)
        return 1


if __name__ == '__main__':
    sys.exit(main())
