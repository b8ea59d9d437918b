// SPDX-License-Identifier: Apache-2.0
#include "engine/story/composer.h"

#include "platform/kernel/exception.h"

#include <atomic>

namespace Story {

namespace {

// Paragraphs are forgotten each time that so many characters have found their place: often enough for little memory,
// and so seldom that it hardly counts that those which were prepared ahead are composed twice.
constexpr std::uint32_t c_keptLength = 4'000'000;

void CheckAbort(bool const* abort) {
    if (abort != nullptr && std::atomic_ref<bool>(*const_cast<bool*>(abort)).load(std::memory_order_relaxed))
        throw Kernel::AbortException();
}

} // namespace

std::size_t CountFrames(Story const& story, Kernel::Counted<StyleSheet const> styleSheet, FrameGeometry const& geometry,
                        std::size_t maximum, bool const* abort, std::function<void(float)> const& progress,
                        FieldDataSourceRef const& fields) {
    if (!styleSheet)
        styleSheet = StyleSheet::GetEmpty();
    ParagraphCache cache;
    ParagraphNumbers numbers(story, *styleSheet);
    ParagraphSource paragraphs(story, *styleSheet, fields.get(), cache, numbers);
    Cursor cursor;
    std::uint32_t forgotten = 0;
    for (std::size_t count = 1; count <= maximum; ++count) {
        CheckAbort(abort);
        auto const end = FrameComposer(paragraphs, story, geometry, count - 1).Compose(cursor)->GetRange().end;
        if (progress)
            progress(static_cast<float>(end) / static_cast<float>(story.GetLength()));
        if (!paragraphs.HasParagraph(cursor.paragraph))
            return count;
        if (end - forgotten >= c_keptLength) {
            paragraphs.Forget();
            forgotten = end;
        }
    }
    return maximum + 1;
}

} // namespace Story
