// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/records/working_records.h"

namespace Records {

// One for each kind of step.
void TakeStep(WorkingRecords& records, SelectRecords const& step);
void TakeStep(WorkingRecords& records, MatchRecords const& step);
void TakeStep(WorkingRecords& records, ProcessRecords const& step);
// In sort_step.cpp.
void TakeStep(WorkingRecords& records, SortRecords const& step);
// In script_step.cpp.
void TakeStep(WorkingRecords& records, RunScript const& step);

} // namespace Records
