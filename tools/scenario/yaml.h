// YAML, as the readers of this folder take it apart: every mistake is told with its place.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <yaml-cpp/yaml.h>

#include "scenario/mistake.h"
#include "scenario/timeline.h"

namespace scenario {

// A value of a file. Members that read it throw a Mistake when it is not what they read.
class Value {
public:
    Value(std::shared_ptr<const std::string> file, const YAML::Node &node) : file_(std::move(file)), node_(node) {}
    Value(const Value &) = default;
    Value(Value &&) = default;
    // To assign a node is to change it, and all that refers to it.
    Value &operator=(const Value &) = delete;
    Value &operator=(Value &&) = delete;
    ~Value() = default;

    // The whole of a text.
    static Value of_text(const std::string &text, const std::string &file);

    [[noreturn]] void fail(const std::string &message) const;
    // "WHAT expected, not VALUE".
    [[noreturn]] void expected(const std::string &what) const;
    // Does what may throw a Failure, which is then one of this place.
    template <class Do>
    auto here(Do &&action) const;

    int line() const { return node_.Mark().line + 1; }
    bool is_nothing() const { return node_.IsNull(); }
    bool is_scalar() const { return node_.IsScalar(); }
    bool is_list() const { return node_.IsSequence(); }
    bool is_map() const { return node_.IsMap(); }
    bool is_quoted() const { return node_.Tag() == "!"; }

    const std::string &text(const char *what = "a word") const;
    // One of the words, or begins "WHAT expected" and suggests one.
    const std::string &one_of(const std::vector<std::string> &words, const std::string &what) const;
    const std::string &one_of(const std::vector<std::string> &words) const;
    int32_t integer() const;                           // decimal, or hexadecimal after 0x
    int32_t count() const;                             // 1 or more
    bool truth() const;                                // yes or no, true or false, on or off
    Time time() const;                                 // 50ms, 2s, 1.5m; 0
    std::vector<Value> list() const;                   // of a list; empty when there is nothing
    std::vector<Value> list_or_one() const;            // of a list, or the value itself
    std::vector<std::pair<Value, Value>> map() const;  // in the file's order; no key twice

private:
    std::string shown() const;

    std::shared_ptr<const std::string> file_;
    YAML::Node node_;
};

// A map of which the keys are known.
class Fields {
public:
    // Throws when there is another key than those, and suggests one.
    Fields(const Value &map, const std::vector<std::string> &keys);
    // As above; the caller has taken the map apart.
    Fields(Value whole, std::vector<std::pair<Value, Value>> members, const std::vector<std::string> &keys);

    const Value &whole() const { return whole_; }
    // nullptr: it is not there.
    const Value *find(std::string_view key) const;
    const Value &need(const std::string &key) const;

private:
    Value whole_;
    std::vector<std::pair<Value, Value>> members_;
};

template <class Do>
auto Value::here(Do &&action) const {
    try {
        return action();
    } catch (const Mistake &) {
        throw;
    } catch (const command_line::Failure &failure) {
        fail(failure.what());
    }
}

}  // namespace scenario
