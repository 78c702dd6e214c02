// The headers and bodies of replies, field by field, and the search for values in call data.
// What follows from a changed byte is not told here.
// The layout of the replies is written down in docs/protocol.md.
#include "reply_bytes.h"

#include <algorithm>
#include <stdexcept>
#include <string_view>

namespace faults {
namespace {

constexpr std::size_t HEADER_WITHOUT_NAME = 29;
constexpr std::size_t EXCEPTION_FLAG_AT = 8;  // in an Admin reply's body
constexpr std::size_t VERSION_LENGTH_AT = 6;  // in the payload that answers for the version

// Java objects tell the names of their classes, which nobody reads.
constexpr std::string_view CLASS_NAME = "com.velmor.zol.stats.";

std::size_t bodyAt(const std::string& reply) {
    return wordAt(reply, NAME_LENGTH_AT) + HEADER_WITHOUT_NAME;
}

// The bytes of one reply while their roles are found out, from the first to the last.
class Assigning {
  public:
    explicit Assigning(const std::string& reply) : reply_(reply), bytes_(reply.size()) { assignHeader(); }

    // The next so many bytes have this role.
    void next(std::size_t count, Role role) {
        for (std::size_t end = at_ + count; at_ < end; ++at_) {
            bytes_.at(at_).role = role;
        }
    }
    void rest(Role role) { next(bytes_.size() - at_, role); }

    // Find a text behind what was assigned so far, in one piece or in several with marks between them.
    void find(std::string_view text, Value value) {
        while (!text.empty()) {
            const std::size_t start = reply_.find(text.substr(0, SURE_LENGTH), at_);
            if (start == std::string::npos) {
                throw std::logic_error("a value that is not in its reply");
            }
            next(start - at_, Role::Structure);
            while (!text.empty() && at_ < reply_.size() && reply_[at_] == text.front()) {
                bytes_[at_++] = {Role::Value, value};
                ++value.at;
                text.remove_prefix(1);
            }
        }
    }

    void ignoreClassNames() {
        for (auto start = reply_.find(CLASS_NAME); start != std::string::npos;
             start = reply_.find(CLASS_NAME, start + CLASS_NAME.size())) {
            std::fill_n(bytes_.begin() + static_cast<std::ptrdiff_t>(start), CLASS_NAME.size(),
                        ReplyByte{Role::Ignored});
        }
    }

    [[nodiscard]] const ReplyBytes& bytes() const { return bytes_; }

  private:
    static constexpr std::size_t SURE_LENGTH = 6;  // of a text that is not found by chance

    void assignHeader() {
        next(4, Role::Eyecatcher);
        next(12, Role::Ignored);  // version, type, first status word
        next(4, Role::Refusal);   // the Gateway's return code
        next(4, Role::NameLength);
        next(wordAt(reply_, NAME_LENGTH_AT), Role::Ignored);
        next(1, Role::Ignored);  // flag
        next(4, Role::BodyLength);
    }

    const std::string& reply_;
    ReplyBytes bytes_;
    std::size_t at_ = 0;
};

Assigning adminBytes(const std::string& reply) {
    Assigning assigning(reply);
    assigning.next(4, Role::CallType);
    assigning.next(4, Role::Refusal);  // authorisation code
    assigning.next(1, Role::Refusal);  // exception flag
    return assigning;
}

// The items of the same element of a query share its text.
std::size_t lastOfElement(const std::vector<Item>& items, std::size_t first) {
    std::size_t last = first;
    while (last + 1 < items.size() && items[last + 1].query == items[first].query) {
        ++last;
    }
    return last;
}

}  // namespace

std::uint32_t wordAt(const std::string& reply, std::size_t offset) {
    std::uint32_t value = 0;
    for (std::size_t at = offset; at < offset + 4; ++at) {
        value = value << 8 | static_cast<std::uint8_t>(reply.at(at));
    }
    return value;
}

std::size_t bodyLengthAt(const std::string& reply) {
    return bodyAt(reply) - 4;
}

ReplyBytes handshakeOrCloseBytes(const std::string& reply) {
    Assigning assigning(reply);
    assigning.rest(Role::Ignored);
    return assigning.bytes();
}

// The code counts only where the echoed step is 0.
ReplyBytes authorisationBytes(const std::string& reply) {
    Assigning assigning(reply);
    const bool codeCounts = wordAt(reply, bodyAt(reply)) == 0;
    assigning.next(4, Role::Ignored);
    assigning.next(4, codeCounts ? Role::Refusal : Role::Ignored);
    assigning.rest(Role::Ignored);
    return assigning.bytes();
}

// With another call type the reply is taken for one with a payload, whose exception flag is the first byte of
// the administration's id here.
ReplyBytes initialisationBytes(const std::string& reply) {
    Assigning assigning(reply);
    const bool flagged = reply.at(bodyAt(reply) + EXCEPTION_FLAG_AT) != 0;
    assigning.next(4, flagged ? Role::Refusal : Role::Ignored);
    assigning.next(4, Role::Refusal);  // authorisation code
    assigning.rest(Role::Ignored);
    return assigning.bytes();
}

ReplyBytes versionBytes(const std::string& reply, const std::string& version) {
    Assigning assigning = adminBytes(reply);
    assigning.next(VERSION_LENGTH_AT, Role::Ignored);
    assigning.find(version, {});
    return assigning.bytes();
}

ReplyBytes queryBytes(const std::string& reply, const std::vector<Item>& items) {
    Assigning assigning = adminBytes(reply);
    std::size_t behindElement = 0;
    for (std::size_t index = 0; index < items.size(); ++index) {
        if (index == behindElement) {
            const std::size_t last = lastOfElement(items, index);
            assigning.find(items[index].query, {index, last, &Item::query});
            behindElement = last + 1;
        }
        assigning.find(items[index].id, {index, index, &Item::id});
        assigning.find(items[index].data, {index, index, &Item::data});
    }
    assigning.rest(Role::Structure);
    assigning.ignoreClassNames();
    return assigning.bytes();
}

}  // namespace faults
