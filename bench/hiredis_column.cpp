// Redis keeps the items in a hash; HGETALL brings them all in one round trip.
#include <hiredis/hiredis.h>

#include <stdexcept>

#include "column.h"

namespace bench {
namespace {

struct Free {
    void operator()(redisContext* context) const { redisFree(context); }
    void operator()(redisReply* reply) const { freeReplyObject(reply); }
};
using Context = std::unique_ptr<redisContext, Free>;
using Reply = std::unique_ptr<redisReply, Free>;

Context connectTo(std::uint16_t port) {
    Context context(redisConnect("127.0.0.1", port));
    if (!context || context->err != 0) {
        throw std::runtime_error(std::string("Redis: ") + (context ? context->errstr : "no memory"));
    }
    return context;
}

Reply checked(redisContext* context, void* reply) {
    Reply owned(static_cast<redisReply*>(reply));
    if (!owned || owned->type == REDIS_REPLY_ERROR) {
        throw std::runtime_error(std::string("Redis: ") + (owned ? owned->str : context->errstr));
    }
    return owned;
}

std::string_view text(const redisReply* reply) {
    return {reply->str, static_cast<std::size_t>(reply->len)};
}

class Hiredis : public ItemColumn<Hiredis> {
  public:
    explicit Hiredis(const Ports& ports) : context_(connectTo(ports.redis)) {}

    void choose(std::size_t count) override { key_ = nameOf(count); }

    template <class Each>
    void forEach(Each each) {
        const Reply reply = checked(context_.get(), redisCommand(context_.get(), "HGETALL %s", key_.c_str()));
        for (std::size_t element = 0; element + 1 < reply->elements; element += 2) {
            each(text(reply->element[element]), text(reply->element[element + 1]));
        }
    }

  private:
    Context context_;
    std::string key_;
};

}  // namespace

std::unique_ptr<Column> connectHiredis(const Ports& ports) {
    return std::make_unique<Hiredis>(ports);
}

void fillRedis(const Ports& ports, std::size_t count) {
    const Context context = connectTo(ports.redis);
    const std::string key = nameOf(count);
    checked(context.get(), redisCommand(context.get(), "DEL %s", key.c_str()));
    for (const Item& item : makeItems(count)) {
        redisAppendCommand(context.get(), "HSET %s %s %s", key.c_str(), item.id.c_str(), item.value.c_str());
    }
    for (std::size_t item = 0; item < count; ++item) {
        void* reply = nullptr;
        redisGetReply(context.get(), &reply);
        checked(context.get(), reply);
    }
}

}  // namespace bench
