#ifndef VIREON_ENGINE_VIREON_LINK_H
#define VIREON_ENGINE_VIREON_LINK_H

#include <memory>
#include <mutex>

#include "core/critical_section.h"

class Vireon;

// Whether one engine still exists. Shared by the engine, which ends it, and everybody who keeps a
// pointer to the engine without owning it. Any thread.
class VireonLife {
  public:
    explicit VireonLife(Vireon* vireon) : vireon_(vireon) {}

    // Runs use(engine) unless the engine is gone, and keeps it from going meanwhile: End waits. So
    // use must not wait for the interpreter lock. False when the engine was gone.
    template <typename Function>
    bool Use(Function&& use) {
        std::lock_guard<CriticalSection> guard(lock_);
        if (!vireon_) return false;
        use(*vireon_);
        return true;
    }
    Vireon* Get();
    void End();

  private:
    CriticalSection lock_;
    Vireon* vireon_;
};

// A worker's pointer to its engine: it may be cleared while others read it, and reads as null once
// the engine is destroyed. Any thread.
class VireonLink {
  public:
    explicit VireonLink(Vireon* vireon = nullptr) { store(vireon); }
    VireonLink(const VireonLink&) = delete;
    VireonLink& operator=(const VireonLink&) = delete;

    void store(Vireon* vireon);
    // Valid for as long as the caller knows by other means that the engine is not destroyed.
    Vireon* load() const;
    // No engine, or a closed one.
    bool IsStopped() const;
    // See VireonLife::Use.
    template <typename Function>
    bool Use(Function&& use) const {
        const std::shared_ptr<VireonLife> life = GetLife();
        return life && life->Use(use);
    }

  private:
    std::shared_ptr<VireonLife> GetLife() const;

    mutable CriticalSection lock_;
    std::shared_ptr<VireonLife> life_;
};

#endif
