// The program is its own logging layer: what the library and its client log while a fault lasts.
#pragma once

#include <string>
#include <thread>
#include <vector>

namespace reliability {

// Of one thread, since the latest time, without what differs from one run to the next. The same line once.
std::vector<std::string> take_lines(std::thread::id thread);
bool has_line_with(std::thread::id thread, const std::string &words);

// As long as it lives nothing is kept of what the library logs on its thread. Of what the client logs all is.
class Unlogged {
public:
    Unlogged();
    ~Unlogged();
    Unlogged(const Unlogged &) = delete;
    Unlogged &operator=(const Unlogged &) = delete;
};

}  // namespace reliability
