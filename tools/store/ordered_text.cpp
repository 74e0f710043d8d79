#include "store/ordered_text.h"

#include <algorithm>
#include <cstdint>
#include <string_view>
#include <vector>

namespace store {

using record::RecordType;
using record::View;

namespace {

// The records of one type. A record's text stands in front of the bytes that order it.
class Pieces {
public:
    void add(const View &record, const Append &append) {
        Piece piece = {};
        piece.begin = text_.size();
        append(text_, record);
        piece.end = text_.size();
        record::append_order(text_, record);
        piece.order_end = text_.size();
        piece.head = head_of(order_of(piece));
        pieces_.push_back(piece);
    }

    void append_to(std::string &whole) {
        std::sort(pieces_.begin(), pieces_.end(), [this](const Piece &a, const Piece &b) { return precedes(a, b); });
        whole.reserve(whole.size() + text_.size());
        for (size_t i = 0; i < pieces_.size(); ++i) {
            // Of one that is stored twice, the later counts.
            if (i + 1 == pieces_.size() || order_of(pieces_[i]) != order_of(pieces_[i + 1])) {
                whole.append(text_, pieces_[i].begin, pieces_[i].end - pieces_[i].begin);
            }
        }
    }

private:
    struct Piece {
        uint64_t head;  // the order's first bytes: they mostly settle it
        size_t begin;
        size_t end;
        size_t order_end;
    };

    static uint64_t head_of(std::string_view order) {
        uint64_t head = 0;
        for (size_t i = 0; i < sizeof head; ++i) {
            head = head << 8U | (i < order.size() ? static_cast<uint8_t>(order[i]) : 0U);
        }
        return head;
    }

    std::string_view order_of(const Piece &piece) const {
        return std::string_view(text_).substr(piece.end, piece.order_end - piece.end);
    }

    bool precedes(const Piece &a, const Piece &b) const {
        if (a.head != b.head) {
            return a.head < b.head;
        }
        const int order = order_of(a).compare(order_of(b));
        return order != 0 ? order < 0 : a.begin < b.begin;
    }

    std::string text_;
    std::vector<Piece> pieces_;
};

}  // namespace

std::string ordered_text(Store &store, std::span<const RecordType *const> types, const Append &append) {
    std::vector<const RecordType *> sorted(types.begin(), types.end());
    std::sort(sorted.begin(), sorted.end());
    std::string whole;
    for (const RecordType *type : sorted) {
        Pieces pieces;
        store.visit(*type, [&](const View &record) { pieces.add(record, append); });
        pieces.append_to(whole);
    }
    return whole;
}

}  // namespace store
