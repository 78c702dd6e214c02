// YAML files of the owner: parsed by yaml-cpp, then held against the mistakes that it lets pass.
// Not a reader of any one file: what its keys mean is up to those who ask (configuration.cpp, mapping.cpp).
// Nothing here comes from the protocol of the Gateways.
#include "yaml.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <yaml-cpp/depthguard.h>
#include <yaml-cpp/yaml.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "common/escape.h"
#include "common/text.h"

namespace tools::exporter {
namespace {

BadYaml problemIn(const std::string& file, int line, std::string_view problem) {
    return BadYaml(line > 0 ? fmt::format("{}:{}: {}", printable(file), line, problem)
                            : fmt::format("{}: {}", printable(file), problem));
}

// Some files never end, and need no size to say so.
std::string contentOf(std::istream& stream, const std::string& file) {
    constexpr std::size_t most = std::size_t{4} << 20;
    std::string content(most + 1, 0);
    stream.read(content.data(), static_cast<std::streamsize>(content.size()));
    content.resize(static_cast<std::size_t>(stream.gcount()));
    if (content.size() > most) {
        throw problemIn(file, 0, "is larger than 4 MiB");
    }
    return content;
}

std::string contentOf(const std::string& file) {
    std::error_code failure;
    if (std::filesystem::is_directory(file, failure)) {
        throw problemIn(file, 0, "is a directory");
    }
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        throw problemIn(file, 0, "cannot be read");
    }
    return contentOf(stream, file);
}

bool hasControls(std::string_view line) {
    return std::any_of(line.begin(), line.end(), [](char byte) {
        const auto code = static_cast<unsigned char>(byte);
        return (code < ' ' && code != '\t' && code != '\r') || code == 0x7f;
    });
}

// The parser would take 0x04 for the end of the file, and other encodings for odd characters.
void requireText(const std::string& file, const std::string& content) {
    std::istringstream lines(content);
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        if (hasControls(line) || !isUtf8(line)) {
            throw problemIn(file, number, "not UTF-8, or with control characters");
        }
    }
}

// The parser's own complaints about such a line lead astray.
void requireNoTab(const std::string& file, const std::string& content, int failedLine) {
    std::istringstream lines(content);
    std::string line;
    for (int number = 1; number <= failedLine && std::getline(lines, line); ++number) {
        const std::string indentation = line.substr(0, line.find_first_not_of(" \t"));
        if (number + 1 >= failedLine && indentation.find('\t') != std::string::npos) {
            throw problemIn(file, number, "indented with a tab, where YAML takes only spaces");
        }
    }
}

std::string explained(const YAML::Exception& failure) {
    if (dynamic_cast<const YAML::DeepRecursion*>(&failure) != nullptr) {
        return "nested too deeply";
    }
    return failure.msg == YAML::ErrorMsg::DOC_IN_SCALAR ? "a quoted text does not end" : failure.msg;
}

// The parser lets pass a quoted text that the end of the file ends, so that all the rest is in it, but not
// one that the end of the document ends.
std::vector<YAML::Node> parse(const std::string& file, const std::string& content) {
    try {
        return YAML::LoadAll(content + "\n...\n");
    } catch (const YAML::Exception& failure) {
        const auto lines = static_cast<int>(std::count(content.begin(), content.end(), '\n'));
        const int line = std::min(failure.mark.line + 1, lines + 1);
        requireNoTab(file, content, line);
        throw problemIn(file, line, explained(failure));
    }
}

YAML::Node onlyDocument(const std::string& file, const std::string& content) {
    const std::vector<YAML::Node> documents = parse(file, content);
    if (documents.empty() || (documents.size() == 1 && documents.front().IsNull())) {
        throw problemIn(file, 0, "is empty");
    }
    if (documents.size() > 1) {
        throw problemIn(file, documents[1].Mark().line + 1, "a second document begins");
    }
    return documents.front();
}

}  // namespace

// Makes values of the parser's nodes, which change when they are only looked at.
class YamlReader {
  public:
    explicit YamlReader(const std::string& file) : file_(std::make_shared<const std::string>(file)) {}

    Yaml read() { return valueOf(onlyDocument(*file_, textOfFile()), 1, 0); }

  private:
    std::string textOfFile() const {
        std::string content = contentOf(*file_);
        requireText(*file_, content);
        return content;
    }

    Yaml valueOf(const YAML::Node& node, int lineOfKey, int depth) {
        Yaml value;
        value.file_ = file_;
        value.line_ = node.IsNull() ? lineOfKey : node.Mark().line + 1;
        requireEnd(value, depth);
        if (node.IsScalar()) {
            value.kind_ = Yaml::Kind::Text;
            value.text_ = node.Scalar();
        } else if (node.IsSequence()) {
            addList(value, node, depth);
        } else if (node.IsMap()) {
            addMap(value, node, depth);
        }
        return value;
    }

    // An anchor may stand within itself, or be repeated beyond measure.
    void requireEnd(const Yaml& value, int depth) {
        constexpr int deepest = 32;
        constexpr int most = 1'000'000;
        if (depth > deepest || ++count_ > most) {
            throw value.error("nested too deeply, or too much of it");
        }
    }

    void addList(Yaml& list, const YAML::Node& node, int depth) {
        list.kind_ = Yaml::Kind::List;
        for (const auto& item : node) {
            list.values_.push_back(valueOf(item, list.line_, depth + 1));
        }
    }

    void addMap(Yaml& map, const YAML::Node& node, int depth) {
        map.kind_ = Yaml::Kind::Map;
        for (const auto& entry : node) {
            Yaml key = valueOf(entry.first, map.line_, depth + 1);
            if (map.find(key.text()) != nullptr) {
                throw key.error(fmt::format("the key '{}' comes twice", printable(key.text())));
            }
            map.values_.push_back(valueOf(entry.second, key.line_, depth + 1));
            map.keys_.push_back(std::move(key));
        }
    }

    std::shared_ptr<const std::string> file_;
    int count_ = 0;
};

Yaml Yaml::read(const std::string& file) {
    return YamlReader(file).read().as(Kind::Map);
}

const std::string& Yaml::text() const {
    return as(Kind::Text).text_;
}

double Yaml::number() const {
    const std::string& digits = text();
    const char* const end = digits.data() + digits.size();
    double number = 0;
    const auto [rest, problem] = std::from_chars(digits.data(), end, number);
    if (problem != std::errc() || rest != end || !std::isfinite(number)) {
        throw error(fmt::format("'{}' is no number", printable(digits)));
    }
    return number;
}

bool Yaml::flag() const {
    try {
        return YAML::Node(text()).as<bool>();
    } catch (const YAML::BadConversion&) {
        throw error(fmt::format("'{}' is neither true nor false", printable(text_)));
    }
}

const std::vector<Yaml>& Yaml::list() const {
    return as(Kind::List).values_;
}

std::vector<std::string> Yaml::texts() const {
    std::vector<std::string> texts;
    std::transform(list().begin(), list().end(), std::back_inserter(texts),
                   [](const Yaml& item) { return item.text(); });
    return texts;
}

const std::vector<Yaml>& Yaml::keys() const {
    return as(Kind::Map).keys_;
}

const std::vector<Yaml>& Yaml::values() const {
    return as(Kind::Map).values_;
}

void Yaml::allowKeys(std::initializer_list<std::string_view> known) const {
    for (const Yaml& key : keys()) {
        if (std::find(known.begin(), known.end(), key.text_) == known.end()) {
            throw key.error(fmt::format("unknown key '{}'; known here: {}", printable(key.text_),
                                        fmt::join(known, ", ")));
        }
    }
}

const Yaml* Yaml::find(std::string_view key) const {
    const auto found =
        std::find_if(keys().begin(), keys().end(), [&](const Yaml& one) { return one.text_ == key; });
    return found == keys_.end() ? nullptr : &values_[static_cast<std::size_t>(found - keys_.begin())];
}

const Yaml& Yaml::require(std::string_view key) const {
    if (const Yaml* const value = find(key)) {
        return *value;
    }
    throw error(fmt::format("the key '{}' is missing", key));
}

BadYaml Yaml::error(std::string_view problem) const {
    return problemIn(*file_, line_, problem);
}

const Yaml& Yaml::as(Kind kind) const {
    constexpr std::array names{"nothing", "a text", "a list", "a map"};
    if (kind_ != kind) {
        throw error(fmt::format("{} is expected here, not {}", names.at(static_cast<std::size_t>(kind)),
                                names.at(static_cast<std::size_t>(kind_))));
    }
    return *this;
}

}  // namespace tools::exporter
