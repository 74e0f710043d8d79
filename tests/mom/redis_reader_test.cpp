// The reading of what servers say, from inside: however it is cut into pieces.
#include "resp_bytes.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <memory>
#include <string>
#include <vector>

#include "redis/reader.h"

namespace {

using mom::redis::Reader;
using mom::redis::Reply;
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
    void receive(std::string_view bytes) { mom_test::receive(reader_, bytes); }
    void read() {
        while (const Reply *reply = reader_.take_reply(arena_)) {
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
    size_t room() { return reader_.room().size(); }

    bool is_broken() const { return reader_.is_broken(); }
    const char *error() const { return reader_.error(); }
    const std::vector<const Reply *> &replies() const { return replies_; }

    // All of them, as they are now.
    std::vector<std::string> shown() const {
        std::vector<std::string> shown;
        for (const Reply *reply : replies_) {
            shown.push_back(show(*reply));
        }
        return shown;
    }

private:
    Reader reader_;
    mom::Arena arena_;
    std::vector<const Reply *> replies_;
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

TEST(RedisReader, ReadsArraysOfStringsAndAllElseInTheirOrder) {
    Reading reading;
    reading.receive_and_read(kStream, kStream.size());
    EXPECT_EQ(reading.shown(), kReplies);
    EXPECT_FALSE(reading.is_broken());
}

TEST(RedisReader, JoinsPiecesCutAnywhere) {
    for (size_t first = 0; first <= kStream.size(); ++first) {
        Reading reading;
        reading.receive_and_read(std::string_view(kStream).substr(0, first), kStream.size());
        reading.receive_and_read(std::string_view(kStream).substr(first), kStream.size());
        ASSERT_EQ(reading.shown(), kReplies) << "cut after " << first << " bytes";
    }
}

TEST(RedisReader, JoinsPiecesOfAnySize) {
    for (size_t piece = 1; piece < 40; ++piece) {
        Reading reading;
        reading.receive_and_read(kStream, piece);
        ASSERT_EQ(reading.shown(), kReplies) << "pieces of " << piece << " bytes";
    }
}

TEST(RedisReader, RecognisesTheEndOfShortElements) {
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

TEST(RedisReader, TakesNoMemoryForAttempts) {
    const std::string bytes = array(std::vector<std::string>(200, "1234567"));
    Reading reading;
    const std::byte *before = reading.allocate();
    reading.receive_and_read(std::string_view(bytes).substr(0, bytes.size() - 1), 1);
    EXPECT_EQ(reading.allocate(), before + Reading::kAllocation);
    reading.receive_and_read(std::string_view(bytes).substr(bytes.size() - 1), 1);
    ASSERT_EQ(reading.replies().size(), 1u);
    EXPECT_EQ(reading.replies().front()->elements.size(), 200u);
}

TEST(RedisReader, GivesTheMemoryOfALongAnswerBack) {
    Reading reading;
    reading.receive_and_read(array({std::string(size_t{3} * 1024 * 1024, 'x')}), 10000);
    ASSERT_EQ(reading.replies().size(), 1u);
    EXPECT_LT(reading.room(), size_t{1024} * 1024);
    reading.receive_and_read(array({"c"}), 1000);
    EXPECT_EQ(show(*reading.replies().back()), "[c]");
}

TEST(RedisReader, TellsTheKindsApart) {
    Reading reading;
    reading.receive_and_read("*1\r\n$1\r\na\r\n+a\r\n-a\r\n:1\r\n$1\r\na\r\n$-1\r\n*0\r\n", 1000);
    std::vector<Reply::Type> types;
    for (const Reply *reply : reading.replies()) {
        types.push_back(reply->type);
    }
    using enum Reply::Type;
    EXPECT_EQ(types, (std::vector{kArray, kStatus, kError, kInteger, kString, kNil, kArray}));
    EXPECT_EQ(reading.replies().front()->elements.front().type, kString);
}

TEST(RedisReader, KeepsRepliesWhenOthersAreReceivedWhereTheyWere) {
    Reading reading;
    std::vector<std::string> expected;
    for (int i = 0; i < 5000; ++i) {
        const std::string value = std::to_string(i) + std::string(static_cast<size_t>(i % 300), 'x');
        reading.receive_and_read(array({"1", value}), 7000);
        expected.push_back("[1][" + value + "]");
    }
    EXPECT_EQ(reading.shown(), expected);
}

TEST(RedisReader, TakesAnswersLargerThanItsRoomAndGoesOn) {
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

TEST(RedisReader, FindsWhatIsNoProtocolBroken) {
    for (const char *bytes : {"garbage\r\n", "*1\r\n$x\r\n", "*1\r\n%1\r\nabc", "*x\r\n",
                              "*1\r\n$99999999999999999999\r\n", "*1\r\n$-7\r\n", "*-7\r\n"}) {
        Reading reading;
        reading.receive_and_read(bytes, 1000);
        EXPECT_TRUE(reading.is_broken()) << bytes;
        EXPECT_STRNE(reading.error(), "");
        EXPECT_TRUE(reading.replies().empty());
    }
}

TEST(RedisReader, FindsAStringBrokenThatIsLongerThanItsLength) {
    Reading reading;
    reading.receive("*1\r\n$1\r\nabc-ERR no\r\n");
    reading.read();
    EXPECT_TRUE(reading.replies().empty());
    EXPECT_TRUE(reading.is_broken());
}

TEST(RedisReader, TakesMemoryForElementsThatHaveComeOnly) {
    const size_t before = mallinfo2().uordblks + mallinfo2().hblkhd;
    for (const char *head : {"*999999999\r\n", "*2\r\n*999999999\r\n", "*1\r\n$999999999\r\n", "$999999999\r\n"}) {
        Reading reading;
        reading.receive_and_read(head + text("a"), 1000);
        EXPECT_FALSE(reading.is_broken());
        EXPECT_TRUE(reading.replies().empty());
        EXPECT_LT(mallinfo2().uordblks + mallinfo2().hblkhd, before + size_t{1024} * 1024) << head;
    }
}

TEST(RedisReader, MakesElementsAsTheyCome) {
    std::string bytes = "*1000\r\n";
    for (int i = 0; i < 1000; ++i) {
        bytes += i % 3 == 0 ? "*2\r\n:" + std::to_string(i) + "\r\n*1\r\n$-1\r\n" : ":" + std::to_string(i) + "\r\n";
    }
    Reading reading;
    reading.receive_and_read(bytes, 100);
    ASSERT_EQ(reading.replies().size(), 1u);
    const auto elements = reading.replies().front()->elements;
    ASSERT_EQ(elements.size(), 1000u);
    for (size_t i = 0; i < elements.size(); ++i) {
        const std::string number = ":" + std::to_string(i);
        EXPECT_EQ(show(elements[i]), i % 3 == 0 ? "[" + number + "][[]]" : number);
    }
}

TEST(RedisReader, ReadsAFewArraysWithinArraysAndEndsAtNoNumberOfThem) {
    for (const int levels : {1, 7, 100000}) {
        Reading reading;
        std::string bytes;
        for (int i = 0; i < levels; ++i) {
            bytes += "*1\r\n";
        }
        reading.receive_and_read(bytes + ":7\r\n", 10000);
        EXPECT_TRUE(reading.is_broken() || reading.replies().size() == 1u) << levels;
        EXPECT_FALSE(reading.is_broken() && levels <= 7) << levels;
    }
}

std::string notification(std::string_view channel, std::string_view payload) {
    return "*3\r\n" + text("message") + text(channel) + text(payload);
}

// As a follower reads: one line an item, in their order.
class Following {
public:
    Reader::Item receive(std::string_view bytes) {
        mom_test::receive(reader_, bytes);
        for (;;) {
            const Reader::Item item = reader_.take(arena_);
            if (item == Reader::Item::kNotification) {
                items.push_back("of " + std::string(reader_.channel()) + " " + std::string(reader_.payload()));
            } else if (item == Reader::Item::kReply) {
                items.push_back("reply " + show(reader_.reply()));
                arena_.clear();
            } else {
                return item;
            }
        }
    }
    size_t room() { return reader_.room().size(); }
    const char *error() const { return reader_.error(); }

    std::vector<std::string> items;

private:
    Reader reader_;
    mom::Arena arena_;
};

const std::string kFollowed = notification("mom:28:a", "first") + notification("", "") + "+PONG\r\n" +
                              notification("mom:28:b", "with\r\n$3\r\nlines\n") + "*3\r\n" + text("subscribe") +
                              text("c\r\n*3\r\n") + ":1\r\n" + notification("d", std::string(3, '\0')) + "-ERR no\r\n" +
                              "*2\r\n" + text("pong") + text("") + notification("mom:28:a", "last");

const std::vector<std::string> kItems = {"of mom:28:a first",
                                         "of  ",
                                         "reply PONG",
                                         "of mom:28:b with\r\n$3\r\nlines\n",
                                         "reply [subscribe][c\r\n*3\r\n][:1]",
                                         "of d " + std::string(3, '\0'),
                                         "reply ERR no",
                                         "reply [pong][]",
                                         "of mom:28:a last"};

TEST(RedisReader, TellsNotificationsAndRepliesApartInTheirOrder) {
    Following following;
    EXPECT_EQ(following.receive(kFollowed), Reader::Item::kNone);
    EXPECT_EQ(following.items, kItems);
}

TEST(RedisReader, JoinsNotificationsCutAnywhere) {
    for (size_t first = 0; first <= kFollowed.size(); ++first) {
        Following following;
        ASSERT_EQ(following.receive(std::string_view(kFollowed).substr(0, first)), Reader::Item::kNone);
        ASSERT_EQ(following.receive(std::string_view(kFollowed).substr(first)), Reader::Item::kNone);
        ASSERT_EQ(following.items, kItems) << "cut after " << first << " bytes";
    }
}

TEST(RedisReader, JoinsSingleBytesOfNotifications) {
    Following following;
    for (const char byte : kFollowed) {
        ASSERT_EQ(following.receive({&byte, 1}), Reader::Item::kNone);
    }
    EXPECT_EQ(following.items, kItems);
}

TEST(RedisReader, TakesNotificationsLargerThanItsRoom) {
    Following following;
    const std::string large(size_t{3} * 1024 * 1024, 'x');
    EXPECT_EQ(following.receive(notification("a", large) + notification("b", "y")), Reader::Item::kNone);
    EXPECT_EQ(following.items, (std::vector{"of a " + large, std::string("of b y")}));
    EXPECT_LT(following.room(), large.size()) << "the room that it took has not been kept";
}

TEST(RedisReader, FindsWhatIsNoNotificationBroken) {
    for (const char *bytes :
         {"garbage\r\n", "*3\r\n$7\r\nmessage\r\n$x\r\n", "*3\r\n$7\r\nmessage\r\n%1\r\nabc",
          "*3\r\n$7\r\nmessage\r\n$99999999999999999999\r\n", "*3\r\n$7\r\nmessage\r\n$1\r\na\r\n$-7\r\n"}) {
        Following following;
        EXPECT_EQ(following.receive(bytes), Reader::Item::kBroken) << bytes;
        EXPECT_STRNE(following.error(), "");
        EXPECT_TRUE(following.items.empty());
    }
}

TEST(RedisReader, LeavesWhatOnlyBeginsLikeANotificationToTheReplies) {
    Following following;
    EXPECT_EQ(following.receive("*3\r\n$7\r\nmessage\r\n:1\r\n+x\r\n" + notification("a", "b") +
                                "*3\r\n$7\r\nmessagX\r\n$1\r\na\r\n$-1\r\n"),
              Reader::Item::kNone);
    EXPECT_EQ(following.items, (std::vector<std::string>{"reply [message][:1][x]", "of a b", "reply [messagX][a][]"}));
}

}  // namespace
