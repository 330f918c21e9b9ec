#ifndef VIREON_CORE_TESTING_BECOMES_TRUE_H
#define VIREON_CORE_TESTING_BECOMES_TRUE_H

#include <chrono>
#include <thread>

#include "core/deadline.h"

// How long a test waits, in milliseconds, for what another thread is about to do.
constexpr NPT_Timeout kPatience = 10000;

// Looks at the condition over and over until it holds. False when it does not within patience
// milliseconds. pause passes the time between two looks.
template <typename Condition, typename Pause>
bool BecomesTrue(Condition condition, NPT_Timeout patience, Pause pause) {
    for (const Deadline end = Deadline::AfterMillis(patience); !end.HasPassed(); pause()) {
        if (condition()) return true;
    }
    return condition();
}

template <typename Condition>
bool BecomesTrue(Condition condition, NPT_Timeout patience = kPatience) {
    return BecomesTrue(condition, patience,
                       [] { std::this_thread::sleep_for(std::chrono::milliseconds(1)); });
}

#endif
