// What a program of its own does with hiredis: commands by arguments, without a format to be read each time, and
// records decoded by protobuf-c.
#pragma once

#include <array>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include <benchmark/benchmark.h>
#include <hiredis/hiredis.h>
#include <protobuf-c/protobuf-c.h>

#include "store.h"

namespace bench {

struct FreeReply {
    void operator()(redisReply *reply) const { freeReplyObject(reply); }
};
using ReplyPtr = std::unique_ptr<redisReply, FreeReply>;

template <class... Words>
void append(redisContext *context, const Words &...words) {
    const std::array<std::string_view, sizeof...(Words)> views{words...};
    std::array<const char *, sizeof...(Words)> texts{};
    std::array<size_t, sizeof...(Words)> lengths{};
    for (size_t i = 0; i < views.size(); ++i) {
        texts.at(i) = views.at(i).data();
        lengths.at(i) = views.at(i).size();
    }
    redisAppendCommandArgv(context, static_cast<int>(views.size()), texts.data(), lengths.data());
}

inline ReplyPtr receive(redisContext *context) {
    void *reply = nullptr;
    must(redisGetReply(context, &reply) == REDIS_OK);
    return ReplyPtr(static_cast<redisReply *>(reply));
}

template <class... Words>
ReplyPtr command(redisContext *context, const Words &...words) {
    append(context, words...);
    return receive(context);
}

// A record in wire form, decoded, looked at and released.
template <class Record>
void decode(const ProtobufCMessageDescriptor &type, std::string_view bytes) {
    ProtobufCMessage *record =
        protobuf_c_message_unpack(&type, nullptr, bytes.size(), reinterpret_cast<const uint8_t *>(bytes.data()));
    must(record != nullptr);
    benchmark::DoNotOptimize(reinterpret_cast<Record *>(record)->index);
    protobuf_c_message_free_unpacked(record, nullptr);
}

// The same of the answer to HGETALL: the values, put end to end, are the record.
template <class Record>
void decode(const ProtobufCMessageDescriptor &type, const redisReply &fields) {
    std::array<char, 2048> bytes;
    size_t length = 0;
    for (size_t i = 1; i < fields.elements; i += 2) {
        const redisReply &value = *fields.element[i];
        must(length + value.len <= bytes.size());
        std::memcpy(bytes.data() + length, value.str, value.len);
        length += value.len;
    }
    decode<Record>(type, std::string_view(bytes.data(), length));
}

inline std::string encode(const ProtobufCMessage &record) {
    std::string bytes(protobuf_c_message_get_packed_size(&record), '\0');
    protobuf_c_message_pack(&record, reinterpret_cast<uint8_t *>(bytes.data()));
    return bytes;
}

}  // namespace bench
