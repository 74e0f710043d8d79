// The platform's functions, as the library finds them in a test program.

#include <cstdarg>
#include <cstring>
#include <utility>

#include <gtest/gtest.h>

#include "allocations.h"
#include "ox_mom.h"
#include "ox_zlog.h"
#include "quib.h"
#include "scripted_platform.h"

using test_support::Call;
using test_support::HashAnswer;
using test_support::ObjectAnswer;
using test_support::Record;
using test_support::ScanAnswer;
using test_support::ScriptedPlatform;
using test_support::UncountedAllocations;

namespace {

std::vector<int32_t> copy_ids(const int32_t *ids, size_t count) {
    return ids == nullptr ? std::vector<int32_t>{} : std::vector<int32_t>(ids, ids + count);
}

template <class Pointer>
Call::Argument copy_pointers(const Pointer *pointers, size_t count) {
    if (pointers == nullptr) {
        return static_cast<const void *>(nullptr);
    }
    Call::Pointers copied;
    for (size_t i = 0; i < count; ++i) {
        copied.push_back(reinterpret_cast<const void *>(pointers[i]));
    }
    return copied;
}

}  // namespace

extern "C" {

int32_t ox_mom_client_connect_sync(MomClient *client, int32_t db) {
    const UncountedAllocations uncounted;
    auto &platform = ScriptedPlatform::current();
    platform.note_call(test_support::call::client_connect_sync(client, db));
    return platform.answer(platform.client_connect_sync);
}

int32_t ox_mom_client_set_reconnect_cb(MomClient *client, int32_t db, MomReconnectCb cb, void *arg) {
    const UncountedAllocations uncounted;
    auto &platform = ScriptedPlatform::current();
    platform.note_call(test_support::call::client_set_reconnect_cb(client, db, cb, arg));
    return platform.answer(platform.client_set_reconnect_cb);
}

MomHashResult *ox_mom_hgetall_sync(MomClient *client, int32_t db, const ProtobufCMessage *request) {
    const UncountedAllocations uncounted;
    auto &platform = ScriptedPlatform::current();
    platform.note_call(test_support::call::hgetall_sync(client, db, Record(request)), request);
    return platform.give_hash(platform.answer(platform.hgetall_sync));
}

void ox_mom_hash_res_free(MomHashResult *result) {
    const UncountedAllocations uncounted;
    auto &platform = ScriptedPlatform::current();
    platform.note_call(test_support::call::hash_res_free());
    platform.take_hash(result);
}

int32_t ox_mom_hmset_sync(MomClient *client, int32_t db, const ProtobufCMessage *record, const int32_t *field_ids,
                          uint32_t n_field_ids) {
    const UncountedAllocations uncounted;
    auto &platform = ScriptedPlatform::current();
    platform.note_call(test_support::call::hmset_sync(client, db, Record(record), copy_ids(field_ids, n_field_ids)),
                       record);
    return platform.answer(platform.hmset_sync);
}

ProtobufCMessage *ox_mom_get_sync(MomClient *client, int32_t db, const ProtobufCMessage *request, int32_t *error) {
    const UncountedAllocations uncounted;
    auto &platform = ScriptedPlatform::current();
    platform.note_call(test_support::call::get_sync(client, db, Record(request)), request);
    const ObjectAnswer answer = platform.answer(platform.get_sync);
    // A client may leave the word alone when all went well.
    EXPECT_EQ(*error, 0) << "the error word of ox_mom_get_sync was not cleared before the call";
    if (answer.error_code != 0) {
        *error = answer.error_code;
    }
    return platform.give_object(answer.record);
}

int32_t ox_mom_ox_obj_free(ProtobufCMessage *record) {
    const UncountedAllocations uncounted;
    auto &platform = ScriptedPlatform::current();
    platform.note_call(test_support::call::ox_obj_free());
    platform.take_object(record);
    return platform.answer(platform.ox_obj_free);
}

int32_t ox_mom_subscribe(MomClient *client, int32_t db, const ProtobufCMessage *request, int32_t flags, MomMsgCb cb,
                         void *arg) {
    const UncountedAllocations uncounted;
    auto &platform = ScriptedPlatform::current();
    platform.note_call(test_support::call::subscribe(client, db, Record(request), flags, cb, arg), request);
    return platform.answer(platform.subscribe);
}

int32_t ox_mom_subscribe_field(MomClient *client, int32_t db, const ProtobufCMessage *request, int32_t n_requests,
                               const int32_t *field_ids, const MomFieldCb *cbs, void *const *args, int32_t n_fields) {
    const UncountedAllocations uncounted;
    auto &platform = ScriptedPlatform::current();
    const auto count = static_cast<size_t>(n_fields);
    platform.note_call({"ox_mom_subscribe_field",
                        {client, db, Record(request), n_requests, copy_ids(field_ids, count), copy_pointers(cbs, count),
                         copy_pointers(args, count)}},
                       request);
    return platform.answer(platform.subscribe_field);
}

int32_t ox_mom_scan_sync(MomClient *client, int32_t db, const ProtobufCMessage *request, int32_t flags, MomMsgCb cb,
                         void *arg) {
    ScanAnswer answer;
    {
        const UncountedAllocations uncounted;
        auto &platform = ScriptedPlatform::current();
        platform.note_call(test_support::call::scan_sync(client, db, Record(request), flags, cb, arg), request);
        answer = platform.answer(platform.scan_sync);
    }
    for (test_support::Message &message : answer.messages) {
        cb(client, message.to(client, db));
    }
    return answer.status;
}

void *ox_zlog_init(const char *category) {
    const UncountedAllocations uncounted;
    auto &platform = ScriptedPlatform::current();
    platform.note_call(test_support::call::zlog_init(category));
    return platform.give_category(platform.answer(platform.zlog_init));
}

int32_t quib_lib_init(MomClient *client, const char *module) {
    const UncountedAllocations uncounted;
    auto &platform = ScriptedPlatform::current();
    platform.note_call(test_support::call::quib_lib_init(client, module));
    return platform.answer(platform.quib_lib_init);
}

int32_t quib_reg_mod_cmd(const char *module, const char *command, int32_t reserved, const char *argument_format,
                         QuibHandler handler) {
    const UncountedAllocations uncounted;
    auto &platform = ScriptedPlatform::current();
    platform.note_call(test_support::call::quib_reg_mod_cmd(module, command, reserved, argument_format, handler));
    return platform.answer(platform.quib_reg_mod_cmd);
}

void oxdf_zlog(void *category, const char *file, size_t filelen, const char *func, size_t funclen, long line, int level,
               const char *format, ...) {
    const UncountedAllocations uncounted;
    ASSERT_STREQ(format, "%s");
    EXPECT_GT(line, 0);
    va_list arguments;
    va_start(arguments, format);
    const char *text = va_arg(arguments, const char *);
    va_end(arguments);
    ScriptedPlatform::current().note_log(category, line,
                                         {level, std::string(func, funclen), text, std::string(file, filelen)}, text);
}
}
