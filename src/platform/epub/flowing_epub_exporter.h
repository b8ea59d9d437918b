// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/epub/html_exporter.h"

namespace EPub {

// Writes texts as a reflowable e-book (EPUB 3.2): a package with navigation, styles, one XHTML file for each part,
// pictures, and a cover where the settings have one.
class REDRAFT_ENGINE FlowingEPubExporter final : public HtmlExporter {
public:
    using HtmlExporter::HtmlExporter;
    ~FlowingEPubExporter() override;
    void Start(Kernel::String const& path, Kernel::Counted<Kernel::Countable const> source) override;
    bool Finish() override;
};

} // namespace EPub
