#include "trial/library_trial.h"

#include <array>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include <ox_mom.h>
#include <trel_cap/init.h>

#include "base/fd.h"
#include "scenario/event.h"
#include "scenario/expectation.h"
#include "scenario/player.h"

namespace trial {

namespace {

using scenario::Moment;
using scenario::Scenario;
using Lines = std::vector<std::string>;

constexpr char kStore[] = "mem:trial";

struct ClientDeleter {
    void operator()(MomClient *client) const { ox_mom_client_destroy(client); }
};
using Client = std::unique_ptr<MomClient, ClientDeleter>;

// The callbacks that are registered have no place for what belongs to them; a process has one trial.
struct Told {
    const Scenario *scenario = nullptr;
    Lines events;
};

Told &told() {
    static Told all;
    return all;
}

int32_t tell(int32_t code, void *argument) {
    scenario::Event event{.code = code, .of_node = argument != nullptr};
    if (argument != nullptr) {
        const auto &node = *static_cast<const CapNodeReady *>(argument);
        event.node = static_cast<int32_t>(node.node);
        event.ready = node.ready != 0;
    }
    told().events.push_back(scenario::event_text(event, told().scenario->node_names));
    return 0;
}

struct List {
    int32_t (*follow)(const char *name, CapEventCb callback, uint32_t events);
    uint32_t events;
};

constexpr uint32_t bits(int first, int second) { return TREL_CAP_EVENT_BIT(first) | TREL_CAP_EVENT_BIT(second); }

const List kLists[] = {
    {trel_cap_event_callback_reg, bits(TREL_CAP_EVENT_SYSTEM, TREL_CAP_EVENT_FE_NODE)},
    {trel_cap_fab_event_callback_reg, bits(TREL_CAP_EVENT_FAB, TREL_CAP_EVENT_FAB_NODE)},
    {trel_cap_cm_event_callback_reg, bits(TREL_CAP_EVENT_CM, TREL_CAP_EVENT_CM_NODE)},
    {trel_cap_hps_event_callback_reg, bits(TREL_CAP_EVENT_HPS, TREL_CAP_EVENT_HPS_NODE)},
    {trel_cap_lc_and_hps_event_callback_reg, TREL_CAP_EVENT_BIT(TREL_CAP_EVENT_LC_AND_HPS)},
};

void follow(uint32_t events) {
    for (const List &list : kLists) {
        if ((list.events & events) != 0 && list.follow("trial", tell, list.events & events) != 0) {
            throw std::runtime_error("no memory to follow events");
        }
    }
    trel_cap_log_level(0);  // it would log every answer that it gets
}

void deliver(MomClient *client) {
    while (ox_mom_client_process(client, 0) > 0) {
    }
}

Client start_library(const Scenario &scenario) {
    told().scenario = &scenario;
    follow(scenario.follow);
    Client client(ox_mom_client_create(kStore));
    if (trel_cap_init(client.get(), "trial") != 0 || g_trel_cap_global != client.get()) {
        throw std::runtime_error(std::string("the library does not start: ") + ox_mom_last_error());
    }
    deliver(client.get());
    return client;
}

// Why it failed, and the differences; nothing: as expected.
Lines judge(const Scenario &scenario, const Moment &moment) {
    Lines lines = scenario::differences(*moment.expected, told().events);
    told().events.clear();
    if (!lines.empty()) {
        lines.insert(lines.begin(), scenario.file + ":" + std::to_string(moment.expected->line) +
                                        ": the events differ: - expected and not told, + told and not expected");
    }
    return lines;
}

// All of the trial, in the process that is for it.
Lines play_and_judge(const Scenario &scenario) {
    store::Store publisher(kStore);
    scenario::play(publisher, scenario.before, {.speed = 0});
    const Client client = start_library(scenario);
    Lines failed;
    const auto played = [&](const Moment &moment) {
        deliver(client.get());
        if (moment.expected && failed.empty()) {
            failed = judge(scenario, moment);
        }
    };
    scenario::play(publisher, scenario.steps, {.speed = 0, .played = played});
    return failed;
}

// In the child. It goes without cleaning up what it has of its parent.
[[noreturn]] void run_child(const Scenario &scenario, int result) {
    Lines lines;
    try {
        lines = play_and_judge(scenario);
    } catch (const std::exception &failure) {
        lines = {failure.what()};
    }
    std::string text;
    for (const std::string &line : lines) {
        text += line + "\n";
    }
    for (size_t done = 0; done < text.size();) {
        const ssize_t size = write(result, text.data() + done, text.size() - done);
        if (size < 0) {
            _exit(1);
        }
        done += static_cast<size_t>(size);
    }
    _exit(0);
}

Lines read_lines(int fd) {
    std::string text;
    std::array<char, 4096> bytes;
    for (ssize_t size = 0; (size = read(fd, bytes.data(), bytes.size())) > 0;) {
        text.append(bytes.data(), static_cast<size_t>(size));
    }
    Lines lines;
    for (size_t at = 0, end = 0; (end = text.find('\n', at)) != std::string::npos; at = end + 1) {
        lines.push_back(text.substr(at, end - at));
    }
    return lines;
}

// Why it failed, and the differences; nothing: as expected.
Lines run_apart(const Scenario &scenario) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return {std::string("it could not be tried, for there is no pipe: ") + std::strerror(errno)};
    }
    const base::Fd from_child(ends[0]);
    base::Fd to_parent(ends[1]);
    const pid_t child = fork();
    if (child == 0) {
        run_child(scenario, to_parent.get());
    }
    to_parent = base::Fd();
    if (child < 0) {
        return {std::string("it could not be tried, for there is no process: ") + std::strerror(errno)};
    }
    Lines lines = read_lines(from_child.get());
    int status = 0;
    waitpid(child, &status, 0);
    if (status != 0) {
        lines = {WIFSIGNALED(status) ? std::string("the library was ended by ") + strsignal(WTERMSIG(status))
                                     : "the library has ended the process"};
    }
    return lines;
}

}  // namespace

Verdict try_library(const scenario::Scenario &scenario) {
    if (!scenario.expects_events()) {
        return {scenario.file, Verdict::Result::kSkipped, "it expects no events"};
    }
    Verdict verdict(scenario.file);
    const auto begin = std::chrono::steady_clock::now();
    Lines lines = run_apart(scenario);
    verdict.took = std::chrono::steady_clock::now() - begin;
    if (!lines.empty()) {
        verdict.result = Verdict::Result::kFailed;
        verdict.message = lines.front();
        verdict.details.assign(lines.begin() + 1, lines.end());
    }
    return verdict;
}

}  // namespace trial
