#include <Python.h>

#include "engine/vireon.h"

#include <algorithm>
#include <new>
#include <utility>

#include "binding/interpreter/empty_arguments.h"
#include "binding/interpreter/script_call.h"
#include "core/deadline.h"
#include "core/system.h"
#include "core/system_thread.h"
#include "device/zo_vireonity.h"
#include "engine/device_dictionary.h"
#include "engine/diagnostics_log.h"
#include "engine/protocol.h"
#include "engine/search_answer.h"
#include "engine/search_plan.h"
#include "net/owned_interfaces.h"
#include "net/udp_multicast_socket.h"

namespace {

constexpr NPT_Int32 kLifecycleLogLevel = 5;

std::unique_ptr<NPT_UdpSocket> OpenBroadcastSocket(const NPT_IpAddress& destination) {
    auto socket = std::make_unique<NPT_UdpSocket>();
    // The one broadcast address that is of no network goes where the default route leads.
    if (destination != NPT_IpAddress(255, 255, 255, 255)) socket->AvoidGateways();
    return socket;
}

// Null when it finds no port.
std::unique_ptr<NPT_UdpSocket> OpenMulticastSocket(const NPT_IpAddress& outgoing_interface) {
    auto socket = std::make_unique<NPT_UdpMulticastSocket>();
    socket->SetInterface(outgoing_interface);
    socket->SetTimeToLive(protocol::kMulticastTimeToLive);
    // All threads but one draw the same numbers, in every process: whoever came later would find
    // the ports of the first ones only.
    const auto begin = static_cast<NPT_UInt32>(Deadline::Clock::now().time_since_epoch().count());
    const NPT_Result bound =
        BindToRandomPort([begin] { return begin + NPT_System::GetRandomInteger(); },
                         [&socket](NPT_UInt16 port) {
                             return socket->Bind(NPT_SocketAddress(NPT_IpAddress(), port), false);
                         });
    if (NPT_Failed(bound)) return nullptr;
    return socket;
}

}  // namespace

Vireon::Vireon()
    : m_interval(protocol::kDefaultIntervalSeconds),
      turn_(std::make_shared<CallbackTaskWorkerThread::DeliveryTurn>(false)),
      life_(std::make_shared<VireonLife>(this, is_closed_)) {
    // No engine without its lock: std::bad_alloc.
    const NPT_AutoLock usable(m_lock);
    DiagnosticsLog::Get().Wide(kLifecycleLogLevel,
                               L"[vireon] Vireon::Vireon Construct object in thread: %d",
                               static_cast<int>(NPT_Thread::GetCurrentThreadId()));
}

Vireon::~Vireon() {
    // Without one nothing is asked of the interpreter.
    Release(std::move(m_pyCallback), interpreter_);
    // A forked child has the threads' halves of what the engine shares with them, but no thread:
    // there is nobody to wait for, and no lock that is sure to be let go.
    if (process_ != CurrentProcess()) {
        life_->End();
        return;
    }
    DiagnosticsLog::Get().Wide(kLifecycleLogLevel, L"[vireon] Vireon::~Vireon");
    // Nobody can stop a search any more when the interpreter exits, and waiting for one that runs
    // would keep the process from ending.
    const bool waits = !IsInterpreterEnding();
    if (waits) {
        for (const SearchThread& thread : TakeSearchThreads())
            thread->Close();
        if (const DispatchThread thread = GetCallbackThread()) thread->Close();
    }
    // Threads that are still there, left behind or waited for by a Stop on another thread, are kept
    // by themselves; this takes the engine out of their sight.
    life_->End();
    const DispatchThread dispatch = GetCallbackThread();
    if (!dispatch) return;
    dispatch->SignalEnd();
    dispatch->DestroyTasks();
}

void Vireon::LeaveTheParentsThreads() {
    if (process_ == CurrentProcess()) return;
    // The child has copies of the parent's locks, as they were held just then, but none of the
    // threads that would let them go. So they stay as they are, with all that they guard.
    struct Inherited {
        DispatchThread dispatch;
        std::vector<SearchThread> search;
        std::shared_ptr<SocketWaker> waker;
        std::shared_ptr<CallbackTaskWorkerThread::DeliveryTurn> turn;
        std::shared_ptr<VireonLife> life;
    };
    auto turn = std::make_shared<CallbackTaskWorkerThread::DeliveryTurn>(false);
    auto life = std::make_shared<VireonLife>(this, is_closed_);
    auto inherited = std::make_unique<Inherited>();
    new (&m_lock) NPT_Mutex;
    // Throws where it could not be made, before the engine has lost anything: the next call tries
    // again.
    const NPT_AutoLock lock(m_lock);
    inherited->dispatch.swap(m_callbackThread);
    inherited->search.swap(m_searchThreads);
    inherited->waker.swap(waker_);
    inherited->turn = std::exchange(turn_, std::move(turn));
    inherited->life = std::exchange(life_, std::move(life));
    inherited.release()->life->End();
    process_ = CurrentProcess();
}

ScriptObject Vireon::GetCallback() {
    ForgetEndedInterpreter();
    return ScriptObject::Borrow(m_pyCallback.Get());
}

// The callable went with its interpreter; in another one it can be neither called nor dropped.
void Vireon::ForgetEndedInterpreter() {
    if (!interpreter_ || !interpreter_->HasEnded()) return;
    m_pyCallback.Release();
    interpreter_.reset();
}

void Vireon::JoinInterpreter() {
    if (!Py_IsInitialized()) return;
    const PyAutoLock2 lock;
    ForgetEndedInterpreter();
    if (!interpreter_) interpreter_ = Interpreter::GetCurrent();
    interpreter_->Add(life_);
}

void Vireon::Release(ScriptObject callback, const std::shared_ptr<Interpreter>& interpreter) {
    if (!callback) return;
    const InterpreterVisit visit([&interpreter] { return interpreter; });
    if (visit) {
        const ScriptObject gone = std::move(callback);
    } else {
        callback.Release();  // went with its interpreter
    }
}

ScriptObject Vireon::LeaveInterpreter(const Interpreter& interpreter) {
    if (interpreter_.get() != &interpreter) return ScriptObject();
    BeginToStop();
    if (const DispatchThread dispatch = GetCallbackThread()) dispatch->SignalEnd();
    interpreter_.reset();
    return std::move(m_pyCallback);
}

void Vireon::SetInterVal(float seconds) {
    m_interval = seconds;
}

void Vireon::SetCallback(PyObject* callback) {
    ForgetEndedInterpreter();
    std::shared_ptr<Interpreter> current = Interpreter::GetCurrent();
    current->Add(life_);
    const std::shared_ptr<Interpreter> left = std::exchange(interpreter_, std::move(current));
    ScriptObject old =
        std::exchange(m_pyCallback, ScriptObject::Borrow(callback == Py_None ? nullptr : callback));
    // Last: its end may run scripts that come back here.
    Release(std::move(old), left);
}

zorvane::Int32 Vireon::SearchDevices() {
    OwnedInterfaces interfaces;
    // Without a list there is nothing to search on, which is no failure.
    zorvane::ZoVireonity::GetNetworkInterfaces(interfaces.AsList());
    return SearchInterfaces(interfaces.AsList());
}

zorvane::Int32 Vireon::SearchInterfaces(const NPT_List<NPT_NetworkInterface*>& interfaces) {
    LeaveTheParentsThreads();
    const std::shared_ptr<VireonLife> life = life_;
    // Runs scripts, and lets those of other threads run: one of them may destroy the engine.
    OpenInterpreterToThreads();
    if (!life->Get()) return 0;
    JoinInterpreter();
    // The end of a dispatch thread, the old one or the new one that a further search has replaced
    // already, lets them run as well.
    const bool can_deliver = StartDispatch() && life->Get();
    return can_deliver && StartSenders(interfaces) ? kSearchStarted : 0;
}

bool Vireon::StartDispatch() {
    const std::shared_ptr<VireonLife> life = life_;
    const auto dispatch =
        std::make_shared<CallbackTaskWorkerThread>(this, protocol::kQueueLimit, turn_);
    if (dispatch->Start() == 0) return false;
    bool is_in_place = false;
    try {
        // The waits and the end of the old thread let other script threads run, and one of them may
        // have destroyed the engine.
        while (!is_in_place && life->Get()) {
            const DispatchThread old = GetCallbackThread();
            std::vector<SearchThread> ended = TakeEndedSearchThreads();
            if (old) old->Close();
            ended.clear();
            if (life->Get()) is_in_place = ReplaceDispatch(old, dispatch);
        }
    } catch (...) {
        dispatch->SignalEnd();
        throw;
    }
    if (!is_in_place) dispatch->SignalEnd();
    return is_in_place;
}

bool Vireon::ReplaceDispatch(const DispatchThread& old, const DispatchThread& dispatch) {
    {
        NPT_AutoLock lock(m_lock);
        if (m_callbackThread != old) return false;  // another search came first
        if (old && !was_stopped_) dispatch->TakeTasksFrom(*old);
        was_stopped_ = false;
        m_callbackThread = dispatch;
    }
    if (old) old->DestroyTasks();
    return true;
}

bool Vireon::StartSenders(const NPT_List<NPT_NetworkInterface*>& interfaces) {
    for (const SenderPlan& sender : PlanSenders(interfaces)) {
        std::unique_ptr<NPT_UdpSocket> socket = sender.kind == SenderPlan::Kind::kBroadcast
                                                    ? OpenBroadcastSocket(sender.address)
                                                    : OpenMulticastSocket(sender.address);
        if (!socket) return false;
        StartSearchThread(std::move(socket), MakeSearchRequest(sender));
    }
    return true;
}

void Vireon::StartSearchThread(std::unique_ptr<NPT_UdpSocket> socket,
                               std::unique_ptr<NPT_HttpRequest> request) {
    const NPT_TimeInterval interval(static_cast<double>(m_interval));
    const auto thread = std::make_shared<SsdpSearchWorkerThread>(
        this, std::move(socket), std::move(request), interval, GetWaker());
    {
        NPT_AutoLock lock(m_lock);
        m_searchThreads.push_back(thread);
    }
    // Its socket would be kept until a Stop.
    bool is_started = false;
    try {
        is_started = thread->Start() != 0;
    } catch (...) {
        ForgetSearchThread(*thread);
        throw;
    }
    if (!is_started) ForgetSearchThread(*thread);
}

void Vireon::Stop() {
    LeaveTheParentsThreads();
    isClosed = true;
    // Taken while the interpreter lock is still held: once it is released another thread, whose own
    // Stop finds nobody to wait for, may destroy the engine.
    const DispatchThread dispatch = GetCallbackThread();
    const std::vector<SearchThread> search_threads = TakeSearchThreads();
    BeginToStop();
    PyAutoUnlock2 unlocked;
    if (dispatch) dispatch->Close();
    for (const SearchThread& thread : search_threads)
        thread->Close();
}

void Vireon::BeginToStop() {
    isClosed = true;
    std::shared_ptr<SocketWaker> waker;
    {
        NPT_AutoLock lock(m_lock);
        waker = waker_;
        was_stopped_ = true;
    }
    if (waker) waker->Wake();
}

Vireon::DispatchThread Vireon::GetCallbackThread() {
    NPT_AutoLock lock(m_lock);
    return m_callbackThread;
}

std::vector<Vireon::SearchThread> Vireon::TakeSearchThreads() {
    NPT_AutoLock lock(m_lock);
    return std::move(m_searchThreads);
}

void Vireon::ForgetSearchThread(const SsdpSearchWorkerThread& thread) {
    NPT_AutoLock lock(m_lock);
    const auto is_that = [&thread](const SearchThread& each) { return each.get() == &thread; };
    m_searchThreads.erase(std::remove_if(m_searchThreads.begin(), m_searchThreads.end(), is_that),
                          m_searchThreads.end());
}

std::vector<Vireon::SearchThread> Vireon::TakeEndedSearchThreads() {
    NPT_AutoLock lock(m_lock);
    const auto ended =
        std::partition(m_searchThreads.begin(), m_searchThreads.end(),
                       [](const SearchThread& thread) { return !thread->HasEnded(); });
    std::vector<SearchThread> taken(ended, m_searchThreads.end());
    m_searchThreads.erase(ended, m_searchThreads.end());
    return taken;
}

std::shared_ptr<SocketWaker> Vireon::GetWaker() {
    {
        NPT_AutoLock lock(m_lock);
        if (waker_ && !waker_->IsAwake()) return waker_;
    }
    auto waker = std::make_shared<SocketWaker>();
    NPT_AutoLock lock(m_lock);
    if (!waker_ || waker_->IsAwake()) waker_ = std::move(waker);
    return waker_;
}

NPT_Result Vireon::ProcessSsdpSearchResponse(NPT_Result response_result, const NPT_HttpRequest&,
                                             const NPT_HttpRequestContext& context,
                                             NPT_HttpResponse* response) {
    if (NPT_Failed(response_result)) return response_result;
    if (!response) return NPT_ERROR_INVALID_ARGUMENT;
    const NPT_Result result = TakeIn(*response, context);
    HandOn();
    return result;
}

NPT_Result Vireon::ProcessSsdpMessage(const NPT_HttpMessage& message,
                                      const NPT_HttpRequestContext& context, NPT_String& uuid) {
    const NPT_Result result = TakeInMessage(message, context, uuid);
    HandOn();
    return result;
}

NPT_Result Vireon::InspectDevice(const NPT_HttpMessage& message, const NPT_HttpUrl& location,
                                 const char* uuid, const NPT_String* usn,
                                 NPT_TimeInterval lease_time) {
    NPT_Result result;
    {
        NPT_AutoLock lock(m_lock);
        result = TakeInDevice(message, location, uuid, usn, lease_time);
    }
    HandOn();
    return result;
}

NPT_Result Vireon::TakeIn(const NPT_HttpResponse& response, const NPT_HttpRequestContext& context) {
    if (response.GetStatusCode() / 100 != 2) return NPT_FAILURE;
    NPT_String uuid;
    const NPT_Result result = ReadUuid(response, uuid);
    if (NPT_Failed(result)) return result;
    return TakeInMessage(response, context, uuid);
}

NPT_Result Vireon::TakeInMessage(const NPT_HttpMessage& message,
                                 const NPT_HttpRequestContext& context, const NPT_String& uuid) {
    NPT_AutoLock lock(m_lock);
    const NPT_String* const location =
        message.GetHeaders().GetHeaderValue(protocol::header::kLocation);
    const NPT_String* const usn = message.GetHeaders().GetHeaderValue(protocol::header::kUsn);
    if (!location || !usn) return NPT_ERROR_INVALID_ARGUMENT;
    if (!IsMediaServer(*usn)) return NPT_SUCCESS;
    NPT_HttpUrl url = ReadLocation(*location, context.GetRemoteAddress().GetIpAddress());
    return TakeInDevice(message, std::move(url), uuid.GetChars(), usn, ReadLeaseTime(message));
}

NPT_Result Vireon::TakeInDevice(const NPT_HttpMessage& message, NPT_HttpUrl location,
                                const char* uuid, const NPT_String* usn,
                                NPT_TimeInterval lease_time) {
    if (!location.IsValid()) return NPT_FAILURE;
    if (!usn) return NPT_ERROR_INVALID_ARGUMENT;
    std::unique_ptr<ZoSsdpDeviceInfo> device =
        MakeDeviceRecord(message, std::move(location), uuid, *usn, lease_time);
    if (!device) return NPT_FAILURE;
    if (!m_callbackThread) return NPT_ERROR_INVALID_STATE;
    m_callbackThread->QueueTask(device.get());
    device.release();  // the queue's now
    return NPT_SUCCESS;
}

void Vireon::HandOn() {
    if (const DispatchThread dispatch = GetCallbackThread()) dispatch->WakeTakers();
}

void Vireon::CallbacktoClient(ZoSsdpDeviceInfo* device) {
    const InterpreterVisit visit([this]() REQUIRES(interpreter_lock) { return GetInterpreter(); });
    if (!device || !visit) return;
    // With a reference of its own the call needs nothing more of the engine, which the script may
    // close or destroy meanwhile.
    const ScriptObject callable = GetCallback();
    if (!callable) return;
    const ScriptObject dictionary = BuildDeviceDictionary(*device);
    if (dictionary) {
        CallScript(callable.Get(), "sO", [&dictionary](const char* format) {
            return ScriptObject::Steal(
                Py_BuildValue(format, protocol::kUpdateEvent, dictionary.Get()));
        });
    } else {
        PrintScriptError();
    }
}

ScriptObject Vireon::Call(const char* format, const ArgumentBuilder& build) {
    const InterpreterVisit visit([this]() REQUIRES(interpreter_lock) { return GetInterpreter(); });
    if (!visit) return ScriptObject();
    const ScriptObject callable = GetCallback();
    return callable ? CallScript(callable.Get(), format, build) : ScriptObject();
}

PyObject* Vireon::_Callback(const char* format, va_list arguments) {
    // A copy, since what a va_list is as a parameter differs between platforms.
    va_list copy;
    va_copy(copy, arguments);
    ScriptObject result = Call(format, [&copy](const char* composed) {
        return ScriptObject::Steal(Py_VaBuildValue(composed, copy));
    });
    va_end(copy);
    return result.Release();
}

void Vireon::CallBack(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    ScriptObject::Steal(_Callback(format, arguments));
    va_end(arguments);
}

PyObject* Vireon::CallbackWithoutArguments(const char* format) {
    return Call(format, BuildFromEmptyArguments).Release();
}

void VireonLife::LeaveInterpreter(const Interpreter& interpreter) {
    // Goes behind the lock: its end may run scripts.
    const ScriptObject callback = Leave(interpreter);
}

void VireonLife::LoseInterpreter(const Interpreter& interpreter) {
    Leave(interpreter).Release();
}

ScriptObject VireonLife::Leave(const Interpreter& interpreter) {
    ScriptObject callback;
    // In a forked child a thread of its parent's may have held the lock.
    if (process_ != CurrentProcess()) return callback;
    // The lock is held, which the compiler cannot see through Use.
    Use([&callback, &interpreter](Vireon& vireon)
            NO_THREAD_SAFETY_ANALYSIS { callback = vireon.LeaveInterpreter(interpreter); });
    return callback;
}

std::shared_ptr<VireonLife> VireonLink::LifeOf(Vireon* vireon) {
    return vireon ? vireon->GetLife() : nullptr;
}

void VireonLink::TakeIn(const NPT_HttpResponse& response,
                        const NPT_HttpRequestContext& context) const {
    Use([&](Vireon& vireon) { vireon.TakeIn(response, context); });
}

void VireonLink::HandOn() const {
    Use([](Vireon& vireon) { vireon.HandOn(); });
}

std::shared_ptr<Interpreter> VireonLink::GetInterpreter() const {
    const Vireon* const vireon = load();
    return vireon ? vireon->GetInterpreter() : nullptr;
}

void VireonLink::Deliver(ZoSsdpDeviceInfo& device) const {
    if (Vireon* const vireon = load()) vireon->CallbacktoClient(&device);
}
