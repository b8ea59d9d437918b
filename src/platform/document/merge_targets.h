// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/command.h"

// The objects that commands of a class change, for classes whose Merge does not look at all of it: two commands that
// change different things are two steps. The list of classes registers it for those that declare their targets.
using MergeTargetsComparison = bool (*)(DocumentCommand const& older, DocumentCommand const& newer);
REDRAFT_ENGINE void RegisterMergeTargets(Kernel::ClassProperties const& ofClass, MergeTargetsComparison areSame);
REDRAFT_ENGINE void UnregisterMergeTargets(Kernel::ClassProperties const& ofClass);
