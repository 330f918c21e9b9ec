#include "engine/vireon_link.h"

Vireon* VireonLife::Get() {
    std::lock_guard<CriticalSection> guard(lock_);
    return vireon_;
}

void VireonLife::End() {
    std::lock_guard<CriticalSection> guard(lock_);
    vireon_ = nullptr;
}

void VireonLink::store(Vireon* vireon) {
    std::shared_ptr<VireonLife> life = LifeOf(vireon);
    std::lock_guard<CriticalSection> guard(lock_);
    life_.swap(life);
}

Vireon* VireonLink::load() const {
    const std::shared_ptr<VireonLife> life = GetLife();
    return life ? life->Get() : nullptr;
}

std::shared_ptr<VireonLife> VireonLink::GetLife() const {
    std::lock_guard<CriticalSection> guard(lock_);
    return life_;
}
