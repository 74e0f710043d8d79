// All that the callbacks of a type have been told: the records that are there, as they last were. After a loss it is
// compared with the store, so that what was missed meanwhile can be told.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace mom {

// A record as it is kept: its bytes as notifications carry them, and where among them its index is, which tells it from
// the others of its type. A single object has none.
class ToldRecord {
public:
    enum class State : uint8_t {
        kCurrent,
        kNotFound,  // in the store, by the comparison that is under way
        kChanged,   // in the store, which is about to be told
        kVanished   // from the store, which has been told; its deletion may come late
    };

    // The index lies within the bytes, or is empty.
    ToldRecord(std::string_view index, std::string_view bytes) { set(index, bytes); }

    void set(std::string_view index, std::string_view bytes) {
        bytes_ = bytes;
        index_at_ = index.empty() ? 0 : static_cast<uint32_t>(index.data() - bytes.data());
        index_size_ = static_cast<uint32_t>(index.size());
        state = State::kCurrent;
    }

    // Keeps nothing but the index, and the memory, so that it can be set() again without any.
    void vanish() noexcept {
        bytes_.resize(index_at_ + index_size_);
        bytes_.erase(0, index_at_);
        index_at_ = 0;
        state = State::kVanished;
    }

    std::string_view index() const { return std::string_view(bytes_).substr(index_at_, index_size_); }
    std::string_view bytes() const { return bytes_; }

    State state = State::kCurrent;

private:
    std::string bytes_;
    uint32_t index_at_ = 0;
    uint32_t index_size_ = 0;
};

class ToldRecords {
public:
    using State = ToldRecord::State;

    // They throw std::bad_alloc, and then nothing has changed.

    // It is told as it is now.
    void keep(std::string_view index, std::string_view bytes);

    // Its deletion is about to be told. False when that has been told already, after a comparison.
    bool forget(std::string_view index);

    // The comparison with the store: begin, then each record that the store has. Nothing may be kept meanwhile.
    void begin_comparison();
    enum class Found : uint8_t { kAsTold, kChanged, kNew };
    Found found(std::string_view index, std::string_view bytes);
    // What was found is no such record: it counts as not found.
    void not_found(std::string_view index) noexcept;
    // Copies of those that were not found, for as long as nothing else is told of them.
    std::vector<ToldRecord> missing() const;

    // It is told as gone; and then it was not, after all.
    void vanish(std::string_view index) noexcept;
    void was_not_told(const ToldRecord &vanished) noexcept;

    bool is(State state, std::string_view index) const;
    // Of one that is there.
    std::string_view bytes_of(std::string_view index) const { return records_.find(index)->bytes(); }

    bool empty() const { return records_.empty(); }

private:
    struct ByIndex {
        using is_transparent = void;  // NOLINT(readability-identifier-naming): the standard's name
        size_t operator()(std::string_view index) const { return std::hash<std::string_view>()(index); }
        size_t operator()(const ToldRecord &record) const { return (*this)(record.index()); }
        bool operator()(std::string_view one, const ToldRecord &other) const { return one == other.index(); }
        bool operator()(const ToldRecord &one, std::string_view other) const { return one.index() == other; }
        bool operator()(const ToldRecord &one, const ToldRecord &other) const { return one.index() == other.index(); }
    };

    // A set's elements are const, lest their place in it changes. What is done with these leaves their index alone.
    static ToldRecord &mutable_record(const ToldRecord &record) { return const_cast<ToldRecord &>(record); }

    std::unordered_set<ToldRecord, ByIndex, ByIndex> records_;
};

}  // namespace mom
