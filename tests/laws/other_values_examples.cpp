// SPDX-License-Identifier: Apache-2.0
// Commands with other values of their arguments than in their first examples: what is false there is true here, and
// what is the first of a list is the last one.
#include "articles/set_hide_export_article_from_reader_command.h"
#include "articles/set_mark_as_decoration_command.h"
#include "frame/settings/set_reflow_pages_setting_command.h"
#include "frame/view/flip_canvas_command.h"
#include "lines/line_arguments.h"
#include "lines/set_fill_scale_with_object_commands.h"
#include "lines/set_line_descriptor_command.h"
#include "lines/set_scale_line_style_command.h"
#include "merge/set_data_merge_enabled_command.h"
#include "merge/set_data_merge_filter_property_commands.h"
#include "platform/kernel/type_name.h"
#include "publishing/remove_css_file_command.h"
#include "tests/examples/scenes/example_documents.h"
#include "tests/examples/scenes/line_documents.h"
#include "tests/examples/scenes/merge_documents.h"
#include "tests/examples/scenes/publication_documents.h"
#include "tests/examples/scenes/reading_order_documents.h"
#include "tests/laws/text_command_examples.h"

namespace {

using namespace Commands;
using namespace ExampleDocuments;
using Made = Kernel::Counted<DocumentCommand>;

template <class C, class Make>
CommandExample Other(void (*prepare)(DocumentController&), Make const& make) {
    return {.className = std::string(Kernel::TypeName<C>()),
            .prepare = prepare,
            .make = [=](DocumentController& document) -> Made { return make(document); }};
}

Kernel::Counted<Selection const> const c_documentsSelection;

// One shape, of which nothing scales with it.
void ShapeThatDoesNotScale(DocumentController& document) {
    auto const shape = MakeRectangle({0, 0, 60, 40}, 0.9, 0.7, 0.3);
    auto const line = Kernel::MakeCounted<Renderer::LineStyleDescriptor>(
        Kernel::Consolidated<Renderer::LineStyle>(Kernel::MakeCounted<Renderer::LineStyle const>(3)));
    line->SetScaleWithObject(false);
    shape->SetLineStyleDescriptor(line);
    auto const& fill = shape->GetBrushFillDescriptor(true);
    shape->SetPenFillDescriptor(fill->CloneWithNewScaleWithObject(false));
    shape->SetBrushFillDescriptor(fill->CloneWithNewScaleWithObject(false));
    shape->SetTransform({2, 0, 40, 0, 2, 160}, false);
    Append(*document.GetCurrentSpread(), shape);
    Select(document, {shape});
}

std::vector<CommandExample> ExamplesOfLines() {
    auto scaleFill = Other<SetBrushFillScaleWithObjectCommand>(ShapeThatDoesNotScale, [](auto&) {
        return Kernel::MakeCounted<SetBrushFillScaleWithObjectCommand>(true, c_documentsSelection);
    });
    auto scalePen = Other<SetPenFillScaleWithObjectCommand>(ShapeThatDoesNotScale, [](auto&) {
        return Kernel::MakeCounted<SetPenFillScaleWithObjectCommand>(true, c_documentsSelection);
    });
    auto scaleLine = Other<SetScaleLineStyleCommand>(ShapeThatDoesNotScale, [](auto&) {
        return Kernel::MakeCounted<SetScaleLineStyleCommand>(true, ContentType::Object, true, false,
                                                             LineCommandDefaultsMode::SelectionAndDefaults,
                                                             c_documentsSelection);
    });
    auto setLine = Other<SetLineDescriptorCommand>(Lines, [](auto&) {
        return Kernel::MakeCounted<SetLineDescriptorCommand>(
            LineArgument{.weight = 3, .dash = {}}, 0, ContentType::Object, true, false,
            LineCommandDefaultsMode::SelectionOnly, c_documentsSelection);
    });
    // No pixel changes.
    scaleFill.untold = scalePen.untold = {CommandExample::Untold::Area};
    return {scaleFill, scalePen, scaleLine, setLine};
}

std::vector<CommandExample> ExamplesOfMerges() {
    auto enable = Other<SetDataMergeEnabledCommand>(
        [](DocumentController& document) {
            DataMerge(document);
            NewestMergeSourceAt(document, 0)->SetUserEnabled(false);
        },
        [](DocumentController& document) {
            return Kernel::MakeCounted<SetDataMergeEnabledCommand>(NewestMergeSourceAt(document, 0), true);
        });
    auto enableFilter = Other<SetDataMergeFilterEnabledCommand>(DataMerge, [](DocumentController& document) {
        return Kernel::MakeCounted<SetDataMergeFilterEnabledCommand>(NewestMergeSourceAt(document, 0),
                                                                     MergeFilterAt(document, c_scriptFilter), true);
    });
    auto ascend = Other<SetDataMergeSortFilterAscendingCommand>(
        [](DocumentController& document) {
            DataMerge(document);
            MergeFilterAt<DataMergeSortFilter>(document, c_sortFilter)->SetAscending(false);
        },
        [](DocumentController& document) {
            return Kernel::MakeCounted<SetDataMergeSortFilterAscendingCommand>(
                NewestMergeSourceAt(document, 0), MergeFilterAt<DataMergeSortFilter>(document, c_sortFilter), true);
        });
    return {enable, enableFilter, ascend};
}

} // namespace

std::vector<CommandExample> OtherValueExamples() {
    auto flip =
        Other<FlipCanvasCommand>(NestedGroups, [](auto&) { return Kernel::MakeCounted<FlipCanvasCommand>(false); });
    flip.tellsWholeDocument = true;
    auto unmark = Other<SetMarkAsDecorationCommand>(
        [](DocumentController& document) { ObjectsInReadingOrder(document).single->SetMarkAsDecoration(true); },
        [](auto&) { return Kernel::MakeCounted<SetMarkAsDecorationCommand>(false, nullptr); });
    auto show = Other<SetHideExportArticleFromReaderCommand>(
        [](DocumentController& document) { ObjectsInReadingOrder(document); },
        [](DocumentController& document) {
            FindEntry(document, 0)->SetHide(true, true);
            return Kernel::MakeCounted<SetHideExportArticleFromReaderCommand>(
                std::vector{FindEntry(document, 0), FindEntry(document, 1)}, false);
        });
    auto stopReflow = Other<SetReflowPagesSettingCommand>(
        [](DocumentController& document) { document.SetShouldReflowPages(true); },
        [](auto&) { return Kernel::MakeCounted<SetReflowPagesSettingCommand>(false); });
    auto removeLast =
        Other<RemoveCssFileCommand>(Publication, [](auto&) { return Kernel::MakeCounted<RemoveCssFileCommand>(1); });
    std::vector<CommandExample> examples{flip, unmark, show, stopReflow, removeLast};
    for (auto const& more : {ExamplesOfLines(), ExamplesOfMerges()})
        examples.insert(examples.end(), more.begin(), more.end());
    return examples;
}
