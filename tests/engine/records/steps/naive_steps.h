// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/records/pipeline.h"

// The steps once more, record by record and as plainly as can be, to compare with.
namespace StepTests {

struct NaiveResult {
    std::vector<std::uint32_t> rows;
    // For each of the rows all of its fields.
    std::vector<std::vector<std::string>> fields;
    std::vector<Records::Warning> warnings;
    std::uint64_t furtherWarnings = 0;
};

// Takes no scripts.
NaiveResult RunNaively(Records::Table const& table, std::vector<Records::Step> const& steps, char const* locale);

} // namespace StepTests
