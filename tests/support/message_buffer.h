// Memory that a request is built in and that the library may replace by the reply's: from malloc(), of the
// exact size, so that a sanitizer sees every step beyond it. What the bytes mean is not known here; the wire
// format is written down in docs/protocol.md.
#ifndef ZOLSTATS_TESTS_MESSAGE_BUFFER_H
#define ZOLSTATS_TESTS_MESSAGE_BUFFER_H

#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

namespace testing_support {

class MessageBuffer {
  public:
    MessageBuffer() = default;
    explicit MessageBuffer(std::string_view bytes) { hold(bytes); }
    ~MessageBuffer() { std::free(data); }
    MessageBuffer(const MessageBuffer&) = delete;
    MessageBuffer& operator=(const MessageBuffer&) = delete;

    void hold(std::string_view bytes) {
        std::free(data);
        data = static_cast<unsigned char*>(std::malloc(bytes.size()));
        std::memcpy(data, bytes.data(), bytes.size());
    }

    [[nodiscard]] std::string bytes(std::size_t count) const {
        return {reinterpret_cast<const char*>(data), data != nullptr ? count : 0};
    }

    unsigned char* data = nullptr;
};

}  // namespace testing_support

#endif
