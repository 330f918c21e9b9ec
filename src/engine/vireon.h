#ifndef VIREON_ENGINE_VIREON_H
#define VIREON_ENGINE_VIREON_H

#include <atomic>
#include <cstdarg>
#include <memory>
#include <vector>

#include "binding/interpreter/interpreter.h"
#include "binding/interpreter/interpreter_lock.h"
#include "binding/interpreter/script_call.h"
#include "binding/interpreter/script_object.h"
#include "core/list.h"
#include "core/mutex.h"
#include "core/process.h"
#include "core/thread_annotations.h"
#include "core/time.h"
#include "device/zo_ssdp_device_info.h"
#include "engine/callback_task_worker_thread.h"
#include "engine/lock_order.h"
#include "engine/ssdp_search_worker_thread.h"
#include "engine/vireon_link.h"
#include "http/http_message.h"
#include "http/http_request.h"
#include "http/http_request_context.h"
#include "http/http_response.h"
#include "http/http_url.h"
#include "net/network_interface.h"
#include "net/socket_waker.h"

// The discovery engine: configured with an interval and a script callable, started with
// SearchDevices, ended with Stop. Owns one dispatch thread and one search thread per sender.
//
// Script threads, which hold the interpreter lock, configure, start, stop and destroy it; search
// threads call the three processing operations; the dispatch thread alone calls CallbacktoClient.
// The locks follow engine/lock_order.h.
//
// A forked child may stop, destroy and search with the engine that it inherited: it waits for none
// of its parent's threads, and leaves to them what they may hold locked.
class Vireon {
    // Of isClosed; workers read it also when the engine is gone.
    const std::shared_ptr<std::atomic<bool>> is_closed_ =
        std::make_shared<std::atomic<bool>>(false);

  public:
    // What SearchDevices reports unless a multicast sender found no port.
    static constexpr zorvane::Int32 kSearchStarted = SsdpSearchWorkerThread::kSearched;

    Vireon();
    Vireon(const Vireon&) = delete;
    Vireon& operator=(const Vireon&) = delete;
    // Waits for all threads, with the interpreter lock released, but leaves stopping them to the
    // client: without Stop this waits forever. Only while the interpreter exits and in a forked
    // child it does not wait; the threads then use nothing of this object any more.
    virtual ~Vireon();

    // Seconds between two searches, stored as given: 0, what is negative and NaN search every 30 s,
    // what is longer than the clock can hold never again.
    void SetInterVal(float seconds);
    // Replaces the callable; null and None leave none. It is not checked that it can be called. The
    // engine belongs to the interpreter that is current from then on: the callable runs there, and
    // is let go there. Throws std::bad_alloc and changes nothing then.
    void SetCallback(PyObject* callback) REQUIRES(interpreter_lock) EXCLUDES(m_lock);
    // Starts a search on the local interfaces: kSearchStarted, or 0 when the dispatch thread cannot
    // be had (nothing is started then) or a multicast sender found no port (what was started before
    // keeps running). Addresses that come later take a new search. Does not reset isClosed: a
    // search on a closed engine sends once and ends. What an earlier search found and Stop left
    // undelivered is destroyed; without a Stop in between it is handed on.
    zorvane::Int32 SearchDevices() EXCLUDES(m_lock);
    // The same search on the interfaces given. An engine that belongs to no interpreter belongs to
    // the current one from then on.
    zorvane::Int32 SearchInterfaces(const NPT_List<NPT_NetworkInterface*>& interfaces)
        EXCLUDES(m_lock);
    // Closes the engine, wakes its threads and waits for them, with the interpreter lock released:
    // at most 50 ms plus the callback that is running. On the dispatch thread it does not wait for
    // that one. A second call finds nobody to wait for.
    void Stop() EXCLUDES(m_lock);

    // Checks an answer to a search and takes it in.
    //   response_result, when that is not 0
    //   NPT_ERROR_INVALID_ARGUMENT  no response, or one without ST, USN, EXT or Location
    //   NPT_FAILURE                 a status that is not 2xx, a USN that is not made of a uuid and
    //                               the ST, an invalid location, no friendly name
    //   NPT_ERROR_INVALID_STATE     no search was ever started, so there is no queue
    //   NPT_SUCCESS                 the record is queued, or dropped since protocol::kQueueLimit
    //                               records are waiting, or the answer is another device's
    NPT_Result ProcessSsdpSearchResponse(NPT_Result response_result, const NPT_HttpRequest& request,
                                         const NPT_HttpRequestContext& context,
                                         NPT_HttpResponse* response) EXCLUDES(m_lock);
    NPT_Result ProcessSsdpMessage(const NPT_HttpMessage& message,
                                  const NPT_HttpRequestContext& context, NPT_String& uuid)
        EXCLUDES(m_lock);
    NPT_Result InspectDevice(const NPT_HttpMessage& message, const NPT_HttpUrl& location,
                             const char* uuid, const NPT_String* usn, NPT_TimeInterval lease_time)
        EXCLUDES(m_lock);

    // What a search thread does with an answer: ProcessSsdpSearchResponse in two steps, of which
    // the second one is due once for all that was taken in at one go. The record of the first one
    // is delivered behind the second, or earlier.
    NPT_Result TakeIn(const NPT_HttpResponse& response, const NPT_HttpRequestContext& context)
        EXCLUDES(m_lock);
    void HandOn() EXCLUDES(m_lock);

    // Calls the callable with ("Update Service", the device's dictionary) in its interpreter. Takes
    // the interpreter lock itself; does nothing without a device, a callable or a living
    // interpreter.
    void CallbacktoClient(ZoSsdpDeviceInfo* device) EXCLUDES(m_lock);
    // Calls the callable with arguments built as the interpreter's Py_BuildValue does; a format of
    // one character becomes a tuple of one, none or "" a call without arguments. A script exception
    // is printed and cleared, SystemExit like any other; so is a failure to build the arguments,
    // and then the callable is not called. A new reference, or null after an exception and without
    // a callable.
    PyObject* _Callback(const char* format, va_list arguments) REQUIRES(interpreter_lock)
        EXCLUDES(m_lock);
    // Does nothing without a callable.
    void CallBack(const char* format, ...) REQUIRES(interpreter_lock) EXCLUDES(m_lock);
    // _Callback for a caller that has a format but no arguments: every item is null or zero.
    PyObject* CallbackWithoutArguments(const char* format) REQUIRES(interpreter_lock)
        EXCLUDES(m_lock);

    const std::shared_ptr<VireonLife>& GetLife() const { return life_; }
    // Where the callable runs; none without a callable.
    std::shared_ptr<Interpreter> GetInterpreter() const REQUIRES(interpreter_lock) {
        return m_pyCallback ? interpreter_ : nullptr;
    }
    // If that one is the engine's: closes it and wakes its threads, without waiting for them. The
    // callable, which the caller lets go of, or none.
    ScriptObject LeaveInterpreter(const Interpreter& interpreter) REQUIRES(interpreter_lock)
        EXCLUDES(m_lock);

    // Every worker polls it, at least once per interval; Stop sets it and nothing resets it but the
    // script.
    std::atomic<bool>& isClosed = *is_closed_;

  private:
    using DispatchThread = std::shared_ptr<CallbackTaskWorkerThread>;
    using SearchThread = std::shared_ptr<SsdpSearchWorkerThread>;

    // False when its thread cannot be had, then everything is as before; and when another thread
    // destroyed the engine meanwhile.
    bool StartDispatch() EXCLUDES(m_lock);
    bool ReplaceDispatch(const DispatchThread& old, const DispatchThread& dispatch)
        EXCLUDES(m_lock);
    // False when a multicast sender finds no port.
    bool StartSenders(const NPT_List<NPT_NetworkInterface*>& interfaces);
    void StartSearchThread(std::unique_ptr<NPT_UdpSocket> socket,
                           std::unique_ptr<NPT_HttpRequest> request) EXCLUDES(m_lock);
    void ForgetSearchThread(const SsdpSearchWorkerThread& thread) EXCLUDES(m_lock);
    // The steps of TakeIn behind its first.
    NPT_Result TakeInMessage(const NPT_HttpMessage& message, const NPT_HttpRequestContext& context,
                             const NPT_String& uuid) EXCLUDES(m_lock);
    NPT_Result TakeInDevice(const NPT_HttpMessage& message, NPT_HttpUrl location, const char* uuid,
                            const NPT_String* usn, NPT_TimeInterval lease_time) REQUIRES(m_lock);
    // In a forked child: replaces what the parent's threads share with the engine.
    void LeaveTheParentsThreads();
    // A snapshot, whose thread stays alive whatever happens to the engine.
    DispatchThread GetCallbackThread();
    std::vector<SearchThread> TakeSearchThreads();
    std::vector<SearchThread> TakeEndedSearchThreads();
    // The waker of the running search, made where there is none.
    std::shared_ptr<SocketWaker> GetWaker();
    // A reference of the caller's own, or none.
    ScriptObject GetCallback() REQUIRES(interpreter_lock) EXCLUDES(m_lock);
    void ForgetEndedInterpreter() REQUIRES(interpreter_lock);
    // An engine that belongs to no interpreter belongs to the current one afterwards.
    void JoinInterpreter();
    // Calls the callable in its interpreter; null as _Callback.
    ScriptObject Call(const char* format, const ArgumentBuilder& build) EXCLUDES(m_lock);
    // Lets a callable go in its interpreter.
    static void Release(ScriptObject callback, const std::shared_ptr<Interpreter>& interpreter);
    // Closes the engine and wakes its threads.
    void BeginToStop() EXCLUDES(m_lock);

    std::atomic<float> m_interval;
    ScriptObject m_pyCallback GUARDED_BY(interpreter_lock);
    std::shared_ptr<Interpreter> interpreter_ GUARDED_BY(interpreter_lock);

    // Held also while a record is queued, so no record is queued behind the back of a replacement.
    NPT_Mutex m_lock ACQUIRED_AFTER(lock_order::engine) ACQUIRED_BEFORE(lock_order::queue);
    DispatchThread m_callbackThread GUARDED_BY(m_lock);
    std::vector<SearchThread> m_searchThreads GUARDED_BY(m_lock);
    std::shared_ptr<SocketWaker> waker_ GUARDED_BY(m_lock);
    bool was_stopped_ GUARDED_BY(m_lock) = false;  // since the last search was started

    std::shared_ptr<CallbackTaskWorkerThread::DeliveryTurn> turn_;
    std::shared_ptr<VireonLife> life_;
    ProcessId process_ = CurrentProcess();
};

#endif
