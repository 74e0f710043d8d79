#include "follower.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cstdio>
#include <thread>

#include <hiredis/hiredis.h>
#include <ox_mom.h>
#include <protobuf-c/protobuf-c.h>
#include <trel_cap/records.h>
#include <trel_cap/trel_cap.h>

namespace crowd {
namespace {

constexpr int kPauseMs = 50;  // between two looks whether the crowd ends

Shared *shared = nullptr;
thread_local size_t follower = 0;
int complaints = STDERR_FILENO;

int32_t on_event(int32_t, void *argument) {
    const auto *node = static_cast<const CapNodeReady *>(argument);
    shared->tell(follower, node->node, node->ready != 0);
    return 0;
}

[[noreturn]] void fail(const char *why) {
    dprintf(complaints, "trel_cap_crowd: a follower ended: %s\n", why);
    _exit(1);
}

void follow_as_application(const std::string &store) {
    MomClient *client = ox_mom_client_create(store.c_str());
    const uint32_t wanted = TREL_CAP_EVENT_BIT(TREL_CAP_EVENT_FE_NODE);
    if (client == nullptr || trel_cap_event_callback_reg("crowd", on_event, wanted) != TREL_CAP_OK ||
        trel_cap_init(client, "crowd") != TREL_CAP_OK) {
        fail(ox_mom_last_error());
    }
    shared->followers.at(follower).follows = true;
    while (!shared->ends) {
        ox_mom_client_process(client, kPauseMs);  // a loss is no failure: it comes back
    }
    ox_mom_client_destroy(client);
}

void tell_record(const char *bytes, size_t length) {
    ProtobufCMessage *message =
        protobuf_c_message_unpack(&cap_fe_ready__descriptor, nullptr, length, reinterpret_cast<const uint8_t *>(bytes));
    if (message == nullptr) {
        fail("a record that does not decode");
    }
    const auto *record = reinterpret_cast<const CapFeReady *>(message);
    shared->tell(follower, static_cast<uint32_t>(record->index->node), record->ready != 0);
    protobuf_c_message_free_unpacked(message, nullptr);
}

redisContext *subscribe(const std::string &store) {
    redisContext *context = redisConnectUnix(path_of(store));
    if (context == nullptr || context->err != 0) {
        return context;
    }
    freeReplyObject(redisCommand(context, "SUBSCRIBE %s", kBareChannel));
    return context;
}

// Loads nothing after a loss, which the application does: such a program has lost what came meanwhile.
void follow_bare(const std::string &store) {
    redisContext *context = subscribe(store);
    shared->followers.at(follower).follows = true;
    while (!shared->ends) {
        if (context == nullptr || context->err != 0) {
            redisFree(context);
            usleep(kPauseMs * 1000);
            context = subscribe(store);
            continue;
        }
        pollfd waited_for{.fd = context->fd, .events = POLLIN, .revents = 0};
        if (poll(&waited_for, 1, kPauseMs) != 1 || redisBufferRead(context) != REDIS_OK) {
            continue;
        }
        void *reply = nullptr;
        while (redisGetReplyFromReader(context, &reply) == REDIS_OK && reply != nullptr) {
            const auto *message = static_cast<redisReply *>(reply);
            tell_record(message->element[2]->str, message->element[2]->len);
            freeReplyObject(reply);
        }
    }
    redisFree(context);
}

void follow(Kind kind, size_t number, const std::string &store) {
    follower = number;
    kind == Kind::kApplication ? follow_as_application(store) : follow_bare(store);
}

[[noreturn]] void be_process(const Crowd &crowd, size_t process, const std::string &store) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    // Hundreds of threads log a restart; to write that is part of what it costs, to show it is not.
    complaints = dup(STDERR_FILENO);
    dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
    std::vector<std::thread> threads;
    for (size_t thread = 1; thread < crowd.threads; ++thread) {
        threads.emplace_back(follow, crowd.kind, process * crowd.threads + thread, store);
    }
    follow(crowd.kind, process * crowd.threads, store);
    for (std::thread &thread : threads) {
        thread.join();
    }
    _exit(0);
}

}  // namespace

std::vector<pid_t> start(const Crowd &crowd, const std::string &store, Shared &page) {
    shared = &page;
    std::vector<pid_t> processes;
    for (size_t process = 0; process < crowd.processes; ++process) {
        const pid_t pid = fork();
        if (pid == 0) {
            be_process(crowd, process, store);
        }
        processes.push_back(pid);
    }
    return processes;
}

}  // namespace crowd
