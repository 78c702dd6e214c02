// YAML files of the owner, read whole: values know their place, so that each mistake is told with its line.
// Not a reader of any one file: what its keys mean is up to those who ask (configuration.h, mapping.h).
// Nothing here comes from the protocol of the Gateways.
#ifndef EXPORTER_YAML_H
#define EXPORTER_YAML_H

#include <initializer_list>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tools::exporter {

// Cannot be read, or is not what was asked for. what() is one line: "file:line: text", or "file: text".
class BadYaml : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// A text, a list, a map, or nothing at all (`key:`). All that is asked of the wrong kind throws BadYaml.
class Yaml {
  public:
    // A file with one document, which is a map. No key comes twice in a map.
    static Yaml read(const std::string& file);

    const std::string& text() const;
    double number() const;  // finite
    bool flag() const;      // true or false, and YAML's older words for them: yes, no, on, off

    const std::vector<Yaml>& list() const;
    std::vector<std::string> texts() const;  // a list of texts

    // Of a map: its keys, and the values in the same order.
    const std::vector<Yaml>& keys() const;
    const std::vector<Yaml>& values() const;
    void allowKeys(std::initializer_list<std::string_view> known) const;
    const Yaml* find(std::string_view key) const;  // null if the key is missing
    const Yaml& require(std::string_view key) const;

    // To be thrown by those who do not like the value.
    BadYaml error(std::string_view problem) const;

  private:
    friend class YamlReader;
    enum class Kind { Nothing, Text, List, Map };

    const Yaml& as(Kind kind) const;

    std::shared_ptr<const std::string> file_{};
    int line_ = 0;  // from 1
    Kind kind_ = Kind::Nothing;
    std::string text_{};
    std::vector<Yaml> keys_{};
    std::vector<Yaml> values_{};
};

}  // namespace tools::exporter

#endif
