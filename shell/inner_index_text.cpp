// SPDX-License-Identifier: Apache-2.0
// The text of indices: putting one into a text, and making all of them anew.
#include "shell/inner_commands.h"
#include "shell/values.h"

#include "platform/document/document_controller.h"
#include "platform/document/story_visitor.h"
#include "platform/document/update_index_command.h"

#include <set>

namespace Shell {

namespace {

using Kernel::FieldList;
using Kernel::String;
using Kernel::Unstored;

class IndexIdFinder final : public StoryVisitor {
public:
    IndexIdFinder() : StoryVisitor(false) {}
    std::set<String> ids;

protected:
    void ReceiveStory(Kernel::NonCounted<Story::Story const> story) override {
        for (auto const& id : UpdateIndexCommand::FindIds(*story))
            ids.insert(id);
    }
};

String MakeIndexId(DocumentController& document) {
    IndexIdFinder finder;
    finder.Visit(Kernel::JailCounted<Node>(document.GetDocument().get()), {});
    for (auto number = finder.ids.size() + 1;; ++number) {
        String const id("index-" + std::to_string(number));
        if (!finder.ids.contains(id))
            return id;
    }
}

struct InsertIndex {
    static constexpr char c_name[] = "insert-index", c_class[] = "UpdateIndexCommand";
    static constexpr bool c_takesSelection = true;
    String style;
    static constexpr auto Fields() {
        return FieldList{Unstored{&InsertIndex::style}.As(
            "style", "how the names of its paragraph styles begin: NAME Heading, NAME 1, NAME 2 and so on",
            std::string_view("Index"))};
    }
    Kernel::Counted<DocumentCommand> Make(ValueContext const& context) const {
        if (context.selection->size() != 1)
            throw ValueError("stands in one text, and " + std::to_string(context.selection->size()) +
                             " are selected; #ID[from:to] names a place");
        return Kernel::MakeCounted<UpdateIndexCommand>(
            Kernel::MakeCounted<Story::IndexAtt const>(MakeIndexId(context.document), style), context.selection);
    }
};

struct UpdateIndex {
    static constexpr char c_name[] = "update-index", c_class[] = "UpdateIndexCommand";
    static constexpr bool c_takesSelection = false;
    Kernel::Counted<DocumentCommand> Make(ValueContext const&) const {
        return Kernel::MakeCounted<UpdateIndexCommand>();
    }
};

} // namespace

std::vector<CommandEntry> MakeIndexTextEntries() {
    return {MakeInnerEntry<InsertIndex>(), MakeInnerEntry<UpdateIndex>()};
}

} // namespace Shell
