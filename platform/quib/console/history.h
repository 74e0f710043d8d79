// The lines that the operator has typed, kept from run to run in a file that only the operator may read: plain lines,
// and not the file that libedit would write, with blanks as \040 and without what other prompts have added meanwhile.
#pragma once

#include <string>
#include <vector>

namespace console {

class History {
public:
    static constexpr size_t kLimit = 500;

    // Reads the file; an empty path: nothing is kept.
    explicit History(std::string path);

    // Adds a line, which is forgotten where it stands already, to these and to the file, which keeps what other prompts
    // have added meanwhile. Returns "" or, the first time, why the file cannot be written.
    std::string add(const std::string &line);

    // The oldest first.
    const std::vector<std::string> &lines() const { return lines_; }

private:
    std::string path_;
    std::vector<std::string> lines_;
    bool failed_ = false;
};

// $QUIB_HISTORY, else $XDG_STATE_HOME/quib/history, else ~/.local/state/quib/history; "" when there is no home.
std::string history_path();

}  // namespace console
