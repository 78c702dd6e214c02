// What becomes of a format that a command does not offer: wrong usage where the command line asks for it, left aside
// where it is a default. Not a test of what the formats look like.
// The protocol that the statistics come by is written down in docs/protocol.md.
#include <gtest/gtest.h>

#include "command.h"
#include "json_document.h"

namespace {

using tools::zolstat::Format;
using tools::zolstat::Layout;

Layout asked(Format format) {
    Layout layout;
    layout.format = format;
    layout.formatIsExplicit = true;
    return layout;
}

Layout preset(Format format) {
    Layout layout = asked(format);
    layout.formatIsExplicit = false;
    return layout;
}

TEST(OfferedFormats, RefuseAnotherThatTheCommandLineAsksFor) {
    EXPECT_THROW(tools::zolstat::requireFormat(asked(Format::Csv), {Format::Table}, "no"),
                 tools::zolstat::UsageError);
    EXPECT_THROW(tools::zolstat::wantsJson(asked(Format::Csv), "ping"), tools::zolstat::UsageError);
}

TEST(OfferedFormats, AreTakenWhereTheCommandLineAsksForThem) {
    EXPECT_NO_THROW(tools::zolstat::requireFormat(asked(Format::Csv), {Format::Table, Format::Csv}, "no"));
    EXPECT_TRUE(tools::zolstat::wantsJson(asked(Format::Json), "ping"));
    EXPECT_FALSE(tools::zolstat::wantsJson(asked(Format::Table), "ping"));
}

TEST(OfferedFormats, LeaveAnotherAsideThatIsADefault) {
    EXPECT_NO_THROW(tools::zolstat::requireFormat(preset(Format::Csv), {Format::Table}, "no"));
    EXPECT_FALSE(tools::zolstat::wantsJson(preset(Format::Csv), "ping"));
    EXPECT_TRUE(tools::zolstat::wantsJson(preset(Format::Json), "ping"));
}

}  // namespace
