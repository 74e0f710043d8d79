// The frames of an answer, whoever it is that listens as a module.
#include "bytes.h"

#include "command_line/exit_status.h"
#include "quib/console/frame_reader.h"

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz::Bytes bytes(data, size);
    console::FrameReader reader;
    try {
        while (!bytes.empty()) {
            reader.add(bytes.text());
            while (const auto piece = reader.next()) {
                if (piece->kind == 'x') {
                    console::exit_status_in(piece->bytes);
                }
            }
        }
    } catch (const command_line::Failure &failure) {
        fuzz::expect(*failure.what() != '\0', "a failure says why");
    }
    return 0;
}
