// SPDX-License-Identifier: Apache-2.0
#include "engine/document/tree/caption_numbers.h"

#include "engine/document/tree/layout_epoch.h"
#include "platform/document/caption_info.h"
#include "platform/document/page_numbers.h"
#include "platform/document/text_nodes.h"
#include "platform/kernel/cast.h"

#include <algorithm>
#include <map>
#include <mutex>

Kernel::Counted<CaptionNumbers const> CaptionNumbers::Get(DocumentNode const& document) {
    struct Known {
        std::mutex mutex;
        Kernel::Weak<DocumentNode const> document;
        std::uint64_t epoch = 0;
        Kernel::Counted<CaptionNumbers const> numbers;
    };
    static auto& s_known = *new Known;
    LayoutEpoch::LetPlacesMatter();
    auto const epoch = LayoutEpoch::Get();
    {
        std::lock_guard const lock(s_known.mutex);
        if (s_known.numbers && s_known.epoch == epoch && s_known.document.Lock().get() == &document)
            return s_known.numbers;
    }
    auto made = Kernel::MakeCounted<CaptionNumbers const>(document);
    std::lock_guard const lock(s_known.mutex);
    s_known.document = Kernel::Weak<DocumentNode const>(Kernel::Counted<DocumentNode const>(&document));
    s_known.epoch = epoch;
    s_known.numbers = made;
    return made;
}

CaptionNumbers::CaptionNumbers(DocumentNode const& document) {
    struct Counted {
        std::size_t page;
        FrameTextNode const* caption;
    };
    PageNumbers const pages(document);
    std::map<Kernel::String, std::size_t> last;
    std::vector<Counted> ofSpread;
    for (auto const& spread : document.GetSpreads()) {
        ofSpread.clear();
        ForEachNode(*spread, [&](Node& node) {
            if (node.GetChildListType() != NodeChildListType::Captions)
                return;
            auto* const caption = Kernel::CastPointer<FrameTextNode>(&node);
            auto const info = caption == nullptr ? nullptr : caption->GetCaptionInfo();
            if (!info || info->GetCounterType().empty())
                return;
            // Beside the pages is 0, which wraps to the greatest number.
            ofSpread.push_back({pages.GetPageNumber(*caption) - 1, caption});
            m_captions.push_back(caption);
        });
        std::ranges::stable_sort(ofSpread, {}, &Counted::page);
        for (auto const& counted : ofSpread)
            m_numbers.emplace(counted.caption, ++last[counted.caption->GetCaptionInfo()->GetCounterType()]);
    }
}

std::size_t CaptionNumbers::Find(Node const& caption) const {
    auto const found = m_numbers.find(&caption);
    return found == m_numbers.end() ? 0 : found->second;
}
