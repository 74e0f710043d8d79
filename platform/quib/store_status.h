// How a client stands with its store, for an operator.
#pragma once

#include <string>

#include "ox_mom.h"

namespace quib {

// Lines, each a name and what there is to say of it.
std::string in_words(const MomClientStatus &status);

}  // namespace quib
