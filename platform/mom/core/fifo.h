// Pieces of bytes, first in, first out. They lie in blocks that come from the system and go back to it: a heap keeps
// what once waited, since something small is always left behind the many that were large.
#pragma once

#include <cstddef>
#include <utility>

namespace mom {

class Fifo {
public:
    Fifo() = default;
    Fifo(Fifo &&other) noexcept { swap(other); }
    Fifo &operator=(Fifo &&) = delete;
    ~Fifo();

    void swap(Fifo &other) noexcept;

    size_t count() const { return count_; }
    bool empty() const { return count_ == 0; }
    // Of all pieces together.
    size_t bytes() const { return bytes_; }

    // Room for one piece more, which the caller fills, aligned for any pointer or number. Throws std::bad_alloc.
    std::byte *push(size_t size);
    // So many pieces more, of that size each, will need no memory. Throws std::bad_alloc.
    void reserve(size_t pieces, size_t size);

    // The oldest piece, until pop() or clear(). Only if there is one.
    std::byte *front() { return data(first_) + first_->begin + sizeof(Piece); }
    size_t front_size() const { return reinterpret_cast<const Piece *>(data(first_) + first_->begin)->size; }
    void pop();

    // One block of usual size is kept.
    void clear();

private:
    struct Piece {
        size_t size;
    };
    struct Block {
        Block *next;
        size_t capacity;
        size_t begin;
        size_t end;
    };

    static size_t taken_by(size_t size) {
        return sizeof(Piece) + (size + sizeof(Piece) - 1) / sizeof(Piece) * sizeof(Piece);
    }
    static std::byte *data(Block *block) { return reinterpret_cast<std::byte *>(block + 1); }
    static const std::byte *data(const Block *block) { return reinterpret_cast<const std::byte *>(block + 1); }

    bool fits(size_t taken) const { return last_ != nullptr && last_->capacity - last_->end >= taken; }
    void add_block(size_t least);
    void drop_first();

    Block *first_ = nullptr;
    Block *last_ = nullptr;
    size_t count_ = 0;
    size_t bytes_ = 0;
};

}  // namespace mom
