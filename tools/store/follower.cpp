#include "store/follower.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <exception>
#include <set>
#include <stdexcept>
#include <utility>

#include "command_line/exit_status.h"
#include "store/message.h"

namespace store {

using command_line::Failure;
using record::Record;
using record::RecordType;

struct Follower::State {
    State(Store &its_store, std::vector<const RecordType *> its_types, Listener &its_listener)
        : store(its_store), types(std::move(its_types)), listener(its_listener) {}

    void follow(const RecordType &type);
    void on_reconnected(int32_t db);
    void on_message(const RecordType &type, const MomMsg &message);
    void on_written(Record &&record, Change::Kind kind);
    void on_deleted(const record::View &address);
    void load(const RecordType &type);
    void loaded(const RecordType &type);
    void read_again(const RecordType &type);
    void read_what_was_skipped();
    void tell_loss();

    // Does it, and keeps what it throws for process(): nothing may pass through the client. Once something was thrown,
    // nothing more is told.
    template <class Step>
    void guarded(Step step);

    Store &store;
    std::vector<const RecordType *> types;
    Listener &listener;
    Snapshot snapshot;
    std::set<const RecordType *> loading;  // followed, but not loaded yet
    std::set<const RecordType *> skipped;  // of which a notification did not decode
    bool was_complete = false;
    bool is_lost = false;  // and not yet told to be back
    bool is_reloaded = false;
    uint64_t losses = 0;
    std::set<std::string> reasons;  // of this loss, that have been told
    std::exception_ptr failure;
    State *next = nullptr;  // of the thread's
};

namespace {

constexpr size_t kReasons = 8;  // told of one loss; some name a port or a time, and are new each time

// Callbacks are told nothing but their client; it belongs to this thread. No container: the C library ends the process
// when it has no memory for the end of one in a thread.
thread_local Follower::State *followers = nullptr;

Follower::State *follower_of(const MomClient *client) {
    Follower::State *state = followers;
    while (state != nullptr && state->store.client() != client) {
        state = state->next;
    }
    return state;
}

bool follows(const Follower::State &state, const RecordType &type) {
    return std::find(state.types.begin(), state.types.end(), &type) != state.types.end();
}

void enter(Follower::State &state) { state.next = std::exchange(followers, &state); }

void leave(const Follower::State &state) {
    Follower::State **at = &followers;
    while (*at != &state) {
        at = &(*at)->next;
    }
    *at = state.next;
}

// A callback for each type, since a confirmation does not say which it is of.
template <size_t kType>
int32_t on_message(MomClient *client, MomMsg *message) {
    if (Follower::State *state = follower_of(client)) {
        state->guarded([&] { state->on_message(record::record_types()[kType], *message); });
    }
    return 0;
}

int32_t on_reconnected(MomClient *client, int32_t db, int32_t) {
    if (Follower::State *state = follower_of(client)) {
        state->guarded([&] { state->on_reconnected(db); });
    }
    return 0;
}

constexpr size_t kMaxTypes = 15;

template <size_t... kTypes>
constexpr std::array<MomMsgCb, sizeof...(kTypes)> make_callbacks(std::index_sequence<kTypes...>) {
    return {on_message<kTypes>...};
}

MomMsgCb callback_of(const RecordType &type) {
    static constexpr auto kCallbacks = make_callbacks(std::make_index_sequence<kMaxTypes>());
    return kCallbacks.at(static_cast<size_t>(&type - record::record_types().data()));
}

MomClientStatus status_of(MomClient *client) {
    MomClientStatus status = {};
    status.size = sizeof status;
    if (const int32_t code = ox_mom_client_status(client, &status)) {
        fail(code);
    }
    return status;
}

// The store is away: what could not be done is done again once it is back.
bool is_loss(const Failure &failure) {
    return failure.status() == command_line::kNoConnection || failure.status() == command_line::kTimeOut;
}

}  // namespace

template <class Step>
void Follower::State::guarded(Step step) {
    if (failure) {
        return;
    }
    try {
        step();
    } catch (const Failure &thrown) {
        if (!is_loss(thrown)) {
            failure = std::current_exception();
        }
    } catch (...) {
        failure = std::current_exception();
    }
}

void Follower::State::follow(const RecordType &type) {
    loading.insert(&type);
    if (const int32_t code =
            ox_mom_subscribe(store.client(), type.db, &Record(type).message(), 0, callback_of(type), nullptr)) {
        fail(code);
    }
}

void Follower::State::on_reconnected(int32_t db) {
    tell_loss();
    for (const RecordType *type : types) {
        if (type->db == db) {
            follow(*type);
        }
    }
}

void Follower::State::on_message(const RecordType &type, const MomMsg &message) {
    if (message.cmd == OX_MOM_CMD_SUBSCRIBED) {
        load(type);
        loaded(type);
    } else if (const auto record = record_in(message)) {
        if (message.cmd == OX_MOM_CMD_DELETED) {
            on_deleted(*record);
        } else {
            on_written(Record(*record), Change::Kind::kWritten);
        }
    }
}

void Follower::State::load(const RecordType &type) {
    store.scan(type, [&](Record &&record) {
        on_written(std::move(record), was_complete ? Change::Kind::kWritten : Change::Kind::kInitial);
    });
    snapshot.set_unreadable(store.unreadable());
}

// A notification that does not decode tells that something has changed, and not what.
void Follower::State::read_again(const RecordType &type) {
    std::set<std::string> there;
    store.scan(type, [&](Record &&record) {
        const std::string key = record.key();
        const Record *const known = snapshot.find(key);
        if (known == nullptr || !(*known == record)) {
            on_written(std::move(record), Change::Kind::kWritten);
        }
        there.insert(key);
    });
    snapshot.set_unreadable(store.unreadable());
    std::vector<Record> gone;
    for (const auto &[key, record] : snapshot.records()) {
        if (&record.type() == &type && !there.contains(key) && !store.unreadable().contains(key)) {
            gone.push_back(record);
        }
    }
    for (const Record &record : gone) {
        on_deleted(record);
    }
}

void Follower::State::read_what_was_skipped() {
    for (const RecordType *type : std::set(skipped)) {
        guarded([&] {
            if (!loading.contains(type)) {  // else it is read anyway
                read_again(*type);
            }
            skipped.erase(type);
        });
    }
}

void Follower::State::loaded(const RecordType &type) {
    loading.erase(&type);
    if (!loading.empty()) {
        return;
    }
    is_reloaded = true;
    if (!std::exchange(was_complete, true)) {
        listener.complete();
    }
}

void Follower::State::on_written(Record &&record, Change::Kind kind) {
    const std::string key = record.key();
    const Record *known = snapshot.find(key);
    std::vector<int32_t> changed = known == nullptr ? std::vector(record.fields().begin(), record.fields().end())
                                                    : differing_fields(record, *known);
    // While it is loaded, what is told already comes once more.
    if (known != nullptr && changed.empty() && loading.contains(&record.type())) {
        return;
    }
    snapshot.put(record);
    listener.changed({kind, record, std::move(changed)});
}

void Follower::State::on_deleted(const record::View &address) {
    const std::string key = address.key();
    const Record *known = snapshot.find(key);
    if (known == nullptr) {
        return;
    }
    const Record last = *known;
    snapshot.erase(key);
    listener.changed({Change::Kind::kDeleted, last, {last.fields().begin(), last.fields().end()}});
}

void Follower::State::tell_loss() {
    const MomClientStatus status = status_of(store.client());
    if (std::exchange(losses, status.losses) != status.losses && !std::exchange(is_lost, true)) {
        reasons = {status.reason};
        listener.lost(status.reason);
    }
    if (is_lost && status.state == OX_MOM_STATE_LOST && reasons.size() < kReasons &&
        reasons.insert(status.reason).second) {
        listener.still_lost(status.reason);
    }
}

bool note_skipped_notification(std::string_view warning) {
    constexpr std::string_view kNotification = "a notification of ";
    if (!warning.starts_with(kNotification)) {
        return false;
    }
    warning.remove_prefix(kNotification.size());
    const RecordType *const type = record::find_type(warning.substr(0, warning.find(' ')));
    bool is_followed = false;
    for (Follower::State *state = followers; state != nullptr && type != nullptr; state = state->next) {
        if (follows(*state, *type)) {
            state->skipped.insert(type);
            is_followed = true;
        }
    }
    return is_followed;
}

Follower::Follower(Store &store, std::vector<const RecordType *> types, Listener &listener)
    : state_(std::make_unique<State>(store, std::move(types), listener)) {
    if (record::record_types().size() > kMaxTypes) {
        throw std::logic_error("there are more types than callbacks");
    }
    if (follower_of(store.client()) != nullptr) {
        throw std::logic_error("a client has one follower");
    }
    enter(*state_);
    try {
        for (const RecordType *type : state_->types) {
            store.connect(type->db);
            ox_mom_client_set_reconnect_cb(store.client(), type->db, on_reconnected, nullptr);
            state_->follow(*type);
        }
    } catch (...) {
        leave(*state_);
        throw;
    }
    state_->losses = status_of(store.client()).losses;
}

Follower::~Follower() { leave(*state_); }

void Follower::process(std::chrono::milliseconds limit) {
    // The client itself would wait through a loss until there is something to call back for.
    pollfd waiting = {fd(), POLLIN, 0};
    poll(&waiting, 1, static_cast<int>(limit.count()));
    const int32_t code = ox_mom_client_process(state_->store.client(), 0);
    state_->read_what_was_skipped();
    if (state_->failure) {
        std::rethrow_exception(std::exchange(state_->failure, nullptr));
    }
    if (code < 0 && code != OX_MOM_E_LOST) {
        fail(code);
    }
    // Deletions that were missed come behind the confirmation of a type that is followed first or alone.
    if (std::exchange(state_->is_reloaded, false) && std::exchange(state_->is_lost, false)) {
        state_->listener.restored();
    }
    state_->tell_loss();
}

int Follower::fd() const { return ox_mom_client_fd(state_->store.client()); }

const Snapshot &Follower::snapshot() const { return state_->snapshot; }

bool Follower::complete() const { return state_->was_complete; }

}  // namespace store
