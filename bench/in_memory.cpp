// Parsers and walks without a network: what each item costs the client itself.
//   parse  a reply in memory, made into what is walked
//   walk   of that, with each byte of the items read
//   both   one after the other
#include <benchmark/benchmark.h>
#include <hiredis/hiredis.h>

#include <iostream>
#include <map>
#include <memory>
#include <stdexcept>

#include "items.h"
#include "library_internals.h"
#include "loaded_library.h"
#include "one_pass.h"
#include "options.h"
#include "results.h"
#include "statistics.h"
#include "table.h"
#include "wire.h"

namespace bench {
namespace {

// ---- What is measured

std::string encodedItems(std::size_t count) {
    gateway::StatsResponse response{nameOf(count)};
    for (Item& item : makeItems(count)) {
        response.statistics.push_back({std::move(item.id), std::move(item.value)});
    }
    return gateway::encodeStats({response});
}

// The reply of a Redis server to HGETALL.
std::string redisReplyOf(std::size_t count) {
    const auto bulk = [](const std::string& text) {
        return "$" + std::to_string(text.size()) + "\r\n" + text + "\r\n";
    };
    std::string reply = "*" + std::to_string(2 * count) + "\r\n";
    for (const Item& item : makeItems(count)) {
        reply += bulk(item.id) + bulk(item.value);
    }
    return reply;
}

// Gives what it has seen.
using Action = std::function<Checksum()>;

Checksum walkPacked(const PackedItems& items) {
    Checksum checksum;
    items.walk([&](std::string_view id, std::string_view value) { checksum.add(id, value); });
    return checksum;
}

template <class First, class Next>
Checksum walkSet(ResultSetToken* set, First first, Next next) {
    const auto text = [](const unsigned char* bytes, std::int32_t length) {
        return std::string_view(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length));
    };
    Checksum checksum;
    StatData item{};
    for (int rc = first(set, &item); rc == ZOLSTATS_OK; rc = next(set, &item)) {
        checksum.add(text(item.statId, item.statIdLen), text(item.statData, item.statDataLen));
    }
    return checksum;
}

// As hiredis's own functions for replies do it, but without a socket.
Checksum readRedisReply(redisReader* reader, const std::string& bytes) {
    void* reply = nullptr;
    if (redisReaderFeed(reader, bytes.data(), bytes.size()) != REDIS_OK ||
        redisReaderGetReply(reader, &reply) != REDIS_OK || reply == nullptr) {
        throw std::runtime_error("hiredis cannot parse the reply");
    }
    const std::unique_ptr<redisReply, decltype(&freeReplyObject)> owned(static_cast<redisReply*>(reply),
                                                                        &freeReplyObject);
    const auto text = [](const redisReply* each) {
        return std::string_view(each->str, static_cast<std::size_t>(each->len));
    };
    Checksum checksum;
    for (std::size_t element = 0; element + 1 < owned->elements; element += 2) {
        checksum.add(text(owned->element[element]), text(owned->element[element + 1]));
    }
    return checksum;
}

// ---- Running

// What has been measured, in nanoseconds an item, by the benchmark's name.
class Samples : public benchmark::BenchmarkReporter {
  public:
    bool ReportContext(const Context&) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.error_occurred) {
                throw std::runtime_error(run.benchmark_name() + ": " + run.error_message);
            }
            if (run.run_type == Run::RT_Iteration) {
                samples_[run.run_name.function_name].push_back(1e9 /
                                                               run.counters.at("items_per_second").value);
            }
        }
    }
    [[nodiscard]] double medianOf(const std::string& name) const { return median(samples_.at(name)); }

  private:
    std::map<std::string, std::vector<double>> samples_;
};

std::string titleOf(std::size_t count, const std::string& what) {
    return std::to_string(count) + "." + what;
}

// An action that has seen the wrong items does not count. Parsing alone sees none.
void add(const std::string& what, std::size_t count, const Action& action, const Checksum& expected) {
    benchmark::RegisterBenchmark(titleOf(count, what).c_str(), [=](benchmark::State& state) {
        for (auto each : state) {
            static_cast<void>(each);
            if (action() != expected) {
                state.SkipWithError("check failed: others than the expected items");
                break;
            }
        }
        state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(count));
    });
}

// What belongs to one number of items; lives as long as the benchmarks run.
struct Scene {
    std::size_t count;
    std::string encoded;
    std::string redisReply;
    PackedItems packed{};
    ParsedSet parsed{};
    ResultSetToken* walked;
    ResultSetToken* walkedWithoutTrace;
    std::unique_ptr<redisReader, decltype(&redisReaderFree)> reader{redisReaderCreate(), &redisReaderFree};

    Scene(std::size_t items, ResultSetToken* set, ResultSetToken* setWithoutTrace)
        : count(items),
          encoded(encodedItems(items) + std::string(PackedItems::READ_AHEAD, '\0')),
          redisReply(redisReplyOf(items)),
          walked(set),
          walkedWithoutTrace(setWithoutTrace) {}

    [[nodiscard]] std::string_view callData() const {
        return std::string_view(encoded).substr(0, encoded.size() - PackedItems::READ_AHEAD);
    }
};

void addAll(Scene& scene, const LoadedLibrary& usual, const LoadedLibrary& withoutTrace) {
    const std::size_t count = scene.count;
    const auto expected = sumOf<Checksum>(makeItems(count));
    const auto parsePacked = [&scene] {
        scene.packed.parse(scene.callData());
        return Checksum{};
    };
    const auto parseSet = [&scene] {
        scene.parsed.parse(scene.callData());
        return Checksum{};
    };
    parsePacked();
    add("parse.ideal", count, parsePacked, {});
    add("parse.zolstats", count, parseSet, {});
    add(
        "walk.ideal", count, [&scene] { return walkPacked(scene.packed); }, expected);
    add(
        "walk.zolstats", count, [&] { return walkSet(scene.walked, usual.getFirstStat, usual.getNextStat); },
        expected);
    add(
        "walk.no_trace", count,
        [&] {
            return walkSet(scene.walkedWithoutTrace, withoutTrace.getFirstStat, withoutTrace.getNextStat);
        },
        expected);
    add(
        "both.ideal", count,
        [&scene, parsePacked] {
            parsePacked();
            return walkPacked(scene.packed);
        },
        expected);
    add(
        "both.zolstats", count,
        [&scene, parseSet] {
            parseSet();
            return walkSet(scene.parsed.set(), getFirstStat, getNextStat);
        },
        expected);
    add(
        "both.hiredis", count, [&scene] { return readRedisReply(scene.reader.get(), scene.redisReply); },
        expected);
}

// In turns, mixed at random, so that whatever else happens on the machine meets all of them.
void runBenchmarks(double seconds, std::size_t benchmarks, Samples& samples) {
    constexpr int REPETITIONS = 15;
    const double each = seconds / static_cast<double>(benchmarks) / REPETITIONS;
    std::vector<std::string> arguments{"in_memory", "--benchmark_repetitions=" + std::to_string(REPETITIONS),
                                       "--benchmark_min_time=" + std::to_string(each),
                                       "--benchmark_enable_random_interleaving=true"};
    std::vector<char*> values;
    for (std::string& argument : arguments) {
        values.push_back(argument.data());
    }
    int count = static_cast<int>(values.size());
    benchmark::Initialize(&count, values.data());
    benchmark::RunSpecifiedBenchmarks(&samples);
}

void print(const Samples& samples, std::size_t count, const std::string& file) {
    static const std::pair<const char*, const char*> ROWS[] = {
        {"parse.ideal", "parse.ideal"},  {"parse.zolstats", "parse.ideal"}, {"walk.ideal", "walk.ideal"},
        {"walk.zolstats", "walk.ideal"}, {"walk.no_trace", "walk.ideal"},   {"both.ideal", "both.ideal"},
        {"both.zolstats", "both.ideal"}, {"both.hiredis", "both.ideal"}};
    Table table({"N=" + std::to_string(count), "ns an item", "/ ideal"});
    for (const auto& [row, base] : ROWS) {
        const double time = samples.medianOf(titleOf(count, row));
        table.add({row, number(time), number(time / samples.medianOf(titleOf(count, base)))});
    }
    table.print(std::cout);
    const auto ratio = [&](const std::string& first, const std::string& second) {
        return samples.medianOf(titleOf(count, first)) / samples.medianOf(titleOf(count, second));
    };
    const std::string prefix = "in_memory." + std::to_string(count) + ".";
    appendResults(file, {{prefix + "both.zolstats/ideal", ratio("both.zolstats", "both.ideal")},
                         {prefix + "walk.zolstats/no_trace", ratio("walk.zolstats", "walk.no_trace")}});
}

void measure(const Options& options) {
    constexpr std::size_t BENCHMARKS_OF_A_SIZE = 8;
    const LoadedLibrary usual(ZOLSTATS_USUAL_LIBRARY);
    const LoadedLibrary withoutTrace(ZOLSTATS_LIBRARY_WITHOUT_TRACE);
    std::vector<std::unique_ptr<Scene>> scenes;
    for (const std::size_t count : options.sizes) {
        const std::string group = nameOf(count);
        const auto port = options.ports.gateway;
        scenes.push_back(
            std::make_unique<Scene>(count, usual.query(port, group), withoutTrace.query(port, group)));
        addAll(*scenes.back(), usual, withoutTrace);
    }
    Samples samples;
    runBenchmarks(options.seconds, BENCHMARKS_OF_A_SIZE * scenes.size(), samples);
    for (const std::size_t count : options.sizes) {
        print(samples, count, options.results);
    }
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
    return bench::runProgram(argc, argv, "Measures parsers and walks in memory", bench::measure);
}
