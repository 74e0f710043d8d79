// What became of a scenario that was tried.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace trial {

struct Verdict {
    enum class Result { kPassed, kFailed, kSkipped, kError };  // an error: it could not be tried

    explicit Verdict(std::string its_file);  // it has passed
    Verdict(std::string its_file, Result its_result, std::string its_message);

    Result result = Result::kPassed;
    std::string name;  // the file's, without directory and ending
    std::string file;
    std::string message;               // why it failed, was left out or could not be tried
    std::string checked;               // what a pass stands for, where that is less than one might think
    std::vector<std::string> details;  // what was expected and what came
    std::chrono::duration<double> took{0};
};

}  // namespace trial
