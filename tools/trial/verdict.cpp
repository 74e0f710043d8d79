#include "trial/verdict.h"

#include <filesystem>
#include <utility>

namespace trial {

Verdict::Verdict(std::string its_file) : name(std::filesystem::path(its_file).stem()), file(std::move(its_file)) {
    if (name.empty()) {  // a directory
        name = file;
    }
}

Verdict::Verdict(std::string its_file, Result its_result, std::string its_message) : Verdict(std::move(its_file)) {
    result = its_result;
    message = std::move(its_message);
}

}  // namespace trial
