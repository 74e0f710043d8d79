// Every property holds of random histories.
#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <stdexcept>

#include <gtest/gtest.h>
#include <malloc.h>

#include "play.h"
#include "properties.h"
#include "seeds.h"
#include "shrink.h"
#include "store_fixture.h"

namespace histories {
namespace {

Violation violation_of(const History &history, const std::string &program) try {
    return first_violation(play(history, program));
} catch (const std::runtime_error &error) {
    return error.what();
}

class Histories : public testing::TestWithParam<test_support::StoreKind> {};
INSTANTIATE_OVER_SERVERS(Histories);

TEST_P(Histories, HoldTheirProperties) {
    mallopt(M_ARENA_MAX, 1);  // so that what is allocated is counted, whoever did it
    const bool is_torture = std::getenv("TREL_CAP_TORTURE") != nullptr;
    const property::Seeds chosen = property::seeds(is_torture ? 1000 : 10);
    const std::string &program = GetParam().program;
    ASSERT_EQ(violation_of({}, program), std::nullopt);  // what is allocated once is allocated
    for (uint64_t seed = chosen.first; seed < chosen.first + chosen.count; ++seed) {
        const History history = random_history(seed);
        if (const Violation violation = violation_of(history, program)) {
            const History fewest =
                shrink(history, [&program](const History &fewer) { return violation_of(fewer, program).has_value(); });
            std::ostringstream steps;
            steps << fewest;
            FAIL() << "TREL_CAP_SEED=" << seed << ": " << *violation << "\nThe fewest steps that fail, with\n"
                   << violation_of(fewest, program).value_or("nothing, this time") << ":\n"
                   << steps.str();
        }
    }
}

}  // namespace
}  // namespace histories
