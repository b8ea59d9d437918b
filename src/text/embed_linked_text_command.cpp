// SPDX-License-Identifier: Apache-2.0
#include "text/embed_linked_text_command.h"

#include "platform/story/linked_file.h"

namespace Commands {

EmbedLinkedTextCommand::EmbedLinkedTextCommand(Kernel::Counted<Selection const> selection)
    : Persisted(Story::MakeDelta(Story::ParagraphAtt::Object::LinkedFile, Story::LinkedFileAtt::GetDefault()),
                std::move(selection)) {}

} // namespace Commands
