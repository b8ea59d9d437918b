// SPDX-License-Identifier: Apache-2.0
#include "shell/overflow_pages.h"

#include "platform/document/text_nodes.h"
#include "platform/kernel/cast.h"
#include "shell/failure.h"
#include "shell/shown_pages.h"

#include <algorithm>

namespace Shell {

namespace {

constexpr std::size_t c_mostSpreads = 100'000;

// The frames of a text on the last spread that it is on, which further spreads have, too.
class FramePattern {
public:
    explicit FramePattern(ShownStory const& shown) {
        for (auto const& part : shown.parts)
            Add(part.node);
    }
    std::vector<Kernel::Counted<FrameTextNode>> const& GetFrames() const { return m_frames; }
    SpreadNode const& GetSpread() const { return *m_spread; }
    FrameTextNode& GetLastFrame() const { return *m_frames.back(); }

private:
    void Add(Kernel::Counted<TextNode> const& node) {
        auto* const frame = Kernel::CastPointer<FrameTextNode>(node.get());
        if (frame == nullptr || frame->GetSpread() == nullptr)
            return;
        if (frame->GetSpread() != m_spread)
            m_frames.clear();
        m_spread = frame->GetSpread();
        m_frames.emplace_back(frame);
    }

    SpreadNode const* m_spread = nullptr;
    std::vector<Kernel::Counted<FrameTextNode>> m_frames;
};

// How many spreads with the pattern's frames take what has no place yet.
std::size_t CountSpreads(ShownStory const& shown, FramePattern const& pattern, std::string const& subject) {
    auto geometries = shown.composed->GetGeometries();
    auto const first = geometries.size();
    auto const frames = pattern.GetFrames().size();
    // The last frames of the chain, without what text runs around there.
    std::vector<Story::FrameGeometry> added(geometries.end() - static_cast<std::ptrdiff_t>(frames), geometries.end());
    for (auto& geometry : added)
        geometry.wrapShapes.clear();
    auto composed = shown.composed;
    for (std::size_t count = 1; count <= c_mostSpreads; count *= 2) {
        while (geometries.size() < first + count * frames)
            geometries.insert(geometries.end(), added.begin(), added.end());
        auto const before = composed->GetComposedEnd();
        composed = Kernel::MakeCounted<Story::ComposedStory>(shown.story, shown.composed->GetStyleSheet(), geometries,
                                                             shown.composed->GetFields(), composed);
        if (!composed->HasOverflow()) {
            auto used = geometries.size();
            while (used > first && !composed->GetFrame(used - 1)->HasLines())
                --used;
            return (used - first + frames - 1) / frames;
        }
        if (composed->GetComposedEnd() == before)
            throw Failure(ExitStatus::Input, subject, "has no room in its frames for a line of its text");
    }
    throw Failure(ExitStatus::Input, subject, "fills more than " + std::to_string(c_mostSpreads) + " spreads more");
}

Kernel::Counted<Node> MakeSpread(FramePattern const& pattern, Kernel::Counted<FrameTextNode>& last) {
    auto const& model = pattern.GetSpread();
    auto spread = Kernel::MakeCounted<SpreadNode>(model.GetBaseBox(false));
    for (Node const* page = model.GetFirstChild(NodeChildListType::Pages); page != nullptr;
         page = page->GetNextSibling()) {
        if (auto const* const box = Kernel::CastPointer<BaseBoxInterface const>(page))
            spread->AddPage(Kernel::MakeCounted<PageNode>(box->GetBaseBox(false)));
    }
    for (auto const& frame : pattern.GetFrames()) {
        CloneContext context(CloneType::Copy);
        auto const copy = Kernel::Cast<FrameTextNode>(frame->Clone(context));
        copy->SetTransform(frame->GetBaseToSpreadTransform(), false);
        copy->LinkBehind(*last);
        spread->InsertChild(NodeChildListType::Plain, copy, nullptr);
        last = copy;
    }
    return spread;
}

bool IsSelected(ShownStory const& shown, Selection const& selection) {
    return std::any_of(shown.parts.begin(), shown.parts.end(),
                       [&](ShownStory::Part const& part) { return selection.Contains(*part.node); });
}

} // namespace

std::vector<Kernel::Counted<Node>> MakeOverflowSpreads(DocumentController& document, Selection const& selection) {
    std::vector<Kernel::Counted<Node>> spreads;
    auto const stories = FindStories(*document.GetDocument(), true);
    bool const isAnySelected = std::any_of(stories.begin(), stories.end(),
                                           [&](ShownStory const& shown) { return IsSelected(shown, selection); });
    for (auto const& shown : stories) {
        bool const overflows = shown.overflowBegin < shown.story->GetClientAll().end;
        if (!overflows || (isAnySelected && !IsSelected(shown, selection)))
            continue;
        auto const subject = "#" + std::to_string(shown.parts.front().node->GetId());
        FramePattern const pattern(shown);
        if (pattern.GetFrames().empty())
            throw Failure(ExitStatus::Input, subject, "is no text in frames");
        auto const count = CountSpreads(shown, pattern, subject);
        Kernel::Counted<FrameTextNode> last(&pattern.GetLastFrame());
        for (std::size_t i = 0; i != count; ++i)
            spreads.push_back(MakeSpread(pattern, last));
    }
    return spreads;
}

} // namespace Shell
