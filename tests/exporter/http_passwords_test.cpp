// Passwords against their hashes, and the header that brings them.
// Not a test of bcrypt.
// Nothing here comes from the protocol of the Gateways.
#include "http/passwords.h"

#include <crypt.h>
#include <gmock/gmock.h>

#include <future>
#include <vector>

namespace {

using namespace std::string_literals;
using tools::exporter::http::isBcrypt;
using tools::exporter::http::parseBasic;
using tools::exporter::http::Passwords;

std::string hashOf(const std::string& password, const std::string& kind = "2b") {
    crypt_data space{};
    const std::string salt = "$" + kind + "$04$abcdefghijklmnopqrstuu";  // the cheapest
    return crypt_r(password.c_str(), salt.c_str(), &space);
}

TEST(HttpPasswords, AHeaderOfTheKindBasicBringsUserAndPassword) {
    // "Aladdin:open sesame"
    const auto credentials = parseBasic("Basic QWxhZGRpbjpvcGVuIHNlc2FtZQ==");
    ASSERT_TRUE(credentials);
    EXPECT_EQ(credentials->user, "Aladdin");
    EXPECT_EQ(credentials->password, "open sesame");
    EXPECT_TRUE(parseBasic("bASIC   QWxhZGRpbjpvcGVuIHNlc2FtZQ=="));
}

TEST(HttpPasswords, APasswordMayHaveColonsAndMayBeEmpty) {
    EXPECT_EQ(parseBasic("Basic YTpiOmM=")->password, "b:c");
    EXPECT_EQ(parseBasic("Basic YTo=")->password, "");
}

TEST(HttpPasswords, WhatIsNoSuchHeaderBringsNobody) {
    for (const auto* header : {"", "Basic", "Basic ", "Basic ====", "Basic Y", "Bearer YTpi",
                               "Basic YQ==", "YTpi", "Basic YTpi\xff", "Basic YToAYg=="}) {
        EXPECT_FALSE(parseBasic(header)) << header;
    }
}

TEST(HttpPasswords, OnlyWhatIsWrittenAsBcryptAtABearableCostIsAHash) {
    const std::string digits(53, 'a');
    for (const auto* prefix : {"$2a$04$", "$2b$10$", "$2y$16$"}) {
        EXPECT_TRUE(isBcrypt(prefix + digits)) << prefix;
    }
    for (const auto* prefix :
         {"$2x$10$", "$1$10$", "$2y$03$", "$2y$17$", "$2y$31$", "$2y$1$", "", " $2y$10$"}) {
        EXPECT_FALSE(isBcrypt(prefix + digits)) << prefix;
    }
    EXPECT_FALSE(isBcrypt("$2y$10$" + digits + "a"));
    EXPECT_FALSE(isBcrypt("$2y$10$" + digits.substr(1)));
    EXPECT_FALSE(isBcrypt("secret"));
}

TEST(HttpPasswords, AUserComesInWithTheOwnPasswordOnly) {
    const Passwords passwords({{"ann", hashOf("a-secret")}, {"bob", hashOf("b-secret")}});
    for (int again = 0; again < 2; ++again) {
        EXPECT_TRUE(passwords.fit({"ann", "a-secret"}));
        EXPECT_TRUE(passwords.fit({"bob", "b-secret"}));
        EXPECT_FALSE(passwords.fit({"ann", "b-secret"}));
        EXPECT_FALSE(passwords.fit({"ann", ""}));
        EXPECT_FALSE(passwords.fit({"ann", "a-secret "}));
    }
}

TEST(HttpPasswords, HashesOfEveryKindAreUnderstood) {
    for (const std::string kind : {"2a", "2b", "2y"}) {
        const Passwords passwords({{"ann", hashOf("a-secret", kind)}});
        EXPECT_TRUE(passwords.fit({"ann", "a-secret"})) << kind;
        EXPECT_FALSE(passwords.fit({"ann", "b-secret"})) << kind;
    }
}

TEST(HttpPasswords, AnUnknownUserDoesNotComeInWithAnybodysPassword) {
    const Passwords passwords({{"ann", hashOf("a-secret")}});
    EXPECT_FALSE(passwords.fit({"eve", "a-secret"}));
    EXPECT_TRUE(passwords.fit({"ann", "a-secret"}));
    EXPECT_FALSE(passwords.fit({"eve", "a-secret"}));
    EXPECT_FALSE(passwords.fit({"", "a-secret"}));
}

TEST(HttpPasswords, ManyThreadsMayAskAtOnce) {
    const Passwords passwords({{"ann", hashOf("a-secret")}});
    std::vector<std::future<bool>> good;
    std::vector<std::future<bool>> bad;
    for (int i = 0; i < 8; ++i) {
        good.push_back(std::async(std::launch::async, [&] { return passwords.fit({"ann", "a-secret"}); }));
        bad.push_back(std::async(std::launch::async, [&] { return passwords.fit({"ann", "wrong"}); }));
    }
    for (auto& each : good) {
        EXPECT_TRUE(each.get());
    }
    for (auto& each : bad) {
        EXPECT_FALSE(each.get());
    }
}

}  // namespace
