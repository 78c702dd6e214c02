// Patterns with wildcards, for ids of statistics and for targets of probes.
// Not regular expressions: those are the mapping's (mapping.h).
// Nothing here comes from the protocol.
#ifndef EXPORTER_PATTERN_H
#define EXPORTER_PATTERN_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "common/endpoint.h"

namespace tools::exporter {

// HOST:PORT of a Gateway, the host in lower case: as names do not differ by case, one Gateway has one name here.
// Throws BadEndpoint.
Endpoint gatewayOf(const std::string& text);

// What a text is held against, piece by piece. Takes time in proportion to the length of both, however they
// are made.
class Wildcards {
  public:
    // Characters that stand for themselves, save '?' for one of the others, '*' for some or none of them.
    enum class Kind {
        Plain,
        Target,  // '*' is at least one, and like '?' neither '.' nor ':'; "**" is any
        Ipv4     // '*' is at least one, and like '?' a digit; "**" is digits and '.'
    };
    Wildcards(std::string_view text, Kind kind);
    bool fit(std::string_view text) const;

  private:
    enum class Takes { Literal, Any, Part, Digits, DigitsAndDots };
    struct Piece {
        Takes what = Takes::Literal;
        char literal = 0;
        bool repeats = false;  // any number of times, zero included
    };
    static Takes takenByOne(Kind kind);
    static bool takes(const Piece& piece, char byte);
    bool step(std::vector<char>& reached, char byte) const;
    void skip(std::vector<char>& reached) const;

    std::vector<Piece> pieces_{};
};

// '*' stands for any bytes, none included, '?' for one.
class Pattern {
  public:
    explicit Pattern(std::string text);
    bool fits(std::string_view id) const { return wildcards_.fit(id); }
    const std::string& text() const { return text_; }

  private:
    std::string text_;
    Wildcards wildcards_;
};

// HOST:PORT with wildcards: '*' stands for one or more characters other than '.' and ':', so that
// "*.example.org:27400" lets in no host of another domain, '?' for one such character, "**" for any
// characters. Where the host is made of digits, dots and wildcards only, and begins with a digit, it is the address
// of a network, and lets no names in: wildcards stand for digits there, "**" for dots too. Hosts are compared without regard to case, as texts; a missing port is the default one.
class TargetPattern {
  public:
    explicit TargetPattern(const std::string& text);  // throws BadEndpoint
    bool fits(const Endpoint& target) const;
    const std::string& text() const { return text_; }

  private:
    std::string text_;
    Wildcards host_;
    Wildcards port_;
};

}  // namespace tools::exporter

#endif
