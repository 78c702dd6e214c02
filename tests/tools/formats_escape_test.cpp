// What passes for UTF-8, and how other bytes are written so that they can be had back.
// Not a test of the formats that use it.
// The protocol that the texts come by is written down in docs/protocol.md.
#include <gtest/gtest.h>

#include <set>

#include "common/escape.h"

namespace {

using namespace std::string_literals;
using tools::Alphabet;
using tools::escaped;
using tools::isUtf8;

// What a reader of the formats would do.
std::string recovered(const std::string& text) {
    std::string bytes;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            bytes += text[i];
        } else if (text.at(i + 1) == '\\') {
            bytes += text[++i];
        } else {
            bytes += static_cast<char>(std::stoi(text.substr(i + 2, 2), nullptr, 16));
            i += 3;
        }
    }
    return bytes;
}

TEST(Escape, TellsUtf8FromOtherBytes) {
    for (const auto& text : {""s, "a"s, "\0"s, "\x7f"s, "\xc2\x80"s, "\xdf\xbf"s, "\xe0\xa0\x80"s,
                             "\xed\x9f\xbf"s, "\xee\x80\x80"s, "\xef\xbf\xbf"s, "\xf0\x90\x80\x80"s,
                             "\xf4\x8f\xbf\xbf"s, "gr\xc3\xbc\xc3\x9f"s}) {
        EXPECT_TRUE(isUtf8(text)) << text;
    }
    for (const auto& text : {"\x80"s, "\xbf"s, "\xc0\x80"s, "\xc1\xbf"s, "\xc2"s, "\xc2 "s, "\xe0\x9f\xbf"s,
                             "\xe0\xa0"s, "\xed\xa0\x80"s, "\xed\xbf\xbf"s, "\xf0\x8f\xbf\xbf"s,
                             "\xf0\x90\x80"s, "\xf4\x90\x80\x80"s, "\xf5\x80\x80\x80"s, "\xff"s, "a\xfe"s}) {
        EXPECT_FALSE(isUtf8(text)) << text;
    }
}

TEST(Escape, LeavesVisibleTextAsItIs) {
    const std::string text = " ~\"',0\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80";
    EXPECT_EQ(escaped(text, Alphabet::Utf8), text);
}

TEST(Escape, WritesEachByteOfWhatIsNotVisible) {
    EXPECT_EQ(escaped("\0\t\n\x1b\x7f"s, Alphabet::Utf8), "\\x00\\x09\\x0A\\x1B\\x7F");
    EXPECT_EQ(escaped("a\xff\xc3", Alphabet::Utf8), "a\\xFF\\xC3");
    EXPECT_EQ(escaped("\xc2\x9b", Alphabet::Utf8), "\\xC2\\x9B") << "a control sequence begins so";
    EXPECT_EQ(escaped("\xe2\x80\xae", Alphabet::Utf8), "\\xE2\\x80\\xAE") << "writes from right to left";
    EXPECT_EQ(escaped("\xe2\x80\xa8", Alphabet::Utf8), "\\xE2\\x80\\xA8") << "ends a line";
    EXPECT_EQ(escaped("\xf3\xa0\x81\x81", Alphabet::Utf8), "\\xF3\\xA0\\x81\\x81") << "an invisible letter";
}

TEST(Escape, DoublesTheBackslash) {
    EXPECT_EQ(escaped("C:\\x41", Alphabet::Utf8), "C:\\\\x41");
}

TEST(Escape, WritesOnlyAsciiWhereNothingElseMayGo) {
    EXPECT_EQ(escaped("\xc3\xa9~", Alphabet::Ascii), "\\xC3\\xA9~");
}

TEST(Escape, GivesEveryPairOfBytesBack) {
    for (int first = 0; first < 256; ++first) {
        for (int second = 0; second < 256; ++second) {
            const std::string bytes{static_cast<char>(first), static_cast<char>(second), '\\', '\xc3'};
            ASSERT_EQ(recovered(escaped(bytes, Alphabet::Utf8)), bytes);
            ASSERT_EQ(recovered(escaped(bytes, Alphabet::Ascii)), bytes);
            ASSERT_TRUE(isUtf8(escaped(bytes, Alphabet::Utf8)));
        }
    }
}

}  // namespace
