"""The examples that scripts are made from."""
import imp
import os
import subprocess
import sys
import unittest

import support
import vireon_probe as probe

EXAMPLES = os.path.join(support.TESTS_DIR, '..', '..', 'examples')


class ReadString(unittest.TestCase):
    PATH = os.path.join(EXAMPLES, 'read_string.py')

    def test_it_prints_a_devices_texts(self):
        command = [sys.executable] if support.ON_WINDOWS else support.interpreter()
        output = subprocess.check_output(command + ['-B', self.PATH]).splitlines()
        self.assertRegexpMatches(output[0], '^uuid: [0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}$')
        self.assertEqual("type: ''", output[1])

    def test_its_function_reads_any_text(self):
        example = imp.load_source('read_string', self.PATH)
        for text in ('', 'x', 'caf\xc3\xa9', 5000 * 'long '):
            wrapped = probe.string(text)
            self.assertEqual(text, example.read_string(wrapped))
            probe.delete_string(wrapped)


class ClassLayer(unittest.TestCase):
    """Nobody has to remember the engine: however its object goes, the search ends first."""

    PROLOGUE = (
        '''
import gc, sys, weakref
sys.path.insert(0, %r)
from vireon import Vireon

def searching():
    vireon = Vireon()
    vireon.search(0.2, lambda *_: None)
    return vireon
'''
        % EXAMPLES
    )

    def expect(self, output, script):
        self.assertEqual((0, output, ''), support.run_isolated(self.PROLOGUE + script))

    def test_it_may_raise_before_it_stops(self):
        self.expect(
            'caught\n',
            '''
def use():
    vireon = searching()
    raise ValueError
try:
    use()
except ValueError:
    sys.exc_clear()
print 'caught'
''',
        )

    def test_its_variable_may_be_bound_anew(self):
        self.expect(
            'again\n',
            '''
vireon = searching()
vireon = searching()
print 'again'
''',
        )

    def test_one_in_a_cycle_is_collected(self):
        self.expect(
            'None None []\n',
            '''
vireon = searching()
vireon.myself = vireon
ends = weakref.ref(vireon), weakref.ref(vireon._engine)
del vireon
gc.collect()
print ends[0](), ends[1](), gc.garbage
''',
        )

    def test_one_whose_callable_leads_back_to_it_is_collected(self):
        self.expect(
            'None None []\n',
            '''
class Host(object):
    def __init__(self):
        self.vireon = Vireon()
        self.vireon.search(0.2, self.on_event)
    def on_event(self, event, server):
        pass
host = Host()
ends = weakref.ref(host), weakref.ref(host.vireon._engine)
del host
gc.collect()
print ends[0](), ends[1](), gc.garbage
''',
        )

    def test_one_may_be_collected_by_its_own_callable(self):
        self.expect(
            'Update Service None []\n',
            '''
import threading, time, _vireon, vireon_probe as probe
called, ends = threading.Event(), []
def on_event(event, server):
    host[:] = []
    gc.collect()
    ends.append(event)
    called.set()
host = [Vireon()]
host[0].search(0.2, on_event)
host[0].myself = host[0]
end = weakref.ref(host[0])
kind = 'urn:schemas-upnp-org:device:ZOMediaServer:1'
answer = probe.response(200, {'Location': 'http://10.0.0.1/', 'USN': kind, 'FriendlyName': 'Den'})
with support.Quiet():
    _vireon.Vireon_ProcessSsdpMessage(host[0]._engine, probe.message(answer), probe.context(),
                                      probe.string('an id'))
called.wait()
# The thread that calls has left the callable some time later.
for _ in range(1000):
    gc.collect()
    if end() is None:
        break
    time.sleep(0.01)
print ends[0], end(), gc.garbage
''',
        )

    def test_one_may_be_left_to_the_end_of_the_script(self):
        self.expect(
            'end\n',
            '''
vireon = searching()
print 'end'
''',
        )

    def test_so_may_one_in_a_cycle(self):
        self.expect(
            'end\n',
            '''
vireon = searching()
vireon.myself = vireon
print 'end'
''',
        )

    def test_the_end_of_its_block_stops_it_even_by_an_exception(self):
        self.expect(
            'True True\n',
            '''
import _vireon
def closed(vireon):
    return _vireon.Vireon_isClosed_get(vireon._engine)
with searching() as first:
    pass
try:
    with searching() as second:
        raise ValueError
except ValueError:
    pass
print closed(first), closed(second)
''',
        )


def server(usn, location):
    names = (
        'friendlyName',
        'modelName',
        'manufacturer',
        'version',
        'HttpPort',
        'HttpsPort',
        'WebsocketPort',
        'DBStatus',
        'serialNumber',
    )
    return dict(((name, '') for name in names), usn=usn, location=location)


class FindServers(unittest.TestCase):
    PATH = os.path.join(EXAMPLES, 'find_servers.py')

    def test_one_server_on_two_networks_is_one_and_where_it_was_seen_last(self):
        sys.path.insert(0, EXAMPLES)
        self.addCleanup(sys.path.remove, EXAMPLES)
        servers = imp.load_source('find_servers', self.PATH).Servers()
        with support.Quiet() as said:
            servers('Update Service', server('uuid:1', 'http://10.0.0.1/'))
            servers('Update Service', server('uuid:1', 'http://10.9.0.1/'))
            servers('Update Service', server('uuid:2', 'http://10.0.0.2/'))
        self.assertEqual(2, said.text.count(' found '), said.text)
        self.assertEqual(
            {'uuid:1': 'http://10.9.0.1/', 'uuid:2': 'http://10.0.0.2/'},
            dict((usn, each['location']) for usn, each in servers.by_usn.items()),
        )

    def test_a_servers_texts_do_not_steer_the_terminal(self):
        sys.path.insert(0, EXAMPLES)
        self.addCleanup(sys.path.remove, EXAMPLES)
        servers = imp.load_source('find_servers', self.PATH).Servers()
        hostile = server('uuid:\x1b]0;', 'http://10.0.0.1/\x9b')
        hostile['friendlyName'] = '\x1b[2JK\xc3\xbcche\xc2\x9b1m\x07'
        with support.Quiet() as said:
            servers('Update Service', hostile)
        self.assertIn('found [2JK\xc3\xbcche1m at http://10.0.0.1/', said.text)
        for control in ('\x07', '\x1b', '\x9b'):
            self.assertNotIn(control, said.text)

    def test_what_is_no_time_is_refused_before_anything_is_searched(self):
        command = [sys.executable] if support.ON_WINDOWS else support.interpreter()
        for option in ('--seconds', '--interval'):
            for value in ('-1', 'nan', 'inf', 'soon'):
                process = subprocess.Popen(
                    command + ['-B', self.PATH, option, value], stdout=subprocess.PIPE, stderr=subprocess.PIPE
                )
                output, errors = process.communicate()
                self.assertEqual((2, ''), (process.returncode, output), (option, value))
                self.assertIn('error: argument %s' % option, errors)


if __name__ == '__main__':
    sys.dont_write_bytecode = True
    unittest.main()
