// What happens to cards and scopes, as the records that say it.
#pragma once

#include <string>

#include "scenario/steps.h"

namespace scenario {

void insert(Course &course, const NamedCard &card);
void remove(Course &course, const NamedCard &card);
void check(Course &course, const NamedCard &card, const std::string &result);  // pass, deny, withdraw
void make_ready(Course &course, const NamedCard &card, bool real_time);
void make_unready(Course &course, const NamedCard &card);
void withdraw(Course &course, const NamedCard &card);  // its readiness
void change_scope(Course &course, const std::string &scope, bool ready);

}  // namespace scenario
