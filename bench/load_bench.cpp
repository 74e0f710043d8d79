// A load of a dump beside bare hiredis that has the server run the same scripts and does not wait for each; and what
// it would be worth to write many records in one script.
#include <string>
#include <vector>

#include "bare.h"
#include "ratio.h"
#include "record/dump.h"
#include "record/record_json.h"
#include "redis/scripts.h"
#include "store.h"
#include "store/ordered_text.h"
#include "store/store.h"

namespace {

constexpr int32_t kRecords = 10000;
constexpr int32_t kModel = 7;
constexpr int32_t kInFlight = 256;  // more fill the sockets' buffers, and gain nothing
constexpr int32_t kInScript = 100;

constexpr char kType[] = "s_frame.cap_fe_ready";
constexpr char kChannelOfType[] = "mom:28:s_frame.cap_fe_ready";
constexpr char kSet[] = "records:s_frame.cap_fe_ready";
constexpr char kHead[] = "head";  // nobody reads it

// As kWriteHashScript, once for each record. KEYS: set of the type's records, the records. ARGV: channel of the type,
// then for each its channel, the notification's head, how many words follow, and these.
constexpr char kWriteMany[] = R"lua(
local call = redis.call
local at = 2
for i = 2, #KEYS do
  local words = tonumber(ARGV[at + 2])
  call('SADD', KEYS[1], KEYS[i])
  call('HSET', KEYS[i], unpack(ARGV, at + 3, at + 2 + words))
  local notification = ARGV[at + 1] .. cmsgpack.pack(call('HGETALL', KEYS[i]))
  call('PUBLISH', ARGV[1], notification)
  call('PUBLISH', ARGV[at], notification)
  at = at + 3 + words
end
return #KEYS - 1
)lua";

using Words = std::vector<std::string>;

std::string number_field(int32_t field, int32_t value) {
    return {static_cast<char>(field << 3), static_cast<char>(value)};
}

// Number and value of each field, as Store::write_fe_ready() writes them.
Words fields_of(int32_t node) {
    CapFeReadyIndex index = CAP_FE_READY_INDEX__INIT;
    index.node = node;
    index.config_dev_type = kModel;
    const std::string bytes = bench::encode(index.base);
    Words words = {"5", std::string{'\x2a', static_cast<char>(bytes.size())} + bytes};
    const std::pair<int32_t, int32_t> numbers[] = {{6, 1}, {7, kModel}, {8, 1}, {9, node % 16}, {11, 3}, {12, 1}};
    for (const auto &[field, value] : numbers) {
        words.push_back(std::to_string(field));
        words.push_back(value == 0 ? "" : number_field(field, value));
    }
    words.insert(words.end(), {"10", ""});
    return words;
}

std::string key_of(int32_t node) {
    return std::string(kType) + ":" + std::to_string(node) + ":" + std::to_string(kModel);
}

void append_words(redisContext *context, const Words &words) {
    std::vector<const char *> texts;
    std::vector<size_t> lengths;
    for (const std::string &word : words) {
        texts.push_back(word.data());
        lengths.push_back(word.size());
    }
    redisAppendCommandArgv(context, static_cast<int>(texts.size()), texts.data(), lengths.data());
}

void receive_number(redisContext *context) { bench::must(bench::receive(context)->type == REDIS_REPLY_INTEGER); }

std::string load_script(redisContext *context, std::string_view script) {
    return bench::command(context, "SCRIPT", "LOAD", script)->str;
}

void write_pipelined(redisContext *context, const std::string &script) {
    for (int32_t from = 0; from < kRecords; from += kInFlight) {
        const int32_t to = std::min(from + kInFlight, kRecords);
        for (int32_t node = from; node < to; ++node) {
            const std::string key = key_of(node);
            Words words = {"EVALSHA", script, "2", key, kSet, kChannelOfType, "mom:28:" + key, kHead};
            const Words fields = fields_of(node);
            words.insert(words.end(), fields.begin(), fields.end());
            append_words(context, words);
        }
        for (int32_t node = from; node < to; ++node) {
            receive_number(context);
        }
    }
}

// A script at a time: one that waits behind another holds the server for twice as long.
void write_in_scripts(redisContext *context, const std::string &script) {
    for (int32_t from = 0; from < kRecords; from += kInScript) {
        Words words = {"EVALSHA", script, std::to_string(kInScript + 1), kSet};
        for (int32_t node = from; node < from + kInScript; ++node) {
            words.push_back(key_of(node));
        }
        words.emplace_back(kChannelOfType);
        for (int32_t node = from; node < from + kInScript; ++node) {
            const Words fields = fields_of(node);
            words.insert(words.end(), {"mom:28:" + key_of(node), kHead, std::to_string(fields.size())});
            words.insert(words.end(), fields.begin(), fields.end());
        }
        append_words(context, words);
        receive_number(context);
    }
}

void write_one_by_one(const bench::Store &server) {
    for (int32_t node = 0; node < kRecords; ++node) {
        server.write_fe_ready(node, kModel);
    }
}

// In time most of it is the server's work, in instructions it is not counted.
double limit(double of_time, double of_instructions) {
    return bench::counts_instructions() ? of_instructions : of_time;
}

// What the bare side does is what ours does, or the comparison is worth nothing.
void check_same_records(const bench::Store &server, const std::string &script) {
    const auto bytes_of = [&] {
        std::string bytes;
        const bench::ReplyPtr fields = bench::command(server.bare(), "HGETALL", key_of(17));
        for (size_t i = 1; i < fields->elements; i += 2) {
            bytes.append(fields->element[i]->str, fields->element[i]->len);
        }
        return bytes;
    };
    write_one_by_one(server);
    const std::string ours = bytes_of();
    bench::command(server.bare(), "FLUSHDB");
    write_pipelined(server.bare(), script);
    const std::string bare = bytes_of();
    bench::must(ours.size() == bare.size());
}

void loading(benchmark::State &state) {
    const bench::Store server;
    const std::string script = load_script(server.bare(), mom::redis::kWriteHashScript);
    check_same_records(server, script);
    store::Store store(server.name());
    const std::string text =
        ordered_text(store, std::vector{&record::type_named("cap_fe_ready")}, record::append_record_line);
    bench::compare(
        state, bench::wall_time, kRecords, limit(5, 3), [&] { write_pipelined(server.bare(), script); },
        [&] {
            for (const record::Record &record : record::parse_dump("dump", text)) {
                store.write(record);
            }
        });
}

void writing_one_by_one(benchmark::State &state) {
    const bench::Store server;
    const std::string script = load_script(server.bare(), mom::redis::kWriteHashScript);
    check_same_records(server, script);
    bench::compare(
        state, bench::wall_time, kRecords, limit(5, 1), [&] { write_pipelined(server.bare(), script); },
        [&] { write_one_by_one(server); });
}

void writing_in_scripts(benchmark::State &state) {
    const bench::Store server;
    const std::string script = load_script(server.bare(), mom::redis::kWriteHashScript);
    check_same_records(server, script);
    const std::string many = load_script(server.bare(), kWriteMany);
    bench::compare(
        state, bench::wall_time, kRecords, limit(2, 1.5), [&] { write_pipelined(server.bare(), script); },
        [&] { write_in_scripts(server.bare(), many); });
}

}  // namespace

BENCHMARK(loading)->Name("load of 10,000 records")->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(10);
BENCHMARK(writing_one_by_one)
    ->Name("the same writes one after the other")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(10);
BENCHMARK(writing_in_scripts)
    ->Name("the same writes in scripts of 100")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(10);
