// A connection to the Gateway as C++: closed by its destructor, answers as plain records, failures as
// exceptions. Not a second interface of the library: it has just the queries that the commands need. The
// protocol between the library and the Gateway is written down in docs/protocol.md.
#ifndef ZOLSTAT_SESSION_H
#define ZOLSTAT_SESSION_H

#include <zolstats/zolstats.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace zolstat {

// A call of the library failed; what() says how, in words.
class CallFailed : public std::runtime_error {
  public:
    explicit CallFailed(int code);
};

class OpenFailed : public CallFailed {
  public:
    using CallFailed::CallFailed;
};

struct Statistic {
    std::string id;
    std::string value;
};

// What the Gateway said to a query: items, or a negative code if it rejected what was asked for.
template <typename Item>
struct Answer {
    std::int32_t code = 0;
    std::vector<Item> items;

    bool rejected() const { return code < 0; }
};

using Ids = Answer<std::string>;
using Statistics = Answer<Statistic>;

// Trace of the library, for the whole process. The file's name may be empty: standard error.
void setTrace(int level, const std::string& fileName);

// To be used by the thread that made it. After a CallFailed it is of no more use.
// Each query asks for one thing only: the protocol cannot tell what follows an answer without items, so a
// group that has no statistics would spoil those after it in the same answer.
class Session {
  public:
    Session(const std::string& host, int port);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    Ids groups();
    Ids ids();
    Ids idsOfGroup(const std::string& group);
    Statistics statisticsOfGroup(const std::string& group);
    Statistics statistic(const std::string& id);

  private:
    void* token_ = nullptr;
};

}  // namespace zolstat

#endif
