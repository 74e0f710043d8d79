// Writes, as the server runs them: each changes a record, keeps the set of its type's records, and publishes the whole
// record, in one atomic step. What they publish, notice.h reads.
#pragma once

namespace mom {

// KEYS: record, set of the type's records. ARGV: channel of the type, channel of the record, numbers of the fields
// written, then number and value of each.
constexpr const char *kWriteHashScript = R"lua(
if redis.call('HSET', KEYS[1], unpack(ARGV, 4)) > 0 then redis.call('SADD', KEYS[2], KEYS[1]) end
local stored, fields, values = redis.call('HGETALL', KEYS[1]), {}, {}
for i = 1, #stored, 2 do
  fields[#fields + 1] = stored[i] .. ':' .. #stored[i + 1]
  values[#values + 1] = stored[i + 1]
end
local notice = '4 ' .. ARGV[3] .. ' ' .. table.concat(fields, ',') .. '\n' .. table.concat(values)
redis.call('PUBLISH', ARGV[1], notice)
redis.call('PUBLISH', ARGV[2], notice)
return 1
)lua";

// KEYS as above. ARGV: the two channels.
constexpr const char *kRemoveHashScript = R"lua(
local stored, fields, values = redis.call('HGETALL', KEYS[1]), {}, {}
redis.call('SREM', KEYS[2], KEYS[1])
if #stored == 0 then return 0 end
for i = 1, #stored, 2 do
  fields[#fields + 1] = stored[i] .. ':' .. #stored[i + 1]
  values[#values + 1] = stored[i + 1]
end
redis.call('DEL', KEYS[1])
local notice = '3 - ' .. table.concat(fields, ',') .. '\n' .. table.concat(values)
redis.call('PUBLISH', ARGV[1], notice)
redis.call('PUBLISH', ARGV[2], notice)
return 1
)lua";

// KEYS: record. ARGV: its channel, its bytes.
constexpr const char *kWriteObjectScript = R"lua(
redis.call('SET', KEYS[1], ARGV[2])
redis.call('PUBLISH', ARGV[1], '1 - -\n' .. ARGV[2])
return 1
)lua";

// KEYS: record. ARGV: its channel.
constexpr const char *kRemoveObjectScript = R"lua(
local stored = redis.call('GET', KEYS[1])
if not stored then return 0 end
redis.call('DEL', KEYS[1])
redis.call('PUBLISH', ARGV[1], '3 - -\n' .. stored)
return 1
)lua";

}  // namespace mom
