#include "ox_zlog.h"

#include <pthread.h>
#include <zlog.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "base/undisturbed.h"
#include "complaints.h"
#include "configuration.h"
#include "message.h"

namespace zlog_layer {

namespace {

// zlog has locks of its own and does nothing about them when the process forks. This one is taken around every call
// into zlog, for writing by a fork too, so that no child begins with one of zlog's held by a thread it does not have.
pthread_rwlock_t lock = PTHREAD_RWLOCK_WRITER_NONRECURSIVE_INITIALIZER_NP;
bool configured = false;  // under the lock

void before_fork() { pthread_rwlock_wrlock(&lock); }

void after_fork_in_parent() { pthread_rwlock_unlock(&lock); }

// The lock counts the threads that wait for it, and none of them is in the child: it begins anew.
void after_fork_in_child() {
    pthread_rwlockattr_t attributes;
    pthread_rwlockattr_init(&attributes);
    pthread_rwlockattr_setkind_np(&attributes, PTHREAD_RWLOCK_PREFER_WRITER_NONRECURSIVE_NP);
    pthread_rwlock_init(&lock, &attributes);
    pthread_rwlockattr_destroy(&attributes);
}

// Returns when it is done, whoever does it: a thread that went on before could hold the lock in a fork not yet handled.
void handle_forks() {
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    pthread_once(&once, [] { pthread_atfork(before_fork, after_fork_in_parent, after_fork_in_child); });
}

// A call into zlog, whose locks would stay taken if the thread were cancelled.
class Call {
public:
    explicit Call(int (*take)(pthread_rwlock_t *)) { take(&lock); }
    ~Call() { pthread_rwlock_unlock(&lock); }
    Call(const Call &) = delete;
    Call &operator=(const Call &) = delete;

private:
    base::Uncancelled uncancelled_;
};

// A terminated copy of a name that need not be, cut to what fits: zlog looks for a slash to the end of the string.
template <size_t kSize>
struct Name {
    Name(const char *name, size_t given) {
        if (name == nullptr) {
            name = "-";
            given = 1;
        }
        length = strnlen(name, given < kSize ? given : kSize - 1);
        std::memcpy(text, name, length);
        text[length] = '\0';
    }

    char text[kSize];  // NOLINT(modernize-avoid-c-arrays): filled by the constructor, as far as it is used
    size_t length;
};

// zlog indexes its table of levels with what it is given. 254 is its own "UNKNOWN".
int level_in_table(int level) {
    constexpr int kUnknown = 254;
    return level > 0 && level < kUnknown ? level : kUnknown;
}

// zlog drops what it cannot write. The first time is told: from then on somebody knows to look.
void report_dropped(const Complaints &complaints) {
    static std::atomic_flag reported;
    if (reported.test_and_set()) {
        return;
    }
    char limit[sizeof "`buffer max` is too small for its line: " + 20];
    snprintf(limit, sizeof limit, "`buffer max` is too small for its line: %ld", complaints.buffer_limit());
    fprintf(stderr, "ox_zlog: a message was dropped: %s; others may follow it untold\n",
            complaints.buffer_limit() > 0 ? limit : complaints.cause());
}

}  // namespace

}  // namespace zlog_layer

using namespace zlog_layer;

void *ox_zlog_init(const char *category) {
    if (category == nullptr) {
        return nullptr;
    }
    handle_forks();
    const Call call(pthread_rwlock_wrlock);
    configured = configured || configure();
    return configured ? zlog_get_category(category) : nullptr;
}

void oxdf_zlog(void *category, const char *file, size_t filelen, const char *func, size_t funclen, long line, int level,
               const char *format, ...) {
    auto *stream = static_cast<zlog_category_t *>(category);
    const int known_level = level_in_table(level);
    if (stream == nullptr || format == nullptr || zlog_level_enabled(stream, known_level) == 0) {
        return;
    }
    const Name<1024> path(file, filelen);
    const Name<256> function(func, funclen);
    base::Undisturbed undisturbed;
    const Call call(pthread_rwlock_rdlock);
    va_list args;
    va_start(args, format);
    const Message message(format, args);
    va_end(args);
    const Complaints complaints;
    zlog(stream, path.text, path.length, function.text, function.length, line, known_level, "%s", message.text());
    if (complaints.dropped()) {
        report_dropped(complaints);
    } else {
        undisturbed.all_written();
    }
}
