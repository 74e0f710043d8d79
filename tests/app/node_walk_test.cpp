// Walking the node list, and printing it.

#include <csetjmp>
#include <fcntl.h>
#include <functional>
#include <stdexcept>
#include <unistd.h>

#include "nodes.h"

namespace trel_cap_tests {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// A walk whose visitor does what a test says, and remembers whom it has seen.
class Walking : public NodeListTest {
protected:
    std::vector<int32_t> visited;
    std::function<int32_t(CapNode *)> at_each = [](CapNode *) { return 0; };

    static int32_t visit(CapNode *pos, void *param) {
        auto *self = static_cast<Walking *>(param);
        self->visited.push_back(pos->record.node);
        return self->at_each(pos);
    }
    void walk() {
        visited.clear();
        trel_cap_sw_node_walk_cur(visit, this);
    }
    void walk(std::function<int32_t(CapNode *)> visitor) {
        at_each = std::move(visitor);
        walk();
    }
};

TEST_F(Walking, VisitsEachEntryInOrder) {
    const auto added = add_nodes({node_record(3, 1), node_record(-1), node_record(3, 2)});
    std::vector<const CapNode *> seen;
    walk([&](CapNode *pos) {
        seen.push_back(pos);
        return 0;
    });
    EXPECT_THAT(seen, ElementsAre(added[1], added[0], added[2]));
}

TEST_F(Walking, StopsWhenTheVisitorSaysSo) {
    add_nodes({node_record(1), node_record(2), node_record(3)});
    for (const int32_t result : {1, -1, -4, INT32_MIN, 256, 0x10000}) {
        walk([result](CapNode *) { return result; });
        EXPECT_THAT(visited, ElementsAre(1)) << result;
        walk([result](const CapNode *pos) { return pos->record.node == 2 ? result : 0; });
        EXPECT_THAT(visited, ElementsAre(1, 2)) << result;
    }
}

TEST_F(Walking, VisitsNobodyInAnEmptyList) {
    walk();
    EXPECT_THAT(visited, IsEmpty());
    EXPECT_THAT(platform.events(), IsEmpty());
}

TEST_F(Walking, WithoutAVisitorIsNothing) {
    add_nodes({node_record(1)});
    trel_cap_sw_node_walk_cur(nullptr, this);
    EXPECT_THAT(platform.events(), IsEmpty());
    EXPECT_THAT(listed_nodes(), ElementsAre(1));
}

int32_t count_null_arguments(CapNode *pos, void *param) {
    pos->record.devid += param == nullptr ? 1 : 100;
    return 0;
}

TEST_F(Walking, HandsANullArgumentOn) {
    const auto added = add_nodes({node_record(1), node_record(2)});
    trel_cap_sw_node_walk_cur(count_null_arguments, nullptr);
    EXPECT_EQ(added[0]->record.devid, 1);
    EXPECT_EQ(added[1]->record.devid, 1);
}

// Each entry just before it is visited; one behind the end of the walk is not.
TEST_F(Walking, ReportsEachEntryBeforeItsVisit) {
    add_nodes({full_record(1), full_record(2), full_record(3)});
    at_every_log_level([this] {
        std::vector<size_t> reported;
        walk([&](const CapNode *pos) {
            reported.push_back(platform.logs().size());
            return pos->record.node == 2 ? 1 : 0;
        });
        const bool open = test_support::level_lets_out(g_trel_cap_zlog_level, 40);
        EXPECT_THAT(reported, ElementsAre(open ? 1 : 0, open ? 2 : 0));
        expect_events({dumped(full_record(1)), dumped(full_record(2))});
    });
}

TEST_F(Walking, TheVisitorMayDeleteItsEntry) {
    add_nodes({node_record(1, 1), node_record(2, 1), node_record(2, 1), node_record(3, 1)});
    walk([](const CapNode *pos) { return pos->record.node == 2 ? trel_cap_sw_node_del(2, 1) : 0; });
    EXPECT_THAT(visited, ElementsAre(1, 2, 2, 3));
    EXPECT_THAT(listed_nodes(), ElementsAre(1, 3));
    walk([](const CapNode *pos) { return trel_cap_sw_node_del(pos->record.node, pos->record.config_dev_type); });
    EXPECT_THAT(visited, ElementsAre(1, 3));
    EXPECT_THAT(listed_nodes(), IsEmpty());
}

TEST_F(Walking, TheVisitorMayDeleteAnEntryBehindOrFarAhead) {
    add_nodes({node_record(1), node_record(2), node_record(3), node_record(4)});
    walk([](const CapNode *pos) {
        if (pos->record.node == 2) {
            trel_cap_sw_node_del(1, 0);
            trel_cap_sw_node_del(4, 0);
        }
        return 0;
    });
    EXPECT_THAT(visited, ElementsAre(1, 2, 3));
    EXPECT_THAT(listed_nodes(), ElementsAre(2, 3));
}

TEST_F(Walking, TheVisitorMayDeleteTheFollowingEntries) {
    add_nodes({node_record(1), node_record(2), node_record(3), node_record(4), node_record(5)});
    walk([](const CapNode *pos) {
        if (pos->record.node == 2) {
            trel_cap_sw_node_del(3, 0);
            trel_cap_sw_node_del(4, 0);
        }
        return pos->record.node == 5 ? trel_cap_sw_node_del(1, 0) : 0;
    });
    EXPECT_THAT(visited, ElementsAre(1, 2, 5));
    EXPECT_THAT(listed_nodes(), ElementsAre(2, 5));
    walk([](const CapNode *pos) { return pos->record.node == 2 ? trel_cap_sw_node_del(5, 0) : 0; });
    EXPECT_THAT(visited, ElementsAre(2));
}

// The following entry is settled before the visit: one that is added in between is passed over.
TEST_F(Walking, GoesOnWithTheEntryThatFollowedBeforeTheVisit) {
    add_nodes({node_record(1), node_record(5)});
    walk([](const CapNode *pos) {
        if (pos->record.node == 1) {
            add_nodes({node_record(3), node_record(7), node_record(0)});
        } else if (pos->record.node == 7) {
            add_nodes({node_record(9)});
        }
        return 0;
    });
    EXPECT_THAT(visited, ElementsAre(1, 5, 7));
    EXPECT_THAT(listed_nodes(), ElementsAre(0, 1, 3, 5, 7, 9));
}

TEST_F(Walking, MayBeDoneWithinAWalk) {
    add_nodes({node_record(1), node_record(2), node_record(3)});
    int inner = 0;
    walk([&](const CapNode *pos) {
        trel_cap_sw_node_walk_cur([](CapNode *, void *count) { return ++*static_cast<int *>(count) % 2 == 0 ? 1 : 0; },
                                  &inner);
        return pos->record.node == 1 ? trel_cap_sw_node_del(2, 0) : 0;
    });
    EXPECT_THAT(visited, ElementsAre(1, 3));
    EXPECT_EQ(inner, 4);
}

// It had already come to the next of them.
TEST_F(Walking, PassesOverWhatAWalkWithinItDeletes) {
    add_nodes({node_record(1), node_record(2), node_record(3), node_record(4), node_record(5)});
    const auto delete_all_but_the_ends = [](CapNode *pos, void *) {
        const int32_t node = pos->record.node;
        return node == 1 || node == 5 ? 0 : trel_cap_sw_node_del(node, 0);
    };
    walk([&](const CapNode *pos) {
        if (pos->record.node == 1) {
            trel_cap_sw_node_walk_cur(delete_all_but_the_ends, nullptr);
        }
        return 0;
    });
    EXPECT_THAT(visited, ElementsAre(1, 5));
    EXPECT_THAT(listed_nodes(), ElementsAre(1, 5));
}

// A visitor may leave its walk for good, again and again.
class LeftWalk : public Walking {
protected:
    static constexpr int kTimes = 100;
    std::jmp_buf way_out;

    // Both leave at the second entry.
    void leave_by_exception() {
        EXPECT_THROW(walk([](const CapNode *pos) -> int32_t {
                         return pos->record.node == 2 ? throw std::runtime_error("left") : 0;
                     }),
                     std::runtime_error);
    }
    void leave_by_jump() {
        at_each = [this](const CapNode *pos) {
            if (pos->record.node == 2) {
                std::longjmp(way_out, 1);
            }
            return 0;
        };
        visited.reserve(8);  // a jump over a vector that grows would lose its memory
        if (setjmp(way_out) == 0) {
            walk();
            ADD_FAILURE() << "came back";
        }
    }
    // A walk that comes to its end, whatever happens within its visits. Whom it has seen.
    static std::vector<int32_t> walk_around(const std::function<void(const CapNode *)> &within) {
        std::pair<const std::function<void(const CapNode *)> &, std::vector<int32_t>> argument(within, {});
        trel_cap_sw_node_walk_cur(
            [](CapNode *pos, void *param) {
                auto &[visit, seen] = *static_cast<decltype(argument) *>(param);
                seen.push_back(pos->record.node);
                visit(pos);
                return 0;
            },
            &argument);
        return argument.second;
    }
    // Deletes right after the walk was left, while its frame is as it was.
    template <class Leave>
    void leave_and_delete(Leave leave) {
        const auto added = add_nodes({node_record(3), node_record(5)});
        leave();
        leave();
        EXPECT_EQ(trel_cap_sw_node_del(3, 0), 0);
        EXPECT_EQ(trel_cap_sw_node_search(5), added[1]);
        EXPECT_EQ(trel_cap_sw_node_del(5, 0), 0);
        EXPECT_THAT(listed_nodes(), ElementsAre(1, 2, 4));
    }
};

TEST_F(LeftWalk, ByAnExceptionMeansNothingToTheList) {
    add_nodes({node_record(1), node_record(2), node_record(4)});
    for (int i = 0; i < kTimes; ++i) {
        leave_and_delete([this] { leave_by_exception(); });
    }
    walk([](CapNode *) { return 0; });
    EXPECT_THAT(visited, ElementsAre(1, 2, 4));
}

TEST_F(LeftWalk, ByAJumpMeansNothingToTheList) {
    add_nodes({node_record(1), node_record(2), node_record(4)});
    for (int i = 0; i < kTimes; ++i) {
        leave_and_delete([this] { leave_by_jump(); });
    }
    walk([](CapNode *) { return 0; });
    EXPECT_THAT(visited, ElementsAre(1, 2, 4));
}

// The walk around them still knows what is deleted within it.
TEST_F(LeftWalk, WithinAWalkLeavesThatAsItIs) {
    add_nodes({node_record(1), node_record(2), node_record(3), node_record(4), node_record(5)});
    const auto seen = walk_around([this](const CapNode *pos) {
        leave_by_exception();
        leave_by_jump();
        if (pos->record.node == 2) {
            trel_cap_sw_node_del(3, 0);
        }
    });
    EXPECT_THAT(seen, ElementsAre(1, 2, 4, 5));
}

// More of them within one visit than a thread keeps in mind: what is deleted then ends the walk, no more.
TEST_F(LeftWalk, AnyNumberOfTimesWithinAVisitIsSafe) {
    for (const bool deletes : {false, true}) {
        add_nodes({node_record(1), node_record(2), node_record(3), node_record(4)});
        const auto seen = walk_around([&](const CapNode *pos) {
            for (int i = 0; pos->record.node == 2 && i < kTimes; ++i) {
                leave_by_jump();
            }
            if (pos->record.node == 2 && deletes) {
                trel_cap_sw_node_del(3, 0);
            }
        });
        EXPECT_EQ(seen, deletes ? std::vector({1, 2}) : std::vector({1, 2, 3, 4}));
        delete_all_nodes();
    }
}

// A walk in each visit of a walk, so deep that the outermost is long out of mind.
TEST_F(LeftWalk, NotAtAllIsWhatANestIsToo) {
    add_nodes({node_record(1), node_record(2), node_record(3)});
    int depth = 0;
    walk([&](const CapNode *pos) {
        if (pos->record.node == 1 && depth < kTimes) {
            ++depth;
            trel_cap_sw_node_walk_cur(visit, this);
        }
        return 0;
    });
    EXPECT_EQ(visited.size(), 3U * (kTimes + 1));
}

class PrintingNodes : public NodeListTest {
protected:
    template <class Body>
    static std::string printed(Body body) {
        ::testing::internal::CaptureStdout();
        body();
        return ::testing::internal::GetCapturedStdout();
    }
    static constexpr const char *kHeading = "\n===================CURRENT_NODE_INFO===================\n";
};

TEST_F(PrintingNodes, TheLogLine) {
    at_every_log_level([this] {
        trel_cap_sw_dump_node(full_record(0x1a2b));
        expect_events({Log{40, "trel_cap_sw_dump_node",
                           "node:0x00001a2b, config_dev_type:11, devid 12, slotid 13, sslotid 14,is_online 21, cns 22, "
                           "ready 23, node_type 15, real_time 24, dm_install 25 app_df_chk 26\n",
                           kNodeList}});
    });
}

TEST_F(PrintingNodes, SmallAndNegativeNumbers) {
    CapNodeRecord record = node_record(-2, -3);
    record.slotid = 4;
    record.app_df_chk = 255;
    trel_cap_sw_dump_node(record);
    EXPECT_THAT(platform.logs(),
                ElementsAre(Log{40, "trel_cap_sw_dump_node",
                                "node:0xfffffffe, config_dev_type:-3, devid 0, slotid  4, sslotid 0,is_online 0, "
                                "cns 0, ready 0, node_type 0, real_time 0, dm_install 0 app_df_chk 255\n",
                                kNodeList}));
}

TEST_F(PrintingNodes, OnStandardOutputWhateverTheLogLevel) {
    at_every_log_level([this] {
        int32_t result = 0;
        const std::string output = printed([&] { result = trel_cap_sw_dump_node_with_printf(full_record(0x1a2b)); });
        EXPECT_EQ(output, "node:0x00001a2b, config_dev_type:11, devid 12, slotid 13, sslotid 14,is_online 21, cns 22, "
                          "ready 23, node_type 15, real_time 24, dm_install 25 app_df_chk 26\n");
        EXPECT_EQ(result, static_cast<int32_t>(output.size()));
        EXPECT_THAT(platform.events(), IsEmpty());
    });
}

// Standard output with nothing between it and a full device.
TEST_F(PrintingNodes, TellsThatItCouldNot) {
    std::fflush(stdout);
    const int kept = dup(STDOUT_FILENO);
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(full, 0);
    dup2(full, STDOUT_FILENO);
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    const int32_t result = trel_cap_sw_dump_node_with_printf(node_record(1));
    std::clearerr(stdout);
    dup2(kept, STDOUT_FILENO);
    close(kept);
    close(full);
    EXPECT_LT(result, 0);
}

TEST_F(PrintingNodes, AllOfThemUnderTheirHeading) {
    add_nodes({full_record(7), full_record(-7), node_record(7)});
    for (const uint32_t flags : {0U, 3U, 0xffffffffU}) {
        g_trel_cap_flag = flags;
        at_every_log_level([&] {
            EXPECT_EQ(
                printed(trel_cap_sw_dump_all_node),
                kHeading +
                    text("g_trel_cap_flag is %d, node_info is valid when bit 1 is set\n", static_cast<int32_t>(flags)) +
                    dump_line(full_record(-7)) + dump_line(full_record(7)) + dump_line(node_record(7)));
            expect_events({dumped(full_record(-7)), dumped(full_record(7)), dumped(node_record(7))});
        });
    }
}

TEST_F(PrintingNodes, AnEmptyListIsTheHeadingOnly) {
    g_trel_cap_flag = 2;
    EXPECT_EQ(printed(trel_cap_sw_dump_all_node),
              std::string(kHeading) + "g_trel_cap_flag is 2, node_info is valid when bit 1 is set\n");
    EXPECT_THAT(platform.events(), IsEmpty());
}

}  // namespace
}  // namespace trel_cap_tests
