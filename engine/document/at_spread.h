// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"

// Makes the spread that a command ran on the document's current one for as long as this object lives; then the user's
// is current again. An empty spread stands for one that is not known: the user's serves.
class DocumentController::AtSpread {
public:
    AtSpread(DocumentController& controller, Kernel::JailCounted<SpreadNode> const& spread)
        : m_controller(controller), m_users(controller.m_currentSpread) {
        if (spread)
            m_controller.m_currentSpread = spread;
    }
    AtSpread(AtSpread const&) = delete;
    AtSpread& operator=(AtSpread const&) = delete;
    ~AtSpread() { m_controller.m_currentSpread = std::move(m_users); }

private:
    DocumentController& m_controller;
    Kernel::JailCounted<SpreadNode> m_users;
};
