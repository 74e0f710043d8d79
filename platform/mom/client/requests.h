// Requests: a record read, written or deleted. Each returns 0 or a code, with the reason in last_error(), and throws
// std::bad_alloc.
#pragma once

#include <cstdint>
#include <span>

#include "client/client.h"
#include "core/arena.h"
#include "ox_mom.h"

namespace mom {

// ARGUMENT when the type is none of hashes, or none of single objects.
int32_t expect_kind(const ProtobufCMessageDescriptor &type, bool is_hash);

// Without an arena afterwards, the call itself was wrong. With one, its first is a MomHashResult, which has the code,
// too.
int32_t read_hash(Client &client, int32_t db, const ProtobufCMessage &request, ArenaPtr &arena);
int32_t write_hash(Client &client, int32_t db, const ProtobufCMessage &record, std::span<const int32_t> written);

// nullptr and 0: there is none. The record is the first thing in its arena.
int32_t read_object(Client &client, int32_t db, const ProtobufCMessage &request, ProtobufCMessage *&record);
int32_t write_object(Client &client, int32_t db, const ProtobufCMessage &record);

// Of either kind.
int32_t remove_record(Client &client, int32_t db, const ProtobufCMessage &request);

}  // namespace mom
