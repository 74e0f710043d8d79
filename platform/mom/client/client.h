// A client: who may call it, what it follows, and the queue of what it has to deliver.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "client/attachments.h"
#include "client/decoded_notification.h"
#include "client/handle.h"
#include "client/queue.h"
#include "client/standing.h"
#include "client/subscriptions.h"
#include "core/cancellation.h"
#include "core/loop.h"
#include "core/store.h"
#include "ox_mom.h"
#include "records/encoding.h"

namespace mom {

class Client final : private StoreListener {
public:
    // nullptr, with the reason in last_error(), when it fails. timeout: of one request.
    static MomClient *create(const StoreName &name, Millis timeout);
    Client(const Client &) = delete;
    Client &operator=(const Client &) = delete;
    ~Client();

    // A call of the client, from its beginning to its end, in which its thread is not cancelled. What must wait for the
    // end of the outermost one, when no callback is under way, is done there: destroying the client, and making fd()
    // readable for what is in the queue. A callback may end its thread: then this is run, too.
    class CallScope {
    public:
        explicit CallScope(Client &client)
            : client_(client), outer_cancel_state_(std::exchange(client.cancel_state_, state_.before())) {
            ++client_.depth_;
        }
        CallScope(const CallScope &) = delete;
        CallScope &operator=(const CallScope &) = delete;
        ~CallScope();

    private:
        CancelState state_{PTHREAD_CANCEL_DISABLE};
        Client &client_;
        int outer_cancel_state_;
    };

    // Takes effect when the outermost call ends; until then every other call is refused.
    void destroy();

    // 0 when the number is one of a database.
    static int32_t check_number(int32_t db);

    // 0 when requests can be addressed to the database.
    int32_t check_connected(int32_t db) const;

    // These return 0 or a code, with the reason in last_error(), and throw std::bad_alloc.

    // Connecting a connected database does nothing.
    int32_t connect(int32_t db);

    // nullptr: none is called any more.
    int32_t set_reconnect_cb(int32_t db, MomReconnectCb cb);

    // Every later change to a record of the type; the same callback again confirms anew. Lost with the connection.
    int32_t subscribe(int32_t db, const ProtobufCMessageDescriptor &type, MomMsgCb cb);

    // Changes of fields of one record: a callback each, and an argument each unless args is nullptr. All are followed,
    // or none. They outlive the connection.
    int32_t subscribe_fields(int32_t db, const ProtobufCMessage &request, std::span<const int32_t> field_ids,
                             const MomFieldCb *cbs, void *const *args);

    // Calls back for each record of the type before it returns. Callbacks may make calls of the client.
    int32_t scan(int32_t db, const ProtobufCMessageDescriptor &type, MomMsgCb cb);

    // Waits so long (below 0: for ever) until there is something to call back for, and does. How many calls it made.
    int32_t process(int32_t timeout_ms);

    // Other libraries' descriptors, served from process().
    Attachments &attachments() { return attachments_; }

    // Readable when process() has something to do.
    int fd() const { return loop_.fd(); }

    // The store, for one request, which is counted.
    Store &requested_store() {
        ++requests_;
        return *store_;
    }

    // Records of the type have been asked for. Where a callback has done so, and they are followed, what fails is
    // loaded again after a reconnection: that the callback itself asks again does not say what it makes of the answer.
    void note_load(int32_t db, const ProtobufCMessageDescriptor &type, int32_t code);

    // A call of the client ended with that code.
    void failed(int32_t code) { timed_out_ += code == OX_MOM_E_TIMEOUT ? 1U : 0U; }

    void show(MomClientStatus &status);

    // Used by one request after another, and kept so that a read allocates nothing but its result, and a write nothing.
    struct Workspace {
        std::string key;
        StoredFields fields;
        EncodedFields encoded;
    };
    Workspace &workspace() { return workspace_; }

private:
    class Scan;

    explicit Client(const StoreName &name);

    void on_notification(std::string_view channel_name, std::string_view notification) override;
    void on_up() noexcept override { standing_.up(); }
    void on_lost(int32_t code, std::string_view why, Millis until_next) noexcept override {
        standing_.lost(code, why, until_next);
    }
    void on_restored() override;
    std::vector<std::string> lasting_channels() const override;

    uint64_t put(Queued queued, std::string_view notification = {});
    int32_t deliver_waiting();
    int32_t deliver_attached();
    bool has_waiting() const { return !queue_.empty() || attachments_.ready() > 0; }
    int32_t deliver(const Queued &queued, std::string_view notification);
    int32_t deliver_notification(const Queued &queued, std::string_view text);
    // Which of a channel's callbacks are told: of a notification, those who followed before it came; of what was
    // missed, those who followed before the loss and do again.
    struct Audience {
        uint64_t place;
        bool of_missed = false;
    };
    int32_t call_record_callbacks(Channel &channel, const Notification &notification, DecodedNotification &decoded,
                                  const Audience &audience);
    int32_t call_field_callbacks(Channel &channel, const Notification &notification, DecodedNotification &decoded,
                                 const Queued &queued);
    int32_t deliver_present(const Queued &queued);
    int32_t deliver_confirmation(const Queued &queued);
    int32_t confirm_at(const Queued &queued);
    int32_t confirm(const Channel &channel, RecordSubscription &subscription);
    int32_t deliver_restored(const Queued &queued);

    // After a loss.
    Channel *followed(int32_t db, const ProtobufCMessageDescriptor &type);
    void load_again();
    struct Missed;
    class Comparison;
    int32_t confirm_after_loss(const Queued &queued);
    int32_t reload(Channel &first, std::vector<Missed> &after);
    int32_t tell_missed(const std::vector<Missed> &missed, uint64_t returns);
    int32_t tell_missed(const Missed &missed);

    MomClient *handle_ = nullptr;
    int depth_ = 0;
    int cancel_state_ = PTHREAD_CANCEL_ENABLE;  // of the thread when it made the innermost call
    bool destroyed_ = false;

    Standing standing_;
    uint64_t delivered_ = 0;
    uint64_t requests_ = 0;
    uint64_t timed_out_ = 0;

    Loop loop_;
    std::unique_ptr<Store> store_;
    Subscriptions subscriptions_;
    std::array<MomReconnectCb, kDatabases> reconnect_cbs_{};
    Queue queue_;
    uint64_t place_ = 0;    // of what was queued last
    uint64_t returns_ = 0;  // of the store, after a loss
    ScratchPool scratches_;
    Workspace workspace_;
    int delivering_ = 0;              // callbacks under way
    bool load_failed_ = false;        // a callback could not load a type
    Attachments attachments_{loop_};  // the last: it is told that the client goes while the rest is still there
};

}  // namespace mom
