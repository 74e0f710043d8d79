// What the publishing side does when the store refuses.
#pragma once

#include <stdexcept>
#include <string>

#include <ox_mom.h>

namespace demo {

inline void must(int32_t status) {
    if (status != 0) {
        throw std::runtime_error(std::string("the publisher cannot write: ") + ox_mom_last_error());
    }
}

}  // namespace demo
