// Functions of libc that this test program defines itself. While they are scripted they do nothing but remember their
// call and answer as told; otherwise they pass on to libc.
#pragma once

#include <string>
#include <vector>

namespace interposed {

struct SystemScript {
    int system_answer = 0;
    int dup_answer = 0;
    int open_answer = 0;
    int dup2_answer = 0;
    std::vector<int> close_answers = {};  // in turn; 0 when there are no more
    std::vector<std::string> calls = {};  // what was called, with its arguments
};

// Scripts the calling thread from here on, until the script is gone.
class ScriptedSystem {
public:
    ScriptedSystem();
    ~ScriptedSystem();
    ScriptedSystem(const ScriptedSystem &) = delete;
    ScriptedSystem &operator=(const ScriptedSystem &) = delete;

    SystemScript *operator->() { return &script_; }

private:
    SystemScript script_;
};

}  // namespace interposed
