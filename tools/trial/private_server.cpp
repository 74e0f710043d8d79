#include "trial/private_server.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <thread>

#include "command_line/exit_status.h"
#include "record/record_type.h"
#include "store/store.h"
#include "trial/child.h"
#include "trial/deferred_signals.h"

namespace trial {

using namespace command_line;

namespace {

namespace fs = std::filesystem;

std::string make_directory() {
    std::error_code error;
    std::string name = fs::temp_directory_path(error) / "trel_capctl-XXXXXX";
    if (error || mkdtemp(name.data()) == nullptr) {
        throw Failure(kFailed, "no temporary directory: " + std::string(std::strerror(errno)));
    }
    return name;
}

std::string installed_server() {
    const char *path = std::getenv("PATH");
    for (const char *program : {"redis-server", "valkey-server"}) {
        std::string_view rest = path == nullptr ? "" : path;
        while (!rest.empty()) {
            const std::string_view place = rest.substr(0, rest.find(':'));
            rest.remove_prefix(std::min(place.size() + 1, rest.size()));
            std::error_code error;
            if (fs::exists(fs::path(place) / program, error)) {
                return program;
            }
        }
    }
    throw Failure(kFailed, "test --run takes a server, and neither redis-server nor valkey-server is along $PATH");
}

}  // namespace

PrivateServer::PrivateServer() : directory_(make_directory()) {
    try {
        const std::string program = installed_server();
        child_ = std::make_unique<Child>(std::vector<std::string>{program, "--port", "0", "--unixsocket",
                                                                  directory_ + "/socket", "--databases", "32", "--save",
                                                                  "", "--dir", directory_},
                                         Environment{}, Child::Streams::kSilent);
        wait_until_it_answers(program);
    } catch (...) {
        remove_all();
        throw;
    }
}

PrivateServer::~PrivateServer() { remove_all(); }

void PrivateServer::wait_until_it_answers(const std::string &program) {
    constexpr auto kPatience = std::chrono::seconds(20);
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    std::string reason;
    while (std::chrono::steady_clock::now() < deadline && !child_->has_ended()) {
        try {
            store::Store(store_name()).connect(record::record_types().front().db);
            return;
        } catch (const Failure &failure) {
            reason = failure.what();
        }
        DeferredSignals::check();
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    throw Failure(kNoConnection, program + " does not answer: " + reason);
}

void PrivateServer::remove_all() {
    child_.reset();
    std::error_code error;
    fs::remove_all(directory_, error);
}

}  // namespace trial
