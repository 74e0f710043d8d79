// A switch full of applications: how soon are all of them told while a chassis boots, while cards flap, and after the
// server has restarted; what it costs; and whether anything is lost. Each beside a program of its own on hiredis.
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "follower.h"
#include "redis_server.h"
#include "shared.h"
#include "usage.h"
#include "writer.h"

namespace {

using crowd::Kind;
using crowd::now_ns;

constexpr size_t kFlapping = 10;  // cards
constexpr int kFlaps = 20;        // times that each of them goes and comes back
constexpr useconds_t kBetweenFlaps = 5'000;
constexpr useconds_t kSettling = 300'000;  // what is there already is loaded
constexpr int64_t kPatienceNs = 60'000'000'000;

class Page {
public:
    Page()
        : shared_(new (mmap(nullptr, sizeof(crowd::Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
                      crowd::Shared) {}
    Page(const Page &) = delete;
    Page &operator=(const Page &) = delete;
    ~Page() { munmap(shared_, sizeof(crowd::Shared)); }
    crowd::Shared &operator*() const { return *shared_; }

private:
    crowd::Shared *shared_;
};

// One crowd, from its start to its end.
class Run {
public:
    Run(const crowd::Crowd &crowd, size_t nodes) : crowd_(crowd), nodes_(nodes), expected_(nodes, false) {
        server_.start();
        server_process_ = {std::stoi(info("process_id"))};
        writer_ = crowd::writer_for(crowd.kind, server_.store_name(), *page_);
        for (size_t node = 0; node < nodes; ++node) {
            writer_->insert(static_cast<int32_t>(node));
        }
        processes_ = crowd::start(crowd, server_.store_name(), *page_);
        wait_until("all follow", [this] { return all([](const crowd::Told &told) { return told.follows.load(); }); });
    }
    Run(const Run &) = delete;
    Run &operator=(const Run &) = delete;
    ~Run() {
        (*page_).ends = true;
        for (const pid_t process : processes_) {
            waitpid(process, nullptr, 0);
        }
    }

    void boot() {
        measure("boot", nodes_, [this] {
            for (size_t node = 0; node < nodes_; ++node) {
                set_ready(node, true);
            }
        });
    }

    void flap() {
        measure("ten cards flap", size_t{2} * kFlaps * kFlapping, [this] {
            for (int i = 0; i < 2 * kFlaps; ++i) {
                for (size_t card = 0; card < kFlapping; ++card) {
                    set_ready(card * nodes_ / kFlapping, i % 2 != 0);
                    usleep(kBetweenFlaps);
                }
            }
        });
    }

    // What changes first after the restart is what the followers find when they come back. A bare program would have
    // to load all records again for that, so it has no figure here.
    void restart() {
        writer_.reset();
        server_.restart(test_support::RedisServer::Data::kKept);
        server_process_ = {std::stoi(info("process_id"))};
        const int64_t begin = now_ns();
        writer_ = crowd::writer_for(crowd_.kind, server_.store_name(), *page_);
        for (size_t card = 0; card < kFlapping; ++card) {
            set_ready(card * nodes_ / kFlapping, false);
        }
        wait_until("all know the store as it is after the restart", [this] { return all_know(); });
        std::printf("  %-22s all followers up to date after %.0f ms\n", "server restarts",
                    static_cast<double>(now_ns() - begin) / 1e6);
    }

private:
    std::string info(const std::string &field) {
        const std::string text = server_.connection().text({"INFO", "server"});
        const size_t place = text.find(field + ":");
        return text.substr(place + field.size() + 1);
    }

    void set_ready(size_t node, bool ready) {
        writer_->set_ready(static_cast<int32_t>(node), ready);
        expected_.at(node) = ready;
    }

    template <class Holds>
    bool all(Holds holds) const {
        const auto &followers = (*page_).followers;
        return std::all_of(followers.begin(), followers.begin() + static_cast<ptrdiff_t>(crowd_.followers()), holds);
    }

    bool all_know() const {
        return all([this](const crowd::Told &told) {
            for (size_t node = 0; node < nodes_; ++node) {
                if ((told.ready.at(node) != 0) != expected_.at(node)) {
                    return false;
                }
            }
            return true;
        });
    }

    template <class Holds>
    void wait_until(const char *what, Holds holds) const {
        for (const int64_t end = now_ns() + kPatienceNs; !holds(); usleep(1000)) {
            if (now_ns() > end || waitpid(-1, nullptr, WNOHANG) > 0) {
                throw std::runtime_error(std::string("in vain waited until ") + what);
            }
        }
    }

    template <class Write>
    void measure(const char *phase, size_t writes, Write write) {
        for (size_t i = 0; i < crowd_.followers(); ++i) {
            (*page_).followers.at(i).events = 0;
        }
        const double clients_before = crowd::processor_seconds(processes_);
        const double server_before = crowd::processor_seconds(server_process_);
        const int64_t begin = now_ns();
        write();
        wait_until("all were told of every write",
                   [&] { return all_know() && all([=](const crowd::Told &told) { return told.events >= writes; }); });
        const double seconds = static_cast<double>(now_ns() - begin) / 1e9;
        const auto told = static_cast<double>(writes * crowd_.followers());
        const std::vector<uint32_t> latencies = sorted_latencies();
        const auto at = [&](double share) {
            return latencies.at(static_cast<size_t>(share * static_cast<double>(latencies.size() - 1))) / 1000.0;
        };
        std::printf("  %-22s %8zu events in %6.2f s; ms to the callback: %7.2f %7.2f %7.2f; µs an event: "
                    "%5.1f followers, %5.1f server; %lld KiB a process\n",
                    phase, latencies.size(), seconds, at(0.5), at(0.99), at(1),
                    (crowd::processor_seconds(processes_) - clients_before) / told * 1e6,
                    (crowd::processor_seconds(server_process_) - server_before) / told * 1e6,
                    static_cast<long long>(crowd::own_memory_kib(processes_)));
        std::fflush(stdout);
    }

    std::vector<uint32_t> sorted_latencies() const {
        std::vector<uint32_t> latencies;
        for (size_t i = 0; i < crowd_.followers(); ++i) {
            const crowd::Told &told = (*page_).followers.at(i);
            for (size_t sample = 0; sample < std::min<size_t>(told.events, crowd::kMaxSamples); ++sample) {
                latencies.push_back(told.latency_us.at(sample));
            }
        }
        std::sort(latencies.begin(), latencies.end());
        return latencies;
    }

    crowd::Crowd crowd_;
    size_t nodes_;
    std::vector<bool> expected_;
    Page page_;
    test_support::RedisServer server_;
    std::vector<pid_t> server_process_;
    std::unique_ptr<crowd::Writer> writer_;
    std::vector<pid_t> processes_;
};

void run(const crowd::Crowd &crowd, size_t nodes) {
    std::printf("%zu %s of %zu thread%s follow %zu cards (median, 99th of a hundred, worst):\n", crowd.processes,
                crowd.kind == Kind::kApplication ? "applications" : "bare programs", crowd.threads,
                crowd.threads == 1 ? "" : "s", nodes);
    Run run(crowd, nodes);
    run.boot();
    run.flap();
    if (crowd.kind == Kind::kApplication) {
        run.restart();
    }
}

// Nothing when the text is no number between 1 and most.
size_t number(const char *text, size_t most) {
    char *end = nullptr;
    const unsigned long value = std::strtoul(text, &end, 10);
    if (*text == '\0' || *end != '\0' || value == 0 || value > most) {
        throw std::runtime_error(std::string("not a number from 1 to ") + std::to_string(most) + ": " + text);
    }
    return value;
}

}  // namespace

int main(int argc, char **argv) {
    try {
        if (argc > 3) {
            std::fprintf(stderr, "Usage: trel_cap_crowd [PROCESSES [NODES]]\n");
            return 2;
        }
        const size_t processes = argc > 1 ? number(argv[1], crowd::kMaxFollowers / 4) : 64;
        const size_t nodes = argc > 2 ? number(argv[2], crowd::kMaxNodes) : crowd::kMaxNodes;
        for (const size_t threads : {size_t{1}, size_t{4}}) {
            for (const Kind kind : {Kind::kApplication, Kind::kBare}) {
                run({kind, processes, threads}, nodes);
            }
        }
    } catch (const std::exception &error) {
        std::fprintf(stderr, "trel_cap_crowd: %s\n", error.what());
        return 1;
    }
    return 0;
}
