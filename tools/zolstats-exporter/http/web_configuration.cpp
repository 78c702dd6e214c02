// The web configuration, read key by key.
// Not the place where TLS, passwords or headers are put to use.
// The file is described in docs/prometheus.md.
#include "web_configuration.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string_view>

#include "common/text.h"
#include "yaml.h"

namespace tools::exporter::http {
namespace {

struct Refused {
    std::string_view key;
    std::string_view instead;
};
// The ecosystem has these keys, this server does not.
constexpr std::array REFUSED{
    Refused{"cert", "name a file by cert_file"},
    Refused{"key", "name a file by key_file"},
    Refused{"client_ca", "name a file by client_ca_file"},
    Refused{"client_allowed_sans", "let client_ca_file certify those alone who may come"},
    Refused{"cipher_suites", "GnuTLS has its own, among which the machine's policy chooses"},
    Refused{"curve_preferences", "GnuTLS has its own, among which the machine's policy chooses"},
    Refused{"rate_limit", "requests beyond the limit in flight are refused without it"}};

struct NamedAuthentication {
    std::string_view name;
    ClientAuthentication means;
};
constexpr std::array AUTHENTICATIONS{
    NamedAuthentication{"NoClientCert", {GNUTLS_CERT_IGNORE, false}},
    NamedAuthentication{"RequestClientCert", {GNUTLS_CERT_REQUEST, false}},
    NamedAuthentication{"RequireAnyClientCert", {GNUTLS_CERT_REQUIRE, false}},
    NamedAuthentication{"VerifyClientCertIfGiven", {GNUTLS_CERT_REQUEST, true}},
    NamedAuthentication{"RequireAndVerifyClientCert", {GNUTLS_CERT_REQUIRE, true}}};

struct Version {
    std::string_view name;
    std::string_view priority;
};
// From the oldest on.
constexpr std::array VERSIONS{Version{"TLS10", "VERS-TLS1.0"}, Version{"TLS11", "VERS-TLS1.1"},
                              Version{"TLS12", "VERS-TLS1.2"}, Version{"TLS13", "VERS-TLS1.3"}};

constexpr std::array<std::string_view, 5> HEADERS{"Content-Security-Policy", "Strict-Transport-Security",
                                                  "X-Content-Type-Options", "X-Frame-Options",
                                                  "X-XSS-Protection"};

void refuseUnsupported(const Yaml& map) {
    for (const auto& key : map.keys()) {
        const auto refused = std::find_if(REFUSED.begin(), REFUSED.end(),
                                          [&](const auto& each) { return each.key == key.text(); });
        if (refused != REFUSED.end()) {
            throw key.error(fmt::format("'{}' is not supported: {}", refused->key, refused->instead));
        }
    }
}

// The row of a table that a value names; the first of the defaults if there is no value.
template <typename Table>
auto rowOf(const Table& table, const Yaml* value, std::string_view otherwise) {
    const std::string_view name = value == nullptr ? otherwise : std::string_view(value->text());
    const auto found =
        std::find_if(table.begin(), table.end(), [&](const auto& row) { return row.name == name; });
    if (found == table.end()) {
        std::vector<std::string_view> names;
        std::transform(table.begin(), table.end(), std::back_inserter(names),
                       [](const auto& row) { return row.name; });
        throw value->error(fmt::format("'{}' is none of {}", printable(name), fmt::join(names, ", ")));
    }
    return found;
}

std::string contentOf(const Yaml& name, const std::filesystem::path& folder) {
    const auto file = folder / name.text();
    std::ifstream stream(file, std::ios::binary);
    std::string content{std::istreambuf_iterator<char>(stream), {}};
    if (!stream || content.empty()) {
        throw name.error(fmt::format("'{}' cannot be read, or is empty", printable(file.string())));
    }
    return content;
}

std::string prioritiesOf(const Yaml& section) {
    const auto oldest = rowOf(VERSIONS, section.find("min_version"), "TLS12");
    const auto newest = rowOf(VERSIONS, section.find("max_version"), "TLS13");
    if (newest < oldest) {
        throw section.error("max_version is below min_version");
    }
    std::string priorities = "NORMAL:-VERS-ALL";
    std::for_each(oldest, newest + 1,
                  [&](const auto& version) { priorities += fmt::format(":+{}", version.priority); });
    const auto* serverChooses = section.find("prefer_server_cipher_suites");
    return priorities + (serverChooses == nullptr || serverChooses->flag() ? ":%SERVER_PRECEDENCE" : "");
}

void requireSense(const Yaml& section, const TlsSettings& settings) {
    if (settings.clients.isVerified && settings.clientCertifiers.empty()) {
        throw section.error("this client_auth_type needs a client_ca_file");
    }
    if (!settings.clientCertifiers.empty() && settings.clients.request == GNUTLS_CERT_IGNORE) {
        throw section.error("client_ca_file needs a client_auth_type");
    }
}

TlsSettings tlsSettings(const Yaml& section, const std::filesystem::path& folder) {
    refuseUnsupported(section);
    section.allowKeys({"cert_file", "key_file", "client_auth_type", "client_ca_file", "min_version",
                       "max_version", "prefer_server_cipher_suites"});
    TlsSettings settings{.certificate = contentOf(section.require("cert_file"), folder),
                         .key = contentOf(section.require("key_file"), folder)};
    if (const auto* file = section.find("client_ca_file")) {
        settings.clientCertifiers = contentOf(*file, folder);
    }
    settings.clients = rowOf(AUTHENTICATIONS, section.find("client_auth_type"), "NoClientCert")->means;
    settings.priorities = prioritiesOf(section);
    requireSense(section, settings);
    return settings;
}

std::unique_ptr<const Tls> tlsOf(const Yaml* section, const std::filesystem::path& folder) {
    if (section == nullptr) {
        return nullptr;
    }
    try {
        return std::make_unique<const Tls>(tlsSettings(*section, folder));
    } catch (const BadTls& problem) {
        throw section->error(problem.what());
    }
}

// A client sends name and password with a colon between them: the name would end at its own.
void requireUser(const Yaml& name) {
    if (name.text().find(':') != std::string::npos) {
        throw name.error("a user with ':' in the name could never log in");
    }
}

std::unique_ptr<const Passwords> passwordsOf(const Yaml* section) {
    std::map<std::string, std::string> hashes;
    for (std::size_t i = 0; section != nullptr && i < section->keys().size(); ++i) {
        requireUser(section->keys()[i]);
        const auto& hash = section->values()[i];
        if (!isBcrypt(hash.text())) {
            throw hash.error("this is no bcrypt hash ($2y$10$...) with a cost from 4 to 16");
        }
        hashes.emplace(section->keys()[i].text(), hash.text());
    }
    return hashes.empty() ? nullptr : std::make_unique<const Passwords>(std::move(hashes));
}

void requireHeader(const Yaml& name, const Yaml& value) {
    if (std::find(HEADERS.begin(), HEADERS.end(), name.text()) == HEADERS.end()) {
        throw name.error(fmt::format("'{}' is none of {}", printable(name.text()), fmt::join(HEADERS, ", ")));
    }
    const bool isNosniff = name.text() == "X-Content-Type-Options";
    if (value.text().empty() || (isNosniff && value.text() != "nosniff")) {
        throw value.error(isNosniff ? "this can be nosniff only, and is without being told"
                                    : "a header needs a value");
    }
    // More than the parser has let through already.
    if (value.text().find_first_of("\r\n") != std::string::npos) {
        throw value.error("a header is one line");
    }
}

WebConfiguration::Headers headersOf(const Yaml* section) {
    WebConfiguration::Headers headers;
    if (section == nullptr) {
        return headers;
    }
    section->allowKeys({"http2", "headers"});
    if (const auto* http2 = section->find("http2")) {
        static_cast<void>(http2->flag());  // an offer, which HTTP/1.1 as this server speaks it does not break
    }
    const auto* fields = section->find("headers");
    for (std::size_t i = 0; fields != nullptr && i < fields->keys().size(); ++i) {
        requireHeader(fields->keys()[i], fields->values()[i]);
        headers.emplace_back(fields->keys()[i].text(), fields->values()[i].text());
    }
    return headers;
}

}  // namespace

WebConfiguration::WebConfiguration(std::unique_ptr<const Tls> tls, std::unique_ptr<const Passwords> passwords,
                                   Headers headers)
    : tls_(std::move(tls)), passwords_(std::move(passwords)), headers_(std::move(headers)) {}

std::shared_ptr<const WebConfiguration> WebConfiguration::read(const std::string& file) {
    const auto folder = std::filesystem::path(file).parent_path();
    const auto top = Yaml::read(file);
    refuseUnsupported(top);
    top.allowKeys({"tls_server_config", "http_server_config", "basic_auth_users"});
    return std::make_shared<const WebConfiguration>(tlsOf(top.find("tls_server_config"), folder),
                                                    passwordsOf(top.find("basic_auth_users")),
                                                    headersOf(top.find("http_server_config")));
}

bool WebConfiguration::letsIn(const std::optional<std::string>& authorization) const {
    if (passwords_ == nullptr) {
        return true;
    }
    const auto credentials = parseBasic(authorization.value_or(""));
    return credentials && passwords_->fit(*credentials);
}

}  // namespace tools::exporter::http
