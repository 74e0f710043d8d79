#include "trial/report.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "base/utf8.h"

namespace trial {

namespace {

std::string seconds(std::chrono::duration<double> time) {
    std::array<char, 32> text;
    std::snprintf(text.data(), text.size(), "%.3f", time.count());
    return text.data();
}

// In single quotes, as YAML takes it.
std::string yaml_word(const std::string &text) {
    std::string word = "'";
    for (const char byte : text) {
        word += byte == '\'' ? "''" : std::string(1, byte);
    }
    return word + "'";
}

// In a name '#' begins a directive.
std::string tap_name(std::string name) {
    std::replace(name.begin(), name.end(), '#', '_');
    return name;
}

// XML has no place for control characters, nor for what is not UTF-8.
std::string xml(std::string_view text) {
    std::string escaped;
    while (!text.empty()) {
        const size_t length = std::max<size_t>(base::sequence_length(text), 1);
        const std::string_view character = text.substr(0, length);
        const auto first = static_cast<unsigned char>(character.front());
        text.remove_prefix(length);
        if (character == "&") {
            escaped += "&amp;";
        } else if (character == "<") {
            escaped += "&lt;";
        } else if (character == ">") {
            escaped += "&gt;";
        } else if (character == "\"") {
            escaped += "&quot;";
        } else if ((length == 1 && first >= 0x80) || (first < ' ' && first != '\n' && first != '\t')) {
            escaped += '?';
        } else {
            escaped += character;
        }
    }
    return escaped;
}

std::string test_case(const Verdict &verdict) {
    std::string text = "    <testcase classname=\"scenario\" name=\"" + xml(verdict.name) + "\" file=\"" +
                       xml(verdict.file) + "\" time=\"" + seconds(verdict.took) + "\"";
    if (verdict.result == Verdict::Result::kPassed) {
        return text + (verdict.checked.empty()
                           ? "/>\n"
                           : ">\n      <system-out>" + xml(verdict.checked) + "</system-out>\n    </testcase>\n");
    }
    const char *element = verdict.result == Verdict::Result::kFailed
                              ? "failure"
                              : (verdict.result == Verdict::Result::kError ? "error" : "skipped");
    text += std::string(">\n      <") + element + " message=\"" + xml(verdict.message) + "\">";
    for (const std::string &line : verdict.details) {
        text += xml(line) + "\n";
    }
    return text + "</" + element + ">\n    </testcase>\n";
}

}  // namespace

std::string tap_header(size_t count) { return "TAP version 13\n1.." + std::to_string(count) + "\n"; }

std::string tap_line(const Verdict &verdict, size_t number) {
    const bool failed = verdict.result == Verdict::Result::kFailed;
    std::string text = (failed ? "not ok " : "ok ") + std::to_string(number) + " - " + tap_name(verdict.name);
    if (verdict.result == Verdict::Result::kSkipped) {
        text += " # SKIP " + verdict.message;
    }
    text += "\n" + (verdict.checked.empty() ? "" : "# " + tap_name(verdict.name) + ": " + verdict.checked + "\n");
    if (failed) {
        text += "  ---\n  message: " + yaml_word(verdict.message) + "\n";
        if (!verdict.details.empty()) {
            text += "  difference: |2\n";
        }
        for (const std::string &line : verdict.details) {
            text += "    " + line + "\n";
        }
        text += "  ...\n";
    }
    return text;
}

std::string junit(const std::vector<Verdict> &verdicts) {
    const auto count = [&](Verdict::Result result) {
        return std::to_string(std::count_if(verdicts.begin(), verdicts.end(),
                                            [&](const Verdict &verdict) { return verdict.result == result; }));
    };
    std::chrono::duration<double> took{0};
    std::string cases;
    for (const Verdict &verdict : verdicts) {
        took += verdict.took;
        cases += test_case(verdict);
    }
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites>\n  <testsuite name=\"trel_capctl test\" tests=\"" +
           std::to_string(verdicts.size()) + "\" failures=\"" + count(Verdict::Result::kFailed) + "\" errors=\"" +
           count(Verdict::Result::kError) + "\" skipped=\"" + count(Verdict::Result::kSkipped) + "\" time=\"" +
           seconds(took) + "\">\n" + cases + "  </testsuite>\n</testsuites>\n";
}

}  // namespace trial
