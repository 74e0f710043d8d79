// Why zlog failed, in its own words.
#pragma once

namespace zlog_layer {

// Collects what zlog complains about on this thread while it exists. One at a time.
class Complaints {
public:
    Complaints();
    ~Complaints();
    Complaints(const Complaints &) = delete;
    Complaints &operator=(const Complaints &) = delete;

    void add(const char *complaint);

    const char *cause() const { return cause_; }
    // Where in the configuration; "" when that is not to be known.
    const char *place() const { return place_; }

    // Whether a message was dropped, by one rule at least.
    bool dropped() const { return dropped_; }
    // The `buffer max` that was too small; 0 when it was not that.
    long buffer_limit() const { return buffer_limit_; }

private:
    char cause_[256] = "";
    char place_[256] = "";
    bool dropped_ = false;
    long buffer_limit_ = 0;
};

}  // namespace zlog_layer
