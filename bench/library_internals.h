// The library's parser and walk without a connection around them: a reply in memory becomes a result set as a connection
// has it, which the public calls walk. The only place here that knows the library's internals.
#ifndef ZOLSTATS_BENCH_LIBRARY_INTERNALS_H
#define ZOLSTATS_BENCH_LIBRARY_INTERNALS_H

#include <zolstats/zolstats.h>

#include <string_view>

namespace bench {

class ParsedSet {
  public:
    ParsedSet();
    ~ParsedSet();
    ParsedSet(const ParsedSet&) = delete;
    ParsedSet& operator=(const ParsedSet&) = delete;

    // Into the same buffer each time, as the queries of a connection do. Throws std::runtime_error.
    void parse(std::string_view callData);

    ResultSetToken* set() { return set_; }

  private:
    ResultSetToken* set_ = nullptr;
};

}  // namespace bench

#endif
