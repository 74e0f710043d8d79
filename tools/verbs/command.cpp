#include "verbs/command.h"

#include <CLI/CLI.hpp>

#include "command_line/options.h"

namespace capctl {

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
    return *this;
}

Option Option::at_least_one() const {
    its_->check(command_line::positive_number());
    return *this;
}

Option Option::repeated() const {
    its_->expected(1)->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    return *this;
}

bool Option::is_given() const { return its_->count() != 0; }

template <class Value>
Option Command::add_option(const std::string &name, Value &value, const std::string &about) const {
    return Option(its_->add_option(name, value, about));
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

}  // namespace capctl
