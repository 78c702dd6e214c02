// The library, as an application uses it: the public calls in C.
#include <zolstats/zolstats.h>

#include <stdexcept>

#include "column.h"

namespace bench {
namespace {

void check(int rc, const char* call) {
    if (rc != ZOLSTATS_OK) {
        throw std::runtime_error(std::string(call) + " gave " + std::to_string(rc));
    }
}

std::string_view text(const unsigned char* bytes, std::int32_t length) {
    return {reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length)};
}

class Zolstats : public ItemColumn<Zolstats> {
  public:
    explicit Zolstats(const Ports& ports) {
        char* version = nullptr;
        check(openGatewayConnection(ports.gateway, &connection_, &version), "openGatewayConnection");
    }
    ~Zolstats() override { closeGatewayConnection(&connection_); }

    void choose(std::size_t count) override { group_ = nameOf(count); }

    template <class Each>
    void forEach(Each each) {
        ResultSetToken* set = nullptr;
        check(getStatsByStatGroupId(connection_, group_.c_str(), &set), "getStatsByStatGroupId");
        StatData item{};
        int rc = getFirstStat(set, &item);
        for (; rc == ZOLSTATS_OK; rc = getNextStat(set, &item)) {
            each(text(item.statId, item.statIdLen), text(item.statData, item.statDataLen));
        }
        if (rc != ZOLSTATS_NO_MORE_ITEMS) {
            check(rc, "getNextStat");
        }
    }

  private:
    void* connection_ = nullptr;
    std::string group_;
};

}  // namespace

std::unique_ptr<Column> connectZolstats(const Ports& ports) {
    return std::make_unique<Zolstats>(ports);
}

}  // namespace bench
