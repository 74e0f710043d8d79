// The files that set the log level at start-up, in a /data of the process's own.
#include "bytes.h"

#include <trel_cap/trel_cap.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "private_root.h"

namespace {

const std::string kDirectory = "/data/.oxos/vsd/0/sw-frame/cap/trel_cap/";

void write(const char *name, std::string_view text) {
    std::ofstream file(kDirectory + name, std::ios::binary | std::ios::trunc);
    file << text << std::flush;
    fuzz::expect(file.good(), "a level file can be written");
}

bool enter() {
    const std::string why = test_support::enter_private_root();
    if (!why.empty()) {
        std::cout << "level files need a /data of their own, which is not to be had: " << why << std::endl;
        std::exit(fuzz::kSkipped);
    }
    return std::filesystem::create_directories(kDirectory);
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    [[maybe_unused]] static const bool entered = enter();
    fuzz::Bytes bytes(data, size);
    write("trel_cap_dbg.txt", bytes.text());
    write("fuzz", bytes.rest());
    fuzz::expect(trel_cap_zlog_init("fuzz") == 0, "logging is set up whatever the files say");
    return 0;
}
