// A folder of a test's own below the build folder. Tests run beside one another, each in a process of its own: a
// file with a fixed name is one that another of them may be writing.
#ifndef ZOLSTATS_TESTS_SCRATCH_FOLDER_H
#define ZOLSTATS_TESTS_SCRATCH_FOLDER_H

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

namespace testing_support {

// Goes with this object.
class ScratchFolder {
  public:
    ScratchFolder() {
        if (mkdtemp(path_.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), path_);
        }
    }
    ~ScratchFolder() { std::filesystem::remove_all(path_); }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::filesystem::path path() const { return path_; }

    // The path of a file with this content.
    std::string write(const std::string& name, const std::string& content) const {
        const std::filesystem::path file = path() / name;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << content;
        return file;
    }

  private:
    std::string path_ = std::string(SCRATCH_FOLDER) + "/scratch.XXXXXX";
};

}  // namespace testing_support

#endif
