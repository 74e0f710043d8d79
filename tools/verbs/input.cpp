#include "verbs/input.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fcntl.h>

#include "command_line/exit_status.h"
#include "command_line/text.h"
#include "record/dump.h"
#include "record/field_text.h"

namespace capctl {

using namespace command_line;

namespace {

[[noreturn]] void fail(const std::string &file) { throw Failure(kFailed, quote(file) + ": " + std::strerror(errno)); }

}  // namespace

std::string read_input(const std::string &file) {
    const bool is_standard = file == "-";
    const int fd = is_standard ? STDIN_FILENO : open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        fail(file);
    }
    std::string text;
    char part[65536];
    ssize_t size = 0;
    while ((size = read(fd, part, sizeof part)) != 0) {
        if (size < 0 && errno != EINTR) {
            fail(file);
        }
        text.append(part, static_cast<size_t>(size < 0 ? 0 : size));
    }
    if (!is_standard) {
        close(fd);
    }
    return text;
}

std::string input_name(const std::string &file) { return file == "-" ? "standard input" : file; }

std::vector<record::Record> read_dump(const std::string &file) {
    return record::parse_dump(input_name(file), read_input(file));
}

store::Snapshot read_snapshot(const std::string &file) {
    store::Snapshot snapshot;
    for (const record::Record &record : read_dump(file)) {
        snapshot.put(record);
    }
    return snapshot;
}

void set_from_bytes(record::Record &record, std::string_view path, std::string bytes) {
    const ProtobufCFieldDescriptor &field = record::value_field(record.type(), path);
    if (field.type == PROTOBUF_C_TYPE_BYTES) {
        record.set(path, bytes);
        return;
    }
    if (bytes.ends_with('\n')) {
        bytes.pop_back();
    }
    record.set_text(path, bytes);
}

}  // namespace capctl
