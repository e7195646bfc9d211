// SPDX-License-Identifier: BSD-2-Clause
// For searches through all orders of the steps that some participants take: the states that were met,
// and the steps of a wait and of a wake-up (src/platform/gate.cpp).
#pragma once

#include <stdint.h>
#include <string.h>

#include <string_view>
#include <unordered_set>
#include <vector>

// A state has no padding: it is the same when its bytes are.
template <typename State> struct Orders {
    struct Bytes {
        size_t operator()(const State &s) const {
            return std::hash<std::string_view>()({(const char *)&s, sizeof(State)});
        }
        bool operator()(const State &a, const State &b) const { return !memcmp(&a, &b, sizeof(State)); }
    };
    std::unordered_set<State, Bytes, Bytes> known;
    std::vector<State> open;

    void Visit(const State &s) {
        if (known.insert(s).second) open.push_back(s);
    }
};

// Before the step that the name tells.
enum GateStep : uint8_t {
    kSpin,  // look, as often as it likes: one look stands for all
    kCount, // itself among the sleepers
    kLook,
    kLock, // taking the sleepers' mutex
    kLookLocked,
    kSleep, // the mutex goes with it
    kAsleep,
    kRelock, // awake, mutex not yet had
    kUnlock,
    kUncount,
    kSleepersAny, // a wake-up's from here
    kWakeLock,
    kWake, // all sleepers
    kWakeUnlock,
    kGateSteps
};

enum GateMistake { kNoMistake, kCountsLate, kWakesUnlocked, kGateMistakes };

enum class Went { Nowhere, On, Through };

// The state has sleepers, locked and participants p, each with its step. Sleepers are woken by others,
// or by the search for no reason.
template <typename State> Went MoveAtGate(State *s, int i, bool ready, int mistake) {
    uint8_t &step = s->p[i].step;
    const bool late = mistake == kCountsLate;
    switch (step) {
    case kSpin:
        step = late ? kLook : kCount;
        return ready ? Went::Through : Went::On;
    case kCount:
        s->sleepers++;
        step = late ? kSleep : kLook;
        break;
    case kLook:
        if (ready && late) return Went::Through;
        step = ready ? kUncount : kLock;
        break;
    case kLock:
    case kRelock:
    case kWakeLock:
        if (s->locked) return Went::Nowhere;
        s->locked = 1;
        if (late && step == kRelock) s->sleepers--;
        step++;
        break;
    case kLookLocked:
        step = ready ? kUnlock : late ? kCount : kSleep;
        break;
    case kSleep:
        s->locked = 0;
        step = kAsleep;
        break;
    case kUnlock:
        s->locked = 0;
        step = kLook;
        break;
    case kUncount:
        s->sleepers--;
        return Went::Through;
    case kSleepersAny:
        if (!s->sleepers) return Went::Through;
        step = mistake == kWakesUnlocked ? kWake : kWakeLock;
        break;
    case kWake:
        for (auto &other : s->p)
            if (other.step == kAsleep) other.step = kRelock;
        if (mistake == kWakesUnlocked) return Went::Through;
        step = kWakeUnlock;
        break;
    case kWakeUnlock:
        s->locked = 0;
        return Went::Through;
    default:
        return Went::Nowhere;
    }
    return Went::On;
}
