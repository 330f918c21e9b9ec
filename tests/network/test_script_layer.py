"""Servers that are found, change and go, as the script-side layer tells of them."""

import json
import os
import re
import threading
import time
import unittest

from capture import by_sender
from network_case import INTERVAL, SLACK, NetworkCase, to_group
from responder import ENTRY_SOURCES, answer
from searcher import start_driver

HERE = os.path.dirname(os.path.abspath(__file__))
DRIVER = os.path.join(HERE, 'layer_driver.py')
PAGE = os.path.join(HERE, '..', '..', 'docs', 'script-layer.md')
MODULES_PAGE = os.path.join(HERE, '..', '..', 'docs', 'module.md')
README = os.path.join(HERE, '..', '..', 'README.md')
FIND_SERVERS = os.path.join(HERE, '..', '..', 'examples', 'find_servers.py')

ROUNDS = 2
# For servers that are not to be lost however busy the machine is: some seconds.
MANY_ROUNDS = 20
# Seconds for what happens at once, and for a start of Wine before it on a machine that is busy.
LIMIT = 90
# The thread that looks after the list does so each second.
TICK = 1.0
USN = b'uuid:%d::urn:schemas-upnp-org:device:ZOMediaServer:1'
OTHER_NETWORK = ('10.77.2.1', '10.77.2.2')


class Layer:
    """A program that uses the layer, in a namespace. Every wait has its limit."""

    def __init__(self, namespace, *words, text=None, program=(DRIVER,)):
        self.process = start_driver(namespace, *program, *words)
        self.lines, self.errors = [], b''
        self._changed = threading.Condition()
        self._readers = [
            threading.Thread(target=run, daemon=True) for run in (self._read_lines, self._read_errors)
        ]
        for reader in self._readers:
            reader.start()
        if text is not None:
            self.process.stdin.write(text.encode())
            self.process.stdin.close()

    def _read_lines(self):
        for line in self.process.stdout:
            with self._changed:
                self.lines.append(line.decode().rstrip('\r\n'))
                self._changed.notify_all()

    def _read_errors(self):
        self.errors = self.process.stderr.read()

    @property
    def events(self):
        return [json.loads(line) for line in list(self.lines)]

    def wait(self, kind, count=1, timeout=LIMIT):
        """The events of that kind, as soon as there are so many."""
        deadline = time.monotonic() + timeout
        with self._changed:
            while True:
                found = [event for event in self.events if event['event'] == kind]
                if len(found) >= count:
                    return found
                remaining = deadline - time.monotonic()
                if remaining <= 0:
                    raise AssertionError('waited for %d %r; got %r' % (count, kind, self.events))
                self._changed.wait(remaining)

    def kinds(self):
        return [event['event'] for event in self.events if event['event'] != 'ready']

    def say(self, command):
        self.process.stdin.write(command.encode() + b'\n')
        self.process.stdin.flush()

    def end(self, timeout=LIMIT):
        """Waits for the program's end; gives its exit code and what it printed to the errors."""
        if not self.process.stdin.closed:
            self.process.stdin.close()
        self.process.wait(timeout)
        for reader in self._readers:
            reader.join()
        return self.process.returncode, self.errors

    def close(self):
        if self.process.poll() is None:
            self.process.kill()
            self.end()
        self.process.stdout.close()
        self.process.stderr.close()


class LayerCase(NetworkCase):
    def layer(self, *words, **options):
        layer = Layer(self.here, *map(str, words), **options)
        self.addCleanup(layer.close)
        return layer

    def servers(self, rounds=MANY_ROUNDS):
        """A list of servers that is kept, on the standard network."""
        layer = self.layer('servers', INTERVAL, rounds)
        layer.wait('ready')
        return layer

    def second_network(self):
        """Another cable of the searching machine's, which has no address there yet."""
        other = self.namespace()
        self.here.connect('eth1', other, 'eth0')
        other.ip('addr add %s/24 broadcast + dev eth0' % OTHER_NETWORK[1])
        return other

    def join_second_network(self):
        self.here.ip('addr add %s/24 broadcast + dev eth1' % OTHER_NETWORK[0])

    def assert_clean_end(self, layer):
        self.assertEqual(layer.end(), (0, b''))


def there(location):
    return answer(LOCATION=b'http://%s/' % location)


class SearchTest(LayerCase):
    def test_each_server_is_given_once_and_as_soon_as_it_answers(self):
        self.standard_network()
        replies = [answer(b'one', USN=USN % 1), answer(b'two', USN=USN % 2)]
        self.responder(self.there, reply=lambda request: replies)
        layer = self.layer('search', 2, INTERVAL)
        end = layer.wait('end')[0]['time']
        found = layer.wait('found')
        self.assertEqual(sorted(each['server']['name'] for each in found), ['one', 'two'])
        self.assertGreater(end - found[-1]['time'], 2 - SLACK)
        self.assert_clean_end(layer)

    def test_it_ends_with_its_time_when_there_is_no_server(self):
        self.standard_network()
        wire = self.capture(self.here)
        layer = self.layer('search', 1, INTERVAL)
        layer.wait('end')
        self.assertEqual(layer.kinds(), ['end'])
        time.sleep(SLACK)  # the capture may be behind what was sent
        sent = len(wire.datagrams())
        time.sleep(2 * INTERVAL)
        self.assertEqual(len(wire.datagrams()), sent)
        self.assert_clean_end(layer)


class ServersTest(LayerCase):
    def test_a_server_is_found_once_however_often_it_answers(self):
        self.standard_network()
        server = self.responder(self.there, reply=lambda request: [answer()])
        layer = self.servers()
        layer.wait('found')
        seen = len(server.requests())
        while len(server.requests()) < seen + 8:
            time.sleep(INTERVAL)
        layer.say('list')
        names = [each['name'] for each in layer.wait('list')[0]['servers']]
        self.assertEqual((layer.kinds(), names), (['found', 'list'], ['Living room']))

    def test_a_server_that_says_something_else_has_changed(self):
        self.standard_network()
        server = self.responder(self.there, reply=lambda request: [answer()])
        layer = self.servers()
        layer.wait('found')
        # What the other sender was answered before would else be told as a change back.
        server.reply = lambda request: []
        time.sleep(SLACK)
        server.reply = lambda request: [answer(b'Kitchen')]
        changed = layer.wait('changed')
        self.assertEqual([each['server']['name'] for each in changed], ['Kitchen'])

    def test_a_server_that_answers_no_more_is_lost_after_so_many_rounds(self):
        self.standard_network()
        server = self.responder(self.there, reply=lambda request: [answer()])
        layer = self.servers(ROUNDS)
        layer.wait('found')
        server.reply = lambda request: []
        silent = time.time()
        lost = layer.wait('lost')[0]
        self.assertEqual(lost['server']['name'], 'Living room')
        self.assertGreater(lost['time'] - silent, ROUNDS * INTERVAL)
        self.assertLess(lost['time'] - silent, (ROUNDS + 1) * INTERVAL + 2 * TICK + SLACK)

    def test_a_server_that_comes_back_is_found_again(self):
        self.standard_network()
        server = self.responder(self.there, reply=lambda request: [answer()])
        layer = self.servers(ROUNDS)
        layer.wait('found')
        server.reply = lambda request: []
        layer.wait('lost')
        server.reply = lambda request: [answer()]
        layer.wait('found', 2)

    def test_one_server_on_two_networks_is_one_with_two_locations(self):
        self.standard_network()
        other = self.second_network()
        self.join_second_network()
        self.responder(self.there, reply=lambda request: [there(b'10.77.1.2')])
        second = self.responder(other, OTHER_NETWORK[1:], lambda request: [there(b'10.77.2.2')])
        layer = self.servers()
        layer.wait('found')
        changed = layer.wait('changed')[0]
        self.assertEqual(sorted(changed['server']['locations']), ['http://10.77.1.2/', 'http://10.77.2.2/'])
        second.reply = lambda request: []
        changed = layer.wait('changed', 2)[1]
        self.assertEqual(changed['server']['locations'], ['http://10.77.1.2/'])
        self.assertEqual(layer.kinds(), ['found', 'changed', 'changed'])

    def test_a_server_that_moved_is_where_it_answers_now(self):
        self.standard_network()
        server = self.responder(self.there, reply=lambda request: [there(b'10.77.1.2')])
        layer = self.servers()
        layer.wait('found')
        server.reply = lambda request: [there(b'10.77.1.3')]
        changed = layer.wait('changed', 2)
        self.assertEqual(
            [each['server']['locations'] for each in changed],
            [['http://10.77.1.3/', 'http://10.77.1.2/'], ['http://10.77.1.3/']],
        )

    def test_an_address_that_is_new_is_searched_without_being_asked_to(self):
        self.standard_network()
        other = self.second_network()
        self.responder(other, OTHER_NETWORK[1:], lambda request: [answer(b'new')])
        layer = self.servers()
        wire = self.capture(self.here)
        wire.wait(lambda sent: to_group(sent), 10)
        self.join_second_network()
        self.assertEqual(layer.wait('found')[0]['server']['name'], 'new')
        layer.say('close')
        layer.wait('has closed')

    def test_a_refresh_asks_at_once_and_leaves_no_sender_behind(self):
        self.standard_network()
        wire = self.capture(self.here)
        layer = self.layer('servers', 30, ROUNDS)
        layer.wait('ready')
        before = wire.wait(lambda sent: len(sent) == 4, 10)
        layer.say('refresh')
        sent = wire.wait(lambda sent: len(sent) == 8, 10)
        self.assertFalse(set(by_sender(before)) & set(by_sender(sent[4:])))
        layer.say('close')
        layer.wait('has closed')

    def test_a_close_is_the_last_event_and_does_not_take_long(self):
        self.standard_network()
        self.responder(self.there, reply=lambda request: [answer()])
        layer = self.servers()
        layer.wait('found')
        layer.say('close')
        closing = layer.wait('has closed')[0]
        self.assertLess(closing['seconds'], 0.1 + SLACK)
        self.assertEqual(layer.kinds(), ['found', 'closed', 'has closed'])
        self.assert_clean_end(layer)

    def test_a_list_that_is_left_open_does_not_keep_the_program(self):
        self.standard_network()
        self.responder(self.there, reply=lambda request: [answer()])
        layer = self.servers()
        layer.wait('found')
        layer.say('leave')
        self.assert_clean_end(layer)


class PagesTest(LayerCase):
    """The documents' programs, run as they stand there."""

    def programs(self, page):
        with open(page) as file:
            found = re.findall(r'^```python\n(.*?)^```', file.read(), re.M | re.S)
        self.assertTrue(found)
        return found

    def output(self, program):
        layer = self.layer('run', text=program)
        self.assert_clean_end(layer)
        return '\n'.join(layer.lines)

    def test_the_layers_page(self):
        self.standard_network()
        self.responder(self.there, reply=lambda request: [answer()])
        search, keep, gui, engine = self.programs(PAGE)
        self.assertEqual(self.output(search), 'Living room http://10.77.1.2:8080/description.xml')
        self.assertEqual(
            self.output(keep),
            'found Living room\nLiving room answers at http://10.77.1.2:8080/description.xml',
        )
        told = self.output(
            gui + 'import time\ntime.sleep(1)\non_timer()\non_quit()\ntime.sleep(1)\non_timer()\n'
        )
        self.assertEqual(told, 'found Living room\nclosed None')
        self.assertIn('Update Service Living room', self.output(engine))

    def test_the_modules_page(self):
        self.standard_network()
        self.responder(self.there, reply=lambda request: [answer()])
        (module,) = self.programs(MODULES_PAGE)
        self.assertIn('Update Service Living room', self.output(module.replace('sleep(10)', 'sleep(1)')))

    def test_the_readme(self):
        self.standard_network()
        self.responder(self.there, reply=lambda request: [answer()])
        (layer,) = self.programs(README)
        typed = 'import __builtin__, time\n__builtin__.raw_input = lambda _: time.sleep(1)\n'
        self.assertIn('found Server(usn=', self.output(typed + layer))

    def test_the_readmes_table_is_what_a_script_gets(self):
        self.standard_network()
        self.responder(self.there, reply=lambda request: [answer()])
        with open(README) as file:
            rows = re.findall(r'^\| `(\w+)` \| `([\w-]+)` \| `(.*)` \|$', file.read(), re.M)
        self.assertEqual(
            [(key, header.lower()) for key, header, _ in rows],
            [(key, header.decode().lower()) for key, header in ENTRY_SOURCES],
        )
        told = self.output(
            'import vireon\n'
            'for server in vireon.search(1):\n'
            '    for key, value in sorted(server.items()):\n'
            '        print type(key).__name__, key, type(value).__name__, value\n'
        )
        self.assertEqual(
            told.split('\n'), sorted('unicode %s str %s' % (key, value) for key, _, value in rows)
        )

    def test_the_example_that_finds_servers_obeys_none(self):
        self.standard_network()
        self.responder(self.there, reply=lambda request: [answer(b'Living\x1b[2Jroom\x9b')])
        with open(FIND_SERVERS) as file:
            told = self.output(file.read())
        self.assertEqual(told, r"'Living\x1b[2Jroom\x9b' at 'http://10.77.1.2:8080/description.xml'")


if __name__ == '__main__':
    unittest.main()
