// The arguments and options of a verb. CLI11 reads them; its headers take longer to compile than all of a verb, so that
// no verb includes them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace CLI {  // NOLINT(readability-identifier-naming): CLI11's name
class App;
class Option;
}  // namespace CLI

namespace capctl {

// Of a command, which keeps it. Each function that describes it returns it.
class Option {
public:
    Option() = default;  // none
    explicit Option(CLI::Option *its) : its_(its) {}

    Option required() const;
    Option type_name(const std::string &name) const;  // as --help calls its value
    Option excludes(Option other) const;
    Option one_of(const std::vector<std::string> &values) const;
    Option at_least_one() const;  // of a number
    Option may_be_empty() const;  // its value, which otherwise is refused by its name
    Option repeated() const;      // each time with one value

    bool is_given() const;

private:
    CLI::Option *its_ = nullptr;
};

// A reference to what the verbs keep.
class Command {
public:
    Command() = default;  // none
    explicit Command(CLI::App *its) : its_(its) {}

    // An argument when the name is a word, else an option; the value is written when the command line is read. Value is
    // std::string, std::vector<std::string> or uint64_t.
    template <class Value>
    Option add_option(const std::string &name, Value &value, const std::string &about) const;
    Option add_flag(const std::string &name, bool &value, const std::string &about) const;
    // Options under a title of their own.
    Command add_choice(const std::string &title) const;
    void take_one_at_most() const;
    // Not in --help.
    void hide() const;

    bool is_given(const std::string &option) const;
    // Throws a usage failure for one of them that is given all the same, where it would be without effect.
    void refuse(std::initializer_list<const char *> options, const std::string &why) const;

private:
    CLI::App *its_ = nullptr;
};

}  // namespace capctl
