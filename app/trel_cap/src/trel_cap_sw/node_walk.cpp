#include "node_walk.h"

#include "node_links.h"

using namespace trel_cap;

namespace {

// Where the walks of a thread go on. A visitor may run the client's loop, and with it delete any entry, or walk again;
// and it may leave its walk for good, by an exception or longjmp(). So nothing here leads into a walk's own frame: a
// walk that was left has only used up a place, which the next one at its depth takes.
struct Cursor {
    CapNode *next;
    uint64_t walk;  // whose it is
};

constexpr uint32_t kCursors = 16;

struct Walks {
    Cursor cursors[kCursors];
    uint64_t latest;
    uint32_t depth;
};
__thread Walks walks_of_thread;

// Out of line for the same reason as this_threads_list().
[[gnu::noinline]] Walks &this_threads_walks() { return walks_of_thread; }

bool is_listed(const CapNodeList &list, const CapNode *entry) {
    const CapNode *pos = first_of(list);
    while (pos != end_of(list) && pos != entry) {
        pos = pos->next;
    }
    return pos == entry;
}

class Walk {
public:
    Walk() : number_(++walks_.latest), depth_(walks_.depth++) {}

    void go_on_with(CapNode *next) {
        next_ = next;
        cursor() = {next, number_};
    }

    // The visitor is back. So any walk within it has ended, or was left.
    CapNode *next(const CapNodeList &list) {
        walks_.depth = depth_ + 1;
        if (cursor().walk == number_) [[likely]] {
            return cursor().next;
        }
        // More walks than there are cursors have begun within this one: what was deleted meanwhile is not known.
        return is_listed(list, next_) ? next_ : end_of(list);
    }

    void end() { walks_.depth = depth_; }

private:
    Cursor &cursor() { return walks_.cursors[depth_ % kCursors]; }

    Walks &walks_ = this_threads_walks();
    CapNode *next_ = nullptr;
    uint64_t number_;
    uint32_t depth_;
};

}  // namespace

void trel_cap_sw_node_walk_cur(CapNodeVisitor visitor, void *argument) {
    if (visitor == nullptr) {
        return;
    }
    const CapNodeList &list = this_threads_list();
    Walk walk;
    for (CapNode *pos = first_of(list); pos != end_of(list); pos = walk.next(list)) {
        walk.go_on_with(pos->next);
        if (dumps_are_noticed()) [[unlikely]] {
            trel_cap_sw_dump_node(pos->record);
        }
        if (visitor(pos, argument) != 0) {
            break;
        }
    }
    walk.end();
}

extern "C" [[gnu::alias("trel_cap_sw_node_walk_cur")]] void trel_cap_own_node_walk_cur(CapNodeVisitor visitor,
                                                                                       void *argument);

void trel_cap::let_walks_pass(const CapNode *entry) {
    for (Cursor &cursor : this_threads_walks().cursors) {
        if (cursor.next == entry) {
            cursor.next = entry->next;
        }
    }
}
