// Requests as a client writes them, byte for byte.
// Written apart from both the library and the stand-in Gateway, so that a mistake in either shows.
// The protocol is written down in docs/protocol.md.
#ifndef ZOLSTATS_TESTS_GATEWAY_REQUESTS_H
#define ZOLSTATS_TESTS_GATEWAY_REQUESTS_H

#include <string>

#include "support/bytes.h"

namespace requests {

using testing_support::Bytes;
using testing_support::Header;
using testing_support::hex;
using testing_support::item;
using testing_support::message;
using testing_support::shortWord;
using testing_support::word;

inline const Bytes HANDSHAKE_BODY = hex("0002 656E 0002 4742 0000 0000 0000 0000 0000");
inline const Bytes HANDSHAKE = message({"BASE", 5}, HANDSHAKE_BODY);
inline const Bytes CLOSE = message({"BASE", 10, 0, -1}, "");
inline const Bytes ASK_FOR_WORDS = message({"Auth"}, word(0));
inline const Bytes INITIALISE = message({"Admin"}, word(0));

inline const Bytes BEAN = "DefaultDomain:ProdId=com.velmor.zol,Activity=Control,type=Stats";

// The three words come as they stood in the reply.
inline Bytes handBack(const Bytes& words) {
    return message({"Auth"}, word(1) + words + word(0));
}

inline Bytes adminBody(int callType, const Bytes& adminId, const Bytes& call) {
    return word(callType) + adminId + word(static_cast<std::uint32_t>(call.size())) + call;
}

inline Bytes attributeCall(const Bytes& attribute, const Bytes& bean = BEAN) {
    return item("US") + item("en") + item("") + item(bean) + item(attribute);
}

inline Bytes invocation(const Bytes& action, const Bytes& argument, const Bytes& bean = BEAN,
                        const Bytes& signature = "java.lang.String") {
    return item("US") + item("en") + item("") + item(bean) + item(action) + word(1) + hex("ACED000574") +
           item(argument) + word(1) + item(signature);
}

inline Bytes getAttribute(const Bytes& adminId, const Bytes& attribute, const Bytes& bean = BEAN) {
    return message({"Admin"}, adminBody(1, adminId, attributeCall(attribute, bean)));
}

inline Bytes invoke(const Bytes& adminId, const Bytes& action, const Bytes& argument) {
    return message({"Admin"}, adminBody(5, adminId, invocation(action, argument)));
}

}  // namespace requests

#endif
