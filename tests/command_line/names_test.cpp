// Which names a word may mean, and what is suggested for one that is mistyped.
#include "command_line/names.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace command_line_test {
namespace {

using command_line::did_you_mean;
using command_line::similar_names;
using testing::ElementsAre;
using testing::IsEmpty;

const std::vector<std::string> kNames = {"dump_status", "dump_node", "log-level", "url", "node"};

TEST(Name, IsMeantByItselfOrByItsBeginning) {
    using command_line::meant_names;
    EXPECT_THAT(meant_names("node", {"node_list", "node"}), ElementsAre("node"));
    EXPECT_THAT(meant_names("nod", {"node_list", "node"}), ElementsAre("node_list", "node"));
    EXPECT_THAT(meant_names("l", kNames), ElementsAre("log-level"));
    EXPECT_THAT(meant_names("", kNames), IsEmpty());
    EXPECT_THAT(meant_names("ode", kNames), IsEmpty());
}

TEST(Suggestion, IsTheNearestName) {
    EXPECT_THAT(similar_names("dump_nide", kNames), ElementsAre("dump_node"));
    EXPECT_THAT(similar_names("loglevel", kNames), ElementsAre("log-level"));
    EXPECT_THAT(similar_names("ulr", kNames), ElementsAre("url"));
    EXPECT_THAT(similar_names("ul", kNames), ElementsAre("url"));
    EXPECT_THAT(similar_names("nod", kNames), ElementsAre("dump_node", "node")) << "it is in both";
}

TEST(Suggestion, IsWhatTheWordIsAPartOf) {
    EXPECT_THAT(similar_names("dump", kNames), ElementsAre("dump_status", "dump_node"));
    EXPECT_THAT(similar_names("status", kNames), ElementsAre("dump_status"));
}

TEST(Suggestion, IsNoneForWhatIsLikeNone) {
    for (const std::string &word :
         {std::string("reboot"), std::string("xx"), std::string(), std::string("no"), std::string(3000, 'd')}) {
        EXPECT_THAT(similar_names(word, kNames), IsEmpty()) << word;
    }
    EXPECT_EQ(did_you_mean("reboot", kNames), "");
    EXPECT_EQ(did_you_mean("dump", kNames), "; did you mean dump_status, dump_node?");
}

}  // namespace
}  // namespace command_line_test
