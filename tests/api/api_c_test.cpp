// The public interface used from C: a program in C99 that knows nothing of C++ runs against a Gateway and
// leaves its claims fulfilled. The claims themselves stand in c_client.c. What each call promises stands in
// zolstats.h.
#include <spawn.h>
#include <sys/wait.h>

#include <string>

#include "client.h"

namespace {

using namespace api;

// Run a program with one argument and its own error output; gives its exit code.
int run(const char* path, std::string argument) {
    std::string name(path);
    char* const arguments[] = {name.data(), argument.data(), nullptr};
    pid_t child = 0;
    EXPECT_EQ(::posix_spawn(&child, path, nullptr, nullptr, arguments, ::environ), 0);
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128;
}

TEST(AProgramInC, GetsWhatItIsPromised) {
    ScriptedGateway gateway;
    EXPECT_EQ(run(C_CLIENT, std::to_string(gateway.port())), 0);
    gateway.server().waitForConnections(0);
    EXPECT_THAT(gateway.queries(),
                testing::ElementsAre("GET_STATS()", "STAT_IDS()", "RESOURCE_GROUPS()", "STAT_IDS(G1:G2)",
                                     "GET_STATS(G1:G2)", "GET_STATS(S1:S2:T1)"));
}

}  // namespace
