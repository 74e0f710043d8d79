#include "console.h"

#include "handlers.h"
#include "quib/protocol.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace quib_test {

ClientPtr make_client() { return ClientPtr(ox_mom_client_create("mem:")); }

std::ostream &operator<<(std::ostream &out, const Answer &answer) {
    return out << "output \"" << answer.output << "\" errors \"" << answer.errors << "\" code "
               << (answer.code ? std::to_string(*answer.code) : "none");
}

Operator::Operator(const std::string &path, int receive_buffer)
    : fd_(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
    if (receive_buffer > 0) {
        setsockopt(fd_, SOL_SOCKET, SO_RCVBUF, &receive_buffer, sizeof receive_buffer);
    }
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    if (::connect(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0) {
        hang_up();
    }
}

bool Operator::send(std::string_view bytes) const {
    return ::send(fd_, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT) == static_cast<ssize_t>(bytes.size());
}

void Operator::end() const { shutdown(fd_, SHUT_WR); }

void Operator::hang_up() {
    if (fd_ >= 0) {
        close(fd_);
    }
    fd_ = -1;
}

bool Operator::receive() {
    std::string block(size_t{256} << 10U, '\0');
    for (;;) {
        const ssize_t length = recv(fd_, block.data(), block.size(), MSG_DONTWAIT);
        if (length <= 0) {
            return length < 0 && errno == EAGAIN;
        }
        received_.append(block, 0, static_cast<size_t>(length));
    }
}

std::optional<Answer> Operator::take_answer() {
    size_t at = 0;
    while (!partial_.code && received_.size() - at >= quib::kFrameHeaderSize) {
        quib::FrameHeader header{};
        received_.copy(header.data(), header.size(), at);
        const size_t length = quib::frame_length(header);
        if (received_.size() - at - header.size() < length) {
            break;
        }
        const std::string payload = received_.substr(at + header.size(), length);
        at += header.size() + length;
        switch (header[0]) {
            case quib::kFrameOutput:
                partial_.output += payload;
                break;
            case quib::kFrameDiagnostic:
                partial_.errors += payload;
                break;
            case quib::kFrameExit:
                partial_.code = std::stoi(payload);
                break;
            default:
                throw std::runtime_error("no kind of frame: " + std::to_string(header[0]));
        }
    }
    received_.erase(0, at);
    return partial_.code ? std::optional(std::exchange(partial_, {})) : std::nullopt;
}

ConsoleTest::ConsoleTest() {
    setenv("QUIB_DIR", directory().c_str(), 1);
    unsetenv("QUIB_IDLE_MS");
    take_calls();
    status_to_return = 0;
}

ConsoleTest::~ConsoleTest() { client_.reset(); }

void ConsoleTest::SetUp() {
    client_ = make_client();
    ASSERT_NE(client_, nullptr);
    ASSERT_EQ(quib_lib_init(client(), "m"), 0);
}

bool ConsoleTest::pump_until(const std::function<bool()> &done, milliseconds limit) const {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!done()) {
        if (std::chrono::steady_clock::now() > end || ox_mom_client_process(client(), 5) < 0) {
            return done();
        }
    }
    return true;
}

void ConsoleTest::settle() const {
    while (ox_mom_client_process(client(), 0) > 0 || readable(ox_mom_client_fd(client()))) {
    }
}

Answer ConsoleTest::answer_to(Operator &from) const {
    std::optional<Answer> answer;
    bool ended = false;
    EXPECT_TRUE(pump_until([&] {
        ended = !from.receive();
        answer = from.take_answer();
        return ended || answer;
    })) << "no answer";
    return answer.value_or(from.partial());
}

Answer ConsoleTest::ask(Operator &from, const std::string &line) const {
    EXPECT_TRUE(from.send(line + "\n"));
    return answer_to(from);
}

Answer ConsoleTest::ask(const std::string &line) const {
    Operator mine = connect();
    return ask(mine, line);
}

bool ConsoleTest::ends(Operator &connection) const {
    return pump_until([&connection] { return !connection.receive(); });
}

void ConsoleTest::expect_quiet() const {
    settle();
    EXPECT_EQ(ox_mom_client_process(client(), 0), 0);
    EXPECT_FALSE(readable(ox_mom_client_fd(client())));
}

void SpeakingTest::SetUp() {
    ConsoleTest::SetUp();
    ASSERT_EQ(register_command("say", "%s", say), 0);
    ASSERT_EQ(register_command("much", "%d", say_much), 0);
    ASSERT_EQ(register_command("nothing", "void", nothing), 0);
}

bool exists(const std::string &path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0;
}

std::ptrdiff_t descriptors() {
    const auto all = std::filesystem::directory_iterator("/proc/self/fd");
    return std::distance(begin(all), end(all));
}

bool readable(int fd, milliseconds limit) {
    pollfd waiting{.fd = fd, .events = POLLIN, .revents = 0};
    return poll(&waiting, 1, static_cast<int>(limit.count())) > 0;
}

}  // namespace quib_test
