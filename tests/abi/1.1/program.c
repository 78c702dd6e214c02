/* A program of the time of version 1.1: makes every call, and looks at all that it gets back, against a Gateway on the
 * port that is the first argument. The trace goes to the file that is the second.
 * Not to be brought up to date: it is compiled with the header of its time and must run with the library of today.
 * The protocol between the library and the Gateway is written down in docs/protocol.md. */
#include <ctype.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <zolstats/zolstats.h>

#define EXPECT(condition)                                                   \
    do {                                                                    \
        if (!(condition)) {                                                 \
            fprintf(stderr, "line %d: not so: %s\n", __LINE__, #condition); \
            exit(EXIT_FAILURE);                                             \
        }                                                                   \
    } while (0)

static int is_text(const unsigned char* bytes, int32_t length, const char* text) {
    return length == (int32_t)strlen(text) && memcmp(bytes, text, strlen(text)) == 0;
}

static int is_number(const unsigned char* bytes, int32_t length) {
    int32_t i;
    for (i = 0; i < length; ++i)
        if (!isdigit(bytes[i]))
            return 0;
    return length > 0;
}

static void trace_to(const char* file) {
    int level = -1;
    EXPECT(setAPITraceFile(file) == ZOLSTATS_OK);
    EXPECT(setAPITraceLevel(6) == ZOLSTATS_BAD_TRACE_LEVEL);
    EXPECT(setAPITraceLevel(ZOLSTATS_TRACE_EXCEPTIONS) == ZOLSTATS_OK);
    EXPECT(getAPITraceLevel(&level) == ZOLSTATS_OK && level == ZOLSTATS_TRACE_EXCEPTIONS);
}

static void tell_version(void) {
    char* version = NULL;
    EXPECT(getStatsAPIVersion(NULL) == ZOLSTATS_NULL_OUTPUT);
    EXPECT(getStatsAPIVersion(&version) == ZOLSTATS_OK && version[0] == '1');
}

static void limit_the_wait(void) {
    int milliseconds = -1;
    EXPECT(setAPITimeout(ZOLSTATS_MAX_TIMEOUT + 1) == ZOLSTATS_BAD_TIMEOUT);
    EXPECT(setAPITimeout(30000) == ZOLSTATS_OK);
    EXPECT(getAPITimeout(&milliseconds) == ZOLSTATS_OK && milliseconds == 30000);
}

static void* connection_to(int port) {
    void* gateway = NULL;
    char* protocol = NULL;
    EXPECT(openGatewayConnection(0, &gateway, &protocol) == ZOLSTATS_BAD_PORT);
    EXPECT(openGatewayConnection(port, &gateway, &protocol) == ZOLSTATS_OK);
    EXPECT(gateway != NULL && strcmp(protocol, "1.0") == 0);
    return gateway;
}

static void expect_stat(const StatData* stat, const char* query) {
    EXPECT(memcmp(stat->eyecatcher, "ZOLSTSET", 8) == 0);
    EXPECT(is_text(stat->queryElementPtr, stat->queryElementLen, query));
    EXPECT(stat->queryElementRC == 0);
    EXPECT(is_text(stat->statId, stat->statIdLen, "CPU_COUNT"));
    EXPECT(is_number(stat->statData, stat->statDataLen));
}

static void expect_id(const IdData* id, const char* query, const char* text) {
    EXPECT(memcmp(id->eyecatcher, "ZOLIDSET", 8) == 0);
    EXPECT(is_text(id->queryElementPtr, id->queryElementLen, query));
    EXPECT(id->queryElementRC == 0);
    EXPECT(is_text(id->id, id->idLen, text));
}

/* Whoever walks a set reads record after record into the one it has, so a longer record would show behind it. */
static void walk_stats(ResultSetToken* set, const char* query) {
    struct {
        StatData stat;
        char behind[32];
    } walk;
    int rc;
    memset(&walk, 'x', sizeof walk);
    EXPECT(getFirstStat(set, &walk.stat) == ZOLSTATS_OK);
    expect_stat(&walk.stat, query);
    while ((rc = getNextStat(set, &walk.stat)) == ZOLSTATS_OK)
        EXPECT(walk.stat.queryElementRC == 0 && walk.stat.statIdLen > 0 && walk.stat.statDataLen > 0);
    EXPECT(rc == ZOLSTATS_NO_MORE_ITEMS);
    EXPECT(walk.behind[0] == 'x' && memcmp(walk.behind, walk.behind + 1, sizeof walk.behind - 1) == 0);
}

static void walk_ids(ResultSetToken* set, const char* query, const char* first) {
    struct {
        IdData id;
        char behind[32];
    } walk;
    int rc;
    memset(&walk, 'x', sizeof walk);
    EXPECT(getFirstId(set, &walk.id) == ZOLSTATS_OK);
    expect_id(&walk.id, query, first);
    while ((rc = getNextId(set, &walk.id)) == ZOLSTATS_OK)
        EXPECT(walk.id.queryElementRC == 0 && walk.id.idLen > 0);
    EXPECT(rc == ZOLSTATS_NO_MORE_ITEMS);
    EXPECT(walk.behind[0] == 'x' && memcmp(walk.behind, walk.behind + 1, sizeof walk.behind - 1) == 0);
}

static void ask_for_stats(void* gateway) {
    ResultSetToken* set = NULL;
    EXPECT(getStats(gateway, &set) == ZOLSTATS_OK);
    walk_stats(set, "");
    EXPECT(getStatsByStatGroupId(gateway, "CPU", &set) == ZOLSTATS_OK);
    walk_stats(set, "CPU");
    EXPECT(getStatsByStatId(gateway, "CPU_COUNT", &set) == ZOLSTATS_OK);
    walk_stats(set, "CPU_COUNT");
}

static void ask_for_ids(void* gateway) {
    ResultSetToken* set = NULL;
    char* query = NULL;
    EXPECT(getStatIds(gateway, &set) == ZOLSTATS_OK);
    walk_ids(set, "", "CPU_COUNT");
    EXPECT(getStatIdsByStatGroupId(gateway, "CPU", &set) == ZOLSTATS_OK);
    walk_ids(set, "CPU", "CPU_COUNT");
    EXPECT(getResourceGroupIds(gateway, &set) == ZOLSTATS_OK);
    walk_ids(set, "", "CPU");
    EXPECT(getIdQuery(set, &query) == ZOLSTATS_OK && strncmp(query, "CPU:", 4) == 0);
}

static void use_a_copy(void* gateway) {
    ResultSetToken* set = NULL;
    ResultSetToken* copy = NULL;
    EXPECT(getStatsByStatId(gateway, "CPU_COUNT", &set) == ZOLSTATS_OK);
    EXPECT(copyResultSet(set, &copy) == ZOLSTATS_OK && copy != set);
    EXPECT(freeResultSet(&set) == ZOLSTATS_NOT_A_COPY);
    walk_stats(copy, "CPU_COUNT");
    EXPECT(dumpResultSet(copy) == ZOLSTATS_OK);
    EXPECT(freeResultSet(&copy) == ZOLSTATS_OK && copy == NULL);
}

static void close_all(void* gateway, int port) {
    void* other = NULL;
    char* protocol = NULL;
    EXPECT(openRemoteGatewayConnection("127.0.0.1", port, &other, &protocol) == ZOLSTATS_OK);
    EXPECT(closeGatewayConnection(&gateway) == ZOLSTATS_OK && gateway == NULL);
    EXPECT(closeAllGatewayConnections() == ZOLSTATS_OK);
    EXPECT(closeGatewayConnection(&other) == ZOLSTATS_TOKEN_NOT_FOUND);
}

int main(int argc, char** argv) {
    void* gateway;
    int port;
    EXPECT(argc == 3);
    port = atoi(argv[1]);
    trace_to(argv[2]);
    tell_version();
    limit_the_wait();
    gateway = connection_to(port);
    ask_for_stats(gateway);
    ask_for_ids(gateway);
    use_a_copy(gateway);
    EXPECT(dumpState() == ZOLSTATS_OK);
    close_all(gateway, port);
    puts("as before");
    return EXIT_SUCCESS;
}
