// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/kernel/export.h"

#include <cstdint>

// Where in the user interface a request to a remote model came from; 0 when nobody told. Stored and handed on only.
enum class OstraAICommandSource : std::uint32_t { Unknown = 0 };

// The part of a command that asks a remote model in Do, beside its base. A request that fails is no exception: the
// command says so through ShouldStackForUndo, and the controller then takes back what Do has changed all the same.
class REDRAFT_ENGINE OstraAICommand {
public:
    OstraAICommandSource GetSource() const { return m_source; }

protected:
    // For loading: a command that was read never asks again.
    OstraAICommand() = default;
    explicit OstraAICommand(OstraAICommandSource source) : m_shouldStack(true), m_source(source) {}
    ~OstraAICommand() = default;

    // False after a request that failed.
    bool m_shouldStack = false;
    OstraAICommandSource m_source = OstraAICommandSource::Unknown;
};
