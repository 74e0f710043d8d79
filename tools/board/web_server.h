// The board's web server: answers, and streams of events, to those who may read. It only reads: whoever asks for
// anything else than GET or HEAD is refused. It has no thread of its own.
#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "board/address.h"

namespace board {

using Text = std::shared_ptr<const std::string>;

constexpr unsigned kMostViewers = 64;      // streams at a time; more are told to come back
constexpr unsigned kMostConnections = 96;  // more wait in the system's queue

struct Answer {
    const char *type;  // as Content-Type says it
    Text body;
    std::string content_policy = "default-src 'none'; frame-ancestors 'none'";
};

// What one viewer is told, piece by piece.
class Stream {
public:
    virtual ~Stream() = default;
    virtual Text next() = 0;  // null: nothing for now
};

// What the server shows.
class Site {
public:
    virtual ~Site() = default;
    virtual std::optional<Answer> answer(std::string_view path) = 0;         // nothing: there is no such page
    virtual std::unique_ptr<Stream> open_stream(std::string_view path) = 0;  // null: it is no stream
};

class WebServer {
public:
    // Throws a Failure when the address is taken, or is not one of this machine's.
    WebServer(const Address &address, Site &site);
    ~WebServer();
    WebServer(const WebServer &) = delete;
    WebServer &operator=(const WebServer &) = delete;

    // With the port that it got.
    const Address &address() const;

    // Readable when process() has work, which it has after so long, too.
    int fd() const;
    std::optional<std::chrono::milliseconds> patience() const;
    void process();

    // Asks each stream for its next piece that has none to send.
    void wake_streams();
    unsigned viewers() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace board
