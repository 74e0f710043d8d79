// Writes, as the server runs them: each changes a record, keeps the set of its type's records, and publishes the whole
// record, in one atomic step. What they publish, notice.h reads.
#pragma once

namespace mom {

// KEYS: record, set of the type's records. ARGV: channel of the type, channel of the record, how many fields are
// written, their numbers as a notification has them, then number and value of each field to store.
constexpr const char *kWriteHashScript = R"lua(
local call, pack = redis.call, struct.pack
if call('HSET', KEYS[1], unpack(ARGV, 5)) > 0 then call('SADD', KEYS[2], KEYS[1]) end
local stored, parts = call('HGETALL', KEYS[1]), {}
local half = #stored / 2
for i = 1, half do
  local value = stored[2 * i]
  parts[i + 1] = pack('<I4I4', tonumber(stored[2 * i - 1]) or 0, #value)
  parts[i + 1 + half] = value
end
parts[1] = pack('<I4I4I4', 4, ARGV[3], half) .. ARGV[4]
local notice = table.concat(parts)
call('PUBLISH', ARGV[1], notice)
call('PUBLISH', ARGV[2], notice)
return 1
)lua";

// KEYS as above. ARGV: the two channels.
constexpr const char *kRemoveHashScript = R"lua(
local call, pack = redis.call, struct.pack
local stored, parts = call('HGETALL', KEYS[1]), {}
local half = #stored / 2
call('SREM', KEYS[2], KEYS[1])
if half == 0 then return 0 end
for i = 1, half do
  local value = stored[2 * i]
  parts[i + 1] = pack('<I4I4', tonumber(stored[2 * i - 1]) or 0, #value)
  parts[i + 1 + half] = value
end
parts[1] = pack('<I4I4I4', 3, 0, half)
call('DEL', KEYS[1])
local notice = table.concat(parts)
call('PUBLISH', ARGV[1], notice)
call('PUBLISH', ARGV[2], notice)
return 1
)lua";

// KEYS: record. ARGV: its channel, its bytes.
constexpr const char *kWriteObjectScript = R"lua(
redis.call('SET', KEYS[1], ARGV[2])
redis.call('PUBLISH', ARGV[1], struct.pack('<I4I4I4', 1, 0, 0) .. ARGV[2])
return 1
)lua";

// KEYS: record. ARGV: its channel.
constexpr const char *kRemoveObjectScript = R"lua(
local stored = redis.call('GET', KEYS[1])
if not stored then return 0 end
redis.call('DEL', KEYS[1])
redis.call('PUBLISH', ARGV[1], struct.pack('<I4I4I4', 3, 0, 0) .. stored)
return 1
)lua";

}  // namespace mom
