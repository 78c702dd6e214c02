// Result sets put together by hand: the bytes of a buffer, and a token that points at them. No Gateway and no
// parser has a part in it, so that a test of the walk fails for the walk's mistakes only. The layout of a
// buffer is told in stapi_zol_resultsetbuffer.h.
#ifndef ZOLSTATS_TESTS_HAND_MADE_SET_H
#define ZOLSTATS_TESTS_HAND_MADE_SET_H

#include <pthread.h>
#include <unistd.h>

#include <cstdint>
#include <string_view>
#include <vector>

#include "stapi_zol_resultsetbuffer.h"
#include "support/bytes.h"

namespace testing_support {

// Items of the two kinds of set.
inline Bytes idItem(std::string_view id) {
    return counted(id);
}
inline Bytes statItem(std::string_view id, std::string_view data) {
    return counted(id) + counted(data);
}

inline Bytes joined(const std::vector<Bytes>& parts) {
    Bytes all;
    for (const Bytes& part : parts) {
        all += part;
    }
    return all;
}

// An element that the Gateway answered, and one that it rejected, which has no items.
inline Bytes answered(std::string_view query, std::int32_t code, const std::vector<Bytes>& items) {
    return counted(query) + integer(code) + integer(static_cast<std::int32_t>(items.size())) + joined(items);
}
inline Bytes rejected(std::string_view query, std::int32_t code) {
    return counted(query) + integer(code);
}

inline Bytes resultSet(std::string_view eyecatcher, const std::vector<Bytes>& elements) {
    return Bytes(eyecatcher) + integer(static_cast<std::int32_t>(elements.size())) + joined(elements) +
           TERMINATOR;
}
inline Bytes statsSet(const std::vector<Bytes>& elements) {
    return resultSet("ZOLSTSET", elements);
}
inline Bytes idsSet(const std::vector<Bytes>& elements) {
    return resultSet("ZOLIDSET", elements);
}

// A token and its buffer, which ends exactly with the bytes given: a read beyond them is a read out of
// bounds.
class HandMadeSet {
  public:
    explicit HandMadeSet(std::string_view bytes) : buffer_(bytes.begin(), bytes.end()), idQuery_(32000) {
        std::memcpy(token_.eyecatcher, "ZOLRSUSR", sizeof token_.eyecatcher);
        token_.owner = 0x9999;
        token_.verifiedQueryString = idQuery_.data();
        token_.head = buffer_.data();
        token_.next = buffer_.data();
        token_.resultSetBufferLen = static_cast<std::int32_t>(buffer_.size());
    }
    HandMadeSet(const HandMadeSet&) = delete;
    HandMadeSet& operator=(const HandMadeSet&) = delete;

    ResultSetToken* token() { return &token_; }
    ResultSetToken* operator->() { return &token_; }

    // Where a position of the buffer is in memory.
    unsigned char* at(std::size_t offset) { return buffer_.data() + offset; }

    // Make it look like the set of a connection that was opened here.
    void belongToAConnection() {
        std::memcpy(token_.eyecatcher, "ZOLRSROB", sizeof token_.eyecatcher);
        token_.owner = 0x8888;
        token_.owningPid = static_cast<std::uint32_t>(::getpid());
        token_.owningTid = ::pthread_self();
    }

  private:
    std::vector<unsigned char> buffer_;
    std::vector<char> idQuery_;
    ResultSetToken token_{};
};

}  // namespace testing_support

#endif
