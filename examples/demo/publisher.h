// The other side: who publishes the chassis. It plays one step at a time, when the story asks for it.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace demo {

class Publisher {
public:
    Publisher() = default;
    Publisher(const Publisher &) = delete;
    Publisher &operator=(const Publisher &) = delete;
    virtual ~Publisher() = default;

    // Plays a step, and tells what it published. Throws std::runtime_error when it could not.
    virtual std::vector<std::string> play(const std::string &step) = 0;
    virtual std::string who() const = 0;
};

std::unique_ptr<Publisher> publish_from_thread(const std::string &store);
std::unique_ptr<Publisher> publish_from_process(const std::string &store);

// The process that publish_from_process() starts: a step a line from standard input, answers to standard output.
int serve_steps(const std::string &store);

}  // namespace demo
