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

private:
    char cause_[256] = "";
    char place_[256] = "";
};

}  // namespace zlog_layer

#endif
