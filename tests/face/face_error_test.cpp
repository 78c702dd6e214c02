// What is thrown: the category of the return codes, the conditions that they are, and the texts. Which call throws which
// code is tested in the other files. What each code means is written down in docs/return-codes.md.
#include <set>

#include "face.h"
#include "other_units.h"
#include "support/answering_gateway.h"

namespace {

using namespace face;
using testing::HasSubstr;

struct Code {
    const char* name;
    int number;
    const char* text;

    friend void PrintTo(const Code& code, std::ostream* out) { *out << code.name; }
};

#define FACE_TEST_CODE(name, number, text) Code{#name, number, text},
const Code CODES[] = {ZOLSTATS_RETURN_CODES(FACE_TEST_CODE)};
#undef FACE_TEST_CODE

class AnyCode : public testing::TestWithParam<Code> {};
INSTANTIATE_TEST_SUITE_P(Of, AnyCode, testing::ValuesIn(CODES),
                         [](const auto& instance) { return instance.param.name; });

TEST_P(AnyCode, IsExplained) {
    EXPECT_EQ(zolstats::category().message(GetParam().number), GetParam().text);
    EXPECT_EQ(std::error_code(GetParam().number, zolstats::category()).message(), GetParam().text);
}

TEST_P(AnyCode, IsThrownWithTheCallAndItsExplanation) {
    const Error error(GetParam().number, "someCall");
    EXPECT_EQ(error.code().value(), GetParam().number);
    EXPECT_EQ(&error.code().category(), &zolstats::category());
    EXPECT_EQ(error.what(), std::string("someCall: ") + GetParam().text);
}

const std::map<int, std::errc> CONDITIONS{
    {ZOLSTATS_NO_MEMORY, std::errc::not_enough_memory},
    {ZOLSTATS_CONNECTION_REFUSED, std::errc::connection_refused},
    {ZOLSTATS_CONNECT_TIMED_OUT, std::errc::timed_out},
    {ZOLSTATS_NETWORK_UNREACHABLE, std::errc::network_unreachable},
};

TEST_P(AnyCode, IsTheConditionOfTheStandardLibraryIfThereIsOne) {
    const std::error_code code(GetParam().number, zolstats::category());
    for (const auto& [number, condition] : CONDITIONS) {
        EXPECT_EQ(code == condition, number == GetParam().number);
    }
}

TEST_P(AnyCode, IsAConditionOfItsOwn) {
    const std::error_code code(GetParam().number, zolstats::category());
    EXPECT_EQ(code, std::error_condition(GetParam().number, zolstats::category()));
    EXPECT_NE(code, std::error_condition(GetParam().number - 1000, zolstats::category()));
    EXPECT_NE(code, std::error_condition(GetParam().number, std::generic_category()));
}

TEST(Category, HasTheNameOfTheLibrary) {
    EXPECT_STREQ(zolstats::category().name(), "zolstats");
}

TEST(Category, ExplainsAlsoACodeThatIsUnknown) {
    for (const int code : {1, -1, -999, std::numeric_limits<int>::min()}) {
        EXPECT_EQ(zolstats::category().message(code), "the library failed in an unknown way") << code;
        EXPECT_EQ(zolstats::category().default_error_condition(code).category(), zolstats::category());
    }
}

TEST(Category, IsNoneOfTheStandardLibrary) {
    EXPECT_NE(std::error_code(ZOLSTATS_NO_MEMORY, zolstats::category()),
              std::error_code(ZOLSTATS_NO_MEMORY, std::generic_category()));
}

TEST_F(Connected, ErrorsNameTheCallThatFailed) {
    gateway_.refuseQueries(7);
    for (const Query& query : QUERIES) {
        try {
            Connection each = open();
            query.ask(each);
            ADD_FAILURE() << query.name;
        } catch (const std::system_error& error) {
            EXPECT_EQ(error.what(),
                      std::string(query.call) +
                          ": the exchange with the Gateway failed (bad reply, or it reported an error)");
        }
    }
}

TEST_F(Connected, ErrorsOfOpeningNameTheCallAndAreConditions) {
    const testing_support::LoopbackPort port;
    try {
        Connection::openRemote("127.0.0.1", port.number());
        ADD_FAILURE();
    } catch (const Error& error) {
        EXPECT_EQ(error.code(), std::errc::connection_refused);
        EXPECT_THAT(error.what(), HasSubstr("openRemoteGatewayConnection: the connection was refused"));
    }
}

// ---- Other translation units of the program, and a shared library that hides its symbols

TEST(OtherUnits, ShareTheCategory) {
    EXPECT_EQ(&other_units::categoryInTheProgram(), &zolstats::category());
    EXPECT_EQ(&other_units::categoryInASharedLibrary(), &zolstats::category());
}

TEST(OtherUnits, ThrowWhatIsCaughtHere) {
    EXPECT_EQ(codeOf(other_units::failInTheProgram), ZOLSTATS_BAD_PORT);
    EXPECT_EQ(codeOf(other_units::failInASharedLibrary), ZOLSTATS_BAD_PORT);
    EXPECT_TRUE(throwsStale(other_units::beStaleInASharedLibrary));
}

TEST_F(Connected, AnswersCanBeHandedToOtherUnits) {
    EXPECT_EQ(other_units::countInTheProgram(connection_.statistics()), 3U);
    EXPECT_EQ(other_units::countInASharedLibrary(connection_.statistics()), 3U);
}

}  // namespace
