// Memory for one thing that is built piece by piece, and goes as a whole. A result is one, and what it is decoded from.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>

namespace mom {

// It lies in the memory that it hands out: one allocation for most results. What is allocated first leads back to it,
// so that a caller who holds only that can release the whole.
class Arena {
public:
    // nullptr when memory is exhausted.
    static Arena *create(size_t capacity);
    static void destroy(Arena *arena);

    // By what was allocated first after create(), which must have fitted.
    static Arena *of(void *first) { return reinterpret_cast<Arena *>(static_cast<std::byte *>(first) - kHead); }
    template <class T>
    static T *first(Arena *arena) {
        return reinterpret_cast<T *>(arena->own_.memory());
    }

    // Aligned for anything. nullptr when memory is exhausted.
    void *allocate(size_t size) {
        size = aligned(size);
        return newest_->capacity - newest_->used >= size
                   ? newest_->memory() + std::exchange(newest_->used, newest_->used + size)
                   : allocate_in_new(size);
    }

    // The latest allocation, of that size, is not needed after all.
    void give_back(size_t size) { newest_->used -= aligned(size); }

    // Everything is gone. The newest block, which is the largest, is kept for the next time, unless it is huge.
    void clear();

    // Whether memory ran out since clear(): what did not decode may be sound then.
    bool exhausted() const { return exhausted_; }

private:
    struct alignas(std::max_align_t) Block {
        Block *older;
        size_t capacity;
        size_t used;

        std::byte *memory() { return reinterpret_cast<std::byte *>(this + 1); }
    };

    static size_t aligned(size_t size) {
        constexpr size_t kAlign = alignof(std::max_align_t);
        return std::max((size + kAlign - 1) / kAlign * kAlign, kAlign);
    }

    explicit Arena(size_t capacity) : own_{.older = nullptr, .capacity = capacity, .used = 0} {}
    void *allocate_in_new(size_t size);

    Block *newest_ = &own_;
    bool exhausted_ = false;
    Block own_;  // the last: its memory follows

    static const size_t kHead;
};

inline const size_t Arena::kHead = sizeof(Arena);

struct DestroyArena {
    void operator()(Arena *arena) const { Arena::destroy(arena); }
};
using ArenaPtr = std::unique_ptr<Arena, DestroyArena>;

}  // namespace mom
