// Call data: the answer to a query, as a series of Java object streams.
// Not a serialiser of Java objects in general: it writes the three classes below, byte for byte as java.io
// would. The layout is written down in docs/protocol.md.
#include <algorithm>
#include <utility>

#include "bytes.h"
#include "wire.h"

namespace gateway {
namespace {

// Tokens of a Java object stream.
constexpr std::string_view STREAM_MAGIC("\xAC\xED\x00\x05", 4);
constexpr std::uint8_t TC_NULL = 0x70;
constexpr std::uint8_t TC_REFERENCE = 0x71;
constexpr std::uint8_t TC_CLASSDESC = 0x72;
constexpr std::uint8_t TC_OBJECT = 0x73;
constexpr std::uint8_t TC_BLOCKDATA = 0x77;
constexpr std::uint8_t TC_ENDBLOCKDATA = 0x78;
constexpr std::uint8_t TC_BLOCKDATALONG = 0x7A;
constexpr std::uint8_t EXTERNALIZABLE_IN_BLOCKS = 0x0C;
constexpr std::uint16_t NO_FIELDS = 0;

constexpr std::size_t MAX_BLOCK_LENGTH = 1024;
constexpr std::size_t MAX_SHORT_BLOCK_LENGTH = 0xFF;

// Handles count from 0x7E0000. Before the first statistic's class come the response's class, its superclass
// and the response itself.
constexpr std::uint32_t STATISTIC_CLASS_HANDLE = 0x7E0003;

constexpr std::uint8_t ONE_RESPONSE = 0;
constexpr std::uint8_t COUNTED_RESPONSES = 1;

struct JavaClass {
    std::string_view name;
    std::uint64_t serialVersionUid;
};
constexpr JavaClass RESPONSE{"com.velmor.zol.stats.Response", 0x5A4F4C0000000001};
constexpr JavaClass STATS_RESPONSE{"com.velmor.zol.stats.StatsResponse", 0x5A4F4C0000000002};
constexpr JavaClass IDS_RESPONSE{"com.velmor.zol.stats.IdsResponse", 0x5A4F4C0000000003};
constexpr JavaClass STATISTIC{"com.velmor.zol.stats.Statistic", 0x5A4F4C0000000004};

// A class descriptor without what follows it: the superclass, or TC_NULL.
void writeClass(Writer& out, const JavaClass& type) {
    out.byte(TC_CLASSDESC).text(type.name).integer(type.serialVersionUid);
    out.byte(EXTERNALIZABLE_IN_BLOCKS).half(NO_FIELDS).byte(TC_ENDBLOCKDATA);
}

void writeBlock(Writer& out, std::string_view content) {
    if (content.size() <= MAX_SHORT_BLOCK_LENGTH) {
        out.byte(TC_BLOCKDATA).byte(static_cast<std::uint8_t>(content.size()));
    } else {
        out.byte(TC_BLOCKDATALONG).word(static_cast<std::uint32_t>(content.size()));
    }
    out.raw(content);
}

// Java cuts at exactly the block's length, in the middle of a field too.
void writeBlocks(Writer& out, std::string_view content) {
    while (!content.empty()) {
        writeBlock(out, content.substr(0, MAX_BLOCK_LENGTH));
        content.remove_prefix(std::min(content.size(), MAX_BLOCK_LENGTH));
    }
}

void beginResponse(Writer& out, const JavaClass& type) {
    out.raw(STREAM_MAGIC).byte(TC_OBJECT);
    writeClass(out, type);
    writeClass(out, RESPONSE);
    out.byte(TC_NULL);
}

// What every response begins with; the items are counted only where the query was accepted.
Writer responseHead(std::string_view query, std::int32_t code, std::size_t itemCount) {
    Writer head;
    head.text(query).word(code);
    if (code >= 0) {
        head.word(static_cast<std::uint32_t>(itemCount));
    }
    return head;
}

void writeStatistic(Writer& out, const Statistic& statistic, bool first) {
    out.byte(TC_OBJECT);
    if (first) {
        writeClass(out, STATISTIC);
        out.byte(TC_NULL);
    } else {
        out.byte(TC_REFERENCE).word(STATISTIC_CLASS_HANDLE);
    }
    writeBlocks(out, Writer().text(statistic.id).text(statistic.data).bytes());
    out.byte(TC_ENDBLOCKDATA);
}

// A reader of these objects walks at fixed offsets: it takes the head of a response for one block, however
// long.
void writeResponse(Writer& out, const StatsResponse& response) {
    beginResponse(out, STATS_RESPONSE);
    writeBlock(out, responseHead(response.query, response.code, response.statistics.size()).bytes());
    if (response.code >= 0) {
        bool first = true;
        for (const Statistic& statistic : response.statistics) {
            writeStatistic(out, statistic, std::exchange(first, false));
        }
    }
    out.byte(TC_ENDBLOCKDATA);
}

// The ids stand in the same block as the head, however long that gets: the reader looks for no block between
// them.
void writeResponse(Writer& out, const IdsResponse& response) {
    beginResponse(out, IDS_RESPONSE);
    Writer content = responseHead(response.query, response.code, response.ids.size());
    if (response.code >= 0) {
        for (const std::string& id : response.ids) {
            content.text(id);
        }
    }
    writeBlock(out, content.bytes());
    out.byte(TC_ENDBLOCKDATA);
}

// A lone response goes out uncounted, whether or not the query had a list; none or several are counted.
template <class Response>
std::string encode(const std::vector<Response>& responses) {
    Writer out;
    if (responses.size() == 1) {
        out.byte(ONE_RESPONSE);
    } else {
        out.byte(COUNTED_RESPONSES).word(static_cast<std::uint32_t>(responses.size()));
    }
    for (const Response& response : responses) {
        writeResponse(out, response);
    }
    return out.take();
}

}  // namespace

std::string encodeStats(const std::vector<StatsResponse>& responses) {
    return encode(responses);
}

std::string encodeIds(const std::vector<IdsResponse>& responses) {
    return encode(responses);
}

}  // namespace gateway
