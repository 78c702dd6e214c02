// To be loaded before a program: the name "two.test" has two addresses there, 127.0.0.2 and 127.0.0.1, in this order.
// Not a resolver: every other name goes to the real one.
// It knows nothing of the protocol that is written down in docs/protocol.md.
#include <dlfcn.h>
#include <netdb.h>

#include <cstring>

namespace {

using Resolve = int(const char*, const char*, const addrinfo*, addrinfo**);

int resolveBoth(Resolve* real, const char* port, const addrinfo* hints, addrinfo** list) {
    const int code = real("127.0.0.2", port, hints, list);
    return code != 0 ? code : real("127.0.0.1", port, hints, &(*list)->ai_next);
}

}  // namespace

extern "C" int getaddrinfo(const char* name, const char* port, const addrinfo* hints, addrinfo** list) {
    auto* const real = reinterpret_cast<Resolve*>(dlsym(RTLD_NEXT, "getaddrinfo"));
    const bool isOurs = name != nullptr && std::strcmp(name, "two.test") == 0;
    return isOurs ? resolveBoth(real, port, hints, list) : real(name, port, hints, list);
}
