// A web client of a few lines: it sends what a test writes, right or wrong.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <string>

#include "base/fd.h"

namespace board_test {

struct Reply {
    int status = 0;                              // 0: there was no answer
    std::map<std::string, std::string> headers;  // by names in small letters
    std::string body;                            // put together from its chunks
};

constexpr std::chrono::seconds kLimit(30);

class Connection {
public:
    explicit Connection(uint16_t port);

    void send(const std::string &bytes) const;
    // The headers of an answer.
    Reply read_headers();
    // An answer, all of it; of a HEAD request it has no body.
    Reply read_reply(bool has_body = true);
    // Of a stream whose headers have been read: the data of its next event.
    std::string read_event();
    // Whether the other side closes the connection before the limit.
    bool is_closed();

private:
    bool receive();
    std::string take_line();
    std::string take(size_t length);
    std::string take_chunk();

    base::Fd socket_;
    std::string received_;
    std::string chunks_;  // of the stream, put together
};

// One request with these header lines, each ended by "\r\n", and the answer.
Reply request(uint16_t port, const std::string &method, const std::string &path, const std::string &headers);
// The same for GET, with the host of the board.
Reply get(uint16_t port, const std::string &path);
// As a page's stream begins: sends the request and reads the headers.
Connection open_stream(uint16_t port);

}  // namespace board_test
