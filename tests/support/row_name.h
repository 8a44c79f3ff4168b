// Names of parameterised cases, taken from the rows themselves.
#pragma once

/// For INSTANTIATE_TEST_SUITE_P over rows that have a `name`.
inline constexpr auto rowName = [](const auto& test) { return test.param.name; };
