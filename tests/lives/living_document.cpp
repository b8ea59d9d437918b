// SPDX-License-Identifier: Apache-2.0
#include "tests/lives/living_document.h"

#include "platform/document/document_renderer.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/hash_accumulator.h"
#include "shell/command_table.h"
#include "shell/selector.h"
#include "shell/verbs.h"

#include <algorithm>

namespace Lives {

namespace {

constexpr double c_pictureSide = 120;

std::vector<NodeId> IdsOf(Selection const& selection) {
    std::vector<NodeId> ids;
    for (auto const& node : selection.GetNodes())
        ids.push_back(node->GetId());
    return ids;
}

std::string ToText(DocumentHash const& hash) {
    std::string text;
    for (std::size_t i = 0; i != 4; ++i) {
        constexpr char c_digits[] = "0123456789abcdef";
        text += c_digits[std::to_integer<unsigned>(hash[i]) / 16];
        text += c_digits[std::to_integer<unsigned>(hash[i]) % 16];
    }
    return text;
}

// The value of an option, which is taken out of the words together with it.
std::optional<std::string> TakeOption(std::vector<std::string>& words, std::string const& name) {
    auto const found = std::find(words.begin(), words.end(), name);
    if (found == words.end() || found + 1 == words.end())
        return std::nullopt;
    auto const value = found[1];
    words.erase(found, found + 2);
    return value;
}

} // namespace

LivingDocument::LivingDocument(std::string startPath, std::string folder, bool checksPictures)
    : m_start(std::move(startPath)), m_folder(std::move(folder)), m_checksPictures(checksPictures) {
    Attach(DocumentController::Open(m_start, true));
    auto const position = m_controller->GetHistory()->GetPosition();
    m_states.resize(position + 1);
    m_states[position] = State{m_controller->GetHash(false), std::nullopt};
    ComparePicture();
}

void LivingDocument::Attach(Kernel::Counted<DocumentController> controller) {
    m_controller = std::move(controller);
    m_controller->SetMergingEnabled(false);
    m_controller->SetDirectDelivery(true);
    m_session = std::make_unique<Shell::Session>(false);
    m_session->SetDocument(m_controller, m_folder + "/life.redraft");
    m_session->SetInScript(true);
}

LivingDocument::Moment LivingDocument::Look() const {
    return {m_controller->GetHistory()->GetPosition(), m_controller->GetHistory()->GetCount(),
            m_controller->GetHash(false), IdsOf(*m_controller->GetCurrentSelection()),
            m_controller->GetCurrentSpread()->GetId()};
}

void LivingDocument::Run(std::string const& line) {
    auto words = Shell::SplitLine(line);
    if (words.empty())
        return;
    m_ran.clear();
    auto const before = Look();
    auto const verb = words.front();
    bool const isMove = verb == "undo" || verb == "redo" || verb == "goto";
    if (verb == "reload") {
        Reload();
    } else if (verb == "elsewhere") {
        RunElsewhere();
        ExpectNothingHappened(before, "a command on another document");
    } else if (verb == "record") {
        m_controller->StartMacroRecording("lived");
    } else {
        auto const outcome = verb == "preview"  ? Preview({words.begin() + 1, words.end()})
                             : verb == "repeat" ? Repeat()
                             : verb == "play"   ? Play()
                                                : RunVerb(words);
        if (isMove)
            LearnFromMove(before);
        else if (outcome == Outcome::Refused)
            ExpectNothingHappened(before, "a line that was refused");
        else
            LearnFromCommand(before);
        if (outcome == Outcome::Ran && (verb == "do" || verb == "preview") && words.size() > 1) {
            auto const* const entry = Shell::FindCommand(words[1]);
            m_ran = entry == nullptr ? std::string() : entry->className;
        }
    }
    m_controller->GetDocument()->CheckInvariants();
    ComparePicture();
}

LivingDocument::Outcome LivingDocument::RunVerb(std::vector<std::string> const& words) {
    bool const isMove = words.front() != "do" && words.front() != "mask";
    try {
        auto const status =
            Shell::Guarded(Shell::ExitStatus::Input, words.front(), [&] { return Shell::RunVerb(*m_session, words); });
        return status == Shell::ExitStatus::Done ? Outcome::Ran : Outcome::Refused;
    } catch (Shell::Failure const& failure) {
        if (isMove && failure.GetStatus() != Shell::ExitStatus::Usage)
            throw Fault("a move through the history failed: " + std::string(failure.what()));
        return Outcome::Refused;
    }
}

LivingDocument::Outcome LivingDocument::Preview(std::vector<std::string> words) {
    auto const select = TakeOption(words, "--select");
    auto const keep = std::find(words.begin(), words.end(), "--keep");
    bool const isKept = keep != words.end();
    if (isKept)
        words.erase(keep);
    auto const before = Look();
    try {
        auto const* const entry = Shell::FindCommand(words.empty() ? std::string() : words.front());
        if (entry == nullptr || entry->forms.empty())
            return Outcome::Refused;
        Shell::NamedValues values;
        for (auto word = words.begin() + 1; word != words.end(); ++word)
            values.emplace(word->substr(0, word->find('=')), word->substr(word->find('=') + 1));
        auto const selection =
            select ? Shell::MakeSelection(*m_controller, *select) : m_controller->GetCurrentSelection();
        auto const command = entry->ChooseForm(values).make(values, {*m_controller, selection});
        // Commands that only do have nothing that takes them back.
        if (!command->ShouldStackForUndo() && !command->MakesDOMDirty())
            return Outcome::Refused;
        m_controller->RunPreview(command);
        m_controller->EndPreview(isKept);
    } catch (Shell::ValueError const&) {
        return Outcome::Refused;
    } catch (Shell::Failure const&) {
        return Outcome::Refused;
    } catch (Kernel::Exception const&) {
        return Outcome::Refused;
    }
    if (!isKept)
        ExpectNothingHappened(before, "a preview that was taken back");
    return isKept ? Outcome::Ran : Outcome::Refused;
}

LivingDocument::Outcome LivingDocument::Repeat() {
    try {
        return m_controller->RepeatLastCommand() ? Outcome::Ran : Outcome::Refused;
    } catch (Kernel::Exception const&) {
        return Outcome::Refused;
    }
}

LivingDocument::Outcome LivingDocument::Play() {
    auto const macro = m_controller->StopMacroRecording();
    if (!macro || macro->GetCommands().empty())
        return Outcome::Refused;
    try {
        m_controller->PlayMacro(macro);
        return Outcome::Ran;
    } catch (Kernel::Exception const&) {
        return Outcome::Refused;
    }
}

void LivingDocument::Reload() {
    auto const path = m_folder + "/life.redraft";
    auto const before = Look();
    auto const whole = m_controller->GetHash(true);
    m_controller->Save(path);
    ExpectNothingHappened(before, "a save");
    m_session.reset();
    m_controller.reset();
    Attach(DocumentController::Open(path, true));
    ExpectNothingHappened(before, "saving and reloading");
    if (m_controller->GetHash(true) != whole)
        throw Fault("the history changed: by saving and reloading");
    m_controller->CheckStoredValues();
}

void LivingDocument::RunElsewhere() {
    auto const position = m_controller->GetHistory()->GetPosition();
    auto const newest = position == 0 ? nullptr : m_controller->GetHistory()->GetCommand(position - 1);
    auto const clone = newest ? newest->Clone() : nullptr;
    if (!clone)
        return;
    auto const other = DocumentController::Open(m_start, true);
    auto const before = other->GetHash(false);
    try {
        other->Run(clone);
    } catch (Kernel::Exception const&) {
        if (other->GetHash(false) != before)
            throw Fault("the document changed: by a clone that failed on another document");
        return;
    }
    auto const after = other->GetHash(false);
    if (!other->GetLastResult().stacked)
        return;
    other->GetDocument()->CheckInvariants();
    other->Undo();
    if (other->GetHash(false) != before)
        throw Fault("undo is not exact: of a clone on another document");
    other->Redo();
    if (other->GetHash(false) != after)
        throw Fault("redo is not exact: of a clone on another document");
}

void LivingDocument::ExpectNothingHappened(Moment const& before, char const* when) const {
    auto const now = Look();
    if (now.hash != before.hash)
        throw Fault(std::string("the document changed: by ") + when);
    if (now.position != before.position || now.count != before.count)
        throw Fault(std::string("the history changed: by ") + when);
    if (now.selection != before.selection)
        throw Fault(std::string("the selection changed: by ") + when);
    if (now.spread != before.spread)
        throw Fault(std::string("the current spread changed: by ") + when);
}

void LivingDocument::ExpectState(std::size_t position, DocumentHash const& hash) {
    if (position >= m_states.size())
        m_states.resize(position + 1);
    auto& known = m_states[position];
    if (!known)
        known = State{hash, std::nullopt};
    else if (known->hash != hash)
        throw Fault("the state is another one: at position " + std::to_string(position) + " the hash was " +
                    ToText(known->hash) + " and is " + ToText(hash));
}

void LivingDocument::LearnFromMove(Moment const& before) {
    auto const now = Look();
    if (now.count != before.count)
        throw Fault("the history changed: by a move through it");
    if (now.spread != before.spread)
        throw Fault("the current spread changed: by a move through the history");
    ExpectState(now.position, now.hash);
}

void LivingDocument::LearnFromCommand(Moment const& before) {
    auto const now = Look();
    if (now.position == before.position + 1) {
        if (now.count != now.position)
            throw Fault("the history changed: steps are left behind a new one");
        m_states.resize(now.position);
        m_states.push_back(State{now.hash, std::nullopt});
        return;
    }
    if (now.position != before.position || now.count != before.count)
        throw Fault("the history changed: by a command that is no step");
    if (now.hash == before.hash)
        return;
    // A change outside the history stays when steps are undone, so that no other state is known any more.
    std::fill(m_states.begin(), m_states.end(), std::nullopt);
    m_states[now.position] = State{now.hash, std::nullopt};
}

void LivingDocument::ComparePicture() {
    if (!m_checksPictures)
        return;
    auto& known = m_states.at(m_controller->GetHistory()->GetPosition());
    if (!known)
        return;
    auto const picture = DrawPicture();
    if (!known->picture)
        known->picture = picture;
    else if (*known->picture != picture)
        throw Fault("the picture is another one: at position " +
                    std::to_string(m_controller->GetHistory()->GetPosition()));
}

std::string LivingDocument::DrawPicture() const {
    Kernel::HashAccumulator hash;
    for (auto const& spread : m_controller->GetDocument()->GetSpreads()) {
        auto const box = spread->GetBaseBox(true);
        SpreadPictureOptions options;
        options.scale = c_pictureSide / std::max({box.GetWidth(), box.GetHeight(), 1.0});
        MakeSpreadPicture(*spread, options)->Render([&](Raster::BufferBase const& rows, int) {
            constexpr std::size_t c_pixelBytes = 4;
            std::vector<std::byte> pixels(static_cast<std::size_t>(rows.GetWidth()) *
                                          static_cast<std::size_t>(rows.GetHeight()) * c_pixelBytes);
            rows.ReadPixels(rows.GetBounds(), pixels.data(), static_cast<std::size_t>(rows.GetWidth()) * c_pixelBytes);
            hash.AddBytes(pixels);
        });
    }
    return hash.GetHash().ToString();
}

} // namespace Lives
