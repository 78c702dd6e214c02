// A fixture for gateway tokens: real connections to a Gateway that answers what was written beforehand, and
// the list they are in, which every test finds and leaves empty. Works on the library's internals. How the
// list and its lock are used is written down in CONTRIBUTING.md.
#ifndef ZOLSTATS_TESTS_GATEWAY_TOKENS_H
#define ZOLSTATS_TESTS_GATEWAY_TOKENS_H

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "stapi_zol_diag.h"
#include "stapi_zol_gwytok.h"
#include "stapi_zol_impl.h"
#include "support/answering_gateway.h"
#include "support/system_calls.h"
#include "support/trace_capture.h"

namespace testing_support {

inline constexpr char LOCAL_HOST[] = "127.0.0.1";
inline constexpr int DATA_LEVEL = 4;

inline const void* const NOTHING = nullptr;

// An address that is never a token's.
inline GatewayToken* stranger() {
    static GatewayToken token{};
    return &token;
}

// A token that was never connected and has none of its parts.
inline GatewayToken* bareToken(GatewayToken* next = nullptr) {
    auto* token = static_cast<GatewayToken*>(std::calloc(1, sizeof(GatewayToken)));
    std::memcpy(token->eyecatcher, "ZOLGWTOK", 8);
    token->socket = -1;
    token->nextGwyTokPtr = next;
    return token;
}

// Deletes a token as the head of the list.
inline int removeUnfound(GatewayToken* token, int lockRequired = 0) {
    void* handle = token;
    return deleteGatewayToken(&handle, lockRequired);
}

class GatewayTokens : public testing::Test {
  protected:
    GatewayTokens() { stapiInit(); }
    ~GatewayTokens() override {
        SystemCalls::stop();
        while (deleteGatewayTokens() != 1006) {
        }
    }

    GatewayToken* open() {
        void* token = nullptr;
        EXPECT_EQ(createGatewayToken(&token, LOCAL_HOST, gateway.port()), 0);
        return static_cast<GatewayToken*>(token);
    }
    std::vector<GatewayToken*> open(int count) {
        std::vector<GatewayToken*> tokens;
        for (int each = 0; each < count; ++each) {
            tokens.push_back(open());
        }
        return tokens;
    }
    static int remove(GatewayToken* token) {
        void* handle = token;
        return deleteGatewayToken(&handle, 1);
    }
    static std::string described(const GatewayToken* token) {
        std::string text(512, '\0');
        EXPECT_EQ(formatGatewayToken(token, text.data()), 0);
        return text.c_str();
    }
    // A token and all behind it.
    static std::vector<GatewayToken*> chainFrom(GatewayToken* token) {
        std::vector<GatewayToken*> chain;
        for (; token != nullptr; token = token->nextGwyTokPtr) {
            chain.push_back(token);
        }
        return chain;
    }

    AnsweringGateway gateway{openReplies() + closeReply()};
    SystemCalls system;
};

// Does something while a text is written to the trace, for what can be seen at no other time.
class DuringTrace {
  public:
    DuringTrace(int level, std::string text, std::function<void()> action)
        : text_(std::move(text)), action_(std::move(action)), kept_(statAPITraceHandle) {
        cookie_io_functions_t functions{};
        functions.write = [](void* self, const char* bytes, std::size_t size) {
            static_cast<DuringTrace*>(self)->look({bytes, size});
            return static_cast<ssize_t>(size);
        };
        stream_ = ::fopencookie(this, "w", functions);
        statAPITraceHandle = stream_;
        __atomic_store_n(&statAPITrace, level, __ATOMIC_RELAXED);
    }
    ~DuringTrace() {
        __atomic_store_n(&statAPITrace, 0, __ATOMIC_RELAXED);
        statAPITraceHandle = kept_;
        std::fclose(stream_);
    }
    DuringTrace(const DuringTrace&) = delete;
    DuringTrace& operator=(const DuringTrace&) = delete;

  private:
    void look(std::string_view written) {
        if (written.find(text_) != std::string_view::npos) {
            action_();
        }
    }

    std::string text_;
    std::function<void()> action_;
    FILE* kept_;
    FILE* stream_ = nullptr;
};

}  // namespace testing_support

#endif
