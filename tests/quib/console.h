// A program with a module, and operators who are connected to it.
#pragma once

#include <ox_mom.h>
#include <quib.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "private_directory.h"

namespace quib_test {

using std::chrono::milliseconds;

// For what comes at once on an idle machine: a wait ends with what it waits for. Shorter than ctest's own limit.
inline constexpr milliseconds kLongEnough(40000);

struct ClientDeleter {
    void operator()(MomClient *client) const { ox_mom_client_destroy(client); }
};
using ClientPtr = std::unique_ptr<MomClient, ClientDeleter>;

ClientPtr make_client();

// What came back for one line.
struct Answer {
    std::string output;
    std::string errors;
    std::optional<int> code;  // empty: the connection ended before the end of the answer
    bool operator==(const Answer &) const = default;
};
std::ostream &operator<<(std::ostream &out, const Answer &answer);

// An operator's socket. Nothing here waits for the program.
class Operator {
public:
    explicit Operator(const std::string &path, int receive_buffer = 0);
    Operator(Operator &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Operator(const Operator &) = delete;
    ~Operator() { hang_up(); }

    bool connected() const { return fd_ >= 0; }
    int fd() const { return fd_; }
    // False when not all of it could be sent.
    bool send(std::string_view bytes) const;
    // Says that nothing more comes.
    void end() const;
    void hang_up();

    // Reads what is there. False when the connection has ended.
    bool receive();
    // Takes a whole answer from what was received.
    std::optional<Answer> take_answer();
    // What has come of the next answer so far.
    const Answer &partial() const { return partial_; }

private:
    int fd_ = -1;
    std::string received_;
    Answer partial_;
};

// Each test has a directory for sockets of its own, and a client with a module "m".
class ConsoleTest : public testing::Test {
protected:
    ConsoleTest();
    ~ConsoleTest() override;

    void SetUp() override;

    const std::string &root() const { return root_.path(); }
    std::string directory() const { return root_.path() + "/sockets"; }
    std::string path(const std::string &module = "m") const { return directory() + "/" + module; }

    MomClient *client() const { return client_.get(); }
    MomClient *release_client() { return client_.release(); }
    void destroy_client() { client_.reset(); }

    Operator connect(const std::string &module = "m") const { return Operator(path(module)); }

    // Runs the client until done(); false when that takes too long.
    bool pump_until(const std::function<bool()> &done, milliseconds limit = kLongEnough) const;
    // Runs the client until there is nothing to do.
    void settle() const;

    // The next answer; one without a code when the connection ends first.
    Answer answer_to(Operator &from) const;
    Answer ask(Operator &from, const std::string &line) const;
    // Asks as an operator who connects for that alone.
    Answer ask(const std::string &line) const;

    // The module ends the connection.
    bool ends(Operator &connection) const;
    // The client has nothing to do, and says so to a poll loop.
    void expect_quiet() const;

private:
    test_support::PrivateDirectory root_;
    ClientPtr client_;
};

// The module has commands: "say" and "much", which print, and "nothing".
class SpeakingTest : public ConsoleTest {
protected:
    void SetUp() override;
};

template <typename Function>
int32_t register_command(const char *name, const char *format, Function *handler, const char *module = "m") {
    return quib_reg_mod_cmd(module, name, 0, format, reinterpret_cast<QuibHandler>(handler));
}

inline Answer printed(const std::string &output) { return {.output = output, .errors = "", .code = 0}; }
inline Answer refused(const std::string &errors, int code = 2) {
    return {.output = "", .errors = errors + "\n", .code = code};
}

bool exists(const std::string &path);
// How many this process has.
std::ptrdiff_t descriptors();
bool readable(int fd, milliseconds limit = milliseconds(0));

}  // namespace quib_test
