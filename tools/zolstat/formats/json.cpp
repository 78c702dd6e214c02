// Samples as JSON: one document, or one object a line.
// Not the place where the shape is written down: that is schema/zolstat-output.schema.json.
// The protocol that the statistics come by is written down in docs/protocol.md.
#include <algorithm>
#include <initializer_list>
#include <nlohmann/json.hpp>

#include "columns.h"
#include "common/escape.h"
#include "common/number.h"
#include "renderers.h"

namespace tools::zolstat {
namespace {

constexpr const char* FORMAT_VERSION = "1";
constexpr const char* NOTHING = "null";

// The members of an object, in their order. Their values are JSON already: a number keeps all its digits only
// as the text that it came as.
class Members {
  public:
    Members& add(std::string_view name, std::string_view json) {
        text_.append(text_.empty() ? "\"" : ",\"").append(name).append("\":").append(json);
        return *this;
    }
    std::string object() const { return '{' + text_ + '}'; }
    bool empty() const { return text_.empty(); }

  private:
    std::string text_;
};

// Texts that belong to one object: if one of them is not UTF-8, all are escaped, and the object says so.
class Texts {
  public:
    explicit Texts(std::initializer_list<std::string_view> all)
        : escapes_(!std::all_of(all.begin(), all.end(), isUtf8)) {}

    // In ASCII, so that neither a terminal nor a script can be harmed.
    std::string json(std::string_view text) const {
        return nlohmann::json(escapes_ ? escaped(text, Alphabet::Utf8) : std::string(text))
            .dump(-1, ' ', true);
    }
    void addMark(Members& members) const {
        if (escapes_) {
            members.add("escaped", "true");
        }
    }

  private:
    bool escapes_;
};

const char* nameOf(Kind kind) {
    return kind == Kind::Groups ? "groups" : kind == Kind::Ids ? "ids" : "statistics";
}

std::string listOf(const std::vector<std::string>& elements) {
    std::string list = "[";
    for (const std::string& element : elements) {
        list += (list.size() == 1 ? "" : ",") + element;
    }
    return list + ']';
}

// Where a whole group was asked for, and it was rejected or is without statistics.
bool hasId(const Reading& reading, Kind kind) {
    const bool isName = kind == Kind::Ids && !reading.rejected();
    return isName || !reading.id.empty() || reading.value.has_value();
}

std::string valueOf(const Reading& reading, const Texts& texts) {
    if (!reading.value) {
        return NOTHING;
    }
    return isJsonNumber(*reading.value) ? *reading.value : texts.json(*reading.value);
}

void addChange(const Reading& reading, Members& members) {
    if (const std::string change = changeText(reading); !change.empty()) {
        members.add("change", reading.change->restarted ? '"' + change + '"' : change);
    }
}

void addReading(const Reading& reading, Kind kind, const Texts& texts, Members& members) {
    const bool hasGroup = kind == Kind::Groups || !reading.group.empty();
    members.add("group", hasGroup ? texts.json(reading.group) : NOTHING);
    if (kind != Kind::Groups) {
        members.add("id", hasId(reading, kind) ? texts.json(reading.id) : NOTHING);
    }
    if (kind == Kind::Statistics) {
        members.add("value", valueOf(reading, texts));
    }
    members.add("code", std::to_string(reading.code));
    addChange(reading, members);
    texts.addMark(members);
}

Texts textsOf(const Reading& reading, std::string_view host = "") {
    return Texts{host, reading.group, reading.id, reading.value ? std::string_view(*reading.value) : ""};
}

Texts textsOf(const Sample& sample) {
    return Texts{sample.gateway.host, sample.failure ? std::string_view(sample.failure->text) : ""};
}

void addOrigin(const Sample& sample, const Texts& texts, Members& members) {
    members.add("host", texts.json(sample.gateway.host))
        .add("port", std::to_string(sample.gateway.port))
        .add("time", '"' + timestamp(sample.time) + '"');
}

void addFailure(const Sample& sample, const Texts& texts, Members& members) {
    if (sample.failure) {
        members.add("error", Members()
                                 .add("exit_code", std::to_string(static_cast<int>(sample.failure->exitCode)))
                                 .add("code", std::to_string(sample.failure->code))
                                 .add("message", texts.json(sample.failure->text))
                                 .object());
    }
}

std::string elementOf(const Reading& reading, Kind kind) {
    Members members;
    addReading(reading, kind, textsOf(reading), members);
    return members.object();
}

std::string elementOf(const Sample& sample, Kind kind) {
    std::vector<std::string> readings;
    readings.reserve(sample.readings.size());
    for (const Reading& reading : sample.readings) {
        readings.push_back(elementOf(reading, kind));
    }
    const Texts texts = textsOf(sample);
    Members members;
    addOrigin(sample, texts, members);
    addFailure(sample, texts, members);
    members.add(nameOf(kind), listOf(readings));
    texts.addMark(members);
    return members.object();
}

std::string lineOf(const Sample& sample, const Reading& reading, Kind kind) {
    const Texts texts = textsOf(reading, sample.gateway.host);
    Members members;
    members.add("format_version", FORMAT_VERSION);
    addOrigin(sample, texts, members);
    addReading(reading, kind, texts, members);
    return members.object() + '\n';
}

std::string lineOfFailure(const Sample& sample) {
    const Texts texts = textsOf(sample);
    Members members;
    members.add("format_version", FORMAT_VERSION);
    addOrigin(sample, texts, members);
    addFailure(sample, texts, members);
    texts.addMark(members);
    return members.object() + '\n';
}

}  // namespace

std::string renderJson(const Samples& samples, Kind kind, const Layout&) {
    std::vector<std::string> elements;
    elements.reserve(samples.size());
    for (const Sample& sample : samples) {
        elements.push_back(elementOf(sample, kind));
    }
    return Members()
               .add("format_version", FORMAT_VERSION)
               .add("kind", '"' + std::string(nameOf(kind)) + '"')
               .add("samples", listOf(elements))
               .object() +
           '\n';
}

std::string renderNdjson(const Samples& samples, Kind kind, const Layout&) {
    std::string text;
    for (const Sample& sample : samples) {
        text += sample.failure ? lineOfFailure(sample) : "";
        for (const Reading& reading : sample.readings) {
            text += lineOf(sample, reading, kind);
        }
    }
    return text;
}

}  // namespace tools::zolstat
