#include "options.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>

namespace bench {

int runProgram(int argc, char** argv, const std::string& description,
               const std::function<void(const Options&)>& work) {
    Options options;
    CLI::App app(description);
    app.add_option("--gateway", options.ports.gateway, "Port of the Gateway");
    app.add_option("--redis", options.ports.redis, "Port of Redis");
    app.add_option("--postgres", options.ports.postgres, "Port of PostgreSQL");
    app.add_option("--sizes", options.sizes, "How many items queries bring")->delimiter(',');
    app.add_option("--seconds", options.seconds, "How long each thing is measured");
    app.add_option("--results", options.results, "Add what was measured to this file");
    app.add_option("--label", options.label, "Stands in front of the names there");
    app.add_option("--scratch", options.scratch, "A folder for files that are not kept");
    CLI11_PARSE(app, argc, argv);
    try {
        work(options);
    } catch (const std::exception& problem) {
        std::cout.flush();
        std::cerr << argv[0] << ": " << problem.what() << '\n';
        return 1;
    }
    return 0;
}

}  // namespace bench
