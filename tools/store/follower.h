// Follows record types: what is stored first, then every change, across losses of the store.
#pragma once

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "record/record.h"
#include "store/snapshot.h"
#include "store/store.h"

namespace store {

struct Change {
    enum class Kind {
        kInitial,  // it was stored when the following began
        kWritten,  // it was written; changed is empty when it was written as it was
        kDeleted,
    };
    Kind kind;
    const record::Record &record;  // whole; of one that was deleted, as it last was
    std::vector<int32_t> changed;  // the fields that are not as they were told before
};

// Told inside process(). What one throws comes out of it.
class Listener {
public:
    virtual ~Listener() = default;
    virtual void changed(const Change &change) = 0;
    virtual void complete() {}                 // once: all that was stored has been told
    virtual void lost(const std::string &) {}  // why
    // Once for each other reason why it is not back.
    virtual void still_lost(const std::string &) {}
    virtual void restored() {}  // what changed meanwhile has been told
};

class Follower {
public:
    // Throws a Failure when the store cannot be followed. Nothing is told before process().
    Follower(Store &store, std::vector<const record::RecordType *> types, Listener &listener);
    ~Follower();
    Follower(const Follower &) = delete;
    Follower &operator=(const Follower &) = delete;

    // Tells what is due; waits for it up to so long, -1: without limit. A signal ends the wait.
    void process(std::chrono::milliseconds limit);
    // Readable when process() has work.
    int fd() const;

    // The followed records as they have been told.
    const Snapshot &snapshot() const;
    bool complete() const;

    struct State;

private:
    std::unique_ptr<State> state_;
};

}  // namespace store
