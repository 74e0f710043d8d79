#include "recorder.h"

#include "records.h"

#include <poll.h>

#include <algorithm>

namespace mom_test {

using std::chrono::duration_cast;
using std::chrono::milliseconds;

namespace {

std::shared_ptr<ProtobufCMessage> copy_of(const ProtobufCMessage *record) {
    const std::string bytes = packed(record);
    ProtobufCMessage *copy = protobuf_c_message_unpack(record->descriptor, nullptr, bytes.size(),
                                                       reinterpret_cast<const uint8_t *>(bytes.data()));
    return {copy, [](ProtobufCMessage *message) { protobuf_c_message_free_unpacked(message, nullptr); }};
}

void note_record(Event &event, const ProtobufCMessage *record) {
    if (record != nullptr) {
        event.record = copy_of(record);
    }
}

void note_hash_result(Event &event, const MomHashResult *result) {
    note_record(event, result->record);
    event.fields.assign(result->field_ids, result->field_ids + result->n_field_ids);
    event.error_code = result->error_code;
}

int32_t write_down(Slot &slot, Event event, MomMsg *msg, bool is_hash) {
    event.db = msg->db;
    event.cmd = msg->cmd;
    event.has_result = msg->result != nullptr;
    if (event.has_result && is_hash) {
        note_hash_result(event, static_cast<const MomHashResult *>(msg->result));
    } else if (event.has_result) {
        note_record(event, static_cast<const ProtobufCMessage *>(msg->result));
    }
    event.order = ++recorder().recorded;
    MomClient *client = event.client;
    slot.events.push_back(std::move(event));
    if (slot.hook) {
        const auto hook = slot.hook;  // which may replace itself
        hook(client, msg);
    }
    return 0;
}

std::string key_of(const ProtobufCMessage *record) {
    const auto *index = protobuf_c_message_descriptor_get_field(record->descriptor, 5);
    std::string key = record->descriptor->name;
    if (index != nullptr && index->type == PROTOBUF_C_TYPE_MESSAGE) {
        const char *member = reinterpret_cast<const char *>(record) + index->offset;
        key += ":" + packed(*reinterpret_cast<ProtobufCMessage *const *>(member));
    }
    return key;
}

}  // namespace

int Slot::count(int32_t cmd) const {
    return static_cast<int>(
        std::count_if(events.begin(), events.end(), [cmd](const Event &event) { return event.cmd == cmd; }));
}

std::vector<int32_t> Slot::commands() const {
    std::vector<int32_t> all;
    for (const Event &event : events) {
        all.push_back(event.cmd);
    }
    return all;
}

Recorder &recorder() {
    thread_local Recorder the_recorder;
    return the_recorder;
}

int32_t record_message(int slot, MomClient *client, MomMsg *msg) {
    Event event;
    event.client = client;
    return write_down(recorder().slots.at(static_cast<size_t>(slot)), std::move(event), msg,
                      msg->cmd == OX_MOM_CMD_DELIVERED);
}

int32_t record_field(int slot, MomClient *client, MomMsg *msg, void *arg) {
    Event event;
    event.client = client;
    event.arg = arg;
    return write_down(recorder().slots.at(static_cast<size_t>(slot)), std::move(event), msg, true);
}

int32_t on_reconnect(MomClient *client, int32_t db, int32_t type) {
    Recorder &mine = recorder();
    mine.reconnections.push_back({client, db, type, ++mine.recorded});
    if (mine.reconnect_hook) {
        const auto hook = mine.reconnect_hook;
        hook(client, db);
    }
    return 0;
}

bool pump_until(MomClient *client, const std::function<bool()> &done, milliseconds limit) {
    const Stopwatch watch;
    while (!done()) {
        const milliseconds left = limit - watch.elapsed();
        if (left <= milliseconds(0) || ox_mom_client_process(client, static_cast<int32_t>(left.count())) < 0) {
            return false;
        }
    }
    return true;
}

bool settle(MomClient *client, MomClient *publisher, int32_t db) {
    const Single<CapHpsGlbState> fence;
    Slot &slot = recorder().slots[kFenceSlot];
    slot.events.clear();
    return ox_mom_subscribe(client, db, fence.message(), 0, on_notification<kFenceSlot>, nullptr) == 0 &&
           ox_mom_set_sync(publisher, db, fence.message()) == 0 &&
           pump_until(client, [&slot] { return slot.count(OX_MOM_CMD_WRITTEN) > 0; });
}

State stored_state(MomClient *client, int32_t db, const ProtobufCMessage *request) {
    Slot &slot = recorder().slots[kScanSlot];
    slot.events.clear();
    State state;
    if (ox_mom_scan_sync(client, db, request, 0, on_notification<kScanSlot>, nullptr) != 0) {
        state["failed"] = ox_mom_last_error();
    }
    for (const Event &event : slot.events) {
        update(state, event);
    }
    slot.events.clear();
    return state;
}

void update(State &state, const Event &event) {
    if (event.record == nullptr) {
        return;
    }
    const std::string key = key_of(event.record.get());
    if (event.cmd == OX_MOM_CMD_DELETED) {
        state.erase(key);
    } else {
        state[key] = packed(event.record.get());
    }
}

bool readable(int fd, milliseconds limit) {
    pollfd polled = {fd, POLLIN, 0};
    return poll(&polled, 1, static_cast<int>(limit.count())) == 1 && (polled.revents & POLLIN) != 0;
}

milliseconds Stopwatch::elapsed() const {
    return duration_cast<milliseconds>(std::chrono::steady_clock::now() - start_);
}

}  // namespace mom_test
