// What became of a scenario that was tried.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace trial {

struct Verdict {
    enum class Result { kPassed, kFailed, kSkipped };
    Result result = Result::kPassed;
    std::string name;  // the file's, without directory and ending
    std::string file;
    std::string message;               // why it failed or was left out
    std::vector<std::string> details;  // what was expected and what came
    std::chrono::duration<double> took{0};
};

}  // namespace trial
