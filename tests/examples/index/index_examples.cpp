// SPDX-License-Identifier: Apache-2.0
#include "index/add_index_cross_reference_command.h"
#include "index/delete_index_cross_reference_command.h"
#include "index/delete_index_topic_command.h"
#include "index/insert_index_mark_with_new_topic_command.h"
#include "index/rename_index_topic_command.h"
#include "index/reparent_index_cross_reference_command.h"
#include "index/reparent_index_topic_command.h"
#include "index/set_index_fragment_command.h"
#include "index/set_index_language_command.h"
#include "index/set_index_option_command.h"
#include "index/set_index_topic_guid_command.h"
#include "index/set_index_topic_sort_command.h"
#include "tests/examples/command_example.h"
#include "tests/examples/scenes/index_documents.h"

namespace Commands {

namespace {

using ExampleDocuments::FindTopic;

auto const PrepareIndex = [](DocumentController& controller) { ExampleDocuments::TextsWithIndexMarks(controller); };

} // namespace

// A topic with two levels below it, which have marks in two texts.
static ExampleRegistration const s_deleteTopicExample({
    .className = "DeleteIndexTopicCommand",
    .prepare = PrepareIndex,
    .make =
        [](DocumentController& controller) {
            return Kernel::MakeCounted<DeleteIndexTopicCommand>(
                DeleteIndexTopicCommand::Topics{FindTopic(controller, "Animals")});
        },
});

// A topic and one below it, and one that no text has a mark of.
static ExampleRegistration const s_deleteTopicsExample({
    .className = "DeleteIndexTopicCommand",
    .prepare = PrepareIndex,
    .make =
        [](DocumentController& controller) {
            return Kernel::MakeCounted<DeleteIndexTopicCommand>(DeleteIndexTopicCommand::Topics{
                FindTopic(controller, "Whales"), FindTopic(controller, "Sea"), FindTopic(controller, "Sperm whale")});
        },
});

static ExampleRegistration const s_renameTopicExample({
    .className = "RenameIndexTopicCommand",
    .prepare = PrepareIndex,
    .make =
        [](DocumentController& controller) {
            return Kernel::MakeCounted<RenameIndexTopicCommand>(FindTopic(controller, "Ships"), "Vessels");
        },
});

static ExampleRegistration const s_topicGuidExample({
    .className = "SetIndexTopicGUIDCommand",
    .prepare = PrepareIndex,
    .make =
        [](DocumentController& controller) {
            return Kernel::MakeCounted<SetIndexTopicGUIDCommand>(FindTopic(controller, "Ships"), "topic-ships");
        },
});

static ExampleRegistration const s_topicSortExample({
    .className = "SetIndexTopicSortCommand",
    .prepare = PrepareIndex,
    .make =
        [](DocumentController& controller) {
            return Kernel::MakeCounted<SetIndexTopicSortCommand>(FindTopic(controller, "Sperm whale"), "Whale, sperm");
        },
});

static ExampleRegistration const s_reparentTopicExample({
    .className = "ReparentIndexTopicCommand",
    .prepare = PrepareIndex,
    .make =
        [](DocumentController& controller) {
            return Kernel::MakeCounted<ReparentIndexTopicCommand>(FindTopic(controller, "Whales"),
                                                                  FindTopic(controller, "Sea"));
        },
});

// From below another one to the top.
static ExampleRegistration const s_topicToTopExample({
    .className = "ReparentIndexTopicCommand",
    .prepare = PrepareIndex,
    .make =
        [](DocumentController& controller) {
            return Kernel::MakeCounted<ReparentIndexTopicCommand>(FindTopic(controller, "Whales"), nullptr);
        },
});

static ExampleRegistration const s_indexLanguageExample({
    .className = "SetIndexLanguageCommand",
    .prepare = PrepareIndex,
    .make = Constructs<SetIndexLanguageCommand>("sv"),
});

static ExampleRegistration const s_indexHeadingsExample({
    .className = "SetIndexOptionCommand",
    .make = Constructs<SetIndexOptionCommand>(SetIndexOptionCommand::Option::SectionHeadings, false),
});
static ExampleRegistration const s_indexRangesExample({
    .className = "SetIndexOptionCommand",
    .make = Constructs<SetIndexOptionCommand>(SetIndexOptionCommand::Option::PageRanges, false),
});
static ExampleRegistration const s_indexReferencesExample({
    .className = "SetIndexOptionCommand",
    .make = Constructs<SetIndexOptionCommand>(SetIndexOptionCommand::Option::ExpandCrossReferences, true),
});

// As an old history may have it; with any other fragment another command takes its place when the history loads.
static ExampleRegistration const s_indexFragmentExample({
    .className = "SetIndexFragmentCommand",
    .make = Constructs<SetIndexFragmentCommand>(IndexFragmentSeparator::None, ", "),
    .doesNothing = true,
});

// A mark in the middle of a chain, of a topic whose parent is there.
static ExampleRegistration const s_markWithTopicExample({
    .className = "InsertIndexMarkWithNewTopicCommand",
    .prepare =
        [](DocumentController& controller) {
            auto const texts = ExampleDocuments::TextsWithIndexMarks(controller);
            controller.SetSelection(
                Kernel::MakeCounted<Selection const>(texts.second, Kernel::MakeCounted<TextSelection>(300, 305)),
                false);
        },
    .make =
        [](DocumentController& controller) {
            return InsertIndexMarkWithNewTopicCommand::MakeInsertIndexMarkCommand(
                Kernel::Counted<DocumentController const>(&controller), nullptr, FindTopic(controller, "Animals"),
                "Sharks", "Animals", nullptr, "Bold", false);
        },
});

// Two levels are missing, and the mark goes to a place that is given.
static ExampleRegistration const s_markWithTopicsExample({
    .className = "InsertIndexMarkWithNewTopicCommand",
    .prepare = PrepareIndex,
    .make =
        [](DocumentController& controller) {
            auto const other = controller.GetCurrentSelection()->GetNodes().front();
            return InsertIndexMarkWithNewTopicCommand::MakeInsertIndexMarkCommand(
                Kernel::Counted<DocumentController const>(&controller), nullptr, nullptr, "Herring", "Fish",
                Kernel::MakeCounted<Selection const>(other, Kernel::MakeCounted<TextSelection>(4, 4)), "", true);
        },
});

// Undo takes a relation away that was there before, too; that changes nothing when it runs, and is tried elsewhere.
static ExampleRegistration const s_addRelationExample({
    .className = "AddIndexCrossReferenceCommand",
    .prepare = PrepareIndex,
    .make =
        [](DocumentController& controller) {
            return Kernel::MakeCounted<AddIndexCrossReferenceCommand>(FindTopic(controller, "Sea"),
                                                                      FindTopic(controller, "Whales"));
        },
});

static ExampleRegistration const s_deleteRelationExample({
    .className = "DeleteIndexCrossReferenceCommand",
    .prepare = PrepareIndex,
    .make =
        [](DocumentController& controller) {
            return Kernel::MakeCounted<DeleteIndexCrossReferenceCommand>(FindTopic(controller, "Ships"),
                                                                         FindTopic(controller, "Sea"));
        },
});

static ExampleRegistration const s_reparentRelationExample({
    .className = "ReparentIndexCrossReferenceCommand",
    .prepare = PrepareIndex,
    .make =
        [](DocumentController& controller) {
            return Kernel::MakeCounted<ReparentIndexCrossReferenceCommand>(
                FindTopic(controller, "Ships"), FindTopic(controller, "Whales"), FindTopic(controller, "Sea"));
        },
});

} // namespace Commands
