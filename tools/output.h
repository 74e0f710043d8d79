// Standard output.
#ifndef TREL_CAPCTL_OUTPUT_H
#define TREL_CAPCTL_OUTPUT_H

#include <nlohmann/json_fwd.hpp>
#include <string_view>

namespace capctl {

enum class Format { kText, kJson };

class Output {
public:
    explicit Output(Format format) : format_(format) {}

    bool is_json() const { return format_ == Format::kJson; }

    void write(std::string_view text);
    void write_line(std::string_view text);
    // One line, always valid: what is not UTF-8 in a string appears as U+FFFD.
    void write_json(const nlohmann::ordered_json &value);

    // Throws a Failure when anything that was written has not got where it should.
    void close();

private:
    Format format_;
};

}  // namespace capctl

#endif
