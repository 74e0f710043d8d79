// Scenario files.
#include "bytes.h"

#include "command_line/exit_status.h"
#include "scenario/scenario.h"

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    try {
        scenario::read_text(fuzz::Bytes(data, size).rest(), "file");
    } catch (const command_line::Failure &failure) {
        fuzz::expect(std::string_view(failure.what()).starts_with("file"), "a failure names the file");
    }
    return 0;
}
