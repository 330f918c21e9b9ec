"""The doctor's verdicts and the module's: what one takes the other takes, and nothing else."""

import base64
import json
import os
import unittest

from test_script_layer import Layer
from responder import DEVICE_TYPE, answer, fields, message
from test_answers import AnswerTest
from test_peer_answers import is_answer, join, put_in, recorded

HERE = os.path.dirname(os.path.abspath(__file__))
CORPUS = os.path.join(HERE, '..', 'fuzz', 'corpus')

JUDGE = '''
import base64, json
from vireon.verdict import FAULTS, judge
faults = [FAULTS.index(fault) if fault else -1 for fault in (judge(base64.b64decode(each)).fault for each in %s)]
print json.dumps([len(FAULTS), faults])
'''


def files(folder):
    for name in sorted(os.listdir(folder)):
        with open(os.path.join(folder, name), 'rb') as file:
            yield '%s/%s' % (os.path.basename(folder), name), file.read()


def of_peers():
    for name, payload in recorded(lambda payload: True).items():
        yield name, payload
        if is_answer(payload):
            start, own, ours, rest, _ = put_in(payload)
            yield name + ' as a media server', join([start] + own + ours, rest)


def with_start(start):
    return message(fields(), start)


def filled_up_to(size):
    return answer(ModelName=b'x' * (size - len(answer(ModelName=b''))))


def hand_made():
    for size in (1999, 2000, 2001, 2140, 20000):
        yield filled_up_to(size)
    for start in (
        b'',
        b' ',
        b'HTTP/1.1',
        b'HTTP/1.1 200',
        b'HTTP/1.1 200 ',
        b'HTTP/1.1  200 OK',
        b'HTTP/1.1 2000 OK',
        b'HTTP/1.1 20 OK',
        b'HTTP/1.1 299 Fine',
        b'HTTP/1.1 2xx OK',
        b'HTTP/1.1 \t20 OK',
        b'HTTP/1.1 x20 OK',
        b'HTTP/1.1 300 Elsewhere',
        b'HTTP/1.1 404 Not Found',
        b'HTTP/1.1 200\0OK',
        b'ABCDEFGH 200',
        b'AB 200456789',
        b'NOTIFY * HTTP/1.1',
        b'M-SEARCH * HTTP/1.1',
        b' 200 OK',
    ):
        yield with_start(start)
    interim = b'HTTP/1.1 100 Continue\r\nEXT: \r\n\r\n'
    for count in (1, 9, 10):
        yield count * interim + answer()
    yield interim
    for header in ('ST', 'USN', 'EXT', 'LOCATION', 'FriendlyName', 'CACHE-CONTROL', 'Manufacturer'):
        yield answer(without=(header,))
        yield answer(without=(header,)).lower()
    good = answer()
    for ext in (
        b'EXT\r\n',
        b'EXT :\r\n',
        b'EXT:\r\n',
        b'ext: x\r\n',
        b' EXT: \r\n',
        b'E\rXT:\r\n',
        b'EXT\0:\r\n',
    ):
        yield good.replace(b'EXT: \r\n', ext)
    for usn in (
        b'',
        b'::',
        b'uuid:1',
        b'uuid:1::',
        b'uuid:1::upnp:rootdevice',
        b'uuid:1:: ' + DEVICE_TYPE,
        b'uuid:1::' + DEVICE_TYPE + b'::',
        b'uuid:1:::' + DEVICE_TYPE,
        b'::' + DEVICE_TYPE,
        DEVICE_TYPE + b'::' + DEVICE_TYPE,
        b'uuid:1::\r\n ' + DEVICE_TYPE,
        b'uuid:1::\r\n  ' + DEVICE_TYPE,
        b'uuid:1::' + DEVICE_TYPE + b'\0x',
    ):
        yield answer(USN=usn)
    yield answer(USN=b'uuid:1::' + DEVICE_TYPE.lower())
    yield answer(ST=DEVICE_TYPE.lower())
    yield answer(ST=b'', USN=DEVICE_TYPE + b'::')
    yield answer(ST=b'upnp:rootdevice', USN=b'uuid:1::upnp:rootdevice')
    yield answer(ST=b'UPNP:x', USN=b'uuid:%s::upnp:X' % DEVICE_TYPE)
    for location in (
        b'',
        b'/',
        b'x',
        b'http:',
        b'http:/10.0.0.1/',
        b'http://',
        b'http:///path',
        b'HTTP://h',
        b'https://h?a',
        b'https://h#a',
        b'ftp://h/',
        b'httpx://h/',
        b' http://h/',
        b'http://h:',
        b'http://h:/',
        b'http://h:0/',
        b'http://h:00080/',
        b'http://h:65535',
        b'http://h:65536/',
        b'http://h:80?a',
        b'http://h:8x/',
        b'http://h:-1/',
        b'http://user@h/',
        b'http://user:pass@h/',
        b'http://[::1]/',
        b'http://[::1]:80/',
        b'http://[::1]x:80/',
        b'http://[::1:80/',
        b'http://[a/b]:x/',
        b'http://[]/',
        b'http://[/',
        b'http://]/',
        b'http://?',
        b'http://localhost/',
        b'http://127.0.0.1:0/',
        b'http://\xff/',
    ):
        yield answer(LOCATION=location)
    yield answer(b'')
    yield good[:-2]
    yield good[:-4]
    yield good.replace(b'\r\n', b'\n')
    yield good.replace(b'\r\n', b'\r')
    yield b'\r\n' + good
    yield good.replace(b'EXT', b'\0x: y\r\nEXT')
    yield good.replace(b'EXT', b'\r\nEXT')
    yield good.replace(b'ST: ', b'ST: other\r\nST: ')
    yield good.replace(b'USN: ', b'nothing\r\n USN: ')
    for datagram in (b'', b'\0', b'\n', b'\r', b'\r\n\r\n', b'FriendlyName: x\r\n'):
        yield datagram


class VerdictsTest(AnswerTest):
    def verdicts(self, datagrams):
        """How many faults there are, and for each datagram the number of its fault; -1 for a good one."""
        texts = [base64.b64encode(each).decode() for each in datagrams]
        layer = Layer(self.here, 'run', text=JUDGE % texts)
        self.addCleanup(layer.close)
        self.assertEqual(layer.end(), (0, b''))
        return json.loads(layer.lines[0])

    def test_the_doctor_and_the_module_take_the_same_answers(self):
        datagrams = [('by hand %d' % number, datagram) for number, datagram in enumerate(hand_made())]
        datagrams += files(os.path.join(CORPUS, 'search_answer'))
        datagrams += files(os.path.join(CORPUS, 'response'))
        datagrams += of_peers()
        count, faults = self.verdicts([datagram for _, datagram in datagrams])
        self.assertEqual(set(faults), set(range(-1, count)), 'not every fault was tried')
        differing = []
        for (name, datagram), fault in zip(datagrams, faults):
            if (len(self.delivered(datagram)) == 1) != (fault == -1):
                differing.append((name, datagram, fault))
        self.assertEqual(differing, [])


if __name__ == '__main__':
    unittest.main()
