#include "module_connection.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <protocol.h>

#include "command_line/program.h"
#include "command_line/streams.h"

namespace console {

using namespace command_line;

namespace {

using Clock = std::chrono::steady_clock;

std::string in_seconds(std::chrono::milliseconds time) {
    char text[32];
    snprintf(text, sizeof text, "%g s", std::chrono::duration<double>(time).count());
    return text;
}

Failure out_of_time(const std::string &module, const Patience &patience) {
    return {kTimeOut, "no answer from " + module + " in " + in_seconds(patience.limit)};
}

Failure no_connection(const std::string &module, int error) {
    const bool stale = error == ECONNREFUSED || error == ENOENT;
    const char *why = stale ? "no process serves it" : error == EPERM ? "another user listens there" : strerror(error);
    return {kNoConnection, "cannot connect to " + module + ": " + why};
}

// Waits for events on a descriptor, which may be -1 to just wait; false when the time is over.
bool wait_on(int fd, short events, std::chrono::milliseconds limit, int interrupt_fd) {
    pollfd descriptors[] = {{.fd = fd, .events = events, .revents = 0},
                            {.fd = interrupt_fd, .events = POLLIN, .revents = 0}};
    const int ready = poll(descriptors, std::size(descriptors), static_cast<int>(limit.count()));
    if (descriptors[1].revents != 0) {
        throw Interrupted();
    }
    return ready != 0;
}

// A module that is busy lets a few wait, and the kernel refuses the rest: they ask again.
base::Fd connect_patiently(const std::string &directory, const Target &target, const Patience &patience) {
    constexpr auto kPause = std::chrono::milliseconds(20);
    const auto from = Clock::now();
    for (;;) {
        ModuleDirectory::Attempt attempt = ModuleDirectory(directory).connect(target.entry);
        if (attempt.error == 0) {
            return std::move(attempt.socket);
        }
        if (attempt.error != EAGAIN) {
            throw no_connection(target.name, attempt.error);
        }
        if (patience.limit.count() > 0 && Clock::now() - from >= patience.limit) {
            throw out_of_time(target.name, patience);
        }
        wait_on(-1, 0, kPause, patience.interrupt_fd);
    }
}

}  // namespace

ModuleConnection::ModuleConnection(const std::string &directory, const Target &target, const Patience &patience)
    : module_(target.name),
      foreign_(!is_familiar(target.entry.owner)),
      patience_(patience),
      socket_(connect_patiently(directory, target, patience)) {}

void ModuleConnection::wait_for(short events) {
    const bool limited = patience_.limit.count() > 0;
    if (!wait_on(socket_.get(), events, limited ? patience_.limit : std::chrono::milliseconds(-1),
                 patience_.interrupt_fd)) {
        throw out_of_time(module_, patience_);
    }
}

void ModuleConnection::send(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent >= 0) {
            bytes.remove_prefix(static_cast<size_t>(sent));
        } else if (errno == EAGAIN) {
            wait_for(POLLOUT);
        } else if (errno != EINTR) {
            return;  // it has closed the connection; what it said before tells why
        }
    }
}

void ModuleConnection::read_more() {
    char block[65536];
    for (;;) {
        wait_for(POLLIN);
        const ssize_t length = recv(socket_.get(), block, sizeof block, 0);
        if (length > 0) {
            reader_.add({block, static_cast<size_t>(length)});
            return;
        }
        if (length == 0 || (errno != EAGAIN && errno != EINTR)) {
            throw Closed(module_, told_);
        }
    }
}

void ModuleConnection::pass_on(const FrameReader::Piece &piece, const Receive &receive) {
    told_ = piece.kind == quib::kFrameDiagnostic;
    Escaping &escaping = told_ ? diagnostics_ : output_;
    receive(piece.kind, foreign_ ? escaping.apply(piece.bytes) : piece.bytes);
}

int ModuleConnection::run(const std::string &line, const Receive &receive) {
    send(line + "\n");
    for (;;) {
        while (const auto piece = reader_.next()) {
            if (piece->kind == quib::kFrameExit) {
                const int status = exit_status_in(piece->bytes);
                told_ = told_ && status == kRefused;
                return status;
            }
            pass_on(*piece, receive);
        }
        read_more();
    }
}

void ModuleConnection::take_news(const Receive &receive) {
    for (;;) {
        while (const auto piece = reader_.next()) {
            pass_on(*piece, receive);
        }
        read_more();
    }
}

void check_line(std::string_view line) {
    if (line.find('\n') != std::string_view::npos) {
        throw Failure(kUsage, "a command is one line: no argument can have a line end in it");
    }
    if (line.size() >= quib::kLineLimit) {
        throw Failure(kUsage, "a command is at most " + std::to_string(quib::kLineLimit - 1) + " bytes long");
    }
}

void show(char kind, std::string_view bytes) {
    if (kind == quib::kFrameOutput) {
        write_output(bytes);
    } else {
        pass_on(bytes);
    }
}

}  // namespace console
