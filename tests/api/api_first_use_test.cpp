// The first call that an application makes, whichever it is. Each test runs in a process in which the library
// was not used before. What a first call does is told at the head of zolstats.h.
#include <cstdlib>

#include "client.h"
#include "trace_file.h"

namespace {

using namespace api;
using testing::ExitedWithCode;
using testing::ValuesIn;

[[noreturn]] void endWith(bool holds) {
    std::_Exit(holds ? 0 : 1);
}

bool isTracingOff() {
    int level = -1;
    return getAPITraceLevel(&level) == 0 && level == 0;
}

// A first call with arguments that are as wrong as can be, and its code.
struct FirstCall {
    const char* name;
    int rc;
    int (*call)();

    friend void PrintTo(const FirstCall& first, std::ostream* out) { *out << first.name; }
};

const FirstCall FIRST_CALLS[] = {
    {"GetAPITraceLevel", -109, [] { return getAPITraceLevel(nullptr); }},
    {"SetAPITraceLevel", -104, [] { return setAPITraceLevel(6); }},
    {"SetAPITraceLevelTo0", 0, [] { return setAPITraceLevel(0); }},
    {"SetAPITraceFile", -130, [] { return setAPITraceFile(""); }},
    {"SetAPITraceFileToStandardError", 0, [] { return setAPITraceFile(nullptr); }},
    {"GetStatsAPIVersion", -109, [] { return getStatsAPIVersion(nullptr); }},
    {"DumpState", 0, [] { return dumpState(); }},
    {"OpenGatewayConnection", -107, [] { return openGatewayConnection(0, nullptr, nullptr); }},
    {"OpenRemoteGatewayConnection", -108,
     [] { return openRemoteGatewayConnection(nullptr, 1, nullptr, nullptr); }},
    {"CloseGatewayConnection", -108, [] { return closeGatewayConnection(nullptr); }},
    {"CloseGatewayConnectionOfANullToken", -100,
     [] {
         void* none = nullptr;
         return closeGatewayConnection(&none);
     }},
    {"CloseAllGatewayConnections", 0, [] { return closeAllGatewayConnections(); }},
    {"GetStats", -100, [] { return getStats(nullptr, nullptr); }},
    {"GetStatsOfNoToken", -101,
     [] {
         ResultSetToken* set = nullptr;
         return getStats(&set, &set);
     }},
    {"GetStatIds", -100, [] { return getStatIds(nullptr, nullptr); }},
    {"GetResourceGroupIds", -100, [] { return getResourceGroupIds(nullptr, nullptr); }},
    {"GetStatsByStatGroupId", -100, [] { return getStatsByStatGroupId(nullptr, nullptr, nullptr); }},
    {"GetStatsByStatId", -100, [] { return getStatsByStatId(nullptr, nullptr, nullptr); }},
    {"GetStatIdsByStatGroupId", -100, [] { return getStatIdsByStatGroupId(nullptr, nullptr, nullptr); }},
    {"GetFirstStat", -127, [] { return getFirstStat(nullptr, nullptr); }},
    {"GetNextStat", -127, [] { return getNextStat(nullptr, nullptr); }},
    {"GetFirstId", -127, [] { return getFirstId(nullptr, nullptr); }},
    {"GetNextId", -127, [] { return getNextId(nullptr, nullptr); }},
    {"CopyResultSet", -127, [] { return copyResultSet(nullptr, nullptr); }},
    {"FreeResultSet", -125, [] { return freeResultSet(nullptr); }},
    {"DumpResultSet", -127, [] { return dumpResultSet(nullptr); }},
    {"GetIdQuery", -127, [] { return getIdQuery(nullptr, nullptr); }},
};

class FreshProcess : public testing::Test {
  protected:
    FreshProcess() { testing::FLAGS_gtest_death_test_style = "threadsafe"; }
};

class FirstUse : public FreshProcess, public testing::WithParamInterface<FirstCall> {};

INSTANTIATE_TEST_SUITE_P(By, FirstUse, ValuesIn(FIRST_CALLS),
                         [](const auto& instance) { return instance.param.name; });

TEST_P(FirstUse, MakesTheLibraryReadyAndGivesTheCallsOwnCode) {
    EXPECT_EXIT(
        {
            const StandardErrorCapture quiet;
            endWith(GetParam().call() == GetParam().rc && isTracingOff());
        },
        ExitedWithCode(0), "");
}

TEST_F(FreshProcess, WritesNothingToStandardErrorWhenTheFirstCallFails) {
    EXPECT_EXIT(endWith(getAPITraceLevel(nullptr) == -109), ExitedWithCode(0), "^$");
}

TEST_F(FreshProcess, TracesToStandardErrorButNothingYet) {
    EXPECT_EXIT(
        {
            const StandardErrorCapture standardError;
            dumpState();
            endWith(standardError.text().find("Trace Level=0 statAPITraceFile=stderr\n") !=
                    std::string::npos);
        },
        ExitedWithCode(0), "");
}

}  // namespace
