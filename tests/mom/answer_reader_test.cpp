// The reading of answers, from inside: however they are cut into pieces, and whoever reads them.
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <hiredis/sds.h>

#include "mom/redis/answer_reader.h"
#include "resp_bytes.h"

namespace {

using mom_test::show;
using mom_test::text;

std::string array(const std::vector<std::string> &texts) {
    std::string bytes = "*" + std::to_string(texts.size()) + "\r\n";
    for (const std::string &each : texts) {
        bytes += text(each);
    }
    return bytes;
}

// A reader with what it reads with, and what it has read.
class Reading {
public:
    Reading() : hiredis_(redisReaderCreateWithFunctions(nullptr), redisReaderFree), reader_(*hiredis_) {}

    void receive(std::string_view bytes) { mom_test::receive(reader_, bytes); }
    void read() {
        while (const mom::Reply *reply = reader_.next(arena_)) {
            replies_.push_back(reply);
        }
    }
    // As a connection does: nothing is received while a reply waits to be read.
    void receive_and_read(std::string_view bytes, size_t piece) {
        for (; !bytes.empty(); bytes.remove_prefix(std::min(piece, bytes.size()))) {
            receive(bytes.substr(0, piece));
            read();
        }
    }
    // From the arena that replies are built in.
    static constexpr size_t kAllocation = 16;
    const std::byte *allocate() { return static_cast<const std::byte *>(arena_.allocate(kAllocation)); }
    // What hiredis has of its own.
    size_t kept() const { return sdsalloc(hiredis_->buf); }

    bool is_broken() const { return reader_.is_broken(); }
    const char *error() const { return reader_.error(); }
    const std::vector<const mom::Reply *> &replies() const { return replies_; }

    // All of them, as they are now.
    std::vector<std::string> shown() const {
        std::vector<std::string> shown;
        for (const mom::Reply *reply : replies_) {
            shown.push_back(show(*reply));
        }
        return shown;
    }

private:
    std::unique_ptr<redisReader, decltype(&redisReaderFree)> hiredis_;
    mom::AnswerReader reader_;
    mom::ReplyArena arena_;
    std::vector<const mom::Reply *> replies_;
};

const std::string kStream = array({"7", "a"}) + array({}) + "+OK\r\n" + array({"", "with\r\n$3\r\nlines\n"}) +
                            ":-5\r\n" + "*2\r\n" + text("a") + ":1\r\n" + array({std::string(3, '\0')}) + "$-1\r\n" +
                            "*2\r\n$-1\r\n" + text("b") + "*1\r\n" + array({"nested"}) + "-ERR no\r\n" + text("one") +
                            array({"last"});

const std::vector<std::string> kReplies = {"[7][a]",
                                           "",
                                           "OK",
                                           "[][with\r\n$3\r\nlines\n]",
                                           ":-5",
                                           "[a][:1]",
                                           "[" + std::string(3, '\0') + "]",
                                           "",
                                           "[][b]",
                                           "[[nested]]",
                                           "ERR no",
                                           "one",
                                           "[last]"};

TEST(AnswerReader, ReadsArraysOfStringsAndAllElseInTheirOrder) {
    Reading reading;
    reading.receive_and_read(kStream, kStream.size());
    EXPECT_EQ(reading.shown(), kReplies);
    EXPECT_FALSE(reading.is_broken());
}

TEST(AnswerReader, JoinsPiecesCutAnywhere) {
    for (size_t first = 0; first <= kStream.size(); ++first) {
        Reading reading;
        reading.receive_and_read(std::string_view(kStream).substr(0, first), kStream.size());
        reading.receive_and_read(std::string_view(kStream).substr(first), kStream.size());
        ASSERT_EQ(reading.shown(), kReplies) << "cut after " << first << " bytes";
    }
}

TEST(AnswerReader, JoinsPiecesOfAnySize) {
    for (size_t piece = 1; piece < 40; ++piece) {
        Reading reading;
        reading.receive_and_read(kStream, piece);
        ASSERT_EQ(reading.shown(), kReplies) << "pieces of " << piece << " bytes";
    }
}

TEST(AnswerReader, RecognisesTheEndOfShortElements) {
    for (const char *element : {":1\r\n", "$-1\r\n", "*0\r\n", "+\r\n", "$0\r\n\r\n"}) {
        for (int count = 1; count <= 20; ++count) {
            Reading reading;
            std::string bytes = "*" + std::to_string(count) + "\r\n";
            for (int i = 0; i < count; ++i) {
                bytes += element;
            }
            reading.receive_and_read(bytes, bytes.size());
            ASSERT_EQ(reading.replies().size(), 1u) << bytes;
            EXPECT_EQ(reading.replies().front()->elements.size(), static_cast<size_t>(count));
        }
    }
}

TEST(AnswerReader, TakesNoMemoryForAttempts) {
    const std::string bytes = array(std::vector<std::string>(200, "1234567"));
    Reading reading;
    const std::byte *before = reading.allocate();
    reading.receive_and_read(std::string_view(bytes).substr(0, bytes.size() - 1), 1);
    EXPECT_EQ(reading.allocate(), before + Reading::kAllocation);
    reading.receive_and_read(std::string_view(bytes).substr(bytes.size() - 1), 1);
    ASSERT_EQ(reading.replies().size(), 1u);
    EXPECT_EQ(reading.replies().front()->elements.size(), 200u);
}

TEST(AnswerReader, GivesTheMemoryOfALongAnswerBack) {
    Reading reading;
    reading.receive_and_read(array({std::string(size_t{3} * 1024 * 1024, 'x')}) + array({"a"}), 10000);
    ASSERT_EQ(reading.replies().size(), 2u);
    EXPECT_GT(reading.kept(), size_t{1024} * 1024);
    for (int i = 0; i < 1000; ++i) {
        reading.receive_and_read(array({"b"}), 1000);
    }
    EXPECT_LT(reading.kept(), size_t{1024} * 1024);
    reading.receive_and_read(array({"c"}), 1000);
    EXPECT_EQ(show(*reading.replies().back()), "[c]");
}

TEST(AnswerReader, TellsTheKindsApart) {
    Reading reading;
    reading.receive_and_read("*1\r\n$1\r\na\r\n+a\r\n-a\r\n:1\r\n$1\r\na\r\n$-1\r\n*0\r\n", 1000);
    std::vector<mom::Reply::Type> types;
    for (const mom::Reply *reply : reading.replies()) {
        types.push_back(reply->type);
    }
    using enum mom::Reply::Type;
    EXPECT_EQ(types, (std::vector{kArray, kStatus, kError, kInteger, kString, kNil, kArray}));
    EXPECT_EQ(reading.replies().front()->elements.front().type, kString);
}

TEST(AnswerReader, KeepsRepliesWhenOthersAreReceivedWhereTheyWere) {
    Reading reading;
    std::vector<std::string> expected;
    for (int i = 0; i < 5000; ++i) {
        const std::string value = std::to_string(i) + std::string(static_cast<size_t>(i % 300), 'x');
        reading.receive_and_read(array({"1", value}), 7000);
        expected.push_back("[1][" + value + "]");
    }
    EXPECT_EQ(reading.shown(), expected);
}

TEST(AnswerReader, TakesAnswersLargerThanItsRoomAndGoesOn) {
    const std::vector<std::string> members(20000, "p_libpub.cap_fe_ready:17:7");
    const std::string large(size_t{3} * 1024 * 1024, 'x');
    const std::string stream = array(members) + array({"a"}) + array({large}) + array({"b"}) + array({"c"});
    for (const size_t piece : {size_t{1000}, size_t{4096}, size_t{5000}, size_t{11000}}) {
        Reading reading;
        reading.receive_and_read(stream, piece);
        ASSERT_EQ(reading.replies().size(), 5u) << piece;
        EXPECT_EQ(reading.replies()[0]->elements.size(), members.size());
        EXPECT_EQ(reading.replies()[0]->elements.back().text, members.back());
        EXPECT_EQ(show(*reading.replies()[1]), "[a]");
        EXPECT_EQ(show(*reading.replies()[2]), "[" + large + "]");
        EXPECT_EQ(show(*reading.replies()[3]), "[b]");
        EXPECT_EQ(show(*reading.replies()[4]), "[c]");
    }
}

TEST(AnswerReader, FindsWhatIsNoProtocolBroken) {
    for (const char *bytes : {"garbage\r\n", "*1\r\n$x\r\n", "*1\r\n%1\r\nabc", "*x\r\n",
                              "*1\r\n$99999999999999999999\r\n", "*1\r\n$-7\r\n", "*-7\r\n"}) {
        Reading reading;
        reading.receive_and_read(bytes, 1000);
        EXPECT_TRUE(reading.is_broken()) << bytes;
        EXPECT_STRNE(reading.error(), "");
        EXPECT_TRUE(reading.replies().empty());
    }
}

TEST(AnswerReader, WaitsForAnArrayThatIsSaidToBeHuge) {
    Reading reading;
    reading.receive_and_read("*999999999\r\n" + text("a"), 1000);
    EXPECT_FALSE(reading.is_broken());
    EXPECT_TRUE(reading.replies().empty());
}

}  // namespace
