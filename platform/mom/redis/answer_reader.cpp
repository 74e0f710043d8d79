#include "redis/answer_reader.h"

#include <cstring>
#include <memory>

#include <hiredis/sds.h>

#include "redis/resp.h"

namespace mom {

namespace {

using resp::Found;

constexpr size_t kShortestElement = 3;  // of an array: a kind and the end of a line

// The beginning of an answer is read anew when more has come. A longer one goes to hiredis, which remembers how far it
// was.
constexpr size_t kLongestPart = size_t{4} * 1024;

constexpr size_t kLongAnswer = size_t{1024} * 1024;

// Takes an array of strings off the front. Its texts are still where they were received.
Found take_array(std::string_view &bytes, ReplyArena &arena, Reply *&array) {
    size_t count = 0;
    if (const Found found = resp::take_count(bytes, '*', count); found != Found::kWhole) {
        return found;
    }
    if (count > bytes.size() / kShortestElement) {
        return Found::kPart;  // before memory is taken for what may never come
    }
    const size_t size = (1 + count) * sizeof(Reply);
    void *memory = arena.allocate(size);
    if (!memory) {
        return Found::kOther;
    }
    array = static_cast<Reply *>(memory);
    std::uninitialized_value_construct_n(array, 1 + count);
    array->type = Reply::Type::kArray;
    array->elements = {array + 1, count};
    for (Reply &element : array->elements) {
        element.type = Reply::Type::kString;
        if (const Found found = resp::take_string(bytes, element.text); found != Found::kWhole) {
            arena.give_back(size);
            return found;
        }
    }
    return Found::kWhole;
}

// Copies the bytes that the array's texts are in: where they are, others will be received. False without memory.
bool keep_texts(const Reply &array, std::string_view bytes, ReplyArena &arena) {
    auto *copy = static_cast<char *>(arena.allocate(bytes.size()));
    if (!copy) {
        return false;
    }
    std::memcpy(copy, bytes.data(), bytes.size());
    for (Reply &element : array.elements) {
        element.text = {copy + (element.text.data() - bytes.data()), element.text.size()};
    }
    return true;
}

}  // namespace

AnswerReader::AnswerReader(redisReader &reader) : reader_(reader) {
    reader.fn = &reply_functions;
    reader.maxbuf = kLongAnswer;
}

std::span<char> AnswerReader::room() {
    std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
    return std::span(buffer_).subspan(end_);
}

Reply *AnswerReader::next(ReplyArena &arena) {
    if (!handed_over_) {
        const std::string_view bytes = unread();
        std::string_view left = bytes;
        Reply *array = nullptr;
        const Found found = bytes.empty() ? Found::kPart : take_array(left, arena, array);
        if (found == Found::kPart && bytes.size() <= kLongestPart) {
            return nullptr;
        }
        if (found == Found::kWhole && keep_texts(*array, bytes.substr(0, bytes.size() - left.size()), arena)) {
            begin_ = end_ - left.size();
            return array;
        }
    }
    return read_all(arena);
}

// Gives hiredis everything. Until it has nothing left, what comes is for it as well. So is what comes after a long
// answer, for hiredis parts with the memory that the answer took only when it is given more.
Reply *AnswerReader::read_all(ReplyArena &arena) {
    reader_.privdata = &arena;
    void *reply = nullptr;
    if (redisReaderFeed(&reader_, unread().data(), unread().size()) == REDIS_OK) {
        redisReaderGetReply(&reader_, &reply);
    }
    begin_ = end_;
    handed_over_ = !reply || reader_.pos < reader_.len || sdsalloc(reader_.buf) > kLongAnswer;
    return static_cast<Reply *>(reply);
}

}  // namespace mom
