// Users and their passwords, of which only bcrypt hashes are kept.
// Not the place where the hashes are read from (web_configuration.h).
// Nothing here comes from the protocol of the Gateways.
#ifndef EXPORTER_HTTP_PASSWORDS_H
#define EXPORTER_HTTP_PASSWORDS_H

#include <array>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace tools::exporter::http {

// $2a$, $2b$ or $2y$, at a cost that a server can pay: from 4 to 16, which takes some seconds.
bool isBcrypt(const std::string& hash);

struct Credentials {
    std::string user;
    std::string password;
};

// Of a header Authorization of the kind Basic.
std::optional<Credentials> parseBasic(std::string_view authorization);

// Calls may come from any thread.
class Passwords {
  public:
    explicit Passwords(std::map<std::string, std::string> hashes);  // by user; at least one

    // Whoever is not let in has cost as much time as the hash of a user: who there is cannot be told from that.
    bool fit(const Credentials& credentials) const;

  private:
    using Digest = std::array<unsigned char, 32>;

    Digest digestOf(const std::string& password) const;
    bool isRemembered(const std::string& user, const Digest& digest) const;

    const std::map<std::string, std::string> hashes_;
    Digest key_{};
    // What each user has come in with last, so that only the first of many scrapes pays for the hash.
    mutable std::mutex rememberedMutex_{};
    mutable std::map<std::string, Digest> remembered_{};
    // One hash at a time: guesses that come in great numbers take one processor, not all.
    mutable std::mutex hashMutex_{};
};

}  // namespace tools::exporter::http

#endif
