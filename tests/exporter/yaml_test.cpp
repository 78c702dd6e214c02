// What is read of YAML files, and the one line that each mistake in them gets.
// Not a test of any one file: those are tested where their keys are known.
// Nothing here comes from the protocol of the Gateways.
#include "yaml.h"

#include <gtest/gtest.h>

#include <functional>
#include <regex>

#include "support/scratch_folder.h"

namespace {

using namespace std::string_literals;
using tools::exporter::BadYaml;
using tools::exporter::Yaml;

class YamlFile : public testing::Test {
  protected:
    Yaml read(const std::string& content) { return Yaml::read(folder_.write("file.yml", content)); }
    // What is told of it, less the name of the file and a ':'.
    std::string problemOf(const std::string& content, const std::function<void(const Yaml&)>& use = {}) {
        try {
            const Yaml yaml = read(content);
            use ? use(yaml) : void();
        } catch (const BadYaml& problem) {
            return std::string(problem.what()).substr((folder_.path() / "file.yml:").string().size());
        }
        return "none";
    }

    const testing_support::ScratchFolder folder_;
};

TEST_F(YamlFile, HasTextsNumbersFlagsListsAndMaps) {
    const Yaml yaml =
        read("# comment\ntext: \"a: b\"\nnumber: 0.5\nflag: true\nlist: [x, 2]\nmap:\n  key: value\n");
    EXPECT_EQ(yaml.require("text").text(), "a: b");
    EXPECT_EQ(yaml.require("number").number(), 0.5);
    EXPECT_TRUE(yaml.require("flag").flag());
    EXPECT_EQ(yaml.require("list").texts(), (std::vector{"x"s, "2"s}));
    EXPECT_EQ(yaml.require("map").require("key").text(), "value");
}

TEST_F(YamlFile, MayComeFromAnotherSystem) {
    EXPECT_EQ(read("\xef\xbb\xbf"
                   "a: x\r\nb: y\r\n")
                  .require("a")
                  .text(),
              "x");
}

TEST_F(YamlFile, IsNoLargerThanFourMebibytes) {
    constexpr std::size_t most = 4U << 20U;
    EXPECT_EQ(problemOf("a: x #" + std::string(most - 6, '#')), "none");
    EXPECT_EQ(problemOf("a: x #" + std::string(most - 5, '#')), " is larger than 4 MiB");
    EXPECT_THROW(Yaml::read("/dev/zero"), BadYaml);
}

TEST_F(YamlFile, KnowsOlderWordsForFlags) {
    const Yaml yaml = read("a: [yes, On, true]\nb: [no, off, 'false']\n");
    for (const Yaml& flag : yaml.require("a").list()) {
        EXPECT_TRUE(flag.flag());
    }
    for (const Yaml& flag : yaml.require("b").list()) {
        EXPECT_FALSE(flag.flag());
    }
}

TEST_F(YamlFile, KeepsTheOrderOfKeys) {
    const Yaml yaml = read("b: 1\na: 2\nc: 3\n");
    ASSERT_EQ(yaml.keys().size(), 3U);
    EXPECT_EQ(yaml.keys()[0].text(), "b");
    EXPECT_EQ(yaml.values()[1].text(), "2");
}

TEST_F(YamlFile, FindsNothingUnderAMissingKey) {
    EXPECT_EQ(read("a: 1").find("b"), nullptr);
    EXPECT_EQ(problemOf("a: 1", [](const Yaml& yaml) { yaml.require("b"); }), "1: the key 'b' is missing");
}

TEST_F(YamlFile, MayBeAnEmptyMapButNotEmpty) {
    EXPECT_TRUE(read("{}").keys().empty());
    for (const char* const content : {"", "\n\n", "# nothing\n", "---\n", "~\n"}) {
        EXPECT_EQ(problemOf(content), " is empty") << content;
    }
}

TEST_F(YamlFile, IsToldWhenItCannotBeRead) {
    EXPECT_THROW(Yaml::read("/no/such/file"), BadYaml);
    try {
        Yaml::read(SCRATCH_FOLDER);
        FAIL();
    } catch (const BadYaml& problem) {
        EXPECT_EQ(problem.what(), SCRATCH_FOLDER ": is a directory"s);
    }
}

TEST_F(YamlFile, IsToldTheLineOfEachMistake) {
    struct Case {
        std::string content;
        std::string problem;
    };
    for (const auto& [content, problem] : {
             Case{"a: 1\nb: 2\na: 3\n", "3: the key 'a' comes twice"},
             Case{"a: 1\nm:\n  x: 1\n  x: 2\n", "4: the key 'x' comes twice"},
             Case{"a:\n\tb: 1\n", "2: indented with a tab, where YAML takes only spaces"},
             Case{"a:\n  b: 1\n\tc: 1\n", "3: indented with a tab, where YAML takes only spaces"},
             Case{"- a\n- b\n", "1: a map is expected here, not a list"},
             Case{"only text", "1: a map is expected here, not a text"},
             Case{"a: 1\n? [x]\n: 2\n", "2: a text is expected here, not a list"},
             Case{"a: 1\n---\nb: 2\n", "3: a second document begins"},
             Case{"a: 1\nb: \xff\n", "2: not UTF-8, or with control characters"},
             Case{"a: 1\nb: \x04\n", "2: not UTF-8, or with control characters"},
             Case{"a: 1\nb: \"x\nc: 3", "3: a quoted text does not end"},
             Case{"a:\n  " + std::string(100000, '['), "2: nested too deeply"},
             Case{"a: &x [*x]\n", "1: nested too deeply, or too much of it"},
         }) {
        EXPECT_EQ(problemOf(content), problem) << content;
    }
}

TEST_F(YamlFile, IsToldTheLineWhereItsGrammarBreaks) {
    for (const char* const content :
         {"a: 1\nb: [1\n", "a: 1\nb: \"x\n", "a: 1\nb: }\n", "a: 1\nb: *x\n", "a: 1\n  b: 2\n"}) {
        EXPECT_TRUE(std::regex_match(problemOf(content), std::regex("[1-3]: [^\n]+"))) << problemOf(content);
    }
}

TEST_F(YamlFile, IsToldWhatKindOfValueItLacks) {
    EXPECT_EQ(problemOf("a: 1\nb: [2]\n", [](const Yaml& yaml) { yaml.require("b").text(); }),
              "2: a text is expected here, not a list");
    EXPECT_EQ(problemOf("a: 1\nb:\n", [](const Yaml& yaml) { yaml.require("b").text(); }),
              "2: a text is expected here, not nothing");
    EXPECT_EQ(problemOf("b: x\n", [](const Yaml& yaml) { yaml.require("b").list(); }),
              "1: a list is expected here, not a text");
    EXPECT_EQ(problemOf("b:\n  - x\n  - [y]\n", [](const Yaml& yaml) { yaml.require("b").texts(); }),
              "3: a text is expected here, not a list");
    EXPECT_EQ(problemOf("b: maybe\n", [](const Yaml& yaml) { yaml.require("b").flag(); }),
              "1: 'maybe' is neither true nor false");
}

TEST_F(YamlFile, HasOnlyFiniteWholeTextsForNumbers) {
    for (const auto& text :
         {"1x"s, "x"s, "''"s, ".inf"s, ".nan"s, "inf"s, "nan"s, "1e999"s, "0x10"s, "' 1'"s}) {
        EXPECT_EQ(problemOf("a: " + text, [](const Yaml& yaml) { yaml.require("a").number(); }).substr(0, 4),
                  "1: '")
            << text;
    }
}

TEST_F(YamlFile, AllowsOnlyKnownKeys) {
    EXPECT_EQ(problemOf("a: 1\nb\x7e: 1\n",
                        [](const Yaml& yaml) {
                            yaml.allowKeys({"a", "c"});
                        }),
              "2: unknown key 'b~'; known here: a, c");
    EXPECT_EQ(problemOf("a: 1\n", [](const Yaml& yaml) { yaml.allowKeys({"a", "c"}); }), "none");
}

}  // namespace
