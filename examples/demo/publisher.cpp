#include "publisher.h"

#include <cstdio>
#include <fcntl.h>
#include <iostream>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <ox_mom.h>
#include <trel_cap/records.h>

#include "chassis.h"
#include "child.h"

namespace demo {

namespace {

// An answer is a line for each record, and an empty line.
using Lines = std::vector<std::string>;

class Client {
public:
    explicit Client(const std::string &store) : client_(ox_mom_client_create(store.c_str())) {
        for (const int32_t db : {int32_t{TREL_CAP_DB_CARDS}, int32_t{TREL_CAP_DB_CAPABILITIES}}) {
            if (client_ == nullptr || ox_mom_client_connect_sync(client_, db) != 0) {
                throw std::runtime_error(std::string("the publisher cannot connect: ") + ox_mom_last_error());
            }
        }
    }
    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;
    ~Client() { ox_mom_client_destroy(client_); }

    MomClient *get() const { return client_; }

    // After a loss, requests fail until the client's loop has run and brought the connection back.
    void wait_for_store() const {
        const CapGlbState request = CAP_GLB_STATE__INIT;
        int32_t error = 0;
        for (int tries = 0; tries < 100; ++tries) {
            ox_mom_ox_obj_free(ox_mom_get_sync(client_, TREL_CAP_DB_CAPABILITIES, &request.base, &error));
            if (error == 0) {
                return;
            }
            ox_mom_client_process(client_, 50);
        }
        throw std::runtime_error(std::string("the publisher has lost the store: ") + ox_mom_last_error());
    }

private:
    MomClient *client_;
};

// A thread with a client of its own, for as long as one step takes: a client belongs to the thread that made it.
class ThreadPublisher final : public Publisher {
public:
    explicit ThreadPublisher(std::string store) : store_(std::move(store)) {}

    Lines play(const std::string &step) override {
        Lines published;
        std::exception_ptr failure;
        std::thread thread([&] {
            try {
                const Client client(store_);
                published = publish(client.get(), step);
            } catch (...) {
                failure = std::current_exception();
            }
        });
        thread.join();
        if (failure) {
            std::rethrow_exception(failure);
        }
        return published;
    }

    std::string who() const override { return "another thread"; }

private:
    std::string store_;
};

class ProcessPublisher final : public Publisher {
public:
    explicit ProcessPublisher(const std::string &store) {
        int to_child[2];
        int from_child[2];
        // Closed in every other program that is started: an end left open there would keep the publisher waiting.
        if (pipe2(to_child, O_CLOEXEC) != 0 || pipe2(from_child, O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipes for the publisher");
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, to_child[0], STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, from_child[1], STDOUT_FILENO);
        std::string program = "trel_cap_demo";
        std::string verb = "publish";
        std::string option = "--store";
        std::string name = store;
        char *arguments[] = {program.data(), verb.data(), option.data(), name.data(), nullptr};
        const bool started = spawn_apart("/proc/self/exe", &actions, arguments, pid_);
        posix_spawn_file_actions_destroy(&actions);
        close(to_child[0]);
        close(from_child[1]);
        to_ = fdopen(to_child[1], "w");
        from_ = fdopen(from_child[0], "r");
        if (!started || to_ == nullptr || from_ == nullptr) {
            throw std::runtime_error("the publisher's process does not start");
        }
    }

    ~ProcessPublisher() override {
        std::fclose(to_);
        std::fclose(from_);
        waitpid(pid_, nullptr, 0);
    }

    Lines play(const std::string &step) override {
        std::fprintf(to_, "%s\n", step.c_str());
        std::fflush(to_);
        Lines published;
        char line[512];
        while (std::fgets(line, sizeof line, from_) != nullptr) {
            std::string text(line);
            text.erase(text.find_last_not_of('\n') + 1);
            if (text.empty()) {
                return published;
            }
            published.push_back(text);
        }
        throw std::runtime_error("the publisher's process has ended");
    }

    std::string who() const override { return "process " + std::to_string(pid_); }

private:
    pid_t pid_ = -1;
    FILE *to_ = nullptr;
    FILE *from_ = nullptr;
};

}  // namespace

std::unique_ptr<Publisher> publish_from_thread(const std::string &store) {
    return std::make_unique<ThreadPublisher>(store);
}

std::unique_ptr<Publisher> publish_from_process(const std::string &store) {
    return std::make_unique<ProcessPublisher>(store);
}

int serve_steps(const std::string &store) {
    const Client client(store);
    for (std::string step; std::getline(std::cin, step);) {
        client.wait_for_store();
        for (const std::string &line : publish(client.get(), step)) {
            std::cout << line << '\n';
        }
        std::cout << std::endl;
    }
    return 0;
}

}  // namespace demo
