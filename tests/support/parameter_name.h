// What the cases of a parametrised test are called: INSTANTIATE_TEST_SUITE_P(..., test_support::name_of).
#pragma once

#include <string>
#include <type_traits>

#include <gtest/gtest.h>

namespace test_support {

// By the member `name` of the parameter, or of what it points to.
struct NameOf {
    template <class Parameter>
    std::string operator()(const ::testing::TestParamInfo<Parameter> &info) const {
        if constexpr (std::is_pointer_v<Parameter>) {
            return info.param->name;
        } else {
            return info.param.name;
        }
    }
};
inline constexpr NameOf name_of;

}  // namespace test_support
