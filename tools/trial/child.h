// Another program, with its standard input and output at hand.
#pragma once

#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

#include "base/fd.h"

namespace trial {

using Environment = std::vector<std::pair<std::string, std::string>>;

class Child {
public:
    enum class Streams { kPiped, kSilent };  // silent: nothing to read, and what is written is lost

    // Found along $PATH. It leads a process group of its own, and dies with this process. Throws a Failure when it
    // cannot be started.
    Child(const std::vector<std::string> &words, const Environment &environment, Streams streams);
    // Kills what is left of its group.
    ~Child();
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;

    int output() const { return output_.get(); }
    void end_input() { input_ = base::Fd(); }
    // To its group.
    void send(int signal) const;
    // Whether the program itself has ended; then its status as wait() has it.
    bool has_ended();
    int status() const { return status_; }

private:
    base::Fd input_;
    base::Fd output_;
    pid_t pid_ = -1;
    bool has_ended_ = false;  // it is waited for at last, so that nothing else gets the number of its group
    int status_ = 0;
};

}  // namespace trial
