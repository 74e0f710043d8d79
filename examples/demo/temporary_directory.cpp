#include "temporary_directory.h"

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace demo {

TemporaryDirectory::TemporaryDirectory()
    : path_((std::filesystem::temp_directory_path() / "trel_cap_demo.XXXXXX").string()) {
    if (mkdtemp(path_.data()) == nullptr) {
        throw std::runtime_error("a directory cannot be made: " + path_);
    }
}

TemporaryDirectory::~TemporaryDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

}  // namespace demo
