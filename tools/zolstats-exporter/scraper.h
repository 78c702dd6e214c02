// One scrape of a Gateway after another: opened when needed, asked group by group, read into records.
// Not the place where scrapes are shared and waited for (worker.h), or where the library's codes are understood
// (gateway_connection.h). The protocol between the library and the Gateway is written down in docs/protocol.md.
#ifndef EXPORTER_SCRAPER_H
#define EXPORTER_SCRAPER_H

#include <optional>
#include <string>
#include <vector>

#include "common/growing_pause.h"
#include "gateway_connection.h"
#include "worker.h"

namespace tools::exporter {

// Used by one thread, save cancel().
class Scraper {
  public:
    Scraper(Endpoint gateway, const Habits& habits)
        : gateway_(gateway),
          connection_(gateway, habits.longestCall),
          pause_(habits.firstPause, habits.longestPause) {}

    // Ends by the deadline, wherever that has moved to meanwhile. After a failure the connection is to be closed, once
    // those who wait have been told: that takes its time.
    Scrape scrape(const Selection& selection, const Deadline& deadline);
    void close() { connection_.close(); }
    void cancel() { connection_.cancel(); }

  private:
    // An attempt to open that has failed, until the next is due.
    struct Setback {
        Failure failure;
        Clock::time_point nextTry;
    };

    void read(Scrape& scrape, const Selection& selection, const Deadline& deadline);
    void readOnce(Scrape& scrape, const Selection& selection, const Deadline& deadline);
    void open(const Deadline& deadline);
    void startPauseAfter(const Failure& failure);
    void refuseWithinPause() const;
    template <typename Query>
    auto ask(Phases& took, Query query);
    std::vector<std::string> listGroups(Phases& took, const Deadline& deadline);
    bool readGroup(Scrape& scrape, const std::string& group, const Deadline& deadline);
    bool readAnswer(Scrape& scrape, const std::string& group, const Deadline& deadline);
    bool isStatistic(Scrape& scrape, const std::string& name, std::size_t first, const Deadline& deadline);

    Endpoint gateway_;
    GatewayConnection connection_;
    GrowingPause pause_;
    std::optional<Setback> setback_{};
    bool hasAnswered_ = false;  // since the last attempt began
};

// A scrape that has found out nothing but why.
Scrape failedScrape(const Endpoint& gateway, Failure failure);

}  // namespace tools::exporter

#endif
