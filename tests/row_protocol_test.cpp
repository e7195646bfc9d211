// SPDX-License-Identifier: BSD-2-Clause
// The protocol by which block rows wait for each other (src/motion/block_drivers.cpp), searched
// exhaustively on small frames: every order of its steps, with wake-ups that nobody sent. No order may
// block for ever or price a block before its predictors are done. Planted mistakes must be found.
// QUORVEL_SWEEP searches larger frames and four participants.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace {

enum Mistake {
    kNoMistake,
    kCountsLate,
    kLooksEarly,
    kNoWakeAtRowEnd,
    kWaitsForOneBlock,
    kWakesUnlocked,
    kLeadBeyondRow,
    kMistakes
};

struct Shape {
    int rows, columns, participants;
    int markEvery; // blocks between two marks of a row's progress
    int lead;      // of a row over the next one at its start, a multiple of that or the whole row
    Mistake mistake;
};

// Where a participant stands: before the step that the name tells.
enum Step : uint8_t {
    kTake,  // a row of its own, or leave
    kSpin,  // look at the row above, without a lock
    kLock,  // taking the sleepers' mutex
    kCount, // itself among the sleepers
    kLook,  // at the row above, mutex held
    kSleep, // the mutex goes with it
    kAsleep,
    kRelock, // awake, mutex not yet had
    kLeave,  // uncounts itself and gives the mutex up
    kSearch, // the block
    kStore,  // how far its row is
    kSleepersAny,
    kWakeLock,
    kWake, // all sleepers, mutex held
    kWakeUnlock,
    kDone
};

struct Participant {
    uint8_t step, row, column, seen; // seen: whether there are sleepers, looked at too early
};

struct State {
    Participant p[4];
    uint8_t done[4], nextRow, sleepers, owner; // owner: 0 nobody, else participant + 1
    bool operator==(const State &o) const { return !memcmp(this, &o, sizeof(State)); }
};
struct StateHash {
    size_t operator()(const State &s) const {
        return std::hash<std::string_view>()({(const char *)&s, sizeof(State)});
    }
};

struct Search {
    Shape shape;
    std::unordered_set<State, StateHash> known;
    std::vector<State> open;
    std::string fault;

    void Visit(const State &s) {
        if (known.insert(s).second) open.push_back(s);
    }
    int Needed(const Participant &p) const {
        return std::min(p.column + (shape.mistake == kWaitsForOneBlock ? 1 : 2), shape.columns);
    }
    bool AboveReady(const State &s, const Participant &p) const {
        return p.row == 0 || s.done[p.row - 1] >= Needed(p);
    }
    bool HasLead(const State &s) const {
        const int lead = shape.lead + (shape.mistake == kLeadBeyondRow ? shape.columns : 0);
        return s.nextRow == 0 || s.done[s.nextRow - 1] >= lead;
    }
    bool Move(State s, int i); // false: it cannot
    void Run();
};

void NextBlock(Participant *p, int columns) { p->step = ++p->column == columns ? kTake : kSpin; }

bool Search::Move(State s, int i) {
    Participant &p = s.p[i];
    const bool locked = s.owner != 0;
    switch (p.step) {
    case kTake:
        // Without the lead it may leave at once or after more looks, which are no steps.
        p.column = 0;
        p.row = s.nextRow;
        p.step = s.nextRow == shape.rows || !HasLead(s) ? kDone : kSpin;
        if (p.step == kSpin) s.nextRow++;
        break;
    case kSpin: // as often as it likes: one look stands for all
        p.step = AboveReady(s, p) ? kSearch : kLock;
        break;
    case kLock:
        if (locked) return false;
        s.owner = (uint8_t)(i + 1);
        p.step = shape.mistake == kCountsLate ? kLook : kCount;
        break;
    case kCount:
        s.sleepers++;
        p.step = shape.mistake == kCountsLate ? kSleep : kLook;
        break;
    case kLook:
        p.step = AboveReady(s, p) ? kLeave : shape.mistake == kCountsLate ? kCount : kSleep;
        if (p.step == kLeave && shape.mistake == kCountsLate) s.sleepers++;
        break;
    case kSleep:
        s.owner = 0;
        p.step = kAsleep;
        break;
    case kAsleep:
        return false; // woken by others, or for no reason
    case kRelock:
        if (locked) return false;
        s.owner = (uint8_t)(i + 1);
        if (shape.mistake == kCountsLate) s.sleepers--;
        p.step = kLook;
        break;
    case kLeave:
        s.sleepers--;
        s.owner = 0;
        p.step = kSearch;
        break;
    case kSearch:
        if (p.row > 0 && s.done[p.row - 1] < std::min(p.column + 2, shape.columns))
            fault = "early block";
        p.seen = s.sleepers > 0;
        p.step = kStore;
        break;
    case kStore: {
        const int count = p.column + 1;
        const bool last = count == shape.columns;
        if (last || count % shape.markEvery == 0) s.done[p.row] = (uint8_t)count;
        if (last ? shape.mistake != kNoWakeAtRowEnd : count % shape.lead == 0)
            p.step = kSleepersAny;
        else
            NextBlock(&p, shape.columns);
        break;
    }
    case kSleepersAny:
        if (shape.mistake == kLooksEarly ? p.seen : s.sleepers > 0)
            p.step = shape.mistake == kWakesUnlocked ? kWake : kWakeLock;
        else
            NextBlock(&p, shape.columns);
        break;
    case kWakeLock:
        if (locked) return false;
        s.owner = (uint8_t)(i + 1);
        p.step = kWake;
        break;
    case kWake:
        for (int k = 0; k < shape.participants; k++)
            if (s.p[k].step == kAsleep) s.p[k].step = kRelock;
        if (shape.mistake == kWakesUnlocked)
            NextBlock(&p, shape.columns);
        else
            p.step = kWakeUnlock;
        break;
    case kWakeUnlock:
        s.owner = 0;
        NextBlock(&p, shape.columns);
        break;
    default:
        return false;
    }
    Visit(s);
    return true;
}

void Search::Run() {
    State first;
    memset(&first, 0, sizeof(first));
    Visit(first);
    while (!open.empty() && fault.empty()) {
        const State s = open.back();
        open.pop_back();
        bool moves = false, allDone = true;
        for (int i = 0; i < shape.participants; i++) {
            moves |= Move(s, i);
            allDone &= s.p[i].step == kDone;
            if (s.p[i].step != kAsleep) continue;
            State woken = s; // for no reason; not counted on
            woken.p[i].step = kRelock;
            Visit(woken);
        }
        if (!moves && !allDone) fault = "deadlock";
        if (allDone && (s.sleepers || s.owner)) fault = "not left as found";
        if (allDone && s.done[shape.rows - 1] != shape.columns) fault = "rows left";
    }
}

Search Searched(const Shape &shape) {
    Search search = {shape, {}, {}, ""};
    search.Run();
    return search;
}

TEST(RowProtocol, NoOrderOfStepsBlocksOrRunsAhead) {
    size_t states = 0;
    const bool wide = getenv("QUORVEL_SWEEP") != nullptr;
    for (int participants = 1; participants <= (wide ? 4 : 3); participants++)
        for (int rows = 1; rows <= (participants == 3 ? 3 : 4); rows++)
            for (int columns = 1; columns <= (participants == 4 ? 2 : wide ? 4 : 3); columns++)
                for (const auto &[mark, lead] : {std::pair(1, 1), {1, 2}, {2, 2}, {1, 4}, {3, 3}}) {
                    const Search search = Searched(
                        {rows, columns, participants, mark, std::min(lead, columns), kNoMistake});
                    ASSERT_EQ(search.fault, "")
                        << participants << ' ' << rows << 'x' << columns << ' ' << mark << ' ' << lead;
                    states += search.known.size();
                }
    EXPECT_GT(states, 100000u);
    printf("%zu states\n", states);
}

TEST(RowProtocol, PlantedMistakesAreFound) {
    const char *const kFault[kMistakes] = {
        "", "deadlock", "deadlock", "deadlock", "early block", "deadlock", "rows left"};
    for (int mistake = 1; mistake < kMistakes; mistake++) {
        const Search search = Searched({3, 3, 3, 1, 1, (Mistake)mistake});
        EXPECT_EQ(search.fault, kFault[mistake]) << mistake;
    }
}

} // namespace
