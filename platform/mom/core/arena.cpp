#include "core/arena.h"

#include <cstdlib>
#include <new>

namespace mom {

namespace {

constexpr size_t kLeastBlock = size_t{16} * 1024;

}  // namespace

Arena *Arena::create(size_t capacity) {
    capacity = aligned(capacity);
    void *memory = std::malloc(sizeof(Arena) + capacity);
    return memory != nullptr ? new (memory) Arena(capacity) : nullptr;
}

void Arena::destroy(Arena *arena) {
    if (arena != nullptr) {
        arena->~Arena();
        std::free(arena);
    }
}

Arena::~Arena() {
    while (newest_ != &own_) {
        std::free(std::exchange(newest_, newest_->older));
    }
}

void *Arena::allocate_in_new(size_t size) {
    const size_t capacity = std::max({kLeastBlock, size, 2 * newest_->capacity});
    auto *block = static_cast<Block *>(std::malloc(sizeof(Block) + capacity));
    if (block == nullptr) {
        exhausted_ = true;
        return nullptr;
    }
    *block = {.older = newest_, .capacity = capacity, .used = size};
    newest_ = block;
    return block->memory();
}

// All but the newest, and that as well when it is too large.
void Arena::drop_blocks() {
    Block *kept = newest_->capacity <= kKeptBlock ? newest_ : &own_;
    for (Block *block = kept == newest_ ? kept->older : newest_; block != &own_;) {
        std::free(std::exchange(block, block->older));
    }
    newest_ = kept;
    if (kept != &own_) {
        kept->older = &own_;
    }
}

}  // namespace mom
