#include "loaded_library.h"

#include <dlfcn.h>

#include <stdexcept>

namespace bench {
namespace {

void* load(const std::string& file) {
    void* library = ::dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        throw std::runtime_error(::dlerror());
    }
    return library;
}

template <class Call>
Call* find(void* library, const char* name) {
    void* call = ::dlsym(library, name);
    if (call == nullptr) {
        throw std::runtime_error(std::string("the library has no ") + name);
    }
    return reinterpret_cast<Call*>(call);
}

void check(int rc, const char* what) {
    if (rc != ZOLSTATS_OK) {
        throw std::runtime_error(std::string(what) + " gave " + std::to_string(rc));
    }
}

}  // namespace

LoadedLibrary::LoadedLibrary(const std::string& file) : library_(load(file)) {
    getFirstStat = find<decltype(::getFirstStat)>(library_, "getFirstStat");
    getNextStat = find<decltype(::getNextStat)>(library_, "getNextStat");
}

ResultSetToken* LoadedLibrary::query(std::uint16_t port, const std::string& group) const {
    void* connection = nullptr;
    char* version = nullptr;
    ResultSetToken* set = nullptr;
    check(find<decltype(::openGatewayConnection)>(library_, "openGatewayConnection")(port, &connection,
                                                                                     &version),
          "opening");
    check(find<decltype(::getStatsByStatGroupId)>(library_, "getStatsByStatGroupId")(connection,
                                                                                     group.c_str(), &set),
          "a query");
    return set;
}

}  // namespace bench
