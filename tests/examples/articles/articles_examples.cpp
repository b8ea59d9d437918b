// SPDX-License-Identifier: Apache-2.0
#include "articles/add_export_article_command.h"
#include "articles/delete_export_article_command.h"
#include "articles/move_export_articles_command.h"
#include "articles/rename_export_article_command.h"
#include "articles/reparent_export_articles_command.h"
#include "articles/set_export_article_include_untagged_command.h"
#include "articles/set_hide_export_article_from_reader_command.h"
#include "articles/set_mark_as_decoration_command.h"
#include "articles/set_metadata_tag_command.h"
#include "platform/story/field_glyphs.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/reading_order_documents.h"

namespace Commands {

namespace {

using ExampleDocuments::FindEntry;
using Collectors = ExportTaggingHelpers::Collectors;

auto const PrepareOrder = [](DocumentController& controller) { ExampleDocuments::ObjectsInReadingOrder(controller); };

Kernel::Counted<Node> FindNamed(DocumentController& controller, char const* name) {
    for (auto* node = controller.GetCurrentSpread()->GetFirstChild(NodeChildListType::Plain); node != nullptr;
         node = node->GetNextSibling()) {
        if (node->GetDescription(false) == name)
            return Kernel::Counted<Node>(node);
    }
    return {};
}

Kernel::Counted<ExportArticleCollector> EntryOf(DocumentController& controller, char const* name) {
    return ExampleDocuments::MakeEntry(FindNamed(controller, name));
}

// A caption of the single shape that shows its title, over a chain of two frames.
void PrepareCaption(DocumentController& controller) {
    auto const order = ExampleDocuments::ObjectsInReadingOrder(controller);
    order.single->AddMetadataValueForKey("title", "A title of some length");
    Story::GlyphString text(U"The title of this shape is ");
    text.Add(Kernel::Counted<Story::Glyph const>(Kernel::MakeCounted<Story::MetadataGlyph>("title")));
    text.Add(U", and that is all that there is to say.");
    auto const caption = Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{70, 200, 200, 225});
    caption->SetText(text, {}, {});
    order.single->InsertChild(NodeChildListType::Captions, caption, nullptr);
    auto const rest = Kernel::MakeCounted<FrameTextNode>(Kernel::RectT<double>{70, 300, 400, 340});
    ExampleDocuments::Append(*controller.GetCurrentSpread(), rest);
    rest->LinkBehind(*caption);
    ExampleDocuments::Select(controller, {order.single});
}

} // namespace

// Behind the last one, in a document without any.
static ExampleRegistration const s_addFirstExample({
    .className = "AddExportArticleCommand",
    .make = Constructs<AddExportArticleCommand>(-1),
});

// In front of others.
static ExampleRegistration const s_addExample({
    .className = "AddExportArticleCommand",
    .prepare = PrepareOrder,
    .make = Constructs<AddExportArticleCommand>(1),
});

static ExampleRegistration const s_deleteExample({
    .className = "DeleteExportArticleCommand",
    .prepare = PrepareOrder,
    .make = Constructs<DeleteExportArticleCommand>(2),
    .keptAfterReload = "the members' places in the article are not read, and they end outside of it",
});

static ExampleRegistration const s_deleteEmptyExample({
    .className = "DeleteExportArticleCommand",
    .prepare = PrepareOrder,
    .make = Constructs<DeleteExportArticleCommand>(3),
});

// An article and a single object to the beginning, where all entries have numbers.
static ExampleRegistration const s_moveExample({
    .className = "MoveExportArticlesCommand",
    .prepare =
        [](DocumentController& controller) {
            ExampleDocuments::ObjectsInReadingOrder(controller).included->SetIncludeUntagged(false);
            bool flag = false;
            controller.UpdateExportArticles(flag);
        },
    .make =
        [](DocumentController& controller) {
            return Kernel::MakeCounted<MoveExportArticlesCommand>(
                Collectors{FindEntry(controller, 2), FindEntry(controller, 4)}, -1);
        },
});

// A member out of its article, behind entries that make room, and an object that had no number.
static ExampleRegistration const s_moveMemberExample({
    .className = "MoveExportArticlesCommand",
    .prepare = PrepareOrder,
    .make =
        [](DocumentController& controller) {
            return Kernel::MakeCounted<MoveExportArticlesCommand>(
                Collectors{EntryOf(controller, "second"), EntryOf(controller, "included")}, 0);
        },
    .redoneOtherwiseAfterReload = "the places that Do found are not stored: the entries come first, and those that had "
                                  "no number have none again",
});

// Objects of two articles into a third one that has no member yet.
static ExampleRegistration const s_reparentExample({
    .className = "ReparentExportArticlesCommand",
    .prepare = PrepareOrder,
    .make =
        [](DocumentController& controller) {
            return Kernel::MakeCounted<ReparentExportArticlesCommand>(
                Collectors{EntryOf(controller, "opening"), EntryOf(controller, "third")}, 3, -1);
        },
    .redoneOtherwiseAfterReload = "the target is not stored: the objects leave the order",
});

// Between the members of an article in front of it.
static ExampleRegistration const s_reparentBetweenExample({
    .className = "ReparentExportArticlesCommand",
    .prepare = PrepareOrder,
    .make =
        [](DocumentController& controller) {
            return Kernel::MakeCounted<ReparentExportArticlesCommand>(Collectors{EntryOf(controller, "single")}, 0, 1);
        },
    .redoneOtherwiseAfterReload = "the target is not stored: the objects leave the order",
});

static ExampleRegistration const s_renameExample({
    .className = "RenameExportArticleCommand",
    .prepare = PrepareOrder,
    .make =
        [](DocumentController& controller) {
            return Kernel::MakeCounted<RenameExportArticleCommand>(FindEntry(controller, 2), "The middle");
        },
    .keptAfterReload = "the entry is not stored, and its name stays",
});

// Some of those that are selected are in the order with a number of their own.
static ExampleRegistration const s_includeExample({
    .className = "SetExportArticleIncludeUntaggedCommand",
    .prepare =
        [](DocumentController& controller) {
            auto const order = ExampleDocuments::ObjectsInReadingOrder(controller);
            ExampleDocuments::Select(controller, {order.untagged, order.single});
        },
    .make = Constructs<SetExportArticleIncludeUntaggedCommand>(true, nullptr),
});

// The last one was included already: so are both when this is taken back.
static ExampleRegistration const s_includeMixedExample({
    .className = "SetExportArticleIncludeUntaggedCommand",
    .prepare =
        [](DocumentController& controller) {
            auto const order = ExampleDocuments::ObjectsInReadingOrder(controller);
            ExampleDocuments::Select(controller, {order.included, order.untagged});
        },
    .make = Constructs<SetExportArticleIncludeUntaggedCommand>(false, nullptr),
    .keptByContract = "all objects get what the last one had",
    .keptInDocument = true,
});

static ExampleRegistration const s_hideExample({
    .className = "SetHideExportArticleFromReaderCommand",
    .prepare = PrepareOrder,
    .make =
        [](DocumentController& controller) {
            FindEntry(controller, 3)->SetHide(true, true);
            return Kernel::MakeCounted<SetHideExportArticleFromReaderCommand>(
                Collectors{FindEntry(controller, 0), FindEntry(controller, 1), FindEntry(controller, 3)}, true);
        },
});

static ExampleRegistration const s_decorationExample({
    .className = "SetMarkAsDecorationCommand",
    .prepare =
        [](DocumentController& controller) {
            auto const order = ExampleDocuments::ObjectsInReadingOrder(controller);
            order.single->SetMarkAsDecoration(true);
        },
    .make = Constructs<SetMarkAsDecorationCommand>(true, nullptr),
});

// One object has a value under the key, the text has none.
static ExampleRegistration const s_metadataExample({
    .className = "SetMetadataTagCommand",
    .prepare =
        [](DocumentController& controller) {
            auto const order = ExampleDocuments::ObjectsInReadingOrder(controller);
            order.single->AddMetadataValueForKey("title", "Old");
            order.single->AddMetadataValueForKey("author", "Somebody");
        },
    .make = Constructs<SetMetadataTagCommand>("title", "New", nullptr),
});

// Of several values only the first one comes back.
static ExampleRegistration const s_metadataValuesExample({
    .className = "SetMetadataTagCommand",
    .prepare =
        [](DocumentController& controller) {
            auto const order = ExampleDocuments::ObjectsInReadingOrder(controller);
            order.single->AddMetadataValueForKey("author", "One");
            order.single->AddMetadataValueForKey("author", "Two");
        },
    .make = Constructs<SetMetadataTagCommand>("author", "", nullptr),
    .keptByContract = "the second value is lost",
    .keptInDocument = true,
});

// Of an object whose caption shows the value.
static ExampleRegistration const s_captionedMetadataExample({
    .className = "SetMetadataTagCommand",
    .prepare = PrepareCaption,
    .make = Constructs<SetMetadataTagCommand>("title", "New", nullptr),
});

} // namespace Commands
