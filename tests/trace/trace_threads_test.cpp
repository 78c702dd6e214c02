// Tests of the trace and its lock under several threads: lines and dumps stay whole, whoever else writes,
// switches the destination or sets the level. What a single line looks like is tested in diag_test.cpp.
// Levels, line format and dumps are written down in docs/tracing.md.
#include <gmock/gmock.h>
#include <pthread.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <fstream>
#include <functional>
#include <iterator>
#include <latch>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include "stapi_zol_resultsetbuffer.h"
#include "support/bytes.h"
#include "support/scratch_folder.h"
#include "support/trace_capture.h"

using testing::Each;
using testing::Field;
using testing::IsEmpty;
using testing::SizeIs;
using testing_support::printed;
using testing_support::TraceCapture;
using testing_support::TraceLine;

namespace {

constexpr int THREADS = 4;
constexpr int ROUNDS = 100;
constexpr int TRACE_CALLS = 3;

// Runs the work in several threads that start together, each with its number.
void inThreads(const std::function<void(int)>& work) {
    std::latch start(THREADS);
    std::vector<std::thread> threads;
    for (int number = 0; number < THREADS; ++number) {
        threads.emplace_back([&, number] {
            start.arrive_and_wait();
            work(number);
        });
    }
    for (std::thread& each : threads) {
        each.join();
    }
}

// Writes an ENTRY line, 2108, and an EXIT line, 2110, that show the value.
void traceValue(int value) {
    unsigned char bytes[4] = {};
    unsigned char* cursor = bytes;
    addInteger(&cursor, value);
}

int valueOf(const TraceLine& entry) {
    return std::stoi(entry.message.substr(entry.message.find("rsInt=") + 6));
}

std::vector<int> valuesOf(const std::vector<TraceLine>& entries) {
    std::vector<int> values;
    std::ranges::transform(entries, std::back_inserter(values), valueOf);
    std::ranges::sort(values);
    return values;
}

std::vector<int> allValues() {
    std::vector<int> values(THREADS * ROUNDS);
    std::iota(values.begin(), values.end(), 0);
    return values;
}

void traceAllValues() {
    inThreads([](int number) {
        for (int round = 0; round < ROUNDS; ++round) {
            traceValue(number * ROUNDS + round);
        }
    });
}

TEST(TraceOfSeveralThreads, ConsistsOfWholeLines) {
    const TraceCapture trace(TRACE_CALLS);
    traceAllValues();
    EXPECT_THAT(trace.lines(), SizeIs(2 * THREADS * ROUNDS));
    EXPECT_THAT(trace.lines(), Each(Field(&TraceLine::below, IsEmpty())));
    EXPECT_EQ(valuesOf(trace.lines(2108)), allValues());
    EXPECT_EQ(valuesOf(trace.lines(2110)), allValues());
}

TEST(TraceOfSeveralThreads, ShowsInEachLineTheThreadThatWroteIt) {
    std::vector<std::string> ids(THREADS);
    const TraceCapture trace(TRACE_CALLS);
    inThreads([&ids](int number) {
        ids[static_cast<std::size_t>(number)] = printed(",0x%8.8X]", static_cast<unsigned>(pthread_self()));
        for (int round = 0; round < ROUNDS; ++round) {
            traceValue(number);
        }
    });
    for (const TraceLine& each : trace.lines()) {
        EXPECT_THAT(each.prefix, testing::EndsWith(ids.at(static_cast<std::size_t>(valueOf(each)))));
    }
}

// ---- Dumps

class DumpedSet {
  public:
    explicit DumpedSet(char filler)
        : buffer_("ZOLSTSET" + std::string(50, filler) + testing_support::TERMINATOR +
                  std::string(16, '\0')) {
        set_.owner = zolstats::OWNER_USER;
        set_.head = reinterpret_cast<unsigned char*>(buffer_.data());
    }
    DumpedSet(const DumpedSet&) = delete;
    DumpedSet& operator=(const DumpedSet&) = delete;

    void dump() { dumpResultSetInternal(&set_); }
    std::string dumpedAlone() {
        const TraceCapture alone(0);
        dump();
        return alone.text();
    }

  private:
    std::string buffer_;
    ResultSetToken set_{};
};

// Takes the part away wherever it stands, and counts.
int removeAll(std::string& text, const std::string& part) {
    int count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at)) {
        text.erase(at, part.size());
        ++count;
    }
    return count;
}

TEST(DumpsOfSeveralThreads, AreNotMixed) {
    std::array<DumpedSet, THREADS> sets{DumpedSet{'a'}, DumpedSet{'b'}, DumpedSet{'c'}, DumpedSet{'d'}};
    std::array<std::string, THREADS> alone;
    std::transform(sets.begin(), sets.end(), alone.begin(),
                   [](DumpedSet& each) { return each.dumpedAlone(); });
    const TraceCapture trace(0);
    inThreads([&sets](int number) {
        for (int round = 0; round < ROUNDS; ++round) {
            sets.at(static_cast<std::size_t>(number)).dump();
        }
    });
    std::string all = trace.text();
    for (const std::string& each : alone) {
        EXPECT_EQ(removeAll(all, each), ROUNDS);
    }
    EXPECT_THAT(all, IsEmpty());
}

// ---- Changes while others trace

class ChangedTrace : public testing::Test {
  protected:
    ChangedTrace() {
        setAPITraceFile((folder.path() / "A").c_str());
        setAPITraceLevel(TRACE_CALLS);
    }
    ~ChangedTrace() override {
        setAPITraceLevel(0);
        setAPITraceFile(nullptr);
    }

    [[nodiscard]] std::vector<std::string> rowsOf(const std::string& name) const {
        std::ifstream stream(folder.path() / name);
        std::vector<std::string> rows;
        for (std::string row; std::getline(stream, row);) {
            rows.push_back(row);
        }
        return rows;
    }
    // Goes on with the change for as long as the others trace all values.
    static void whileOthersTrace(const std::function<void(int)>& change) {
        std::atomic<bool> done = false;
        std::thread changing([&] {
            for (int count = 0; !done; ++count) {
                change(count);
            }
        });
        traceAllValues();
        done = true;
        changing.join();
    }

    const testing_support::ScratchFolder folder;
};

const char* const WHOLE_ROW =
    "[*][*][*] .* [*][*][*]|"
    "[0-9/]{8} [0-9:]{12} \\[0x[0-9A-F]{8},0x[0-9A-F]{8}\\] \\[[0-9]{4}\\] [*A-Z ]{6} [^][]*";

TEST_F(ChangedTrace, SwitchingTheFileNeitherLosesNorSplitsALine) {
    whileOthersTrace(
        [this](int count) { setAPITraceFile((folder.path() / (count % 2 == 0 ? "B" : "A")).c_str()); });
    setAPITraceLevel(0);
    std::vector<std::string> rows = rowsOf("A");
    const std::vector<std::string> more = rowsOf("B");
    rows.insert(rows.end(), more.begin(), more.end());
    EXPECT_THAT(rows, Each(testing::MatchesRegex(WHOLE_ROW)));
    EXPECT_EQ(
        std::count_if(rows.begin(), rows.end(),
                      [](const std::string& row) { return row.find("addInteger") != std::string::npos; }),
        2 * THREADS * ROUNDS);
}

TEST_F(ChangedTrace, ChangingTheLevelSplitsNoLine) {
    whileOthersTrace([](int count) { setAPITraceLevel(count % 2 == 0 ? 0 : TRACE_CALLS); });
    EXPECT_THAT(rowsOf("A"), testing::AllOf(Each(testing::MatchesRegex(WHOLE_ROW)), testing::Not(IsEmpty())));
}

TEST(ALock, LetsOneThreadInAtATime) {
    LockRecord lock{};
    int count = 0;
    initializeLock(&lock);
    inThreads([&](int) {
        for (int round = 0; round < 100 * ROUNDS; ++round) {
            requestLock(&lock);
            ++count;
            releaseLock(&lock);
        }
    });
    EXPECT_EQ(count, 100 * ROUNDS * THREADS);
    destroyLock(&lock);
}

}  // namespace
