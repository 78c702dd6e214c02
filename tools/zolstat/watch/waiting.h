// Waiting for several things at once: keys, signals, deliveries, a moment.
// Not the place where anything of these is taken.
// The protocol that the statistics come by is written down in docs/protocol.md.
#ifndef ZOLSTAT_WATCH_WAITING_H
#define ZOLSTAT_WATCH_WAITING_H

#include <initializer_list>

#include "trend.h"

namespace tools::zolstat::watch {

// Until one of the descriptors is readable, `left` has lost who was at its other end, or the moment has come.
// Tells whether that one was left; -1 is none.
bool waitAndSeeIfLeft(std::initializer_list<int> readable, int left, Moment moment);

// Until something can be written there without waiting, or its other end is lost, or `readable` is readable.
void waitUntilWritable(int descriptor, int readable);

}  // namespace tools::zolstat::watch

#endif
