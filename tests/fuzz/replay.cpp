// Runs a target on the files of directories, where no fuzzer drives it: fuzz_TARGET DIRECTORY...
#include "bytes.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

int main(int argc, char **argv) {
    size_t runs = 0;
    for (int i = 1; i < argc; ++i) {
        std::set<std::filesystem::path> files;
        for (const auto &entry : std::filesystem::directory_iterator(argv[i])) {
            files.insert(entry.path());
        }
        for (const auto &path : files) {
            std::cout << path.filename().string() << std::endl;  // so that one that crashes is the last
            std::ifstream file(path, std::ios::binary);
            const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
            ++runs;
        }
    }
    std::cout << runs << " runs" << std::endl;
    return runs > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
