// The other side of a crowd: what the processes around the cards write.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "follower.h"
#include "shared.h"

namespace crowd {

class Writer {
public:
    virtual ~Writer() = default;
    // All that must be there before a card is announced.
    virtual void insert(int32_t node) = 0;
    virtual void set_ready(int32_t node, bool ready) = 0;
};

// Notes in the page when it wrote which node.
std::unique_ptr<Writer> writer_for(Kind kind, const std::string &store, Shared &shared);

}  // namespace crowd
