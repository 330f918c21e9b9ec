#include "engine/vireon_link.h"

Vireon* VireonLife::Get() {
    const CriticalSectionLock guard(lock_);
    return vireon_;
}

void VireonLife::End() {
    const CriticalSectionLock guard(lock_);
    vireon_ = nullptr;
}

void VireonLink::store(Vireon* vireon) {
    std::shared_ptr<VireonLife> life = LifeOf(vireon);
    const CriticalSectionLock guard(lock_);
    life_.swap(life);
}

Vireon* VireonLink::load() const {
    const std::shared_ptr<VireonLife> life = GetLife();
    return life ? life->Get() : nullptr;
}

std::shared_ptr<VireonLife> VireonLink::GetLife() const {
    const CriticalSectionLock guard(lock_);
    return life_;
}
