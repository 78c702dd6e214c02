// A build of the library as an application has it at hand: a shared library, used by its public calls. Several builds fit
// into one process.
#ifndef ZOLSTATS_BENCH_LOADED_LIBRARY_H
#define ZOLSTATS_BENCH_LOADED_LIBRARY_H

#include <zolstats/zolstats.h>

#include <cstdint>
#include <string>

namespace bench {

class LoadedLibrary {
  public:
    // Throws std::runtime_error, as does query().
    explicit LoadedLibrary(const std::string& file);

    decltype(&::getFirstStat) getFirstStat;
    decltype(&::getNextStat) getNextStat;

    // The answer to a query for the statistics of a group. Its connection stays open.
    [[nodiscard]] ResultSetToken* query(std::uint16_t port, const std::string& group) const;

  private:
    void* library_;  // stays loaded
};

}  // namespace bench

#endif
