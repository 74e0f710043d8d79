// The page: all that a browser needs, in one file.
#pragma once

#include <string>

namespace board {

// With its style and its script marked by the nonce, as the policy that goes with it asks.
std::string page(const std::string &nonce);
std::string page_policy(const std::string &nonce);

// A word that nobody can guess.
std::string new_nonce();

}  // namespace board
