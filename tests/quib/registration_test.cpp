// What may be registered, and where.
#include "console.h"
#include "handlers.h"

#include <sys/wait.h>
#include <unistd.h>

#include <thread>

namespace quib_test {
namespace {

class RegistrationTest : public ConsoleTest {};

TEST_F(RegistrationTest, ModulesHaveNamesThatCanBeFiles) {
    const std::string longest(QUIB_NAME_MAX, 'x');
    for (const std::string &name :
         {std::string(""), std::string("a/b"), std::string("."), std::string(".."), std::string(".a"), longest + "x"}) {
        EXPECT_EQ(quib_lib_init(client(), name.c_str()), QUIB_E_ARGUMENT) << name;
    }
    EXPECT_EQ(quib_lib_init(nullptr, "n"), QUIB_E_ARGUMENT);
    EXPECT_EQ(quib_lib_init(client(), nullptr), QUIB_E_ARGUMENT);
    for (const std::string &name : {std::string("trel_cap_demo-1.2"), std::string("a b"), std::string("a\tb"),
                                    std::string("a\nb"), std::string("\xff"), longest}) {
        EXPECT_EQ(quib_lib_init(client(), name.c_str()), 0) << name;
        EXPECT_TRUE(exists(path(name))) << name;
        EXPECT_EQ(register_command("nothing", "void", nothing, name.c_str()), 0) << name;
    }
}

TEST_F(RegistrationTest, TheSameModuleAgainIsSuccessAndKeepsItsCommands) {
    ASSERT_EQ(register_command("nothing", "void", nothing), 0);
    Operator before = connect();
    EXPECT_EQ(quib_lib_init(client(), "m"), 0);
    EXPECT_FALSE(exists(path("m.2")));
    EXPECT_EQ(ask(before, "nothing"), printed(""));
}

TEST_F(RegistrationTest, AClientMayHaveSeveralModules) {
    ASSERT_EQ(quib_lib_init(client(), "n"), 0);
    ASSERT_EQ(register_command("c", "void", nothing, "m"), 0);
    ASSERT_EQ(register_command("c", "%d", number, "n"), 0);
    Operator of_m = connect("m");
    Operator of_n = connect("n");
    EXPECT_EQ(ask(of_m, "c"), printed(""));
    EXPECT_EQ(ask(of_n, "c 5"), printed(""));
    EXPECT_THAT(take_calls(), testing::ElementsAre("nothing", "number 5"));
}

TEST_F(RegistrationTest, CommandsNeedAModuleOfTheThread) {
    EXPECT_EQ(register_command("c", "void", nothing, "n"), QUIB_E_MODULE);
    int32_t elsewhere = 0;
    std::thread([&elsewhere] { elsewhere = register_command("c", "void", nothing); }).join();
    EXPECT_EQ(elsewhere, QUIB_E_MODULE);
    destroy_client();
    EXPECT_EQ(register_command("c", "void", nothing), QUIB_E_MODULE) << "it went with its client";
}

TEST_F(RegistrationTest, CommandsNeedEveryArgument) {
    const auto handler = reinterpret_cast<QuibHandler>(nothing);
    EXPECT_EQ(quib_reg_mod_cmd(nullptr, "c", 0, "void", handler), QUIB_E_ARGUMENT);
    EXPECT_EQ(quib_reg_mod_cmd("m", nullptr, 0, "void", handler), QUIB_E_ARGUMENT);
    EXPECT_EQ(quib_reg_mod_cmd("m", "c", 0, nullptr, handler), QUIB_E_ARGUMENT);
    EXPECT_EQ(quib_reg_mod_cmd("m", "c", 0, "void", nullptr), QUIB_E_ARGUMENT);
}

TEST_F(RegistrationTest, ACommandsNameIsAWord) {
    for (const char *name : {"", "a b", "a\tb", "a'b", "a\"b", "a\\b", "a\nb", "\xc3\xa4", ".commands", "help"}) {
        EXPECT_EQ(register_command(name, "void", nothing), QUIB_E_ARGUMENT) << name;
    }
    for (const char *name : {"c", "log-level", "set_g_cap_state", "a=b", "/", "helper"}) {
        EXPECT_EQ(register_command(name, "void", nothing), 0) << name;
    }
}

TEST_F(RegistrationTest, FormatsThatAreUnderstood) {
    for (const char *format :
         {"void", "%d", "%s", "%s %d", "url=%s", "url=%s val=%d", "a=%d %s", "_a1=%d", "void=%d"}) {
        EXPECT_EQ(register_command("c", format, nothing), 0) << format;
    }
}

TEST_F(RegistrationTest, FormatsThatAreNot) {
    for (const char *format : {"",          " ",       "void ",
                               " void",     "%",       "%x",
                               "%dd",       "d",       "url",
                               "url=",      "=%d",     "url=%s  val=%d",
                               "url=%s ",   " url=%s", "url=%s\tval=%d",
                               "1a=%d",     "a b=%d",  "a=%d a=%s",
                               "a==%d",     "void %d", "%d void",
                               "a=%d,b=%d", "%ld",     "%5d"}) {
        EXPECT_EQ(register_command("c", format, nothing), QUIB_E_ARGUMENT) << format;
    }
    EXPECT_EQ(ask(".commands"), printed("")) << "nothing came of it";
}

TEST_F(RegistrationTest, ACommandOfTheSameNameIsReplacedWhereItWas) {
    ASSERT_EQ(register_command("first", "void", nothing), 0);
    ASSERT_EQ(register_command("second", "void", nothing), 0);
    ASSERT_EQ(register_command("first", "value=%d", number), 0);
    EXPECT_EQ(ask(".commands"), printed("first\tvalue=%d\nsecond\tvoid\n"));
    EXPECT_EQ(ask("first 3"), printed(""));
    EXPECT_THAT(take_calls(), testing::ElementsAre("number 3"));
}

TEST_F(RegistrationTest, WhatACommandIsForIsALine) {
    ASSERT_EQ(register_command("c", "void", nothing), 0);
    const std::string longest(QUIB_TEXT_MAX, 'x');
    EXPECT_EQ(quib_describe_mod_cmd("m", "c", longest.c_str()), 0);
    EXPECT_EQ(quib_describe_mod_cmd("m", "c", "\xc3\xa4ndert etwas"), 0);
    for (const std::string &text : {std::string(), longest + "x", std::string("a\nb"), std::string("\033[2J")}) {
        EXPECT_EQ(quib_describe_mod_cmd("m", "c", text.c_str()), QUIB_E_ARGUMENT) << text;
    }
    EXPECT_EQ(quib_describe_mod_cmd("m", "d", "text"), QUIB_E_ARGUMENT);
    EXPECT_EQ(quib_describe_mod_cmd("n", "c", "text"), QUIB_E_MODULE);
    EXPECT_EQ(quib_describe_mod_cmd(nullptr, "c", "text"), QUIB_E_ARGUMENT);
    EXPECT_EQ(quib_describe_mod_cmd("m", nullptr, "text"), QUIB_E_ARGUMENT);
    EXPECT_EQ(quib_describe_mod_cmd("m", "c", nullptr), QUIB_E_ARGUMENT);
}

TEST_F(RegistrationTest, TheClientIsOfThisThreadAndProcess) {
    int32_t elsewhere = 0;
    std::thread([&] { elsewhere = quib_lib_init(client(), "n"); }).join();
    EXPECT_EQ(elsewhere, QUIB_E_CLIENT);
    const pid_t child = fork();
    if (child == 0) {
        const bool right = quib_lib_init(client(), "n") == QUIB_E_CLIENT &&
                           quib_lib_init(client(), "m") == QUIB_E_CLIENT &&
                           register_command("c", "void", nothing) == QUIB_E_MODULE;
        _exit(right ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_FALSE(exists(path("n")));
}

}  // namespace
}  // namespace quib_test
