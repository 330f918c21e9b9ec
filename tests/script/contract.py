"""The module's 80 functions as their callers know them: names in order, the type text of every
argument as messages show it, and the result. Good and bad values for every type text."""
import ctypes

import support
import vireon_probe as probe

_vireon = support._vireon

DEVICE, ENGINE = 'ZoSsdpDeviceInfo *', 'Vireon *'
CONST_DEVICE = 'ZoSsdpDeviceInfo const *'
WORKER, SEARCHER = 'CallbackTaskWorkerThread *', 'SsdpSearchWorkerThread *'
TEXT = 'char const *'
ANY = 'any object'

FIELDS = [
    'Manufacturer',
    'ManufacturerURL',
    'ModelDescription',
    'ModelName',
    'ModelNumber',
    'ModelURL',
    'SerialNumber',
    'PresentationURL',
    'HttpPort',
    'HttpsPort',
    'WebsocketPort',
    'DBStatus',
    'Version',
]
CLASSES = [
    'PyAutoUnlock2',
    'PyAutoLock2',
    'ZoSsdpDeviceInfo',
    'Vireon',
    'SsdpSearchWorkerThread',
    'CallbackTaskWorkerThread',
]


class Result(object):
    """own: what own() says of a fresh result."""

    def __init__(self, kind, own):
        self.kind, self.own = kind, own


def new(name):
    return Result(name + ' *', True)


def owned(name):
    return Result(name + ' *', True)


def borrowed(name):
    return Result(name + ' *', False)


NONE, BOOL, INTEGER, OBJECT = 'None', 'bool', 'int', 'object'

# name -> (argument type texts, result), or a list of such for an overloaded function, each with
# its prototype, in the order of the message.
FUNCTIONS = [
    ('IsCurrentThreadHoldPythonGIL2', [], BOOL),
    ('new_PyAutoUnlock2', [], new('PyAutoUnlock2')),
    ('delete_PyAutoUnlock2', ['PyAutoUnlock2 *'], NONE),
    ('PyAutoUnlock2_swigregister', [ANY], NONE),
    ('new_PyAutoLock2', [], new('PyAutoLock2')),
    ('delete_PyAutoLock2', ['PyAutoLock2 *'], NONE),
    ('PyAutoLock2_swigregister', [ANY], NONE),
    ('PyDict_SetItem2', [ANY, ANY, ANY], INTEGER),
    ('new_ZoSsdpDeviceInfo', None, None),
    ('delete_ZoSsdpDeviceInfo', [DEVICE], NONE),
    ('ZoSsdpDeviceInfo_GetDescriptionUrl', None, None),
    ('ZoSsdpDeviceInfo_GetURLBase', [DEVICE], owned('NPT_HttpUrl')),
    ('ZoSsdpDeviceInfo_GetDescription', None, None),
    ('ZoSsdpDeviceInfo_GetLeaseTime', [CONST_DEVICE], borrowed('NPT_TimeInterval')),
    ('ZoSsdpDeviceInfo_GetUUID', [CONST_DEVICE], borrowed('NPT_String')),
    ('ZoSsdpDeviceInfo_GetFriendlyName', [CONST_DEVICE], borrowed('NPT_String')),
    ('ZoSsdpDeviceInfo_GetType', [CONST_DEVICE], borrowed('NPT_String')),
    ('ZoSsdpDeviceInfo_GetModelDescription', [CONST_DEVICE], borrowed('NPT_String')),
    ('ZoSsdpDeviceInfo_GetBootId', [DEVICE], owned('NPT_UInt32')),
    ('ZoSsdpDeviceInfo_SetBootId', [DEVICE, 'NPT_UInt32'], NONE),
    ('ZoSsdpDeviceInfo_SetNextBootId', [DEVICE, 'NPT_UInt32'], NONE),
    ('ZoSsdpDeviceInfo_GenerateNextBootId', [DEVICE], owned('NPT_UInt32')),
    ('ZoSsdpDeviceInfo_GetConfigId', [DEVICE], owned('NPT_UInt32')),
    ('ZoSsdpDeviceInfo_SetLeaseTime', None, None),
]
for field in FIELDS:
    FUNCTIONS += [
        ('ZoSsdpDeviceInfo_m_%s_set' % field, [DEVICE, 'NPT_String'], NONE),
        ('ZoSsdpDeviceInfo_m_%s_get' % field, [DEVICE], owned('NPT_String')),
    ]
FUNCTIONS += [
    ('ZoSsdpDeviceInfo_swigregister', [ANY], NONE),
    ('new_Vireon', [], new('Vireon')),
    ('delete_Vireon', [ENGINE], NONE),
    ('Vireon_SearchDevices', [ENGINE], owned('zorvane::Int32')),
    ('Vireon_Stop', [ENGINE], NONE),
    ('Vireon_SetInterVal', [ENGINE, 'float'], NONE),
    ('Vireon_SetCallback', [ENGINE, ANY], NONE),
    (
        'Vireon_ProcessSsdpSearchResponse',
        [
            ENGINE,
            'NPT_Result',
            'NPT_HttpRequest const &',
            'NPT_HttpRequestContext const &',
            'NPT_HttpResponse *',
        ],
        owned('NPT_Result'),
    ),
    (
        'Vireon_ProcessSsdpMessage',
        [ENGINE, 'NPT_HttpMessage const &', 'NPT_HttpRequestContext const &', 'NPT_String &'],
        owned('NPT_Result'),
    ),
    (
        'Vireon_InspectDevice',
        [
            ENGINE,
            'NPT_HttpMessage const &',
            'NPT_HttpUrl const &',
            TEXT,
            'NPT_String const *',
            'NPT_TimeInterval',
        ],
        owned('NPT_Result'),
    ),
    ('Vireon_CallbacktoClient', [ENGINE, DEVICE], NONE),
    ('Vireon__Callback', [ENGINE, TEXT, 'va_list'], OBJECT),
    ('Vireon_CallBack', [ENGINE, TEXT], NONE),
    ('Vireon_isClosed_set', [ENGINE, 'bool'], NONE),
    ('Vireon_isClosed_get', [ENGINE], BOOL),
    ('Vireon_swigregister', [ANY], NONE),
    (
        'new_SsdpSearchWorkerThread',
        [ENGINE, 'NPT_UdpSocket *', 'NPT_HttpRequest *', 'NPT_TimeInterval'],
        new('SsdpSearchWorkerThread'),
    ),
    ('delete_SsdpSearchWorkerThread', [SEARCHER], NONE),
    ('SsdpSearchWorkerThread_IsStopped', [SEARCHER], BOOL),
    ('SsdpSearchWorkerThread_Close', [SEARCHER], NONE),
    ('SsdpSearchWorkerThread_swigregister', [ANY], NONE),
    ('new_CallbackTaskWorkerThread', [ENGINE], new('CallbackTaskWorkerThread')),
    ('delete_CallbackTaskWorkerThread', [WORKER], NONE),
    ('CallbackTaskWorkerThread_IsStopped', [WORKER], BOOL),
    ('CallbackTaskWorkerThread_addTask', [WORKER, DEVICE], NONE),
    ('CallbackTaskWorkerThread_getTask', [WORKER], borrowed('ZoSsdpDeviceInfo')),
    ('CallbackTaskWorkerThread_Close', [WORKER], NONE),
    ('CallbackTaskWorkerThread_m_pVireon_set', [WORKER, ENGINE], NONE),
    ('CallbackTaskWorkerThread_m_pVireon_get', [WORKER], borrowed('Vireon')),
    ('CallbackTaskWorkerThread_swigregister', [ANY], NONE),
]

URL, INTERVAL, STAMP = 'NPT_HttpUrl', 'NPT_TimeInterval', 'NPT_TimeStamp'
OVERLOADS = {
    'new_ZoSsdpDeviceInfo': (
        new('ZoSsdpDeviceInfo'),
        [
            (
                'ZoSsdpDeviceInfo(NPT_HttpUrl,char const *,NPT_TimeInterval,char const *,char const *)',
                [URL, TEXT, INTERVAL, TEXT, TEXT],
            ),
            (
                'ZoSsdpDeviceInfo(NPT_HttpUrl,char const *,NPT_TimeInterval,char const *)',
                [URL, TEXT, INTERVAL, TEXT],
            ),
            ('ZoSsdpDeviceInfo(NPT_HttpUrl,char const *,NPT_TimeInterval)', [URL, TEXT, INTERVAL]),
            ('ZoSsdpDeviceInfo(NPT_HttpUrl,char const *)', [URL, TEXT]),
            ('ZoSsdpDeviceInfo(NPT_HttpUrl)', [URL]),
            ('ZoSsdpDeviceInfo()', []),
        ],
    ),
    'ZoSsdpDeviceInfo_GetDescriptionUrl': (
        owned('NPT_String'),
        [('GetDescriptionUrl(char const *)', [DEVICE, TEXT]), ('GetDescriptionUrl()', [DEVICE])],
    ),
    'ZoSsdpDeviceInfo_GetDescription': (
        owned('NPT_Result'),
        [
            ('GetDescription(NPT_String &)', [DEVICE, 'NPT_String &']),
            (
                'GetDescription(NPT_XmlElementNode *,NPT_XmlElementNode **)',
                [DEVICE, 'NPT_XmlElementNode *', 'NPT_XmlElementNode **'],
            ),
            ('GetDescription(NPT_XmlElementNode *)', [DEVICE, 'NPT_XmlElementNode *']),
        ],
    ),
    'ZoSsdpDeviceInfo_SetLeaseTime': (
        owned('NPT_Result'),
        [
            ('SetLeaseTime(NPT_TimeInterval,NPT_TimeStamp)', [DEVICE, INTERVAL, STAMP]),
            ('SetLeaseTime(NPT_TimeInterval)', [DEVICE, INTERVAL]),
        ],
    ),
}

# Never in the machine's own network.
ISOLATED_ONLY = 'Vireon_SearchDevices'


def no_match_message(name):
    return (
        "Wrong number of arguments for overloaded function '%s'.\n"
        '  Possible C/C++ prototypes are:\n%s'
        % (name, ''.join('    %s\n' % prototype for prototype, _ in OVERLOADS[name][1]))
    )


def argument_message(name, number, kind):
    return "in method '%s', argument %d of type '%s'" % (name, number, kind)


def is_wrapped(kind):
    return kind not in (TEXT, ANY, 'float', 'bool')


def refuses_null(name, number, kind):
    if not is_wrapped(kind) or name.startswith('delete_'):
        return False
    is_self = number == 1 and not name.startswith('new_')
    return is_self or not kind.endswith('*')


class Natives(object):
    """A good value for every type text; one set, used for every call."""

    def __init__(self):
        self.engine = _vireon.new_Vireon()
        self.device = _vireon.new_ZoSsdpDeviceInfo()
        self.worker = _vireon.new_CallbackTaskWorkerThread(None)
        self.memory = (ctypes.c_uint64 * 8)()
        self.seconds = ctypes.c_int64(60 * 10**9)
        self.interval = probe.wrap(ctypes.addressof(self.seconds), '_p_NPT_TimeInterval')
        self.searcher = _vireon.new_SsdpSearchWorkerThread(None, None, None, self.interval)
        self.response = probe.response(200, {'st': 'x'})
        self.parent = probe.element()
        zeros = ctypes.addressof(self.memory)
        self.values = {
            DEVICE: self.device,
            CONST_DEVICE: self.device,
            ENGINE: self.engine,
            WORKER: self.worker,
            SEARCHER: self.searcher,
            TEXT: 'text',
            ANY: object(),
            'float': 1.5,
            'bool': False,
            'NPT_String': probe.string('some text'),
            'NPT_String &': probe.string(''),
            'NPT_String const *': probe.string('uuid:a::b'),
            'NPT_UInt32': probe.wrap(zeros, '_p_NPT_UInt32'),
            'NPT_Result': probe.wrap(zeros, '_p_NPT_Result'),
            'NPT_TimeInterval': self.interval,
            'NPT_TimeStamp': probe.wrap(zeros, '_p_NPT_TimeStamp'),
            'NPT_HttpUrl': probe.url('http://10.0.0.1:8080/a'),
            'NPT_HttpUrl const &': probe.url('http://10.0.0.1:8080/a'),
            'NPT_HttpRequest const &': probe.request(),
            'NPT_HttpRequestContext const &': probe.context(),
            'NPT_HttpResponse *': self.response,
            'NPT_HttpMessage const &': probe.message(self.response),
            'NPT_XmlElementNode *': self.parent,
            'NPT_XmlElementNode **': probe.wrap(zeros, '_p_p_NPT_XmlElementNode'),
            'va_list': probe.wrap(zeros, '_p_va_list'),
            'NPT_UdpSocket *': None,
            'NPT_HttpRequest *': None,
            'PyAutoLock2 *': None,
            'PyAutoUnlock2 *': None,
        }

    def delete(self):
        _vireon.delete_SsdpSearchWorkerThread(self.searcher)
        _vireon.delete_CallbackTaskWorkerThread(self.worker)
        _vireon.delete_Vireon(self.engine)
        _vireon.delete_ZoSsdpDeviceInfo(self.device)

    def arguments(self, name, kinds):
        if name.startswith('delete_'):
            return (None,)
        if name == 'PyDict_SetItem2':
            return ({}, None, None)
        if name == 'Vireon_CallbacktoClient':
            return (self.engine, None)
        if name == 'CallbackTaskWorkerThread_addTask':
            return (self.worker, self.device)
        if name == 'CallbackTaskWorkerThread_m_pVireon_set':
            return (self.worker, None)
        if name.endswith('_swigregister'):
            return (int,)
        if name == 'Vireon_SetCallback':
            return (self.engine, None)
        return tuple(self.values[kind] for kind in kinds)


# Values that are of no type at all, each with the exception that refuses it.
STRANGERS = [5, 2.5, u'unicode', object(), [], type]


def bad_values(kind):
    """(value, exception class) pairs."""
    if kind == 'float':
        return [
            ('x', TypeError),
            (None, TypeError),
            (object(), TypeError),
            (10**400, TypeError),
            (1e39, OverflowError),
            (-1e39, OverflowError),
            (float('inf'), OverflowError),
            (10**300, OverflowError),
        ]
    if kind == 'bool':
        return [
            ('x', TypeError),
            (None, TypeError),
            (1.0, TypeError),
            (10**30, TypeError),
            (object(), TypeError),
        ]
    if kind == TEXT:
        return [(value, TypeError) for value in STRANGERS]
    return [(value, TypeError) for value in STRANGERS + ['bytes']]
