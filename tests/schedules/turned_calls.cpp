// The calls that a schedule turns, in the place of the real ones, which the linker knows by __real_
// and their names. A lock is taken only when it is free, and an event waited for only here, so that
// no thread of a schedule is ever held up by another.
#include <Python.h>
#include <pthread.h>

#include <map>
#include <memory>

#include "core/event.h"
#include "core/system.h"
#include "core/system_thread.h"
#include "engine/vireon_link.h"
#include "net/socket_waker.h"
#include "schedule.h"

// The second name is the one that the linker gives to what this is called by elsewhere.
#define REAL(name) __asm__("__real_" name)
#define TURNED(name) __asm__("__wrap_" name)

namespace {

struct Owner {
    const void* thread = nullptr;
    int depth = 0;

    bool IsFreeFor(const void* who) const { return !thread || thread == who; }
};

// Of a schedule only one thread runs, so all this needs no lock.
std::map<const void*, Owner>& Owners() {
    static auto& owners = *new std::map<const void*, Owner>;
    return owners;
}
Owner interpreter_lock_owner;

struct EventState {
    bool is_set = false;
    unsigned long sets = 0;
};
std::map<const Event*, EventState>& Events() {
    static auto& events = *new std::map<const Event*, EventState>;
    return events;
}
std::map<const SystemThread*, const void*>& Threads() {
    static auto& threads = *new std::map<const SystemThread*, const void*>;
    return threads;
}

void Take(Owner& owner, const char* what) {
    const void* const who = schedule::CurrentThread();
    schedule::Await(what, [&owner, who] { return owner.IsFreeFor(who); });
    owner.thread = who;
    ++owner.depth;
}

void LetGo(Owner& owner) {
    if (owner.depth > 0 && --owner.depth == 0) owner.thread = nullptr;
}

}  // namespace

// The locks of the platform

extern "C" int RealLock(pthread_mutex_t* mutex) REAL("pthread_mutex_lock");
extern "C" int TurnedLock(pthread_mutex_t* mutex) TURNED("pthread_mutex_lock");
extern "C" int TurnedLock(pthread_mutex_t* mutex) {
    if (schedule::IsRunning()) Take(Owners()[mutex], "a lock");
    return RealLock(mutex);
}

extern "C" int RealUnlock(pthread_mutex_t* mutex) REAL("pthread_mutex_unlock");
extern "C" int TurnedUnlock(pthread_mutex_t* mutex) TURNED("pthread_mutex_unlock");
extern "C" int TurnedUnlock(pthread_mutex_t* mutex) {
    const int result = RealUnlock(mutex);
    if (schedule::IsRunning()) {
        LetGo(Owners()[mutex]);
        schedule::Step("the end of a lock");
    }
    return result;
}

// Events

void RealMake(Event* event) REAL("_ZN5EventC1Ev");
void TurnedMake(Event* event) TURNED("_ZN5EventC1Ev");
void TurnedMake(Event* event) {
    RealMake(event);
    Events().erase(event);
}

void RealSet(Event* event) REAL("_ZN5Event3SetEv");
void TurnedSet(Event* event) TURNED("_ZN5Event3SetEv");
void TurnedSet(Event* event) {
    schedule::Step("the set of an event");
    RealSet(event);
    EventState& state = Events()[event];
    state.is_set = true;
    ++state.sets;
}

void RealReset(Event* event) REAL("_ZN5Event5ResetEv");
void TurnedReset(Event* event) TURNED("_ZN5Event5ResetEv");
void TurnedReset(Event* event) {
    schedule::Step("the reset of an event");
    RealReset(event);
    Events()[event].is_set = false;
}

void RealWait(Event* event) REAL("_ZN5Event4WaitEv");
void TurnedWait(Event* event) TURNED("_ZN5Event4WaitEv");
void TurnedWait(Event* event) {
    if (!schedule::IsRunning()) return RealWait(event);
    schedule::Step("the wait for an event");
    EventState& state = Events()[event];
    const unsigned long seen = state.sets;
    schedule::Await("an event", [&state, seen] { return state.is_set || state.sets != seen; });
}

// Threads

std::unique_ptr<SystemThread> RealStart(SystemThread::Entry entry, void* argument)
    REAL("_ZN12SystemThread5StartEPFjPvES0_");
std::unique_ptr<SystemThread> TurnedStart(SystemThread::Entry entry, void* argument)
    TURNED("_ZN12SystemThread5StartEPFjPvES0_");
std::unique_ptr<SystemThread> TurnedStart(SystemThread::Entry entry, void* argument) {
    if (!schedule::IsRunning()) {
        std::unique_ptr<SystemThread> thread = RealStart(entry, argument);
        Threads().erase(thread.get());
        return thread;
    }
    const schedule::Start start = schedule::Include({entry, argument});
    std::unique_ptr<SystemThread> thread = RealStart(start.entry, start.argument);
    Threads()[thread.get()] = schedule::ThreadOf(start);
    schedule::Step("the start of a thread");
    return thread;
}

void RealJoin(SystemThread* thread) REAL("_ZN12SystemThread4JoinEv");
void TurnedJoin(SystemThread* thread) TURNED("_ZN12SystemThread4JoinEv");
void TurnedJoin(SystemThread* thread) {
    const void* const joined = Threads()[thread];
    Threads().erase(thread);
    if (schedule::IsRunning() && joined && joined != schedule::CurrentThread())
        schedule::Await("the end of a thread", [joined] { return schedule::HasEnded(joined); });
    RealJoin(thread);
}

// Time

NPT_Result RealSleep(NPT_TimeInterval interval) REAL("_ZN10NPT_System5SleepE16NPT_TimeInterval");
NPT_Result TurnedSleep(NPT_TimeInterval interval)
    TURNED("_ZN10NPT_System5SleepE16NPT_TimeInterval");
NPT_Result TurnedSleep(NPT_TimeInterval interval) {
    if (!schedule::IsRunning()) return RealSleep(interval);
    schedule::LetTimePass("a sleep");
    return NPT_SUCCESS;
}

bool RealWaitFor(const SocketWaker* waker, NPT_Timeout timeout) REAL("_ZNK11SocketWaker7WaitForEj");
bool TurnedWaitFor(const SocketWaker* waker, NPT_Timeout timeout)
    TURNED("_ZNK11SocketWaker7WaitForEj");
bool TurnedWaitFor(const SocketWaker* waker, NPT_Timeout timeout) {
    if (!schedule::IsRunning()) return RealWaitFor(waker, timeout);
    schedule::LetTimePass("a wait for a waker");
    return waker->IsAwake();
}

// A worker's looks at its engine, which take no lock

bool RealIsStopped(const VireonLink* link) REAL("_ZNK10VireonLink9IsStoppedEv");
bool TurnedIsStopped(const VireonLink* link) TURNED("_ZNK10VireonLink9IsStoppedEv");
bool TurnedIsStopped(const VireonLink* link) {
    schedule::Step("a look whether the engine is stopped");
    const bool is_stopped = RealIsStopped(link);
    schedule::Step("what comes behind that look");
    return is_stopped;
}

// The interpreter lock

extern "C" PyThreadState* RealSaveThread() REAL("PyEval_SaveThread");
extern "C" PyThreadState* TurnedSaveThread() TURNED("PyEval_SaveThread");
extern "C" PyThreadState* TurnedSaveThread() {
    PyThreadState* const state = RealSaveThread();
    if (schedule::IsRunning()) {
        LetGo(interpreter_lock_owner);
        schedule::Step("where it has let the interpreter lock go");
    }
    return state;
}

extern "C" void RealRestoreThread(PyThreadState* state) REAL("PyEval_RestoreThread");
extern "C" void TurnedRestoreThread(PyThreadState* state) TURNED("PyEval_RestoreThread");
extern "C" void TurnedRestoreThread(PyThreadState* state) {
    if (schedule::IsRunning()) Take(interpreter_lock_owner, "the interpreter lock");
    RealRestoreThread(state);
}

extern "C" void RealAcquireLock() REAL("PyEval_AcquireLock");
extern "C" void TurnedAcquireLock() TURNED("PyEval_AcquireLock");
extern "C" void TurnedAcquireLock() {
    if (schedule::IsRunning()) Take(interpreter_lock_owner, "the interpreter lock");
    RealAcquireLock();
}

extern "C" void RealReleaseLock() REAL("PyEval_ReleaseLock");
extern "C" void TurnedReleaseLock() TURNED("PyEval_ReleaseLock");
extern "C" void TurnedReleaseLock() {
    RealReleaseLock();
    if (schedule::IsRunning()) {
        LetGo(interpreter_lock_owner);
        schedule::Step("where it has let the interpreter lock go");
    }
}

extern "C" void RealDeleteCurrent() REAL("PyThreadState_DeleteCurrent");
extern "C" void TurnedDeleteCurrent() TURNED("PyThreadState_DeleteCurrent");
extern "C" void TurnedDeleteCurrent() {
    RealDeleteCurrent();
    if (schedule::IsRunning()) {
        LetGo(interpreter_lock_owner);
        schedule::Step("where it has let the interpreter lock go");
    }
}

extern "C" PyGILState_STATE RealEnsure() REAL("PyGILState_Ensure");
extern "C" PyGILState_STATE TurnedEnsure() TURNED("PyGILState_Ensure");
extern "C" PyGILState_STATE TurnedEnsure() {
    const bool has = interpreter_lock_owner.thread == schedule::CurrentThread();
    if (schedule::IsRunning() && !has) Take(interpreter_lock_owner, "the interpreter lock");
    return RealEnsure();
}

extern "C" void RealRelease(PyGILState_STATE state) REAL("PyGILState_Release");
extern "C" void TurnedRelease(PyGILState_STATE state) TURNED("PyGILState_Release");
extern "C" void TurnedRelease(PyGILState_STATE state) {
    RealRelease(state);
    if (schedule::IsRunning() && state == PyGILState_UNLOCKED) {
        LetGo(interpreter_lock_owner);
        schedule::Step("where it has let the interpreter lock go");
    }
}
