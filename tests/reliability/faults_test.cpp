// What an application sees of each fault, and that it is in step with the store afterwards.
#include <cstdlib>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "report.h"
#include "store_fixture.h"
#include "trial.h"

namespace reliability {
namespace {

using Trial = std::tuple<test_support::StoreKind, Fault>;

class Faults : public testing::TestWithParam<Trial> {};

std::string label(const testing::TestParamInfo<Trial> &info) {
    return std::get<test_support::StoreKind>(info.param).label + "_" + std::get<Fault>(info.param).name;
}

INSTANTIATE_TEST_SUITE_P(Servers, Faults,
                         testing::Combine(testing::ValuesIn(test_support::every_server()),
                                          testing::ValuesIn(all_faults())),
                         label);

void expect_to_be_got_over(const Fault &fault, const test_support::StoreKind &kind) {
    const Finding finding = try_out(fault, kind.program);
    EXPECT_TRUE(finding.is_known);
    EXPECT_EQ(finding.read, fault.read);
    EXPECT_EQ(finding.write, fault.write);
    EXPECT_TRUE(finding.is_in_step) << finding.difference;
    EXPECT_EQ(finding.read_afterwards, fault.read_afterwards);
    EXPECT_EQ(finding.write_afterwards, 0);
    if (kind.label == "redis") {
        const std::map<std::string, Row> documented = rows_in(RELIABILITY_DOCUMENT);
        ASSERT_TRUE(documented.contains(fault.title)) << "reliability_test --write docs/reliability.md";
        EXPECT_EQ(row_of(finding), documented.at(fault.title)) << "reliability_test --write docs/reliability.md";
    }
}

TEST_P(Faults, AreSeenAndGotOver) {
    const auto &[kind, fault] = GetParam();
    const int times = std::getenv("TREL_CAP_TORTURE") != nullptr ? 25 : 1;
    for (int time = 0; time < times && !HasFailure(); ++time) {
        expect_to_be_got_over(fault, kind);
    }
}

TEST(TheDocument, HasAllFaultsAndNoOthers) {
    std::vector<std::string> titles;
    for (const Fault &fault : all_faults()) {
        titles.push_back(fault.title);
    }
    std::vector<std::string> documented;
    for (const auto &[title, row] : rows_in(RELIABILITY_DOCUMENT)) {
        documented.push_back(title);
    }
    EXPECT_THAT(documented, testing::UnorderedElementsAreArray(titles));
}

}  // namespace
}  // namespace reliability
