#ifndef VIREON_ENGINE_VIREON_LINK_H
#define VIREON_ENGINE_VIREON_LINK_H

#include <atomic>
#include <memory>
#include <utility>
#include <vector>

#include "binding/interpreter/interpreter.h"
#include "binding/interpreter/script_object.h"
#include "core/critical_section.h"
#include "core/process.h"
#include "core/thread_annotations.h"
#include "engine/lock_order.h"

class NPT_HttpRequestContext;
class NPT_HttpResponse;
class Vireon;
class ZoSsdpDeviceInfo;

// Whether one engine still exists and is open. Shared by the engine, which ends it, and everybody
// who keeps a pointer to the engine without owning it. Any thread; only Use and End take a lock.
//
// Takes the engine out of service when the interpreter that it belongs to ends; what that means is
// defined with the engine.
class VireonLife : public InterpreterGuest {
  public:
    // is_closed: the engine's, which outlives it.
    VireonLife(Vireon* vireon, std::shared_ptr<const std::atomic<bool>> is_closed)
        : is_closed_(std::move(is_closed)), vireon_(vireon) {}
    void LeaveInterpreter(const Interpreter& interpreter) override REQUIRES(interpreter_lock);
    void LoseInterpreter(const Interpreter& interpreter) override REQUIRES(interpreter_lock);

    // Runs use(engine) unless the engine is gone, and keeps it from going meanwhile: End waits. So
    // use must not wait for the interpreter lock. False when the engine was gone.
    template <typename Function>
    bool Use(Function&& use) {
        const CriticalSectionLock guard(lock_);
        Vireon* const vireon = vireon_;
        if (!vireon) return false;
        use(*vireon);
        return true;
    }
    // Valid for as long as the caller knows by other means that the engine is not destroyed.
    Vireon* Get() const { return vireon_; }
    // The engine is gone or closed.
    bool IsStopped() const { return !vireon_ || *is_closed_; }
    void End();

  private:
    // The callable, if the engine belonged there.
    ScriptObject Leave(const Interpreter& interpreter) REQUIRES(interpreter_lock);

    const ProcessId process_ = CurrentProcess();
    const std::shared_ptr<const std::atomic<bool>> is_closed_;
    CriticalSection lock_ ACQUIRED_AFTER(interpreter_lock) ACQUIRED_BEFORE(lock_order::engine);
    std::atomic<Vireon*> vireon_;  // cleared under the lock
};

// A worker's pointer to its engine: it may be cleared while others read it, and reads as null once
// the engine is destroyed. All that a worker asks of its engine it asks here; what that means to
// the engine is defined with it (engine/vireon.cpp), so that a worker need not know it. Any thread;
// readers take no lock, and so the lives of all engines that it ever pointed to stay until it goes.
class VireonLink {
  public:
    explicit VireonLink(Vireon* vireon = nullptr) { store(vireon); }
    VireonLink(const VireonLink&) = delete;
    VireonLink& operator=(const VireonLink&) = delete;

    void store(Vireon* vireon);
    // Valid for as long as the caller knows by other means that the engine is not destroyed.
    Vireon* load() const;
    // No engine, or a closed one. Takes no lock.
    bool IsStopped() const;
    // Hands an answer to the engine, which may want it or not; without an engine it is lost. HandOn
    // is due behind the last of those that came at one go.
    void TakeIn(const NPT_HttpResponse& response, const NPT_HttpRequestContext& context) const;
    void HandOn() const;
    // Where the engine's callable runs; none without an engine or a callable. No state need be
    // current.
    std::shared_ptr<Interpreter> GetInterpreter() const REQUIRES(interpreter_lock);
    // Calls the engine's callable with the record; without an engine it does nothing. The
    // interpreter lock is held: engines are destroyed under it, so this one is there until the
    // script runs.
    void Deliver(ZoSsdpDeviceInfo& device) const;
    // See VireonLife::Use.
    template <typename Function>
    bool Use(Function&& use) const {
        VireonLife* const life = life_;
        return life && life->Use(use);
    }

  private:
    // Null for null.
    static std::shared_ptr<VireonLife> LifeOf(Vireon* vireon);

    std::atomic<VireonLife*> life_{nullptr};  // one of those kept
    CriticalSection lock_ ACQUIRED_AFTER(lock_order::link);
    std::vector<std::shared_ptr<VireonLife>> kept_ GUARDED_BY(lock_);
};

#endif
