// SPDX-License-Identifier: BSD-2-Clause
// How a frame's threads come to its jobs and leave them (src/platform/participants.cpp, and for the
// sleep src/platform/gate.cpp), searched exhaustively: every order of steps, threads that begin at any
// time, or are none, and wake-ups that nobody sent. No order may block for ever, run a job twice, or
// leave a thread with a job that the caller is done with. Planted mistakes must be found.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <string>

#include "support/orders.h"

namespace {

enum Mistake {
    kOpensUnheard = kGateMistakes,
    kOpensUnwritten,
    kOpensAfresh,
    kLeavesUnheard,
    kWaitsUnclosed,
    kJoinsUnasked,
    kServesAgain,
    kMissesLast,
    kHeedsLastFirst,
    kMistakes
};

// What the caller does with its crew, a letter each: begins the threads, opens a job (O: as the last
// one), works, waits until the job is idle, ends the crew, joins.
const char *const kScripts[] = {"bowiowOwiej", "bowiOwiej", "bowiowej", "bowej",
                                "bOwiej",      "bej",       "Obwiej"};

const uint8_t kAtWork = 7, kOpen = 8, kLast = 16, kJob = 32; // of the state word

// Before the step that the name tells, besides those of the gate, where a thread waits for the next job
// and the caller for the end of one.
enum Step : uint8_t {
    kBegin = kGateSteps, // the caller's
    kWrite,              // the job
    kLoad,
    kOpens,
    kWork, // for as long as it likes
    kClose,
    kEnd,
    kJoin,
    kAwake, // a thread's
    kLoadFirst,
    kJoins,
    kRun,
    kLeave,
    kDone
};

struct Participant {
    uint8_t step, seen, served, ran; // the word as read; jobs: known, and last one run
};
struct State {
    Participant p[4];                                              // the caller, threads
    uint8_t word, sleepers, locked, begun, at, written, gone, ran; // the last three: a bit for each job
};

struct Search : Orders<State> {
    const char *script;
    int threads, mistake;
    std::string fault;

    Search(const char *itsScript, int itsThreads, int itsMistake)
        : script(itsScript), threads(itsThreads), mistake(itsMistake) {}
    void VisitSorted(State s) { // the threads are all alike
        for (int k = 1; k < threads; k++)
            for (int i = k; i > 0; i--)
                if (memcmp(&s.p[i], &s.p[i + 1], sizeof(Participant)) > 0)
                    std::swap(s.p[i], s.p[i + 1]);
        Visit(s);
    }
    bool Ready(const State &s, int i) const {
        if (i == 0) return !(s.word & kAtWork);
        return s.word / kJob != s.p[i].served || (mistake != kMissesLast && (s.word & kLast));
    }
    void Next(State *s) {
        static const char kLetters[] = "boOwiej";
        static const Step kFirst[] = {kBegin, kWrite, kWrite, kWork, kClose, kEnd, kJoin};
        s->p[0] = {kFirst[strchr(kLetters, script[s->at]) - kLetters], 0, 0, 0};
    }
    void Resume(State *s, int i, bool waited) { // after a wait, a wake-up or some other last step
        if (i == 0) {
            if (waited) s->gone = s->written;
            s->at++;
            Next(s);
        } else {
            s->p[i].step = waited ? +kAwake : s->p[i].seen & kLast ? +kDone : +kSpin;
            s->p[i].seen = 0;
        }
    }
    bool Move(State s, int i); // false: it cannot
    void Run();
};

bool Search::Move(State s, int i) {
    Participant &p = s.p[i];
    if (i > 0 && !s.begun) return false;
    const uint8_t step = p.step;
    if (step < kGateSteps) {
        const Went went = MoveAtGate(&s, i, Ready(s, i), mistake);
        if (went == Went::Nowhere) return false;
        if (went == Went::Through) Resume(&s, i, step < kSleepersAny);
        VisitSorted(s);
        return true;
    }
    p.step++;
    switch (step) {
    case kWrite:
        if (mistake != kOpensUnwritten) s.written |= (uint8_t)(1 << (s.word / kJob + 1));
        break;
    case kLoad:
    case kLoadFirst:
        p.seen = s.word;
        break;
    case kOpens:
        if (s.word == p.seen || mistake == kOpensAfresh) {
            const int flags = (p.seen / kJob + 1) * kJob + kOpen + (script[s.at] == 'O' ? kLast : 0);
            s.word = (uint8_t)(flags + (mistake == kOpensAfresh ? 0 : s.word & kAtWork));
            p.step = kSleepersAny;
            if (mistake == kOpensUnheard) Resume(&s, i, false);
        } else {
            p = {step, s.word, 0, 0};
        }
        break;
    case kBegin:
        s.begun = 1;
        Resume(&s, i, false);
        break;
    case kWork:
        if (mistake == kOpensUnwritten) s.written |= (uint8_t)(1 << s.word / kJob);
        Resume(&s, i, false);
        break;
    case kClose:
        if (mistake != kWaitsUnclosed) s.word &= (uint8_t)~kOpen;
        p.step = kSpin;
        break;
    case kEnd:
        s.word |= kLast;
        p.step = kSleepersAny;
        break;
    case kJoin:
        if (std::any_of(s.p + 1, s.p + 4, [](Participant t) { return t.step != kDone; })) return false;
        p.step = kDone;
        break;
    case kAwake:
        if (mistake == kHeedsLastFirst ? s.word & kLast : s.word / kJob == p.served) p.step = kDone;
        break;
    case kJoins:
        if (s.word != p.seen && (p.seen & kOpen) && mistake != kJoinsUnasked) {
            p = {step, s.word, p.served, p.ran};
            break;
        }
        if (mistake != kServesAgain) p.served = p.seen / kJob;
        if (p.seen & kOpen)
            s.word++;
        else
            Resume(&s, i, false); // too late
        break;
    case kRun: {
        const int job = p.seen / kJob;
        if (s.gone >> job & 1) fault = "job gone";
        if (!(s.written >> job & 1)) fault = "no job";
        if (p.ran >= job) fault = "run twice";
        p.ran = (uint8_t)job;
        s.ran |= (uint8_t)(1 << job);
        break;
    }
    case kLeave:
        s.word--;
        p.step = kSleepersAny;
        if ((s.word & kAtWork) || mistake == kLeavesUnheard) Resume(&s, i, false);
        break;
    default:
        return false;
    }
    VisitSorted(s);
    return true;
}

void Search::Run() {
    State first;
    memset(&first, 0, sizeof(first));
    for (int i = threads + 1; i < 4; i++) first.p[i].step = kDone;
    Next(&first);
    VisitSorted(first);
    while (!open.empty() && fault.empty()) {
        const State s = open.back();
        open.pop_back();
        const bool callerMoves = Move(s, 0);
        bool othersMove = false, missed = false, done = s.p[0].step == kDone;
        for (int i = 0; i <= threads; i++) {
            if (i > 0) othersMove |= Move(s, i);
            if (s.p[i].step != kAsleep) continue;
            missed |= Ready(s, i);
            State woken = s; // for no reason; not counted on
            woken.p[i].step = kRelock;
            VisitSorted(woken);
        }
        if (!callerMoves && !othersMove && !done) fault = "deadlock";
        if (s.p[0].step == kWork && !othersMove && missed) fault = "job slept through";
        if (!done) continue;
        if ((s.word & kAtWork) || s.sleepers || s.locked) fault = "not left as found";
        if (threads && (s.written & ~s.gone & ~s.ran)) fault = "job left";
    }
}

TEST(CrewProtocol, NoOrderOfStepsBlocksOrOutlivesAJob) {
    size_t states = 0;
    for (const char *script : kScripts)
        for (int threads = 0; threads <= (getenv("QUORVEL_SWEEP") ? 3 : 2); threads++) {
            Search search(script, threads, kNoMistake);
            search.Run();
            ASSERT_EQ(search.fault, "") << script << ' ' << threads;
            states += search.known.size();
        }
    EXPECT_GT(states, 10000u);
    printf("%zu states\n", states);
}

TEST(CrewProtocol, PlantedMistakesAreFound) {
    const char *const kFault[kMistakes] = {"",         "deadlock",  "deadlock", "job slept through",
                                           "no job",   "deadlock",  "deadlock", "job gone",
                                           "job gone", "run twice", "deadlock", "job left"};
    for (int mistake = 1; mistake < kMistakes; mistake++) {
        int found = 0;
        for (const char *script : kScripts) {
            Search search(script, 2, mistake);
            search.Run();
            found += search.fault == kFault[mistake];
        }
        EXPECT_GT(found, 0) << mistake;
    }
}

} // namespace
