#ifndef VIREON_FAULT_PLAN_H
#define VIREON_FAULT_PLAN_H

// The calls that can be made to fail, in the order of faults.py.
enum class Call {
    kAllocation,
    kInterpreter,
    kSocket,
    kBind,
    kConnect,
    kListen,
    kAccept,
    kSetOption,
    kGetOption,
    kGetLocalAddress,
    kGetPeerAddress,
    kControl,
    kSend,
    kSendTo,
    kReceive,
    kReceiveFrom,
    kPoll,
    kShutdown,
    kListInterfaces,
    kLookUpName,
    kMakeThread,
    kMakeMutex,
    kMakeMutexAttributes,
    kSleep,
    kWrite,
};

namespace fault_plan {

// Whether this call of the current thread is the one to fail. The first is for calls that the
// module makes itself, of which it is known where they come from; the second for what may be made
// for it.
bool IsInModule(const void* address);
bool MustFail(Call call, const void* caller);
bool MustFailBelowModule(Call call);
// Of the interpreter's calls only the module's are seen at all.
bool MustFailInterpreterCall();
int Error();

// Numbers the thread that runs with this, from 1 on since the plan was made. Gives whatever is to
// be handed to RunNumbered; null when there is no memory.
void* NumberThread(void* (*entry)(void*), void* argument);
void* RunNumbered(void* numbered);
void ForgetThread(void* numbered);

// Objects and answers of the platform that were made, less those that were given back.
void Count(long change);

}  // namespace fault_plan

#endif
