// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/document/document_controller.h"

// A tool of a front end, as far as commands ask one: the document that it works on.
class REDRAFT_ENGINE Tool : public virtual Kernel::Countable {
public:
    explicit Tool(Kernel::Counted<DocumentController> const& controller) : m_controller(controller) {}
    // Null when the document is closed.
    Kernel::Counted<DocumentController> GetSafeDocumentController() const { return m_controller.Lock(); }

private:
    Kernel::Weak<DocumentController> m_controller;
};
