// zolstat codes: what the library's return codes mean and what to do about them.
// Not the list itself (return_codes.h); no Gateway is asked for anything.
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>
#include <sstream>

#include "command.h"
#include "common/text.h"
#include "console.h"
#include "json_document.h"
#include "return_codes.h"

namespace tools::zolstat {
namespace {

constexpr std::size_t LINE_LENGTH = 78;
constexpr std::size_t INDENT = 2;

std::string wrapped(const std::string& text) {
    std::istringstream words(text);
    std::string lines;
    std::size_t used = LINE_LENGTH;  // as if a line had just been filled
    for (std::string word; words >> word; used += 1 + word.size()) {
        if (used + 1 + word.size() > LINE_LENGTH) {
            lines += fmt::format("{}{:{}}{}", lines.empty() ? "" : "\n", "", INDENT, word);
            used = INDENT - 1;
        } else {
            lines += ' ' + word;
        }
    }
    return lines + '\n';
}

std::string inFull(const ReturnCode& code) {
    return fmt::format("{} {}\n{}{}", code.number, code.name, wrapped(code.meaning),
                       wrapped(fmt::format("What to do: {}", adviceFor(code))));
}

std::string inALine(const ReturnCode& code) {
    return fmt::format("{:>4}  {:<33} {}\n", code.number, code.name, code.meaning);
}

std::vector<ReturnCode> chosen(const Arguments& texts) {
    std::vector<ReturnCode> codes;
    for (const std::string& text : texts) {
        codes.push_back(*findReturnCode(text));
    }
    return codes;
}

void writeAsJson(const std::vector<ReturnCode>& codes) {
    auto document = beginDocument("codes");
    document["codes"] = nlohmann::ordered_json::array();
    for (const ReturnCode& code : codes) {
        document["codes"].push_back({{"code", code.number},
                                     {"name", code.name},
                                     {"meaning", code.meaning},
                                     {"advice", adviceFor(code)}});
    }
    writeOutput(textOf(document));
}

std::string checkKnown(const std::string& text) {
    return findReturnCode(text) != nullptr
               ? ""
               : fmt::format("there is no return code '{}'; 'zolstat codes' lists all", printable(text));
}

Run attachCodes(CLI::App& line) {
    const auto texts = std::make_shared<Arguments>();
    line.add_option("CODE", *texts,
                    "Codes to explain, such as -102 or ZOLSTATS_CONNECTION_LOST (default:\nall)")
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)
        ->option_text(" ")
        ->check(checkKnown);
    return [texts](const Options& options) {
        const auto all = allReturnCodes();
        const std::vector<ReturnCode> codes =
            texts->empty() ? std::vector(all.begin(), all.end()) : chosen(*texts);
        if (wantsJson(options.layout, "codes")) {
            writeAsJson(codes);
        } else {
            for (const ReturnCode& code : codes) {
                writeOutput(texts->empty() ? inALine(code) : inFull(code));
            }
        }
        return ExitCode::Fine;
    };
}

}  // namespace

const Command codesCommand{"codes", "Explain the library's return codes", "zolstat codes -102", attachCodes};

}  // namespace tools::zolstat
