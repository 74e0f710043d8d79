// An operator who sends a module anything at all; what comes back is read as quib reads it.
#include "bytes.h"

#include <fcntl.h>
#include <ox_mom.h>
#include <quib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstring>
#include <string>

#include "command_line/exit_status.h"
#include "private_directory.h"
#include "quib/console/frame_reader.h"

namespace {

int32_t print(int32_t number, const char *text) {
    fuzz::expect(text != nullptr, "a text is there");
    return dprintf(STDOUT_FILENO, "%d %s\n", number, text) > 0 ? number : -1;
}

int32_t nothing() { return 0; }

struct Module {
    Module() {
        setenv("QUIB_DIR", directory.path().c_str(), 1);
        client = ox_mom_client_create("mem:");
        fuzz::expect(client != nullptr && quib_lib_init(client, "m") == 0, "a module is made");
        quib_reg_mod_cmd("m", "print", 0, "number=%d text=%s", reinterpret_cast<QuibHandler>(print));
        quib_reg_mod_cmd("m", "plain", 0, "%d %s", reinterpret_cast<QuibHandler>(print));
        quib_reg_mod_cmd("m", "nothing", 0, "void", reinterpret_cast<QuibHandler>(nothing));
    }

    test_support::PrivateDirectory directory;
    MomClient *client;
};

int connect_to(const Module &module) {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, (module.directory.path() + "/m").c_str(), sizeof address.sun_path - 1);
    fuzz::expect(connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0, "a module listens");
    return fd;
}

// False when the module has ended the conversation.
bool read_answers(int fd, console::FrameReader &reader) {
    std::array<char, 4096> buffer{};
    ssize_t n = 0;
    while ((n = read(fd, buffer.data(), buffer.size())) > 0) {
        reader.add({buffer.data(), static_cast<size_t>(n)});
        while (const auto piece = reader.next()) {
            if (piece->kind == 'x') {
                console::exit_status_in(piece->bytes);
            }
        }
    }
    return n != 0;
}

void process(const Module &module) {
    while (ox_mom_client_process(module.client, 0) > 0) {
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const Module module;
    fuzz::Bytes bytes(data, size);
    const int fd = connect_to(module);
    console::FrameReader reader;
    bool open = true;
    while (open && !bytes.empty()) {
        const std::string_view said = bytes.text();
        open = send(fd, said.data(), said.size(), MSG_NOSIGNAL) >= 0;
        process(module);
        open = read_answers(fd, reader) && open;
    }
    close(fd);
    process(module);
    return 0;
}
