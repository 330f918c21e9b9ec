"""The module's 80 functions in their order: what each takes and gives, and where this layer uses it.

docs/reference.md is made of it (`scripts/reference.py`). Types are named as in the module's messages. A
result that is owned is the caller's, and ends with its script object; a borrowed one is a part of an object
that somebody else has. It is data alone, for Python 2.7 and 3.
"""

from __future__ import absolute_import

import collections

# prototypes: for each way to call it the types of its arguments. layer: what of the package does it, or
# nothing where that happens by itself.
Function = collections.namedtuple('Function', 'name prototypes result layer says')

DEVICE = 'ZoSsdpDeviceInfo *'
DEVICE_SEEN = 'ZoSsdpDeviceInfo const *'
ENGINE = 'Vireon *'
SENDER = 'SsdpSearchWorkerThread *'
QUEUE = 'CallbackTaskWorkerThread *'
TEXT = 'char const *'
ANY = 'any object'
URL = 'NPT_HttpUrl'
INTERVAL = 'NPT_TimeInterval'

FIELDS = (
    ('Manufacturer', 'manufacturer'),
    ('ManufacturerURL', 'manufacturer_url'),
    ('ModelDescription', 'model_description'),
    ('ModelName', 'model_name'),
    ('ModelNumber', 'model_number'),
    ('ModelURL', 'model_url'),
    ('SerialNumber', 'serial_number'),
    ('PresentationURL', 'presentation_url'),
    ('HttpPort', 'http_port'),
    ('HttpsPort', 'https_port'),
    ('WebsocketPort', 'websocket_port'),
    ('DBStatus', 'db_status'),
    ('Version', 'version'),
)


def _one(name, arguments, result, layer, says):
    return Function(name, (tuple(arguments),), result, layer, says)


def _registration(name):
    says = 'Makes a class that of all objects of the type that the module hands out.'
    return (_one(name + '_swigregister', [ANY], 'None', name, says),)


def _fields():
    rows = []
    for name, attribute in FIELDS:
        layer = 'ZoSsdpDeviceInfo.' + attribute
        start = 'ZoSsdpDeviceInfo_m_%s_' % name
        rows += [
            _one(
                start + 'set', [DEVICE, 'NPT_String'], 'None', layer, 'Sets the field to a copy of the text.'
            ),
            _one(start + 'get', [DEVICE], 'owned NPT_String *', layer, 'A copy of the field.'),
        ]
    return tuple(rows)


FUNCTIONS = (
    (
        _one(
            'IsCurrentThreadHoldPythonGIL2', [], 'bool', '', 'Whether this thread holds the interpreter lock.'
        ),
        _one('new_PyAutoUnlock2', [], 'new PyAutoUnlock2 *', 'PyAutoUnlock2', 'A guard without effect.'),
        _one('delete_PyAutoUnlock2', ['PyAutoUnlock2 *'], 'None', 'PyAutoUnlock2', 'Ends it.'),
    )
    + _registration('PyAutoUnlock2')
    + (
        _one(
            'new_PyAutoLock2',
            [],
            'new PyAutoLock2 *',
            'PyAutoLock2',
            'Takes the interpreter lock, once more where the thread holds it.',
        ),
        _one(
            'delete_PyAutoLock2',
            ['PyAutoLock2 *'],
            'None',
            'PyAutoLock2',
            'Gives it back; on the thread that took it, the last one first.',
        ),
    )
    + _registration('PyAutoLock2')
    + (
        _one(
            'PyDict_SetItem2',
            [ANY, ANY, ANY],
            'int',
            '',
            'Sets a key of a dictionary and takes a reference from key and value, which a script has to own.',
        ),
        Function(
            'new_ZoSsdpDeviceInfo',
            (
                (URL, TEXT, INTERVAL, TEXT, TEXT),
                (URL, TEXT, INTERVAL, TEXT),
                (URL, TEXT, INTERVAL),
                (URL, TEXT),
                (URL,),
                (),
            ),
            'new ZoSsdpDeviceInfo *',
            'ZoSsdpDeviceInfo',
            'A record of a location, a uuid, a lease, a type and a name.',
        ),
        _one('delete_ZoSsdpDeviceInfo', [DEVICE], 'None', 'ZoSsdpDeviceInfo', 'Destroys it.'),
        Function(
            'ZoSsdpDeviceInfo_GetDescriptionUrl',
            ((DEVICE, TEXT), (DEVICE,)),
            'owned NPT_String *',
            'ZoSsdpDeviceInfo.description_url',
            'Where its description lies, on another host if one is given.',
        ),
        _one(
            'ZoSsdpDeviceInfo_GetURLBase',
            [DEVICE],
            'owned NPT_HttpUrl *',
            'ZoSsdpDeviceInfo.url_base',
            'What relative URLs of the description start from.',
        ),
        Function(
            'ZoSsdpDeviceInfo_GetDescription',
            (
                (DEVICE, 'NPT_String &'),
                (DEVICE, 'NPT_XmlElementNode *', 'NPT_XmlElementNode **'),
                (DEVICE, 'NPT_XmlElementNode *'),
            ),
            'owned NPT_Result *',
            'ZoSsdpDeviceInfo.description',
            'Appends the description document to a text, or the device to an element.',
        ),
        _one(
            'ZoSsdpDeviceInfo_GetLeaseTime',
            [DEVICE_SEEN],
            'borrowed NPT_TimeInterval *',
            'ZoSsdpDeviceInfo.lease_time',
            'How long it may be believed to be there.',
        ),
        _one(
            'ZoSsdpDeviceInfo_GetUUID',
            [DEVICE_SEEN],
            'borrowed NPT_String *',
            'ZoSsdpDeviceInfo.uuid',
            'Its uuid, bare.',
        ),
        _one(
            'ZoSsdpDeviceInfo_GetFriendlyName',
            [DEVICE_SEEN],
            'borrowed NPT_String *',
            'ZoSsdpDeviceInfo.friendly_name',
            'The name that people see.',
        ),
        _one(
            'ZoSsdpDeviceInfo_GetType',
            [DEVICE_SEEN],
            'borrowed NPT_String *',
            'ZoSsdpDeviceInfo.device_type',
            'Its type.',
        ),
        _one(
            'ZoSsdpDeviceInfo_GetModelDescription',
            [DEVICE_SEEN],
            'borrowed NPT_String *',
            'ZoSsdpDeviceInfo.model_description',
            'The field itself, where `ZoSsdpDeviceInfo_m_ModelDescription_get` gives a copy.',
        ),
        _one(
            'ZoSsdpDeviceInfo_GetBootId',
            [DEVICE],
            'owned NPT_UInt32 *',
            'ZoSsdpDeviceInfo.boot_id',
            'How often it was started, as far as it says.',
        ),
        _one(
            'ZoSsdpDeviceInfo_SetBootId',
            [DEVICE, 'NPT_UInt32'],
            'None',
            'ZoSsdpDeviceInfo.boot_id',
            'Sets that.',
        ),
        _one(
            'ZoSsdpDeviceInfo_SetNextBootId',
            [DEVICE, 'NPT_UInt32'],
            'None',
            'ZoSsdpDeviceInfo.set_next_boot_id',
            'Sets what it will be at the next start.',
        ),
        _one(
            'ZoSsdpDeviceInfo_GenerateNextBootId',
            [DEVICE],
            'owned NPT_UInt32 *',
            'ZoSsdpDeviceInfo.generate_next_boot_id',
            'One that differs from the current one; stores nothing.',
        ),
        _one(
            'ZoSsdpDeviceInfo_GetConfigId',
            [DEVICE],
            'owned NPT_UInt32 *',
            'ZoSsdpDeviceInfo.config_id',
            'A number of 24 bits that was drawn for the description.',
        ),
        Function(
            'ZoSsdpDeviceInfo_SetLeaseTime',
            ((DEVICE, INTERVAL, 'NPT_TimeStamp'), (DEVICE, INTERVAL)),
            'owned NPT_Result *',
            'ZoSsdpDeviceInfo.lease_time',
            'Renews the lease; below 10 s it becomes 1800 s.',
        ),
    )
    + _fields()
    + _registration('ZoSsdpDeviceInfo')
    + (
        _one('new_Vireon', [], 'new Vireon *', 'Vireon', 'An engine, which does not search yet.'),
        _one('delete_Vireon', [ENGINE], 'None', 'Vireon', 'Destroys it; waits for ever if it searches.'),
        _one(
            'Vireon_SearchDevices',
            [ENGINE],
            'owned zorvane::Int32 *',
            'Vireon.search',
            'Starts a search on the addresses that the machine has now; 0 if it could not.',
        ),
        _one(
            'Vireon_Stop',
            [ENGINE],
            'None',
            'Vireon.stop',
            'Ends all searches, within 50 ms and the callable if that runs.',
        ),
        _one(
            'Vireon_SetInterVal',
            [ENGINE, 'float'],
            'None',
            'Vireon.search',
            'The seconds between two requests of the next search.',
        ),
        _one(
            'Vireon_SetCallback',
            [ENGINE, ANY],
            'None',
            'Vireon.callback',
            'What is called with each answer; None for nothing.',
        ),
        _one(
            'Vireon_ProcessSsdpSearchResponse',
            [
                ENGINE,
                'NPT_Result',
                'NPT_HttpRequest const &',
                'NPT_HttpRequestContext const &',
                'NPT_HttpResponse *',
            ],
            'owned NPT_Result *',
            'Vireon.process_search_response',
            'Takes in an answer as a sender does.',
        ),
        _one(
            'Vireon_ProcessSsdpMessage',
            [ENGINE, 'NPT_HttpMessage const &', 'NPT_HttpRequestContext const &', 'NPT_String &'],
            'owned NPT_Result *',
            'Vireon.process_message',
            'The same of an answer whose head and uuid were looked at.',
        ),
        _one(
            'Vireon_InspectDevice',
            [ENGINE, 'NPT_HttpMessage const &', 'NPT_HttpUrl const &', TEXT, 'NPT_String const *', INTERVAL],
            'owned NPT_Result *',
            'Vireon.inspect_device',
            'Queues the record of a device.',
        ),
        _one(
            'Vireon_CallbacktoClient',
            [ENGINE, DEVICE],
            'None',
            'Vireon.call_with_device',
            'Calls the callable with the record of a device.',
        ),
        _one(
            'Vireon__Callback',
            [ENGINE, TEXT, 'va_list'],
            'object',
            'Vireon.call_with_list',
            'Calls the callable with arguments of a format and a list; gives what it returned.',
        ),
        _one(
            'Vireon_CallBack',
            [ENGINE, TEXT],
            'None',
            'Vireon.call',
            'Calls the callable with arguments of a format, all null or zero; takes further ones for nothing.',
        ),
        _one(
            'Vireon_isClosed_set',
            [ENGINE, 'bool'],
            'None',
            'Vireon.search',
            'With False a stopped engine can search again.',
        ),
        _one('Vireon_isClosed_get', [ENGINE], 'bool', 'Vireon.closed', 'Whether it was stopped.'),
    )
    + _registration('Vireon')
    + (
        _one(
            'new_SsdpSearchWorkerThread',
            [ENGINE, 'NPT_UdpSocket *', 'NPT_HttpRequest *', INTERVAL],
            'new SsdpSearchWorkerThread *',
            'SsdpSearchWorkerThread',
            'A sender, which owns socket and request.',
        ),
        _one(
            'delete_SsdpSearchWorkerThread',
            [SENDER],
            'None',
            'SsdpSearchWorkerThread',
            'Waits for it and ends it.',
        ),
        _one(
            'SsdpSearchWorkerThread_IsStopped',
            [SENDER],
            'bool',
            'SsdpSearchWorkerThread.stopped',
            'Whether its engine is closed or gone.',
        ),
        _one(
            'SsdpSearchWorkerThread_Close',
            [SENDER],
            'None',
            'SsdpSearchWorkerThread.close',
            'Waits for its thread, which ends when its engine is closed.',
        ),
    )
    + _registration('SsdpSearchWorkerThread')
    + (
        _one(
            'new_CallbackTaskWorkerThread',
            [ENGINE],
            'new CallbackTaskWorkerThread *',
            'CallbackTaskWorkerThread',
            'A queue of records.',
        ),
        _one('delete_CallbackTaskWorkerThread', [QUEUE], 'None', 'CallbackTaskWorkerThread', 'Destroys it.'),
        _one(
            'CallbackTaskWorkerThread_IsStopped',
            [QUEUE],
            'bool',
            'CallbackTaskWorkerThread.stopped',
            'Whether its engine is closed or gone, or there is none.',
        ),
        _one(
            'CallbackTaskWorkerThread_addTask',
            [QUEUE, DEVICE],
            'None',
            'CallbackTaskWorkerThread.add_task',
            'Puts a record behind the others, which is the queue\'s from then on.',
        ),
        _one(
            'CallbackTaskWorkerThread_getTask',
            [QUEUE],
            'borrowed ZoSsdpDeviceInfo *',
            'CallbackTaskWorkerThread.get_task',
            'Takes the oldest record, which is the caller\'s to destroy; waits for one.',
        ),
        _one(
            'CallbackTaskWorkerThread_Close',
            [QUEUE],
            'None',
            'CallbackTaskWorkerThread.close',
            'Waits for its thread and has it end.',
        ),
        _one(
            'CallbackTaskWorkerThread_m_pVireon_set',
            [QUEUE, ENGINE],
            'None',
            'CallbackTaskWorkerThread.engine',
            'Gives it another engine, or none.',
        ),
        _one(
            'CallbackTaskWorkerThread_m_pVireon_get',
            [QUEUE],
            'borrowed Vireon *',
            'CallbackTaskWorkerThread.engine',
            'Its engine; None when that has gone.',
        ),
    )
    + _registration('CallbackTaskWorkerThread')
)

# What the package offers, as a stub file says it; `python/vireon/__init__.pyi` is made of this.
_BLOCK = ('def __enter__(self: T) -> T', 'def __exit__(self, *_: object) -> None')

CLASSES = (
    (
        'Server(Mapping[str, str])',
        (
            'locations: Tuple[str, ...]',
            'answers: int',
            'age: float',
            'usn: str',
            'name: str',
            'location: str',
            'def __init__(self, entries: Dict[str, str], locations: Optional[Iterable[str]] = ..., answers: int = ..., age: float = ...) -> None',
            'def __getitem__(self, key: str) -> str',
            'def __iter__(self) -> Iterator[str]',
            'def __len__(self) -> int',
        ),
    ),
    ('Event(NamedTuple)', ('kind: str', 'server: Optional[Server]')),
    (
        'Servers(Iterable[Server])',
        (
            'closed: bool',
            'def __init__(self, on_event: Optional[Callable[[Event], object]] = ..., interval: float = ..., lost_after: int = ..., surroundings: Any = ...) -> None',
            'def __iter__(self) -> Iterator[Server]',
            'def __len__(self) -> int',
            'def events(self) -> List[Event]',
            'def refresh(self) -> None',
            'def close(self, wait: bool = ...) -> None',
        )
        + _BLOCK,
    ),
    ('Result(int)', ('succeeded: bool',)),
    ('Interval(float)', ()),
    ('Url(str)', ('host: str', 'port: int', 'path: str')),
    (
        'Vireon',
        (
            'callback: Optional[Callable[[str, Dict[str, str]], object]]',
            'closed: bool',
            'def search(self, interval: float = ..., callback: Optional[Callable[[str, Dict[str, str]], object]] = ...) -> int',
            'def stop(self) -> None',
            'def process_search_response(self, result: Any, request: Any, context: Any, response: Any) -> Result',
            'def process_message(self, message: Any, context: Any, uuid: Any) -> Result',
            'def inspect_device(self, message: Any, location: Any, uuid: str, usn: Any, lease_time: float) -> Result',
            'def call_with_device(self, device: ZoSsdpDeviceInfo) -> None',
            'def call(self, format: str) -> None',
            'def call_with_list(self, format: str, arguments: Any) -> Any',
        )
        + _BLOCK,
    ),
    (
        'ZoSsdpDeviceInfo',
        ('uuid: str', 'friendly_name: str', 'device_type: str')
        + tuple('%s: str' % attribute for _, attribute in FIELDS)
        + (
            'lease_time: float',
            'boot_id: int',
            'config_id: int',
            'url_base: Url',
            'def __init__(self, friendly_name: str = ..., uuid: str = ..., device_type: str = ...) -> None',
            'def set_next_boot_id(self, number: int) -> None',
            'def generate_next_boot_id(self) -> int',
            'def description_url(self, host: Optional[str] = ...) -> Url',
            'def description(self) -> str',
        ),
    ),
    (
        'SsdpSearchWorkerThread',
        (
            'stopped: bool',
            'def __init__(self, engine: Optional[Vireon] = ..., socket: Any = ..., request: Any = ..., interval: float = ...) -> None',
            'def close(self) -> None',
        )
        + _BLOCK,
    ),
    (
        'CallbackTaskWorkerThread',
        (
            'stopped: bool',
            'engine: Optional[Vireon]',
            'def __init__(self, engine: Optional[Vireon] = ...) -> None',
            'def add_task(self, device: ZoSsdpDeviceInfo) -> None',
            'def get_task(self) -> Optional[ZoSsdpDeviceInfo]',
            'def close(self) -> None',
        )
        + _BLOCK,
    ),
    ('PyAutoLock2', _BLOCK),
    ('PyAutoUnlock2', _BLOCK),
)

OTHERS = (
    '__version__: str',
    'FOUND: str',
    'CHANGED: str',
    'LOST: str',
    'CLOSED: str',
    'def search(seconds: float, interval: float = ...) -> Iterator[Server]',
)
