// Memory for one thing that is built piece by piece, and goes as a whole: a result, or what a server has answered.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

namespace mom {

class Arena {
public:
    Arena() : Arena(0) {}
    Arena(const Arena &) = delete;
    Arena &operator=(const Arena &) = delete;
    ~Arena();

    // One that lies in the memory that it hands out: one allocation for most results. nullptr when memory is exhausted.
    static Arena *create(size_t capacity);
    static void destroy(Arena *arena);

    // The first allocation after create(), which must have fitted, leads back to the arena: a caller who holds only
    // that can release the whole.
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

    // A copy of the bytes, terminated; nullptr when memory is exhausted.
    char *keep(std::string_view bytes) {
        auto *copy = static_cast<char *>(allocate(bytes.size() + 1));
        if (copy != nullptr) {
            std::memcpy(copy, bytes.data(), bytes.size());
            copy[bytes.size()] = '\0';
        }
        return copy;
    }

    // The latest allocation, of that size, is not needed after all.
    void give_back(size_t size) { newest_->used -= aligned(size); }

    // Everything is gone. The newest block, which is the largest, is kept for the next time, unless it is huge.
    void clear() {
        exhausted_ = false;
        if (newest_ != &own_ && (newest_->older != &own_ || newest_->capacity > kKeptBlock)) {
            drop_blocks();
        }
        own_.used = 0;
        newest_->used = 0;
    }

    // Whether memory ran out since clear(): what did not decode may be sound then.
    bool exhausted() const { return exhausted_; }

private:
    static constexpr size_t kKeptBlock = size_t{1024} * 1024;

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
    void drop_blocks();

    Block *newest_ = &own_;
    bool exhausted_ = false;
    Block own_;  // the last: its memory follows, if it has any

    static const size_t kHead;
};

inline const size_t Arena::kHead = sizeof(Arena);

struct DestroyArena {
    void operator()(Arena *arena) const { Arena::destroy(arena); }
};
using ArenaPtr = std::unique_ptr<Arena, DestroyArena>;

}  // namespace mom
