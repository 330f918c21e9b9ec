#ifndef VIREON_ENGINE_LOCK_ORDER_H
#define VIREON_ENGINE_LOCK_ORDER_H

#include "binding/interpreter/interpreter_lock.h"
#include "core/thread_annotations.h"

// The order in which the engine's locks are taken; any may be left out:
//
//   the interpreter lock
//   VireonLife::lock_, which keeps an engine from going
//   Vireon::m_lock
//   CallbackTaskWorkerThread::m_taskLock, the queue's
//   VireonLink::lock_
//
// Under all but the first nothing takes the interpreter lock, touches a reference count or waits
// for a thread. The compiler checks the order where one function takes two of them: each lock says
// which of these points it is taken behind and which one before. Nothing of them is ever defined.
namespace lock_order {

class CAPABILITY("point in the order of locks") Point {};

extern Point engine ACQUIRED_AFTER(interpreter_lock);
extern Point queue ACQUIRED_AFTER(engine);
extern Point link ACQUIRED_AFTER(queue);

}  // namespace lock_order

#endif
