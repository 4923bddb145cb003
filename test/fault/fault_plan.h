/* What the ladder and the wrapped calls tell each other: which call is to fail and how, and what came of it. */
#ifndef FAULT_PLAN_H
#define FAULT_PLAN_H

#include <atomic>

namespace fault {

constexpr int FEWER = 0x10000; // not an error: the call moves fewer bytes than it could
constexpr int DONE = 0x20000;  // added to an error: the call is made, then fails
constexpr int ERROR_MASK = 0xFFFF;
constexpr int DEATH = -1; // as the error: the process ends in the call

/** Which call fails, and how; what came of it. */
struct Plan {
    std::atomic<bool> armed = false;
    std::atomic<int> target = 0;              // the call that fails: 1 for the first
    std::atomic<int> error = 0;               // which of its errors: 0 for the first
    std::atomic<int> count = 0;               // calls so far
    std::atomic<const char *> name = nullptr; // the call that was the target
    std::atomic<int> injected = 0;            // how it failed
    std::atomic<bool> lastError = false;      // whether it can fail in no other way
};

/** Written by the test's thread while nothing is armed, read by any. */
extern Plan plan;

} // namespace fault

#endif
