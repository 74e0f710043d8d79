#include "core/fifo.h"

#include <algorithm>
#include <new>
#include <sys/mman.h>

namespace mom {

namespace {

constexpr size_t kPage = 4096;
constexpr size_t kUsualBlock = size_t{256} * 1024;  // of which only what is written to takes memory

}  // namespace

Fifo::~Fifo() {
    while (first_ != nullptr) {
        drop_first();
    }
}

void Fifo::swap(Fifo &other) noexcept {
    std::swap(first_, other.first_);
    std::swap(last_, other.last_);
    std::swap(count_, other.count_);
    std::swap(bytes_, other.bytes_);
}

std::byte *Fifo::push(size_t size) {
    const size_t taken = taken_by(size);
    if (!fits(taken)) {
        add_block(taken);
    }
    std::byte *at = data(last_) + last_->end;
    new (at) Piece{size};
    last_->end += taken;
    ++count_;
    bytes_ += size;
    return at + sizeof(Piece);
}

void Fifo::reserve(size_t pieces, size_t size) {
    if (!fits(pieces * taken_by(size))) {
        add_block(pieces * taken_by(size));
    }
}

void Fifo::pop() {
    const size_t size = front_size();
    first_->begin += taken_by(size);
    bytes_ -= size;
    --count_;
    if (first_->begin == first_->end) {
        if (first_ == last_ && first_->capacity <= kUsualBlock) {
            first_->begin = first_->end = 0;
        } else {
            drop_first();
        }
    }
}

void Fifo::clear() {
    while (first_ != nullptr && (first_ != last_ || first_->capacity > kUsualBlock)) {
        drop_first();
    }
    if (first_ != nullptr) {
        first_->begin = first_->end = 0;
    }
    count_ = 0;
    bytes_ = 0;
}

void Fifo::add_block(size_t least) {
    const size_t size = std::max(kUsualBlock, (sizeof(Block) + least + kPage - 1) / kPage * kPage);
    void *memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::bad_alloc();
    }
    auto *block = new (memory) Block{.next = nullptr, .capacity = size - sizeof(Block), .begin = 0, .end = 0};
    if (first_ != nullptr && first_ == last_ && first_->begin == first_->end) {
        drop_first();  // empty, and too small
    }
    (last_ != nullptr ? last_->next : first_) = block;
    last_ = block;
}

void Fifo::drop_first() {
    Block *block = first_;
    first_ = block->next;
    last_ = first_ != nullptr ? last_ : nullptr;
    munmap(block, block->capacity + sizeof(Block));
}

}  // namespace mom
