// Uses the library for a long time and looks at what the process has become: memory and descriptors must not
// grow. No test of the usual run, as it takes a minute; see scripts/soak.sh. The Gateway is in a process of
// its own, so that only the client's memory counts. What the library promises stands in zolstats.h under
// Conventions.
#include <malloc.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "forked_gateway.h"
#include "process_state.h"
#include "support/answering_gateway.h"
#include "zolstats/zolstats.h"

namespace {

using limits::ForkedGateway;

// The first tenth of the samples is the warm-up. Flat means: those of the last tenth show at most this much
// more resident memory and heap than the last of the warm-up, and none behind it another number of
// descriptors.
constexpr long RESIDENT_GROWTH_LIMIT_KIB = 256;
constexpr long HEAP_GROWTH_LIMIT_KIB = 16;
constexpr int SAMPLES = 20;

// ---- What is looked at

struct Sample {
    long done = 0;
    long residentKib = 0;
    long heapKib = 0;
    long descriptors = 0;
};

long residentKib() {
    std::ifstream status("/proc/self/status");
    std::string word;
    while (status >> word) {
        long kib = 0;
        if (word == "VmRSS:" && status >> kib) {
            return kib;
        }
    }
    throw std::runtime_error("/proc/self/status tells no VmRSS");
}

Sample sample(long done) {
    return {done, residentKib(), static_cast<long>(::mallinfo2().uordblks / 1024),
            static_cast<long>(limits::openDescriptors().size())};
}

void print(const Sample& each) {
    std::printf("%12ld %12ld %12ld %12ld\n", each.done, each.residentKib, each.heapKib, each.descriptors);
    std::fflush(stdout);
}

// ---- What is done

void expect(int code, int expected, const char* what) {
    if (code != expected) {
        throw std::runtime_error(std::string(what) + " gave " + std::to_string(code));
    }
}

class Client {
  public:
    ~Client() { closeAllGatewayConnections(); }

    void open() {
        expect(openGatewayConnection(gateway_.port(), &token_, &version_), ZOLSTATS_OK, "an open");
    }
    void close() { expect(closeGatewayConnection(&token_), ZOLSTATS_OK, "a close"); }

    // One of the six in turn, and its set walked.
    void query(long number) {
        static constexpr std::array<void (Client::*)(), 6> QUERIES{&Client::stats,     &Client::statIds,
                                                                   &Client::groupIds,  &Client::statsOfGroup,
                                                                   &Client::statsOfId, &Client::idsOfGroup};
        (this->*QUERIES[static_cast<std::size_t>(number) % QUERIES.size()])();
    }
    void openAndClose(long) {
        open();
        close();
    }
    void copyAndFree(long) {
        ResultSetToken* copy = nullptr;
        char* ids = nullptr;
        expect(getStatIds(token_, &set_), ZOLSTATS_OK, "getStatIds");
        expect(copyResultSet(set_, &copy), ZOLSTATS_OK, "copyResultSet");
        expect(getIdQuery(copy, &ids), ZOLSTATS_OK, "getIdQuery");
        expect(freeResultSet(&copy), ZOLSTATS_OK, "freeResultSet");
    }
    void beRefused(long) {
        void* none = nullptr;
        expect(openGatewayConnection(refusing_.number(), &none, &version_), ZOLSTATS_CONNECTION_REFUSED,
               "an open where nothing listens");
    }
    void switchTheTrace(long number) {
        const char* const file = number % 2 == 0 ? "/dev/null" : nullptr;
        expect(setAPITraceFile(file), ZOLSTATS_OK, "setAPITraceFile");
    }

  private:
    void stats() { walk(getStats(token_, &set_), getFirstStat, getNextStat); }
    void statIds() { walk(getStatIds(token_, &set_), getFirstId, getNextId); }
    void groupIds() { walk(getResourceGroupIds(token_, &set_), getFirstId, getNextId); }
    void statsOfGroup() { walk(getStatsByStatGroupId(token_, "G1:G2", &set_), getFirstStat, getNextStat); }
    void statsOfId() { walk(getStatsByStatId(token_, "S1:none:T1", &set_), getFirstStat, getNextStat); }
    void idsOfGroup() { walk(getStatIdsByStatGroupId(token_, "G1:none", &set_), getFirstId, getNextId); }

    template <class Record>
    void walk(int code, int (*first)(ResultSetToken*, Record*), int (*next)(ResultSetToken*, Record*)) {
        expect(code, ZOLSTATS_OK, "a query");
        Record record{};
        int rc = first(set_, &record);
        while (rc == ZOLSTATS_OK) {
            rc = next(set_, &record);
        }
        expect(rc, ZOLSTATS_NO_MORE_ITEMS, "a walk");
    }

    ForkedGateway gateway_;
    testing_support::LoopbackPort refusing_;
    void* token_ = nullptr;
    char* version_ = nullptr;
    ResultSetToken* set_ = nullptr;
};

// ---- The phases

struct Phase {
    const char* what;
    long count;
    bool connected;  // a connection is open meanwhile
    void (Client::*act)(long number);
};

std::vector<Sample> run(Client& client, const Phase& phase) {
    std::vector<Sample> samples;
    for (long number = 0; number < phase.count; ++number) {
        (client.*phase.act)(number);
        if ((number + 1) % (phase.count / SAMPLES) == 0) {
            samples.push_back(sample(number + 1));
            print(samples.back());
        }
    }
    return samples;
}

// The samples behind the warm-up, and the last tenth of all.
bool isFlat(const std::vector<Sample>& samples) {
    const Sample warm = samples.at(SAMPLES / 10 - 1);
    const auto steady = samples.begin() + SAMPLES / 10;
    const auto last = samples.end() - SAMPLES / 10;
    return std::all_of(last, samples.end(),
                       [&](const Sample& each) {
                           return each.residentKib - warm.residentKib <= RESIDENT_GROWTH_LIMIT_KIB &&
                                  each.heapKib - warm.heapKib <= HEAP_GROWTH_LIMIT_KIB;
                       }) &&
           std::all_of(steady, samples.end(),
                       [&](const Sample& each) { return each.descriptors == warm.descriptors; });
}

bool staysFlat(Client& client, const Phase& phase) {
    std::printf("\n%s\n%12s %12s %12s %12s\n", phase.what, "done", "VmRSS KiB", "heap KiB", "descriptors");
    const auto start = std::chrono::steady_clock::now();
    if (phase.connected) {
        client.open();
    }
    const bool flat = isFlat(run(client, phase));
    if (phase.connected) {
        client.close();
    }
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    std::printf("%s, %.1f s\n", flat ? "flat" : "NOT FLAT", taken.count());
    return flat;
}

// A count that SAMPLES divides.
long countFrom(const char* text) {
    const long count = std::strtol(text, nullptr, 10);
    if (count < SAMPLES) {
        throw std::invalid_argument("counts are numbers from 20 on");
    }
    return count - count % SAMPLES;
}

bool soak(long queries, long cycles) {
    const Phase phases[] = {
        {"queries and walks", queries, true, &Client::query},
        {"connections opened and closed", cycles, false, &Client::openAndClose},
        {"sets copied and freed", cycles, true, &Client::copyAndFree},
        {"connections refused", cycles, false, &Client::beRefused},
        {"trace files switched", cycles, false, &Client::switchTheTrace},
    };
    Client client;
    return std::count_if(std::begin(phases), std::end(phases),
                         [&](const Phase& each) { return !staysFlat(client, each); }) == 0;
}

}  // namespace

// soak [queries [cycles]]
int main(int argumentCount, char** arguments) {
    try {
        const bool flat = soak(argumentCount > 1 ? countFrom(arguments[1]) : 200'000,
                               argumentCount > 2 ? countFrom(arguments[2]) : 20'000);
        return flat ? EXIT_SUCCESS : EXIT_FAILURE;
    } catch (const std::exception& problem) {
        std::fprintf(stderr, "soak: %s\n", problem.what());
        return EXIT_FAILURE;
    }
}
