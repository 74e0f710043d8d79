#include "output.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <nlohmann/json.hpp>
#include <string>

#include "exit_code.h"

namespace capctl {

void Output::write(std::string_view text) {
    // A failure stays on record in the stream until close() looks.
    static_cast<void>(fwrite(text.data(), 1, text.size(), stdout));
}

void Output::write_line(std::string_view text) {
    write(text);
    write("\n");
}

void Output::write_json(const nlohmann::ordered_json &value) {
    write_line(value.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
}

void Output::close() {
    errno = 0;
    const bool failed_before = ferror(stdout) != 0;
    if (fclose(stdout) != 0 || failed_before) {
        const std::string reason = errno == 0 ? "" : std::string(": ") + std::strerror(errno);
        throw Failure(kFailed, "standard output cannot be written" + reason);
    }
}

}  // namespace capctl
