#include "engine/vireon_link.h"

#include <algorithm>

void VireonLife::End() {
    if (process_ != CurrentProcess()) {
        // A thread of the parent's may have held the lock as this child was forked.
        vireon_ = nullptr;
        return;
    }
    const CriticalSectionLock guard(lock_);
    vireon_ = nullptr;
}

void VireonLink::store(Vireon* vireon) {
    const std::shared_ptr<VireonLife> life = LifeOf(vireon);
    const CriticalSectionLock guard(lock_);
    if (life && std::find(kept_.begin(), kept_.end(), life) == kept_.end()) kept_.push_back(life);
    life_ = life.get();
}

Vireon* VireonLink::load() const {
    const VireonLife* const life = life_;
    return life ? life->Get() : nullptr;
}

bool VireonLink::IsStopped() const {
    const VireonLife* const life = life_;
    return !life || life->IsStopped();
}
