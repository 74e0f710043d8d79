// record: writes down what happens in a store, as a scenario.
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <unistd.h>

#include "base/fd.h"
#include "command_line/exit_status.h"
#include "command_line/program.h"
#include "command_line/streams.h"
#include "command_line/text.h"
#include "scenario/recorder.h"
#include "store/follower.h"
#include "verbs/progress.h"
#include "verbs/seconds.h"
#include "verbs/verbs.h"

namespace capctl {

using namespace command_line;

namespace {

struct Record {
    std::string file;
    std::string duration;  // empty: until it is interrupted
    uint64_t count = 0;    // 0: without limit
    bool force = false;

    int run(Session &session) const;
};

// Where the scenario goes. What is there already is somebody's: it is written over only when told so.
class Output {
public:
    Output(const std::string &file, bool force) : name_(file) {
        if (file == "-") {
            return;
        }
        constexpr int kMode = 0666;
        fd_ = base::Fd(open(file.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | (force ? O_TRUNC : O_EXCL), kMode));
        if (!fd_) {
            fail(errno == EEXIST ? "it is there already; --force writes over it" : std::strerror(errno));
        }
    }

    void write(std::string_view text) const {
        if (!fd_) {
            write_output(text);
            return;
        }
        while (!text.empty()) {
            const ssize_t size = ::write(fd_.get(), text.data(), text.size());
            if (size < 0 && errno != EINTR) {
                fail(std::strerror(errno));
            }
            text.remove_prefix(size < 0 ? 0 : static_cast<size_t>(size));
        }
    }

private:
    [[noreturn]] void fail(const std::string &why) const { throw Failure(kFailed, printable(name_) + ": " + why); }

    std::string name_;
    base::Fd fd_;
};

// Says on standard error what else a reader wants to know.
class TellingRecorder : public scenario::Recorder {
public:
    using scenario::Recorder::Recorder;

    void changed(const store::Change &change) override {
        Recorder::changed(change);
        if (is_complete()) {
            progress_.show(static_cast<size_t>(changes()));
        }
    }
    void lost(const std::string &reason) override {
        Recorder::lost(reason);
        complain("the store is lost: " + reason);
    }
    void restored() override {
        Recorder::restored();
        complain("the store is back");
    }

private:
    Progress progress_{"recorded", 0};
};

int Record::run(Session &session) const {
    constexpr std::chrono::milliseconds kNone(-1);
    const std::chrono::milliseconds limit = duration.empty() ? kNone : parse_seconds("--duration", duration);
    const std::string store_name = session.store_name();
    store::Store &store = session.store();
    store.connect(record::record_types().front().db);  // what cannot be reached leaves no file behind
    const Output output(file, force);
    TellingRecorder recorder(store_name, [&](std::string_view text) { output.write(text); });
    store::Follower follower(store, store::all_types(), recorder);
    std::optional<Deadline> deadline;
    while (count == 0 || !recorder.is_complete() || recorder.changes() < count) {
        if (recorder.is_complete() && !deadline) {
            deadline = limit == kNone ? Deadline() : Deadline(limit);
        }
        if (deadline && deadline->has_passed()) {
            break;
        }
        follower.process(deadline ? deadline->left() : Deadline().left());
    }
    return kDone;
}

}  // namespace

void add_record(Verbs &verbs) {
    const auto record = std::make_shared<Record>();
    const Command command = verbs.add("record", "Write down what happens in the store, as a scenario to play",
                                      "  trel_capctl record field.yaml\n"
                                      "  trel_capctl record field.yaml --duration 60\n"
                                      "  trel_capctl record - --count 100 | gzip >field.yaml.gz\n",
                                      [record](Session &session) { return record->run(session); });
    command.add_option("FILE", record->file, "Where to write; - is standard output").required();
    command.add_option("--duration", record->duration, "End after so many seconds; else Ctrl-C ends it")
        .type_name("SECONDS");
    command.add_option("--count", record->count, "End after so many changes").type_name("N").at_least_one();
    command.add_flag("--force", record->force, "Write over a file that is there");
}

}  // namespace capctl
