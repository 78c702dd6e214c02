/*
 * A client in plain C99: every call of the public interface once, on the Gateway whose port is its argument.
 * It is run by api_c_test.cpp, which tells what the Gateway answers; here each claim that does not hold is
 * printed. What each call promises stands in zolstats.h.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "zolstats/zolstats.h"

static int failures = 0;

#define CHECK(claim)                                                    \
    do {                                                                \
        if (!(claim)) {                                                 \
            fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #claim); \
            ++failures;                                                 \
        }                                                               \
    } while (0)

static int is(const unsigned char* bytes, int32_t length, const char* text) {
    return (size_t)length == strlen(text) && memcmp(bytes, text, (size_t)length) == 0;
}

static void checkTraceControl(void) {
    int level = -1;
    char* version = NULL;
    CHECK(getAPITraceLevel(&level) == ZOLSTATS_OK && level == ZOLSTATS_TRACE_OFF);
    CHECK(getAPITraceLevel(NULL) == ZOLSTATS_NULL_OUTPUT);
    CHECK(setAPITraceLevel(6) == ZOLSTATS_BAD_TRACE_LEVEL);
    CHECK(setAPITraceFile("no such folder/trace") == ZOLSTATS_TRACE_FILE_FAILED);
    CHECK(setAPITraceFile("/dev/null") == ZOLSTATS_OK);
    CHECK(getStatsAPIVersion(&version) == ZOLSTATS_OK && strcmp(version, "1_1_0_1") == 0);
}

static void checkStats(ResultSetToken* set) {
    StatData stat;
    CHECK(getFirstStat(set, &stat) == ZOLSTATS_OK);
    CHECK(memcmp(stat.eyecatcher, "ZOLSTSET", sizeof stat.eyecatcher) == 0);
    CHECK(is(stat.statId, stat.statIdLen, "S1") && is(stat.statData, stat.statDataLen, "11"));
    CHECK(getNextStat(set, &stat) == ZOLSTATS_OK);
    CHECK(is(stat.statId, stat.statIdLen, "S2") && is(stat.statData, stat.statDataLen, "22"));
    CHECK(stat.queryElementLen >= 0 && stat.queryElementRC == 0);
    CHECK(getNextStat(set, &stat) == ZOLSTATS_OK);
    CHECK(getNextStat(set, &stat) == ZOLSTATS_NO_MORE_ITEMS);
    CHECK(getFirstStat(set, NULL) == ZOLSTATS_NULL_STAT_DATA);
}

static void checkIds(ResultSetToken* set, const char* first, const char* second) {
    IdData id;
    CHECK(getFirstId(set, &id) == ZOLSTATS_OK);
    CHECK(memcmp(id.eyecatcher, "ZOLIDSET", sizeof id.eyecatcher) == 0);
    CHECK(is(id.id, id.idLen, first));
    CHECK(getNextId(set, &id) == ZOLSTATS_OK && is(id.id, id.idLen, second));
    CHECK(getFirstId(set, NULL) == ZOLSTATS_NULL_ID_DATA);
}

static void checkQueries(void* token) {
    ResultSetToken* set = NULL;
    ResultSetToken* copy = NULL;
    char* ids = NULL;
    CHECK(getStats(token, &set) == ZOLSTATS_OK);
    checkStats(set);
    CHECK(copyResultSet(set, &copy) == ZOLSTATS_OK);
    CHECK(getStatIds(token, &set) == ZOLSTATS_OK);
    checkIds(set, "S1", "S2");
    CHECK(getResourceGroupIds(token, &set) == ZOLSTATS_OK);
    checkIds(set, "G1", "G2");
    CHECK(getIdQuery(set, &ids) == ZOLSTATS_OK && strcmp(ids, "G1:G2") == 0);
    CHECK(getStatIdsByStatGroupId(token, ids, &set) == ZOLSTATS_OK);
    checkIds(set, "S1", "S2");
    CHECK(getStatsByStatGroupId(token, ids, &set) == ZOLSTATS_OK);
    checkStats(set);
    CHECK(getStatsByStatId(token, "S1:S2:T1", &set) == ZOLSTATS_OK);
    checkStats(set);
    CHECK(freeResultSet(&set) == ZOLSTATS_NOT_A_COPY);
    checkStats(copy);
    CHECK(dumpResultSet(copy) == ZOLSTATS_OK);
    CHECK(freeResultSet(&copy) == ZOLSTATS_OK && copy == NULL);
}

static void checkConnection(int port) {
    void* token = NULL;
    void* closed = NULL;
    char* version = NULL;
    ResultSetToken* set = NULL;
    CHECK(openGatewayConnection(0, &token, &version) == ZOLSTATS_BAD_PORT);
    CHECK(openGatewayConnection(port, &token, &version) == ZOLSTATS_OK && strcmp(version, "1.0") == 0);
    checkQueries(token);
    CHECK(dumpState() == ZOLSTATS_OK);
    closed = token;
    CHECK(closeGatewayConnection(&token) == ZOLSTATS_OK && token == NULL);
    CHECK(getStats(closed, &set) == ZOLSTATS_TOKEN_NOT_FOUND);
    CHECK(openRemoteGatewayConnection("127.0.0.1", port, &token, &version) == ZOLSTATS_OK);
    CHECK(closeAllGatewayConnections() == ZOLSTATS_OK);
}

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: %s PORT\n", argv[0]);
        return 2;
    }
    checkTraceControl();
    checkConnection(atoi(argv[1]));
    return failures == 0 ? 0 : 1;
}
