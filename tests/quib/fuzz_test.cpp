// Operators who send anything at all. $QUIB_FUZZ_SEED repeats a run, $QUIB_FUZZ_ROUNDS makes it longer.
#include "console.h"
#include "handlers.h"

#include "quib/protocol.h"

#include <cstdlib>
#include <iostream>
#include <list>
#include <random>

namespace quib_test {
namespace {

uint32_t from_environment(const char *name, uint32_t otherwise) {
    const char *text = std::getenv(name);
    return text ? static_cast<uint32_t>(std::strtoul(text, nullptr, 10)) : otherwise;
}

constexpr uint32_t kRounds = 4000;

const std::vector<std::string> &pieces() {
    static const std::vector<std::string> all = {
        "get", "set", "many", "number", "text", "help", ".commands", "node=", "url=", "val=", "node",       "n",
        "'",   "\"",  "\\",   " ",      "\t",   "=",    "-",         "5",     "-3",   "/a/b", "2147483648", "\r",
        "''",  "g",   "dump", "%s",     "%n",   "\xff", "\x1b[2J",   "a=1 ",  "b=x ", "void", "12345678901"};
    return all;
}

// An operator, and what is known of what it may expect.
struct Fuzzer {
    explicit Fuzzer(Operator its) : connection(std::move(its)) {}

    Operator connection;
    size_t line_length = 0;  // of the line that is not yet ended
    size_t lines = 0;        // sent
    size_t answers = 0;      // received
    bool line_too_long = false;
    bool ended = false;
};

class FuzzTest : public ConsoleTest {
protected:
    void SetUp() override {
        ConsoleTest::SetUp();
        ASSERT_EQ(register_command("number", "%d", number), 0);
        ASSERT_EQ(register_command("text", "%s", text), 0);
        ASSERT_EQ(register_command("get", "node=%d url=%s", number_text), 0);
        ASSERT_EQ(register_command("set", "url=%s val=%d", text_number), 0);
        ASSERT_EQ(register_command("many", kManyFormat, many), 0);
        std::cout << "QUIB_FUZZ_SEED=" << seed_ << "\n";
    }

    uint32_t random() { return static_cast<uint32_t>(random_()); }
    uint32_t below(uint32_t limit) { return random() % limit; }

    std::string bytes() {
        std::string text;
        for (uint32_t count = below(12); count > 0; --count) {
            switch (below(8)) {
                case 0:
                    text += static_cast<char>(below(256));
                    break;
                case 1:
                    text += '\n';
                    break;
                case 2:
                    text += '\0';
                    break;
                default:
                    text += pieces()[below(static_cast<uint32_t>(pieces().size()))] + (below(2) == 0 ? " " : "");
            }
        }
        return below(500) == 0 ? text + std::string(5000, 'x') : text;
    }

    void send_some(Fuzzer &fuzzer) {
        const std::string text = bytes();
        if (fuzzer.ended || !fuzzer.connection.send(text)) {
            return;
        }
        for (const char c : text) {
            ++fuzzer.line_length;
            fuzzer.line_too_long = fuzzer.line_too_long || fuzzer.line_length > quib::kLineLimit ||
                                   (fuzzer.line_length == quib::kLineLimit && c != '\n');
            if (c == '\n' && !fuzzer.line_too_long) {
                ++fuzzer.lines;
                fuzzer.line_length = 0;
            }
        }
    }

    // False when the connection has ended.
    static bool take_answers(Fuzzer &fuzzer) {
        const bool there = fuzzer.connection.receive();
        while (const auto answer = fuzzer.connection.take_answer()) {
            ++fuzzer.answers;
            EXPECT_TRUE(answer->code == 0 || answer->code == 2) << *answer;
            EXPECT_EQ(answer->code == 0, answer->errors.empty()) << *answer;
        }
        EXPECT_LE(fuzzer.answers, fuzzer.lines + (fuzzer.line_too_long ? 1 : 0));
        return there;
    }

    // Anything that a line can hold.
    std::string value() {
        std::string text;
        for (uint32_t length = below(20); length > 0; --length) {
            const char byte = below(3) == 0 ? static_cast<char>(below(256)) : " '\"\\=ab"[below(7)];
            text += byte == '\n' || byte == '\r' || byte == '\0' ? '\t' : byte;
        }
        return text;
    }

    // The value as an operator may type it.
    std::string quoted(const std::string &text) {
        std::string typed = "''";
        for (const char c : text) {
            const uint32_t way = c == '\'' ? 1 + below(2) : below(3);
            if (way == 0) {
                typed.append("'").append(1, c).append("'");
            } else if (way == 1) {
                typed.append("\\").append(1, c);
            } else {
                typed.append(c == '"' || c == '\\' ? "\"\\" : "\"").append(1, c).append("\"");
            }
        }
        return typed;
    }

    void act(Fuzzer &fuzzer) {
        switch (below(20)) {
            case 0:
                fuzzer.connection.hang_up();
                break;
            case 1:
                fuzzer.connection.end();
                fuzzer.ended = true;
                break;
            case 2:
            case 3:
                ASSERT_GE(ox_mom_client_process(client(), 0), 0);
                break;
            case 4:
            case 5:
                take_answers(fuzzer);
                break;
            default:
                send_some(fuzzer);
        }
    }

private:
    uint32_t seed_ = from_environment("QUIB_FUZZ_SEED", std::random_device()());
    std::mt19937 random_{seed_};
};

TEST_F(FuzzTest, EveryLineIsAnsweredAndNobodyIsHarmed) {
    std::list<Fuzzer> all;
    const uint32_t rounds = from_environment("QUIB_FUZZ_ROUNDS", kRounds);
    for (uint32_t round = 0; round < rounds; ++round) {
        if (all.size() < quib::kOperatorLimit - 1) {
            settle();
            all.emplace_back(connect());
        }
        auto fuzzer = all.begin();
        std::advance(fuzzer, below(static_cast<uint32_t>(all.size())));
        act(*fuzzer);
        all.remove_if(
            [](const Fuzzer &each) { return !each.connection.connected() || each.line_too_long || each.ended; });
        if (round % 500 == 0) {
            settle();
            EXPECT_EQ(ask("number 5").code, 0);
        }
    }
    for (Fuzzer &fuzzer : all) {
        EXPECT_TRUE(pump_until([&fuzzer] { return !take_answers(fuzzer) || fuzzer.answers == fuzzer.lines; }));
        EXPECT_EQ(fuzzer.answers, fuzzer.lines);
    }
    EXPECT_EQ(ask("number 5").code, 0);
}

TEST_F(FuzzTest, WhateverIsQuotedArrives) {
    Operator mine = connect();
    for (uint32_t round = 0; round < from_environment("QUIB_FUZZ_ROUNDS", 300); ++round) {
        const std::string url = value();
        const auto node = static_cast<int32_t>(random());
        const std::string number = std::to_string(node);
        const std::string lines[] = {
            "get " + number + " " + quoted(url),
            "get url=" + quoted(url) + " " + quoted(number),
            "get url=" + quoted(url) + " node=" + number,
            "get  " + quoted(url) + "\t node=" + quoted(number),
        };
        EXPECT_EQ(ask(mine, lines[below(4)]), printed(""));
        EXPECT_THAT(take_calls(), testing::ElementsAre("number_text " + number + " " + url));
    }
}

}  // namespace
}  // namespace quib_test
