#include "board/board.h"

#include <algorithm>
#include <array>
#include <optional>
#include <poll.h>
#include <vector>

#include "board/model.h"
#include "board/page.h"
#include "board/web_server.h"
#include "store/follower.h"

namespace board {

using namespace std::chrono;

namespace {

constexpr milliseconds kBetweenVersions(100);
constexpr milliseconds kBetweenSignsOfLife(5000);

// Without a password, which the client leaves out.
std::string shown_name(store::Store &store) {
    MomClientStatus status{};
    status.size = sizeof status;
    return ox_mom_client_status(store.client(), &status) == 0 ? status.store : "";
}

Text text(std::string words) { return std::make_shared<const std::string>(std::move(words)); }

// The sheet as server-sent events. Viewers who have seen the same version share a text.
class News {
public:
    explicit News(const Sheet &sheet) : sheet_(sheet) {}

    uint64_t version() const { return sheet_.version(); }

    Text since(uint64_t seen) {
        if (text_ == nullptr || seen != seen_ || sheet_.version() != version_) {
            seen_ = seen;
            version_ = sheet_.version();
            text_ = text("data: " + sheet_.since(seen) + "\n\n");
        }
        return text_;
    }

private:
    const Sheet &sheet_;
    Text text_;
    uint64_t seen_ = 0;
    uint64_t version_ = 0;
};

class Feed : public Stream {
public:
    explicit Feed(News &news) : news_(news) {}

    Text next() override {
        if (seen_ == news_.version()) {
            return nullptr;
        }
        Text text = news_.since(seen_);
        seen_ = news_.version();
        return text;
    }

private:
    News &news_;
    uint64_t seen_ = 0;
};

}  // namespace

struct Board::State : Site {
    State(store::Store &store, const Address &address)
        : model(shown_name(store)),
          news(model.sheet()),
          follower(store, store::all_types(), model),
          server(address, *this) {
        while (model.store_state() == "loading") {
            follower.process(milliseconds(-1));
        }
        publish();
    }

    std::optional<Answer> answer(std::string_view path) override {
        if (path == "/") {
            const std::string nonce = new_nonce();
            return Answer{"text/html; charset=utf-8", text(page(nonce)), page_policy(nonce)};
        }
        if (path == "/state") {
            return Answer{"application/json", text(model.sheet().whole() + "\n")};
        }
        if (path == "/healthz") {
            return Answer{"text/plain; charset=utf-8", text(std::string(model.store_state()) + "\n")};
        }
        return std::nullopt;
    }

    std::unique_ptr<Stream> open_stream(std::string_view path) override {
        return path == "/events" ? std::make_unique<Feed>(news) : nullptr;
    }

    void publish() {
        model.publish();
        published = steady_clock::now();
        server.wake_streams();
    }

    steady_clock::time_point next_version() const {
        return published + (model.has_news() ? kBetweenVersions : kBetweenSignsOfLife);
    }

    Model model;
    News news;
    store::Follower follower;
    WebServer server;
    steady_clock::time_point published;
};

Board::Board(store::Store &store, const Address &address) : state_(std::make_unique<State>(store, address)) {}
Board::~Board() = default;

const Address &Board::address() const { return state_->server.address(); }

void Board::process(milliseconds limit) {
    const auto until_version = ceil<milliseconds>(state_->next_version() - steady_clock::now());
    milliseconds wait = std::max(until_version, milliseconds(0));
    if (const auto patience = state_->server.patience()) {
        wait = std::min(wait, *patience);
    }
    if (limit >= milliseconds(0)) {
        wait = std::min(wait, limit);
    }
    std::array<pollfd, 2> ready = {{{state_->follower.fd(), POLLIN, 0}, {state_->server.fd(), POLLIN, 0}}};
    poll(ready.data(), ready.size(), static_cast<int>(wait.count()));
    state_->follower.process(milliseconds(0));
    if (steady_clock::now() >= state_->next_version()) {
        state_->publish();
    }
    state_->server.process();
}

}  // namespace board
