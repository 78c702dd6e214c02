// Runs a fuzz target on files, for builds without a fuzzer: on every file given, and on all in a folder given.
// Makes no input of its own; the fuzzer does. It fails when there is nothing to run, so that a corpus that
// went missing is noticed.
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include "input.h"

namespace {

namespace filesystem = std::filesystem;

std::vector<filesystem::path> filesAt(const filesystem::path& path) {
    if (!filesystem::is_directory(path)) {
        return {path};
    }
    std::vector<filesystem::path> files;
    for (const auto& entry : filesystem::directory_iterator(path)) {
        files.push_back(entry.path());
    }
    return files;
}

std::string contentOf(const filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    file.exceptions(std::ios::badbit | std::ios::failbit);
    return {std::istreambuf_iterator<char>(file), {}};
}

// The name is told before the run: a run that goes wrong ends the process. The input is copied into memory
// that ends where it does.
void run(const filesystem::path& path) {
    std::cout << path.filename().string() << std::endl;
    const std::string content = contentOf(path);
    const std::vector<std::uint8_t> input(content.begin(), content.end());
    LLVMFuzzerTestOneInput(input.data(), input.size());
}

int runAll(int argc, char** argv) {
    LLVMFuzzerInitialize(&argc, &argv);
    int runs = 0;
    for (int argument = 1; argument < argc; ++argument) {
        for (const filesystem::path& path : filesAt(argv[argument])) {
            run(path);
            ++runs;
        }
    }
    std::cout << runs << " inputs" << std::endl;
    return runs > 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return runAll(argc, argv);
    } catch (const std::exception& problem) {
        std::cerr << problem.what() << '\n';
        return 1;
    }
}
