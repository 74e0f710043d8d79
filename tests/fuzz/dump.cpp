// Dumps, as load reads them.
#include "bytes.h"

#include "command_line/exit_status.h"
#include "record/dump.h"

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    try {
        for (const record::Record &each : record::parse_dump("file", fuzz::Bytes(data, size).rest())) {
            fuzz::expect(record::Record(each) == each, "a record is its copy");
        }
    } catch (const command_line::Failure &failure) {
        fuzz::expect(std::string_view(failure.what()).starts_with("file"), "a failure names the file");
    }
    return 0;
}
