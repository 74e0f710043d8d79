#include "redis/resolution.h"

#include <algorithm>
#include <arpa/inet.h>
#include <atomic>
#include <csignal>
#include <cstring>
#include <netdb.h>
#include <netinet/in.h>
#include <new>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/un.h>
#include <unistd.h>
#include <utility>

#include "core/backoff.h"

namespace mom::redis {

// Shared by the thread and the client. It lives until both have done with it.
struct Lookup {
    explicit Lookup(const Endpoint &endpoint)
        : host(endpoint.host), port(std::to_string(endpoint.port)), event(eventfd(0, EFD_CLOEXEC)) {}

    void run() noexcept;
    bool is_of(const Endpoint &endpoint) const {
        return host == endpoint.host && port == std::to_string(endpoint.port);
    }
    // An answer that came while nobody waited, in the pause between two attempts at most.
    bool is_stale(TimePoint now) const {
        return ended.load(std::memory_order_acquire) && now - ended_at > Backoff::kLongest;
    }

    std::string host;
    std::string port;
    base::Fd event;  // readable when it has ended
    std::atomic<bool> ended = false;
    TimePoint ended_at{};
    std::vector<Address> addresses;
    int error = 0;  // of getaddrinfo()
};

void Lookup::run() noexcept {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo *found = nullptr;
    error = getaddrinfo(host.c_str(), port.c_str(), &hints, &found);
    try {
        for (const addrinfo *each = error == 0 ? found : nullptr; each != nullptr; each = each->ai_next) {
            Address &address = addresses.emplace_back();
            std::memcpy(&address.bytes, each->ai_addr, each->ai_addrlen);
            address.size = each->ai_addrlen;
        }
    } catch (const std::bad_alloc &) {
        error = EAI_MEMORY;
    }
    if (error == 0) {
        freeaddrinfo(found);
    }
    ended_at = Clock::now();
    ended.store(true, std::memory_order_release);
    const uint64_t one = 1;
    static_cast<void>(write(event.get(), &one, sizeof one) == sizeof one);  // can't fail: nobody wrote before
}

namespace {

constexpr size_t kStack = size_t{256} * 1024;

Address of_path(const std::string &path) {
    Address address;
    auto &local = reinterpret_cast<sockaddr_un &>(address.bytes);
    local.sun_family = AF_UNIX;
    path.copy(local.sun_path, sizeof local.sun_path - 1);
    address.size = sizeof local;
    return address;
}

// An address that is written as a number; size 0: it is a name.
Address of_number(const Endpoint &endpoint) {
    Address address;
    auto &four = reinterpret_cast<sockaddr_in &>(address.bytes);
    auto &six = reinterpret_cast<sockaddr_in6 &>(address.bytes);
    if (inet_pton(AF_INET, endpoint.host.c_str(), &four.sin_addr) == 1) {
        four.sin_family = AF_INET;
        four.sin_port = htons(endpoint.port);
        address.size = sizeof four;
    } else if (inet_pton(AF_INET6, endpoint.host.c_str(), &six.sin6_addr) == 1) {
        six.sin6_family = AF_INET6;
        six.sin6_port = htons(endpoint.port);
        address.size = sizeof six;
    }
    return address;
}

// Runs work(argument) on a thread of its own, which gets none of the host's signals.
void start_thread(void *(*work)(void *), void *argument) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_attr_setstacksize(&attributes, kStack);
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    pthread_t thread{};
    const bool started = pthread_create(&thread, &attributes, work, argument) == 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    pthread_attr_destroy(&attributes);
    if (!started) {
        throw std::bad_alloc();
    }
}

}  // namespace

Resolver::Resolver() = default;
Resolver::~Resolver() = default;

std::shared_ptr<Lookup> Resolver::look_up(const Endpoint &endpoint) {
    std::erase_if(lookups_, [now = Clock::now()](const auto &lookup) { return lookup->is_stale(now); });
    const auto same = std::ranges::find_if(lookups_, [&](const auto &lookup) { return lookup->is_of(endpoint); });
    if (same != lookups_.end()) {
        return *same;
    }
    auto lookup = std::make_shared<Lookup>(endpoint);
    if (!lookup->event) {
        return nullptr;
    }
    lookups_.reserve(lookups_.size() + 1);  // before the thread is there
    auto shared = std::make_unique<std::shared_ptr<Lookup>>(lookup);
    const auto work = [](void *argument) -> void * {
        const std::unique_ptr<std::shared_ptr<Lookup>> its(static_cast<std::shared_ptr<Lookup> *>(argument));
        (*its)->run();
        return nullptr;
    };
    start_thread(work, shared.get());
    static_cast<void>(shared.release());  // the thread's
    lookups_.push_back(lookup);
    return lookup;
}

void Resolver::heard(const Lookup &lookup) {
    std::erase_if(lookups_, [&](const auto &each) { return each.get() == &lookup; });
}

Resolution::Resolution(const Endpoint &endpoint, const Address &known, Resolver &resolver) : resolver_(resolver) {
    const Address address = known.size != 0         ? known
                            : endpoint.path.empty() ? of_number(endpoint)
                                                    : of_path(endpoint.path);
    if (address.size != 0) {
        addresses_.push_back(address);
    } else {
        lookup_ = resolver_.look_up(endpoint);
        why_ = lookup_ ? "" : "no descriptor left to look its name up";
    }
}

Resolution::~Resolution() = default;

bool Resolution::has_ended() const { return !lookup_ || lookup_->ended.load(std::memory_order_acquire); }

int Resolution::fd() const { return lookup_ ? lookup_->event.get() : -1; }

std::vector<Address> Resolution::take_addresses() {
    if (lookup_) {
        resolver_.heard(*lookup_);
        addresses_ = lookup_->addresses;  // others may wait for them, too
        why_ = lookup_->error != 0 ? gai_strerror(lookup_->error) : "it has no address";
        lookup_.reset();
    }
    return std::move(addresses_);
}

}  // namespace mom::redis
