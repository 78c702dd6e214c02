/* Prints every statistic of the Gateway on this machine; the port is the first argument.
 * Not a tool: see zolstat for one that sorts by group and explains what went wrong.
 * The protocol between the library and the Gateway is written down in docs/protocol.md. */
#include <stdio.h>
#include <stdlib.h>
#include <zolstats/zolstats.h>

int main(int argc, char** argv) {
    void* gateway = NULL;
    char* version = NULL;
    ResultSetToken* answer = NULL;
    StatData stat;
    int rc = openGatewayConnection(argc > 1 ? atoi(argv[1]) : 27400, &gateway, &version);
    if (rc == ZOLSTATS_OK)
        rc = getStats(gateway, &answer);
    if (rc == ZOLSTATS_OK)
        rc = getFirstStat(answer, &stat);
    for (; rc == ZOLSTATS_OK; rc = getNextStat(answer, &stat))
        if (stat.queryElementRC >= 0)
            printf("%.*s = %.*s\n", (int)stat.statIdLen, (const char*)stat.statId, (int)stat.statDataLen,
                   (const char*)stat.statData);
    closeGatewayConnection(&gateway);
    if (rc == ZOLSTATS_NO_MORE_ITEMS)
        return EXIT_SUCCESS;
    fprintf(stderr, "reading the statistics failed with code %d\n", rc);
    return EXIT_FAILURE;
}
