// Writes, as the server runs them: each changes a record, keeps the set of its type's records, and publishes the whole
// record, in one atomic step. What they publish, notification.h reads. A publisher waits for them, and the server does
// nothing else meanwhile: so the fields are put together by one function of the server's, and all else is made by the
// client.
#pragma once

namespace mom::redis {

// KEYS: record, set of the type's records. ARGV: channel of the type, channel of the record, the notification's head,
// then number and value of each field to store. Every write enters the record into the set, which may have been lost.
constexpr const char *kWriteHashScript = R"lua(
local call = redis.call
local new = call('SADD', KEYS[2], KEYS[1])
local stored = redis.pcall('HSET', KEYS[1], unpack(ARGV, 4))
if type(stored) == 'table' then
  if new == 1 then call('SREM', KEYS[2], KEYS[1]) end
  return stored
end
local notification = ARGV[3] .. cmsgpack.pack(call('HGETALL', KEYS[1]))
call('PUBLISH', ARGV[1], notification)
call('PUBLISH', ARGV[2], notification)
return 1
)lua";

// KEYS as above. ARGV: the two channels, the notification's head, number and value of the index: all that is told of a
// key that holds another kind of value.
constexpr const char *kRemoveHashScript = R"lua(
local call = redis.call
local stored = redis.pcall('HGETALL', KEYS[1])
if stored.err then
  if not string.find(stored.err, 'WRONGTYPE', 1, true) then return stored end
  stored = {ARGV[4], ARGV[5]}
end
call('SREM', KEYS[2], KEYS[1])
if #stored == 0 then return 0 end
call('DEL', KEYS[1])
local notification = ARGV[3] .. cmsgpack.pack(stored)
call('PUBLISH', ARGV[1], notification)
call('PUBLISH', ARGV[2], notification)
return 1
)lua";

// KEYS: record. ARGV: its channel, the notification's head, its bytes.
constexpr const char *kWriteObjectScript = R"lua(
redis.call('SET', KEYS[1], ARGV[3])
redis.call('PUBLISH', ARGV[1], ARGV[2] .. ARGV[3])
return 1
)lua";

// KEYS: record. ARGV: its channel, the notification's head. Another kind of value is told as a record without fields.
constexpr const char *kRemoveObjectScript = R"lua(
local stored = redis.pcall('GET', KEYS[1])
if not stored then return 0 end
if type(stored) == 'table' then
  if not string.find(stored.err, 'WRONGTYPE', 1, true) then return stored end
  stored = ''
end
redis.call('DEL', KEYS[1])
redis.call('PUBLISH', ARGV[1], ARGV[2] .. stored)
return 1
)lua";

}  // namespace mom::redis
