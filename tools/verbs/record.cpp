// record: writes down what happens in a store, as a scenario.
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <poll.h>
#include <unistd.h>

#include "base/fd.h"
#include "command_line/exit_status.h"
#include "command_line/interruption.h"
#include "command_line/program.h"
#include "command_line/streams.h"
#include "command_line/text.h"
#include "scenario/recorder.h"
#include "store/follower.h"
#include "verbs/client_log.h"
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
    Output(const Output &) = delete;
    Output &operator=(const Output &) = delete;
    // Who reads a recording that broke off has not seen why it did. The disk may be full, then nothing can be said.
    ~Output() {
        constexpr std::string_view kLine = "# The recording broke off here.\n";
        if (!ended_) {
            static_cast<void>(!::write(fd_ ? fd_.get() : STDOUT_FILENO, kLine.data(), kLine.size()));
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

    void end() { ended_ = true; }

private:
    [[noreturn]] void fail(const std::string &why) const { throw Failure(kFailed, printable(name_) + ": " + why); }

    std::string name_;
    base::Fd fd_;
    bool ended_ = false;
};

// Says on standard error what else a reader wants to know; at a terminal, that it has begun and how it ends.
class TellingRecorder : public scenario::Recorder {
public:
    // So many changes at most, for several may come at once; 0: without limit.
    TellingRecorder(const std::string &store_name, Sink sink, uint64_t most)
        : Recorder(store_name, std::move(sink)), most_(most) {}

    void changed(const store::Change &change) override {
        if (most_ != 0 && changes() >= most_) {
            return;
        }
        Recorder::changed(change);
        if (is_complete()) {
            progress_.show(static_cast<size_t>(changes()));
        } else {
            ++records_;
        }
    }
    void complete() override {
        Recorder::complete();
        if (is_terminal_) {
            tell(counted(records_, "record") + " stored; recording what changes, until Ctrl-C");
        }
    }
    void lost(const std::string &reason) override {
        Recorder::lost(reason);
        tell(lost_words(reason));
    }
    void still_lost(const std::string &reason) override {
        Recorder::still_lost(reason);
        tell(still_lost_words(reason));
    }
    void restored() override {
        Recorder::restored();
        tell(std::string(kBackWords));
    }
    // Who has interrupted it, too, wants to know what there is.
    void finish(bool is_interrupted) {
        if (is_terminal_ || is_interrupted) {
            tell("recorded " + counted(records_, "record") + " and " + counted(changes(), "change"));
        }
    }

private:
    void tell(const std::string &message) {
        progress_.erase();
        complain(message);
    }

    const bool is_terminal_ = isatty(STDERR_FILENO) != 0;
    const uint64_t most_;
    uint64_t records_ = 0;  // that were stored at the beginning
    Progress progress_{"recorded", 0};
};

// A signal that comes before the waiting is not missed.
void await(const store::Follower &follower, const Interruption &interruption, const Deadline &deadline) {
    std::array<pollfd, 2> awaited = {{{follower.fd(), POLLIN, 0}, {interruption.fd(), POLLIN, 0}}};
    poll(awaited.data(), awaited.size(), static_cast<int>(deadline.left().count()));
}

int Record::run(Session &session) const {
    session.prints_only("record", {Format::kText});
    tell_losses_here();
    constexpr std::chrono::milliseconds kNone(-1);
    const std::chrono::milliseconds limit = duration.empty() ? kNone : parse_seconds("--duration", duration);
    const std::string store_name = session.store_name();
    store::Store &store = session.store();
    store.connect(record::record_types().front().db);  // what cannot be reached leaves no file behind
    Output output(file, force);
    TellingRecorder recorder(
        store_name, [&](std::string_view text) { output.write(text); }, count);
    store::Follower follower(store, store::all_types(), recorder);
    const Interruption interruption;
    std::optional<Deadline> deadline;
    while (!interruption.has_come() && (count == 0 || !recorder.is_complete() || recorder.changes() < count)) {
        if (recorder.is_complete() && !deadline) {
            deadline = limit == kNone ? Deadline() : Deadline(limit);
        }
        if (deadline && deadline->has_passed()) {
            break;
        }
        await(follower, interruption, deadline.value_or(Deadline()));
        follower.process(std::chrono::milliseconds(0));
    }
    if (!recorder.is_complete()) {
        return kInterrupted;
    }
    recorder.finish(interruption.has_come());
    output.end();
    return kDone;
}

}  // namespace

void add_record(Verbs &verbs) {
    const auto record = std::make_shared<Record>();
    const Command command = verbs.add("record", "Write down what happens, as a scenario to play",
                                      "  trel_capctl record field.yaml\n"
                                      "  trel_capctl record field.yaml --duration 60\n"
                                      "  trel_capctl record - --count 100 | gzip >field.yaml.gz\n",
                                      [record](Session &session) { return record->run(session); });
    command.add_option("FILE", record->file, "Where to write; - is standard output").required();
    command.add_option("--duration", record->duration, "End after so many seconds; Ctrl-C ends it, too")
        .type_name("SECONDS");
    command.add_option("--count", record->count, "End after so many changes").type_name("N").at_least_one();
    command.add_flag("--force", record->force, "Write over a file that is there");
}

}  // namespace capctl
