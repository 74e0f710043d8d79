// zlog's configuration, as it is handed on. Of files that could name another file or a program nothing is tried: zlog
// would write to the one and run the other.
#include "bytes.h"

#include <zlog.h>

#include <fstream>
#include <string>

#include "configuration.h"
#include "private_directory.h"

namespace {

struct File {
    File() { setenv("OX_ZLOG_CONF", path.c_str(), 1); }

    test_support::PrivateDirectory directory;
    std::string path = directory.file("zlog.conf");
};

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const File file;
    const std::string_view text = fuzz::Bytes(data, size).rest();
    if (text.find_first_of("/|\"$%") != std::string_view::npos) {
        return 0;
    }
    std::ofstream(file.path, std::ios::binary | std::ios::trunc) << text << std::flush;
    fuzz::expect(zlog_layer::configure(), "there is a log whatever the file says");
    fuzz::expect(zlog_get_category("fuzz") != nullptr, "a category is had");
    zlog_fini();
    return 0;
}
