// A platform that answers as told and remembers everything. It stands in front of the platform's libraries by defining
// their functions in the test program. What it hands out must come back, once: anything else fails the test.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string_view>
#include <utility>
#include <vector>

#include "ox_mom.h"
#include "platform_events.h"
#include "record.h"

namespace test_support {

// What the platform answers to one of its functions.
template <class Answer>
class Script {
public:
    explicit Script(Answer usual) : usual_(std::move(usual)) {}

    // From now on, where nothing below says otherwise.
    void always(Answer answer) { usual_ = std::move(answer); }
    // Once, after all earlier answers given with then().
    Script &then(Answer answer) {
        once_.push_back(std::move(answer));
        return *this;
    }
    // For the nth call from now, counted from 1, whatever then() says.
    void at(int nth, Answer answer) { at_.insert_or_assign(calls_ + nth, std::move(answer)); }

    Answer next() {
        ++calls_;
        if (const auto found = at_.find(calls_); found != at_.end()) {
            return found->second;
        }
        if (once_.empty()) {
            return usual_;
        }
        Answer answer = std::move(once_.front());
        once_.pop_front();
        return answer;
    }

private:
    Answer usual_;
    std::deque<Answer> once_;
    std::map<int, Answer> at_;
    int calls_ = 0;
};

// What is read of a hash. A default one is an answer without a record.
struct HashAnswer {
    Record record;
    std::vector<int32_t> field_ids;
    int32_t error_code = 0;
    bool nothing = false;

    // Not even a result.
    static HashAnswer none();
    static HashAnswer no_record();
    static HashAnswer error(int32_t code);
    static HashAnswer found(const Record &record, const std::vector<int32_t> &field_ids);
};

// What is read of a single object; both parts may be given at once.
struct ObjectAnswer {
    Record record;
    int32_t error_code = 0;
};

// A notification, with everything that it carries.
class Message {
public:
    // Carries nothing.
    explicit Message(int32_t cmd) : msg_{nullptr, 0, cmd, nullptr} {}
    // Carries a hash; HashAnswer::none() carries nothing.
    Message(int32_t cmd, HashAnswer hash);
    // Carries a record itself.
    Message(int32_t cmd, const Record &object);

    // Valid as long as the message.
    MomMsg *get() { return &msg_; }
    MomMsg *to(MomClient *client, int32_t db);

private:
    MomMsg msg_;
    std::shared_ptr<MomHashResult> hash_;
    std::shared_ptr<ProtobufCMessage> record_;
    std::shared_ptr<std::vector<int32_t>> field_ids_;
};

struct ScanAnswer {
    int32_t status = 0;
    std::vector<Message> messages;  // delivered before the call returns
};

class ScriptedPlatform {
public:
    ScriptedPlatform();
    ~ScriptedPlatform();
    ScriptedPlatform(const ScriptedPlatform &) = delete;
    ScriptedPlatform &operator=(const ScriptedPlatform &) = delete;

    Script<int32_t> client_connect_sync{0};
    Script<int32_t> client_set_reconnect_cb{0};
    Script<HashAnswer> hgetall_sync{HashAnswer::none()};
    Script<int32_t> hmset_sync{0};
    Script<ObjectAnswer> get_sync{ObjectAnswer{}};
    Script<int32_t> ox_obj_free{0};
    Script<int32_t> subscribe{0};
    Script<int32_t> subscribe_field{0};
    Script<ScanAnswer> scan_sync{ScanAnswer{}};
    Script<void *> zlog_init{category()};
    Script<int32_t> quib_lib_init{0};
    Script<int32_t> quib_reg_mod_cmd{0};

    // Run inside each call, before it is answered, with the record it was given; and inside each message, with the
    // buffer it was given. They may look at the library's state at that moment.
    std::function<void(const Call &, const ProtobufCMessage *)> on_call;
    std::function<void(const Log &, const char *)> on_log;

    std::vector<Event> events() const;
    std::vector<Call> calls() const;
    std::vector<Call> calls(std::string_view function) const;
    std::vector<Log> logs() const;
    std::vector<Log> logs(std::string_view function) const;
    // Forgets the events, not the scripts.
    void forget();

    // Results and records that the library still has to give back.
    size_t held() const;

    // The logging category that is handed out unless told otherwise, others, and that of the latest message.
    static void *category();
    static void *other_category();
    void *last_log_category() const;
    // The source lines that the messages came from.
    std::vector<long> log_lines() const;

    // Clients. Nothing is behind them.
    static MomClient *client();
    static MomClient *other_client();

    // What the platform's functions use.
    static ScriptedPlatform &current();
    void note_call(Call call, const ProtobufCMessage *record = nullptr);
    void note_log(void *category, long line, Log log, const char *buffer);
    template <class Answer>
    Answer answer(Script<Answer> &script) {
        const std::lock_guard guard(mutex_);
        return script.next();
    }
    MomHashResult *give_hash(const HashAnswer &answer);
    void take_hash(MomHashResult *result);
    ProtobufCMessage *give_object(const Record &record);
    void take_object(ProtobufCMessage *record);
    void *give_category(void *category);

private:
    mutable std::mutex mutex_;
    std::vector<Event> events_;
    std::vector<long> log_lines_;
    std::set<MomHashResult *> hashes_;
    std::set<ProtobufCMessage *> objects_;
    std::set<void *> categories_;
    void *last_log_category_ = nullptr;
};

}  // namespace test_support
