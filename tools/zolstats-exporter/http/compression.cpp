// gzip by zlib, and who accepts it.
// Not a negotiation between several codings: there is gzip, or none.
// Nothing here comes from the protocol of the Gateways.
#include "compression.h"

#include <zlib.h>

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>
#include <regex>
#include <stdexcept>

#include "caseless.h"

namespace tools::exporter::http {
namespace {

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view SPACE = " \t";
    const auto first = text.find_first_not_of(SPACE);
    return first == text.npos ? std::string_view()
                              : text.substr(first, text.find_last_not_of(SPACE) - first + 1);
}

// Takes what stands before the separator off the text.
std::string_view next(std::string_view& text, char separator) {
    const auto end = std::min(text.find(separator), text.size());
    const auto part = trimmed(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    return part;
}

// From 0 to 1 with three digits at most; what is no weight accepts nothing.
double weightIn(std::string_view text) {
    static const std::regex form(R"(0(\.[0-9]{0,3})?|1(\.0{0,3})?)");
    double weight = 0;
    if (std::regex_match(text.begin(), text.end(), form)) {
        std::from_chars(text.data(), text.data() + text.size(), weight);
    }
    return weight;
}

double weightOf(std::string_view parameters) {
    double weight = 1;
    while (!parameters.empty()) {
        auto value = next(parameters, ';');
        if (isSameName(next(value, '='), "q")) {
            weight = std::min(weight, weightIn(value));
        }
    }
    return weight;
}

class Compressor {
  public:
    Compressor() {
        // The fastest level: metrics shrink to a tenth by any. 16 more than the window's bits asks for gzip.
        if (deflateInit2(&stream_, Z_BEST_SPEED, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
            throw std::bad_alloc();
        }
    }
    ~Compressor() { deflateEnd(&stream_); }
    Compressor(const Compressor&) = delete;
    Compressor& operator=(const Compressor&) = delete;

    std::string run(std::string_view text) {
        std::string result(deflateBound(&stream_, text.size()), '\0');
        // zlib does not write to its input.
        stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
        stream_.avail_in = static_cast<uInt>(text.size());
        stream_.next_out = reinterpret_cast<Bytef*>(result.data());
        stream_.avail_out = static_cast<uInt>(result.size());
        if (deflate(&stream_, Z_FINISH) != Z_STREAM_END) {
            throw std::runtime_error("The answer cannot be compressed.");
        }
        result.resize(stream_.total_out);
        return result;
    }

  private:
    z_stream stream_{};
};

}  // namespace

// What is said of gzip itself holds, wherever "*" stands. The text as it is comes second, unless it is asked for by its name
// and with more weight.
bool acceptsGzip(std::string_view acceptEncoding) {
    std::optional<double> gzip;
    double others = 0;
    double identity = 0;
    while (!acceptEncoding.empty()) {
        auto parameters = next(acceptEncoding, ',');
        const auto coding = next(parameters, ';');
        if (isSameName(coding, "gzip") || isSameName(coding, "x-gzip")) {
            gzip = weightOf(parameters);
        } else if (isSameName(coding, "identity")) {
            identity = weightOf(parameters);
        } else if (coding == "*") {
            others = weightOf(parameters);
        }
    }
    const double weight = gzip.value_or(others);
    return weight > 0 && weight >= identity;
}

std::string gzip(std::string_view text) {
    // Half of what zlib counts with: the bound of the compressed size is greater than the text.
    if (text.size() > std::numeric_limits<uInt>::max() / 2) {
        throw std::length_error("The answer is too large to be compressed.");
    }
    return Compressor().run(text);
}

}  // namespace tools::exporter::http
