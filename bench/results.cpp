#include "results.h"

#include <fstream>
#include <stdexcept>

namespace bench {

void appendResults(const std::string& file, const Results& results) {
    if (file.empty()) {
        return;
    }
    std::ofstream out(file, std::ios::app);
    for (const auto& [name, value] : results) {
        out << name << ' ' << value << '\n';
    }
    if (!out.flush()) {
        throw std::runtime_error("cannot write " + file);
    }
}

Results readResults(const std::string& file) {
    std::ifstream in(file);
    if (!in) {
        throw std::runtime_error("cannot read " + file);
    }
    Results results;
    std::string name;
    for (double value = 0; in >> name >> value;) {
        results[name] = value;
    }
    return results;
}

}  // namespace bench
