// Passwords held against bcrypt hashes by libcrypt, and remembered by a digest under a key of this process.
// Not a session: each request brings its password.
// Nothing here comes from the protocol of the Gateways.
#include "passwords.h"

#include <crypt.h>
#include <gnutls/crypto.h>
#include <gnutls/gnutls.h>

#include <algorithm>
#include <memory>
#include <regex>
#include <stdexcept>

#include "caseless.h"

namespace tools::exporter::http {
namespace {

void require(int gnutlsCode) {
    if (gnutlsCode < 0) {
        throw std::runtime_error(gnutls_strerror(gnutlsCode));
    }
}

// Takes the same time wherever they differ.
bool isSame(std::string_view one, std::string_view other) {
    return one.size() == other.size() && gnutls_memcmp(one.data(), other.data(), one.size()) == 0;
}

bool isHashOf(const std::string& password, const std::string& hash) {
    const auto space = std::make_unique<crypt_data>();  // too large for the stack of a connection
    const char* found = crypt_r(password.c_str(), hash.c_str(), space.get());
    return found != nullptr && isSame(found, hash);
}

std::optional<std::string> decoded(std::string_view base64) {
    // GnuTLS does not write to its input.
    const gnutls_datum_t text{reinterpret_cast<unsigned char*>(const_cast<char*>(base64.data())),
                              static_cast<unsigned>(base64.size())};
    gnutls_datum_t bytes{};
    if (base64.empty() || gnutls_base64_decode2(&text, &bytes) < 0) {
        return {};
    }
    const std::unique_ptr<unsigned char, decltype(gnutls_free)> owner(bytes.data, gnutls_free);
    return std::string(bytes.data, bytes.data + bytes.size);
}

}  // namespace

bool isBcrypt(const std::string& hash) {
    static const std::regex form(R"(\$2[aby]\$(0[4-9]|1[0-6])\$[./A-Za-z0-9]{53})");
    return std::regex_match(hash, form);
}

std::optional<Credentials> parseBasic(std::string_view authorization) {
    constexpr std::string_view SCHEME = "Basic ";
    if (!isSameName(authorization.substr(0, SCHEME.size()), SCHEME)) {
        return {};
    }
    authorization.remove_prefix(
        std::min(authorization.find_first_not_of(' ', SCHEME.size()), authorization.size()));
    const auto text = decoded(authorization);
    const auto colon = text ? text->find(':') : std::string::npos;
    // libcrypt would take what stands before a NUL for the whole password.
    if (colon == std::string::npos || text->find('\0') != std::string::npos) {
        return {};
    }
    return Credentials{text->substr(0, colon), text->substr(colon + 1)};
}

Passwords::Passwords(std::map<std::string, std::string> hashes) : hashes_(std::move(hashes)) {
    require(gnutls_rnd(GNUTLS_RND_KEY, key_.data(), key_.size()));
}

bool Passwords::fit(const Credentials& credentials) const {
    const auto known = hashes_.find(credentials.user);
    const auto& hash = known != hashes_.end() ? known->second : hashes_.begin()->second;
    const auto digest = digestOf(credentials.password);
    if (isRemembered(credentials.user, digest)) {
        return true;
    }
    std::unique_lock hashing(hashMutex_);
    // Another request of the same user may have paid meanwhile.
    if (isRemembered(credentials.user, digest)) {
        return true;
    }
    const bool fits = isHashOf(credentials.password, hash) && known != hashes_.end();
    hashing.unlock();
    if (fits) {
        std::lock_guard lock(rememberedMutex_);
        remembered_[credentials.user] = digest;
    }
    return fits;
}

Passwords::Digest Passwords::digestOf(const std::string& password) const {
    Digest digest{};
    require(gnutls_hmac_fast(GNUTLS_MAC_SHA256, key_.data(), key_.size(), password.data(), password.size(),
                             digest.data()));
    return digest;
}

bool Passwords::isRemembered(const std::string& user, const Digest& digest) const {
    std::lock_guard lock(rememberedMutex_);
    const auto found = remembered_.find(user);
    return found != remembered_.end() &&
           gnutls_memcmp(found->second.data(), digest.data(), digest.size()) == 0;
}

}  // namespace tools::exporter::http
