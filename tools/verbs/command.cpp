#include "verbs/command.h"

#include <CLI/CLI.hpp>

#include "command_line/exit_status.h"
#include "command_line/options.h"

namespace capctl {

namespace {

constexpr char kNotEmpty[] = "not empty";

// An empty value is most likely a variable of the caller's that is not set; it never means what no option means.
void refuse_empty_value(CLI::Option *option) {
    option->check({[option](const std::string &value) {
                       return value.empty() ? option->get_type_name() + " expected, not \"\"" : "";
                   },
                   "", kNotEmpty});
}

}  // namespace

Option Option::required() const {
    its_->required();
    return *this;
}

Option Option::type_name(const std::string &name) const {
    its_->type_name(name);
    return *this;
}

Option Option::excludes(Option other) const {
    its_->excludes(other.its_);
    return *this;
}

Option Option::one_of(const std::vector<std::string> &values) const {
    its_->check(command_line::one_of(values));
    return may_be_empty();
}

Option Option::at_least_one() const {
    its_->check(command_line::positive_number());
    return may_be_empty();
}

Option Option::may_be_empty() const {
    its_->get_validator(kNotEmpty)->active(false);
    return *this;
}

Option Option::repeated() const {
    its_->expected(1)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    return *this;
}

bool Option::is_given() const { return its_->count() != 0; }

template <class Value>
Option Command::add_option(const std::string &name, Value &value, const std::string &about) const {
    CLI::Option *option = its_->add_option(name, value, about);
    if (!option->get_positional()) {
        refuse_empty_value(option);
    }
    return Option(option);
}

template Option Command::add_option(const std::string &, std::string &, const std::string &) const;
template Option Command::add_option(const std::string &, std::vector<std::string> &, const std::string &) const;
template Option Command::add_option(const std::string &, uint64_t &, const std::string &) const;

Option Command::add_flag(const std::string &name, bool &value, const std::string &about) const {
    return Option(its_->add_flag(name, value, about)->disable_flag_override());
}

Command Command::add_choice(const std::string &title) const {
    CLI::Option_group *group = its_->add_option_group(title);
    group->set_help_flag();
    return Command(group);
}

void Command::take_one_at_most() const { its_->require_option(0, 1); }

void Command::hide() const { its_->group(""); }

bool Command::is_given(const std::string &option) const { return its_->count(option) != 0; }

void Command::refuse(std::initializer_list<const char *> options, const std::string &why) const {
    for (const char *option : options) {
        if (is_given(option)) {
            throw command_line::Failure(command_line::kUsage, std::string(option) + ": " + why);
        }
    }
}

}  // namespace capctl
