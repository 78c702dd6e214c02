// The web configuration file: what is refused, and where it says so.
// Not a test of what the server makes of a good one (http_web_test.py).
// Nothing here comes from the protocol of the Gateways.
#include "http/web_configuration.h"

#include <gmock/gmock.h>

#include "support/scratch_folder.h"
#include "yaml.h"

namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Pair;
using tools::exporter::BadYaml;
using tools::exporter::http::WebConfiguration;

class HttpWebConfiguration : public testing::Test {
  protected:
    std::string file(const std::string& name, const std::string& text) const {
        return folder_.write(name, text);
    }
    std::shared_ptr<const WebConfiguration> read(const std::string& text) const {
        return WebConfiguration::read(file("web.yml", text));
    }
    // What is wrong, from the line on.
    std::string refusal(const std::string& text) const {
        const auto start = (folder_.path() / "web.yml").string() + ":";
        try {
            read(text);
        } catch (const BadYaml& problem) {
            const std::string what = problem.what();
            EXPECT_EQ(what.substr(0, start.size()), start);
            return what.substr(start.size());
        }
        return "nothing";
    }

  private:
    const testing_support::ScratchFolder folder_;
};

constexpr auto SOMETHING = "something\n";

TEST_F(HttpWebConfiguration, WithoutUsersEverybodyComesIn) {
    const auto web = read("http_server_config:\n  http2: true\n");
    EXPECT_TRUE(web->letsIn({}));
    EXPECT_TRUE(web->letsIn("Basic YTpi"));
    EXPECT_EQ(web->tls(), nullptr);
}

TEST_F(HttpWebConfiguration, AnEmptyListOfUsersIsOneWithoutUsers) {
    EXPECT_TRUE(read("basic_auth_users: {}\n")->letsIn({}));
}

TEST_F(HttpWebConfiguration, WithUsersNobodyComesInWithoutAHeaderThatCanBeRead) {
    const auto web = read("basic_auth_users:\n  a: $2y$04$" + std::string(53, 'a') + "\n");
    EXPECT_FALSE(web->letsIn({}));
    EXPECT_FALSE(web->letsIn("Basic YTpi"));
    EXPECT_FALSE(web->letsIn("Bearer YTpi"));
}

TEST_F(HttpWebConfiguration, HeadersAreThoseOfTheFile) {
    const auto web = read(
        "http_server_config:\n  headers:\n    X-Frame-Options: deny\n"
        "    Strict-Transport-Security: max-age=1\n    X-Content-Type-Options: nosniff\n");
    EXPECT_THAT(web->headers(),
                ElementsAre(Pair("X-Frame-Options", "deny"), Pair("Strict-Transport-Security", "max-age=1"),
                            Pair("X-Content-Type-Options", "nosniff")));
}

TEST_F(HttpWebConfiguration, AnUnknownKeyIsToldWithItsLine) {
    EXPECT_THAT(refusal("basic_auth_user:\n  a: b\n"), HasSubstr("1: unknown key 'basic_auth_user'"));
    EXPECT_THAT(refusal("http_server_config:\n  http2: true\n  http3: true\n"),
                HasSubstr("3: unknown key 'http3'"));
}

TEST_F(HttpWebConfiguration, AHashThatIsNoneIsToldWithItsLineAndNotShown) {
    const auto refused = refusal("basic_auth_users:\n  ann: secret\n");
    EXPECT_EQ(refused, "2: this is no bcrypt hash ($2y$10$...) with a cost from 4 to 16");
}

TEST_F(HttpWebConfiguration, AUserWithAColonWhoCouldNeverLogInIsToldWithItsLine) {
    const auto hash = ": $2y$04$" + std::string(53, 'a') + "\n";
    EXPECT_EQ(refusal("basic_auth_users:\n  ann" + hash + "  a:b" + hash),
              "3: a user with ':' in the name could never log in");
}

TEST_F(HttpWebConfiguration, HeadersBeyondTheEcosystemsAreRefused) {
    EXPECT_THAT(refusal("http_server_config:\n  headers:\n    Set-Cookie: a\n"),
                HasSubstr("3: 'Set-Cookie' is none of"));
    EXPECT_THAT(refusal("http_server_config:\n  headers:\n    X-Frame-Options: \"a\\r\\nB: c\"\n"),
                EndsWith("3: a header is one line"));
    EXPECT_THAT(refusal("http_server_config:\n  headers:\n    X-Content-Type-Options: sniff\n"),
                HasSubstr("3: this can be"));
}

// Each of these would be a certificate's place in a good file.
class HttpWebConfigurationOfTls : public HttpWebConfiguration {
  protected:
    HttpWebConfigurationOfTls() {
        file("cert", SOMETHING);
        file("key", SOMETHING);
    }
    std::string refusalOf(const std::string& lines) const {
        return refusal("tls_server_config:\n  cert_file: cert\n  key_file: key\n" + lines);
    }
};

TEST_F(HttpWebConfigurationOfTls, WhatThisServerCannotDoIsRefusedRatherThanIgnored) {
    for (const std::string key :
         {"cipher_suites", "curve_preferences", "client_allowed_sans", "cert", "client_ca"}) {
        EXPECT_THAT(refusalOf("  " + key + ": []\n"), HasSubstr("4: '" + key + "' is not supported: "));
    }
    EXPECT_THAT(refusal("rate_limit: {}\n"), HasSubstr("1: 'rate_limit' is not supported: "));
}

TEST_F(HttpWebConfigurationOfTls, FilesThatCannotBeReadAreToldWithTheLineThatNamesThem) {
    EXPECT_THAT(refusal("tls_server_config:\n  cert_file: cert\n  key_file: none\n"), HasSubstr("3: '"));
    EXPECT_THAT(refusal("tls_server_config:\n  cert_file: cert\n"),
                HasSubstr("the key 'key_file' is missing"));
    file("empty", "");
    EXPECT_THAT(refusalOf("  client_ca_file: empty\n"), EndsWith("cannot be read, or is empty"));
}

TEST_F(HttpWebConfigurationOfTls, CertificatesThatAreNoneAreRefused) {
    EXPECT_THAT(refusalOf(""), HasSubstr("Certificate and key: "));
}

TEST_F(HttpWebConfigurationOfTls, VersionsAreNamedAndInOrder) {
    EXPECT_THAT(refusalOf("  min_version: TLS14\n"),
                HasSubstr("4: 'TLS14' is none of TLS10, TLS11, TLS12, TLS13"));
    EXPECT_THAT(refusalOf("  min_version: TLS13\n  max_version: TLS12\n"),
                HasSubstr("max_version is below min_version"));
    EXPECT_THAT(refusalOf("  max_version: TLS11\n"), HasSubstr("max_version is below min_version"));
    EXPECT_THAT(refusalOf("  prefer_server_cipher_suites: 7\n"), HasSubstr("4: "));
}

TEST_F(HttpWebConfigurationOfTls, ClientsAreNotTakenForCheckedWhereTheyAreNot) {
    EXPECT_THAT(refusalOf("  client_ca_file: cert\n"), HasSubstr("client_ca_file needs a client_auth_type"));
    EXPECT_THAT(refusalOf("  client_auth_type: RequireAndVerifyClientCert\n"),
                HasSubstr("needs a client_ca_file"));
    EXPECT_THAT(refusalOf("  client_auth_type: VerifyClientCertIfGiven\n"),
                HasSubstr("needs a client_ca_file"));
    EXPECT_THAT(refusalOf("  client_auth_type: require\n"),
                HasSubstr("4: 'require' is none of NoClientCert, "));
}

}  // namespace
