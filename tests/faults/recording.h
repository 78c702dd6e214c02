// A healthy session with a small Gateway, recorded: what was said, what came of it, what each byte was for.
// The stand-in Gateway says it once; playing it back is replaying_peer.h's business.
// The messages are written down in docs/protocol.md.
#ifndef ZOLSTATS_TESTS_RECORDING_H
#define ZOLSTATS_TESTS_RECORDING_H

#include <cstddef>

#include "replaying_peer.h"
#include "reply_bytes.h"
#include "session.h"

namespace faults {

struct Recording {
    Outcome outcome;
    Conversation conversation;
};

Recording recordSession();

// The bytes of the reply in one of its exchanges.
ReplyBytes bytesOf(const Recording& recording, std::size_t exchange);

}  // namespace faults

#endif
