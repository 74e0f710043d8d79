#include "scripted_platform.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <gtest/gtest.h>

namespace test_support {
namespace {

std::atomic<ScriptedPlatform *> current_platform = nullptr;

// The addresses are all that matters.
std::array<char, 2> clients;
std::array<char, 2> categories;

// Scrubbed first, so that a value read from it afterwards is a wrong one even where nothing watches the heap.
void release(ProtobufCMessage *record) {
    if (record == nullptr) {
        return;
    }
    for (unsigned i = 0; i < record->descriptor->n_fields; ++i) {
        const ProtobufCFieldDescriptor &field = record->descriptor->fields[i];
        if (field.type == PROTOBUF_C_TYPE_BOOL || field.type == PROTOBUF_C_TYPE_INT32) {
            explicit_bzero(reinterpret_cast<char *>(record) + field.offset, sizeof(int32_t));
        }
    }
    protobuf_c_message_free_unpacked(record, nullptr);
}

void release(MomHashResult *result) {
    release(result->record);
    delete[] result->field_ids;
    delete result;
}

template <class Wanted>
std::vector<Wanted> only(const std::vector<Event> &events, const Wanted *(Event::*part)() const,
                         std::string_view function) {
    std::vector<Wanted> found;
    for (const Event &event : events) {
        const Wanted *wanted = (event.*part)();
        if (wanted != nullptr && (function.empty() || wanted->function == function)) {
            found.push_back(*wanted);
        }
    }
    return found;
}

}  // namespace

HashAnswer HashAnswer::none() { return {.record = {}, .field_ids = {}, .error_code = 0, .nothing = true}; }

HashAnswer HashAnswer::no_record() { return {}; }

HashAnswer HashAnswer::error(int32_t code) { return {.record = {}, .field_ids = {}, .error_code = code}; }

HashAnswer HashAnswer::found(const Record &record, const std::vector<int32_t> &field_ids) {
    return {.record = record, .field_ids = field_ids};
}

Message::Message(int32_t cmd, HashAnswer hash) : Message(cmd) {
    if (hash.nothing) {
        return;
    }
    record_ = {hash.record.copy(), [](ProtobufCMessage *record) { release(record); }};
    field_ids_ = std::make_shared<std::vector<int32_t>>(std::move(hash.field_ids));
    hash_ = std::make_shared<MomHashResult>();
    hash_->record = record_.get();
    hash_->field_ids = field_ids_->data();
    hash_->n_field_ids = static_cast<uint32_t>(field_ids_->size());
    hash_->error_code = hash.error_code;
    msg_.result = hash_.get();
}

Message::Message(int32_t cmd, const Record &object) : Message(cmd) {
    record_ = {object.copy(), [](ProtobufCMessage *record) { release(record); }};
    msg_.result = record_.get();
}

MomMsg *Message::to(MomClient *client, int32_t db) {
    msg_.client = client;
    msg_.db = db;
    return &msg_;
}

ScriptedPlatform::ScriptedPlatform() : categories_{category(), other_category()} { current_platform = this; }

ScriptedPlatform::~ScriptedPlatform() {
    current_platform = nullptr;
    EXPECT_EQ(hashes_.size(), 0U) << "results of ox_mom_hgetall_sync were not freed";
    EXPECT_EQ(objects_.size(), 0U) << "records of ox_mom_get_sync were not freed";
    for (MomHashResult *result : hashes_) {
        release(result);
    }
    for (ProtobufCMessage *record : objects_) {
        release(record);
    }
}

std::vector<Event> ScriptedPlatform::events() const {
    const std::lock_guard guard(mutex_);
    return events_;
}

std::vector<Call> ScriptedPlatform::calls() const { return only(events(), &Event::call, ""); }

std::vector<Call> ScriptedPlatform::calls(std::string_view function) const {
    return only(events(), &Event::call, function);
}

std::vector<Log> ScriptedPlatform::logs() const { return only(events(), &Event::log, ""); }

std::vector<Log> ScriptedPlatform::logs(std::string_view function) const {
    return only(events(), &Event::log, function);
}

void ScriptedPlatform::forget() {
    const std::lock_guard guard(mutex_);
    events_.clear();
    log_lines_.clear();
}

size_t ScriptedPlatform::held() const {
    const std::lock_guard guard(mutex_);
    return hashes_.size() + objects_.size();
}

void *ScriptedPlatform::category() { return &categories[0]; }

void *ScriptedPlatform::other_category() { return &categories[1]; }

void *ScriptedPlatform::last_log_category() const {
    const std::lock_guard guard(mutex_);
    return last_log_category_;
}

std::vector<long> ScriptedPlatform::log_lines() const {
    const std::lock_guard guard(mutex_);
    return log_lines_;
}

MomClient *ScriptedPlatform::client() { return reinterpret_cast<MomClient *>(&clients[0]); }

MomClient *ScriptedPlatform::other_client() { return reinterpret_cast<MomClient *>(&clients[1]); }

ScriptedPlatform &ScriptedPlatform::current() {
    ScriptedPlatform *platform = current_platform;
    if (platform == nullptr) {
        std::fputs("the platform was called outside of a test\n", stderr);
        std::abort();
    }
    return *platform;
}

MomHashResult *ScriptedPlatform::give_hash(const HashAnswer &answer) {
    if (answer.nothing) {
        return nullptr;
    }
    const std::lock_guard guard(mutex_);
    auto *result = new MomHashResult{};
    result->record = answer.record.copy();
    result->field_ids = new int32_t[answer.field_ids.size()];
    std::copy(answer.field_ids.begin(), answer.field_ids.end(), result->field_ids);
    result->n_field_ids = static_cast<uint32_t>(answer.field_ids.size());
    result->error_code = answer.error_code;
    hashes_.insert(result);
    return result;
}

void ScriptedPlatform::take_hash(MomHashResult *result) {
    const std::lock_guard guard(mutex_);
    if (hashes_.erase(result) == 0) {
        ADD_FAILURE() << "ox_mom_hash_res_free of what was not handed out, or freed already: " << result;
        return;
    }
    release(result);
}

ProtobufCMessage *ScriptedPlatform::give_object(const Record &record) {
    const std::lock_guard guard(mutex_);
    ProtobufCMessage *object = record.copy();
    if (object != nullptr) {
        objects_.insert(object);
    }
    return object;
}

void ScriptedPlatform::take_object(ProtobufCMessage *record) {
    const std::lock_guard guard(mutex_);
    if (objects_.erase(record) == 0) {
        ADD_FAILURE() << "ox_mom_ox_obj_free of what was not handed out, or freed already: " << record;
        return;
    }
    release(record);
}

void *ScriptedPlatform::give_category(void *category) {
    const std::lock_guard guard(mutex_);
    categories_.insert(category);
    return category;
}

void ScriptedPlatform::note_call(Call call, const ProtobufCMessage *record) {
    if (on_call) {
        on_call(call, record);
    }
    const std::lock_guard guard(mutex_);
    events_.emplace_back(std::move(call));
}

void ScriptedPlatform::note_log(void *category, long line, Log log, const char *buffer) {
    if (on_log) {
        on_log(log, buffer);
    }
    const std::lock_guard guard(mutex_);
    EXPECT_TRUE(category != nullptr && categories_.contains(category))
        << "a message with a category that was not handed out: " << log;
    last_log_category_ = category;
    events_.emplace_back(std::move(log));
    log_lines_.push_back(line);
}

}  // namespace test_support
