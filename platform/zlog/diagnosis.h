// Why zlog failed, in its own words.
#ifndef OX_ZLOG_DIAGNOSIS_H
#define OX_ZLOG_DIAGNOSIS_H

namespace zlog_layer {

// Collects what zlog complains about on this thread while it exists. One at a time.
class Diagnosis {
public:
    Diagnosis();
    ~Diagnosis();
    Diagnosis(const Diagnosis &) = delete;
    Diagnosis &operator=(const Diagnosis &) = delete;

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

#endif
