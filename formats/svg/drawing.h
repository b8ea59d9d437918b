// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "formats/svg/element.h"
#include "formats/svg/style_sheet.h"
#include "formats/work.h"
#include "platform/raster/icc_manager.h"

#include <deque>
#include <filesystem>
#include <unordered_map>

namespace Formats::Svg {

struct ReadOptions {
    DrawingLimits limits;
    // Followed while nodes are built.
    Work work;
    // The user's languages, best first, as `systemLanguage` is compared with them.
    std::vector<std::string> languages = {"en-US", "en"};
    // Where files are looked for that the drawing names; empty: none are read.
    std::filesystem::path folder;
    // How many GUIDs drawings that go into the same document have taken.
    std::uint64_t guids = 0;
    // Of the document that the nodes go into. Colours of drawings are sRGB and are converted.
    Raster::ICCProfileSet profiles;
};

// A source with everything that its elements are computed from. It is not thread-safe: reading computes and counts.
class Drawing {
public:
    // The bytes of an .svg or .svgz file. Throws Kernel::Exception, with one line for a person, where they are refused.
    Drawing(std::string_view bytes, ReadOptions options);
    Drawing(Drawing const&) = delete;
    Drawing& operator=(Drawing const&) = delete;
    ~Drawing();

    // The outermost `svg`. Its transform maps its content onto a page of GetPageSize from (0, 0).
    Element GetRoot();
    // In user units; not zero, and finite.
    Kernel::SizeT<double> GetPageSize() const { return m_pageSize; }
    // False when the source gives no size: then a page should hold what is drawn.
    bool HasPageSize() const { return m_hasPageSize; }

    SourceTree const& GetTree() const { return m_tree; }
    ReadOptions const& GetOptions() const { return m_options; }
    Report& GetReport() { return m_report; }
    // The files that the drawing names and that were read.
    std::vector<std::filesystem::path> const& GetFiles() const { return m_files; }
    void AddFile(std::filesystem::path const& path) { m_files.push_back(path); }

    // An element where it stands in the source, its style inherited from there. `chain` is the row of references that
    // led to it.
    Element MakeElement(NodeIndex node, std::shared_ptr<ReferenceChain const> chain);

private:
    friend class Element;
    using Contexts = std::unordered_map<NodeIndex, std::shared_ptr<Context const>>;

    void ReadStyleSheets();
    void ReadPageSize();
    // The context of the children of an element, without a chain.
    std::shared_ptr<Context const> GetChildContext(NodeIndex parent);
    // The declarations of an element in ascending precedence.
    std::vector<Declaration> const& CollectDeclarations(NodeIndex node);
    // The declarations of a `style` attribute. Many elements of a drawing have the same one: each is read once.
    std::vector<Declaration> const& ReadStyleAttribute(std::string_view style);
    bool MeetsConditions(NodeIndex node) const;
    void CountInstance();

    ReadOptions m_options;
    Report m_report;
    std::vector<std::filesystem::path> m_files;
    SourceTree m_tree;
    StyleSheet m_styleSheet;
    std::uint64_t m_matchStepsLeft;
    double m_rootFontSize = 16;
    Kernel::SizeT<double> m_pageSize;
    bool m_hasPageSize = true;
    std::size_t m_instances = 0;
    std::shared_ptr<Context const> m_rootContext;
    Contexts m_childContexts;
    std::vector<Declaration> m_collected;
    std::unordered_map<std::string_view, std::vector<Declaration>> m_readStyles;
    // `style` attributes without their comments, which declarations refer to.
    std::deque<std::string> m_keptTexts;
};

} // namespace Formats::Svg
