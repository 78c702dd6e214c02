// A trace of the library line by line: frames told from dumps, and what authorises left out.
// Not the place where traces are made.
// The lines of a trace are described in docs/tracing.md.
#include "trace_lines.h"

#include "text.h"

namespace tools {
namespace {

constexpr const char* CUT = "(what stood here belongs to the authorisation)";

// "21/11/26 14:09:51:687 [0x000026C7,0xD51AA740] [2006] ENTRY  ...": what has no such frame is a dump.
constexpr std::size_t POINT_AT = 46;
constexpr std::size_t WORD_AT = 53;

bool isFramed(const std::string& line) {
    return line.size() > WORD_AT && line[2] == '/' && line[5] == '/' && line.compare(22, 3, "[0x") == 0 &&
           line[POINT_AT] == '[' && line[POINT_AT + 5] == ']';
}

bool isAt(const std::string& line, const char* point) {
    return line.compare(POINT_AT + 1, 4, point) == 0;
}

bool isFailure(const std::string& line) {
    return line.compare(WORD_AT, 5, "*EXC*") == 0;
}

// Dumps that may hold what authorises: from the start of an exchange until it has succeeded. After one that has failed
// its bytes may still come in with the reply to the next request, so only a new connection ends that.
class Authorisation {
  public:
    void follow(const std::string& framedLine) {
        if (isAt(framedLine, "3209")) {
            mayShow_ = true;
        } else if (isAt(framedLine, "3000") || (isAt(framedLine, "3214") && framedLine.ends_with(" rc=0"))) {
            mayShow_ = false;
        }
    }
    bool mayShow() const { return mayShow_; }

  private:
    bool mayShow_ = false;
};

}  // namespace

std::size_t readTrace(std::istream& trace, const std::function<void(const TraceLine&)>& take) {
    std::size_t lines = 0;
    Authorisation authorisation;
    bool isCut = false;
    for (std::string line; std::getline(trace, line); ++lines) {
        const bool framed = isFramed(line);
        if (framed) {
            authorisation.follow(line);
        }
        const bool shows = framed || !authorisation.mayShow();
        if (shows) {
            take({printable(line), framed && isFailure(line)});
        } else if (!isCut) {
            take({CUT});
        }
        isCut = !shows;
    }
    return lines;
}

}  // namespace tools
