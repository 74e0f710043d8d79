// The reading of pushes, from inside: however they are cut into pieces, and whatever else comes between them.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "mom/redis/push_reader.h"
#include "resp_bytes.h"

namespace {

using mom::PushReader;
using mom_test::receive;
using mom_test::show;
using mom_test::text;

std::string message(std::string_view channel, std::string_view payload) {
    return "*3\r\n" + text("message") + text(channel) + text(payload);
}

// Adds what the reader gives, one line an item, until it has no more.
PushReader::Item read_all(PushReader &reader, std::vector<std::string> &items) {
    for (;;) {
        const PushReader::Item item = reader.next();
        if (item == PushReader::Item::kMessage) {
            items.push_back("message " + std::string(reader.channel()) + " " + std::string(reader.payload()));
        } else if (item == PushReader::Item::kReply) {
            items.push_back("reply " + show(reader.reply()));
        } else {
            return item;
        }
    }
}

const std::string kStream = message("mom:28:a", "first") + message("", "") + "+PONG\r\n" +
                            message("mom:28:b", "with\r\n$3\r\nlines\n") + "*3\r\n" + text("subscribe") +
                            text("c\r\n*3\r\n") + ":1\r\n" + message("d", std::string(3, '\0')) + "-ERR no\r\n" +
                            "*2\r\n" + text("pong") + text("") + message("mom:28:a", "last");

const std::vector<std::string> kItems = {"message mom:28:a first",
                                         "message  ",
                                         "reply PONG",
                                         "message mom:28:b with\r\n$3\r\nlines\n",
                                         "reply [subscribe][c\r\n*3\r\n][:1]",
                                         "message d " + std::string(3, '\0'),
                                         "reply ERR no",
                                         "reply [pong][]",
                                         "message mom:28:a last"};

TEST(PushReader, TellsMessagesAndRepliesApartInTheirOrder) {
    PushReader reader;
    std::vector<std::string> items;
    receive(reader, kStream);
    EXPECT_EQ(read_all(reader, items), PushReader::Item::kNone);
    EXPECT_EQ(items, kItems);
}

TEST(PushReader, JoinsPiecesCutAnywhere) {
    for (size_t first = 0; first <= kStream.size(); ++first) {
        PushReader reader;
        std::vector<std::string> items;
        receive(reader, std::string_view(kStream).substr(0, first));
        ASSERT_EQ(read_all(reader, items), PushReader::Item::kNone);
        receive(reader, std::string_view(kStream).substr(first));
        ASSERT_EQ(read_all(reader, items), PushReader::Item::kNone);
        ASSERT_EQ(items, kItems) << "cut after " << first << " bytes";
    }
}

TEST(PushReader, JoinsSingleBytes) {
    PushReader reader;
    std::vector<std::string> items;
    for (const char byte : kStream) {
        receive(reader, {&byte, 1});
        ASSERT_EQ(read_all(reader, items), PushReader::Item::kNone);
    }
    EXPECT_EQ(items, kItems);
}

TEST(PushReader, TakesMessagesLargerThanItsRoom) {
    PushReader reader;
    const std::string large(size_t{3} * 1024 * 1024, 'x');
    const std::string usual = message("b", "y");
    std::vector<std::string> items;
    receive(reader, message("a", large) + usual);
    EXPECT_EQ(read_all(reader, items), PushReader::Item::kNone);
    ASSERT_EQ(items.size(), 2u);
    EXPECT_EQ(items[0], "message a " + large);
    EXPECT_EQ(items[1], "message b y");
    EXPECT_LT(reader.room().size(), large.size()) << "the room that it took has not been kept";
}

TEST(PushReader, FindsWhatIsNoProtocolBroken) {
    for (const char *bytes :
         {"garbage\r\n", "*3\r\n$7\r\nmessage\r\n$x\r\n", "*3\r\n$7\r\nmessage\r\n%1\r\nabc",
          "*3\r\n$7\r\nmessage\r\n$99999999999999999999\r\n", "*3\r\n$7\r\nmessage\r\n$1\r\na\r\n$-7\r\n"}) {
        PushReader reader;
        std::vector<std::string> items;
        receive(reader, bytes);
        EXPECT_EQ(read_all(reader, items), PushReader::Item::kBroken) << bytes;
        EXPECT_STRNE(reader.error(), "");
        EXPECT_TRUE(items.empty());
    }
}

TEST(PushReader, LeavesWhatOnlyBeginsLikeAMessageToTheReplies) {
    PushReader reader;
    std::vector<std::string> items;
    receive(reader,
            "*3\r\n$7\r\nmessage\r\n:1\r\n+x\r\n" + message("a", "b") + "*3\r\n$7\r\nmessagX\r\n$1\r\na\r\n$-1\r\n");
    EXPECT_EQ(read_all(reader, items), PushReader::Item::kNone);
    EXPECT_EQ(items, (std::vector<std::string>{"reply [message][:1][x]", "message a b", "reply [messagX][a][]"}));
}

}  // namespace
