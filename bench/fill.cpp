// Gives the servers that do not know items by themselves the items that the other programs ask for.
#include "column.h"
#include "options.h"

namespace bench {
namespace {

void fill(const Options& options) {
    for (const std::size_t count : options.sizes) {
        fillRedis(options.ports, count);
        fillPostgres(options.ports, count);
    }
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
    return bench::runProgram(argc, argv, "Fills the other servers", bench::fill);
}
