// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"

// Makes the spread that a command ran on the document's current one for as long as this object lives; then the user's
// is current again. An empty spread stands for one that is not known: the user's serves. Mostly the two are one, and
// then no count is touched. `spread` outlives this object.
class DocumentController::AtSpread {
public:
    AtSpread(DocumentController& controller, Kernel::JailCounted<SpreadNode> const& spread)
        : m_controller(controller), m_spread(spread), m_isUsers(spread && spread == controller.m_currentSpread) {
        if (m_isUsers)
            return;
        m_users = controller.m_currentSpread;
        if (spread)
            controller.m_currentSpread = spread;
    }
    AtSpread(AtSpread const&) = delete;
    AtSpread& operator=(AtSpread const&) = delete;
    ~AtSpread() {
        if (!m_isUsers)
            m_controller.m_currentSpread = std::move(m_users);
        else if (m_controller.m_currentSpread != m_spread)
            m_controller.m_currentSpread = m_spread;
    }

private:
    DocumentController& m_controller;
    Kernel::JailCounted<SpreadNode> const& m_spread;
    Kernel::JailCounted<SpreadNode> m_users;
    bool const m_isUsers;
};
