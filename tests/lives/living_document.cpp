// SPDX-License-Identifier: Apache-2.0
#include "tests/lives/living_document.h"

#include "platform/document/document_renderer.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/hash_accumulator.h"
#include "platform/raster/hardware_devices.h"
#include "shell/command_table.h"
#include "shell/devices.h"
#include "shell/selector.h"
#include "shell/values.h"
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

// Where their name or relation is there already, or gone, required of these commands, undoing them does not lead back.
// The program refuses them there; a macro's second run, and a preview that takes the place of another, come past that.
bool IsInexactWhereMade(DocumentCommand const& command) {
    std::string const name(command.GetObjectClassProperties()->GetName());
    return name == "CaptionCounterTypeCommand" || name.ends_with("IndexCrossReferenceCommand");
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

bool TakeFlag(std::vector<std::string>& words, std::string const& name) {
    auto const found = std::find(words.begin(), words.end(), name);
    if (found == words.end())
        return false;
    words.erase(found);
    return true;
}

// The command that the words name, on what `select` selects; empty for none. Throws what reading them throws.
Kernel::Counted<DocumentCommand> MakeCommand(DocumentController& document, std::vector<std::string> const& words,
                                             std::string const& select) {
    auto const given = select.empty() ? Kernel::Counted<Selection const>() : Shell::MakeSelection(document, select);
    auto const* const entry = Shell::FindCommand(words.empty() ? std::string() : words.front());
    if (entry == nullptr || entry->forms.empty())
        return {};
    Shell::NamedValues values;
    for (auto word = words.begin() + 1; word != words.end(); ++word)
        values.emplace(word->substr(0, word->find('=')), word->substr(word->find('=') + 1));
    auto const selection = given ? given : document.GetCurrentSelection();
    if (entry->runsOnlyWhereItApplies && !entry->canApplyTo(selection))
        return {};
    return entry->ChooseForm(values).make(values, {document, selection});
}

std::size_t IndexOf(DocumentController const& document, SpreadNode const& spread) {
    auto const spreads = document.GetDocument()->GetSpreads();
    return static_cast<std::size_t>(
        std::find_if(spreads.begin(), spreads.end(), [&](auto const& each) { return each.get() == &spread; }) -
        spreads.begin());
}

// Runs what may be refused: true when it was not.
template <class F>
bool Accepts(F const& call) {
    try {
        return call();
    } catch (Shell::ValueError const&) {
    } catch (Shell::NoMatch const&) {
    } catch (Shell::Failure const&) {
    } catch (Kernel::Exception const&) {
    }
    return false;
}

} // namespace

LivingDocument::LivingDocument(std::string startPath, std::string folder, std::string const& device,
                               bool checksPictures)
    : m_start(std::move(startPath)),
      m_folder(std::move(folder)),
      m_scriptWords{"life.redraft", "-", "--device", device},
      m_script(Shell::FindVerb("run")->usage, m_scriptWords, false),
      m_devices(Shell::MakeDevices(device)),
      m_checksPictures(checksPictures) {
    Attach(DocumentController::Open(m_start, true), false);
    auto const position = m_controller->GetHistory()->GetPosition();
    m_states.resize(position + 1);
    m_states[position] = State{m_controller->GetHash(false), std::nullopt};
    ComparePicture();
}

void LivingDocument::Attach(Kernel::Counted<DocumentController> controller, bool merges) {
    m_controller = std::move(controller);
    m_controller->SetClock(&m_clock);
    m_controller->SetMergingEnabled(merges);
    m_controller->SetDirectDelivery(true);
    m_session = std::make_unique<Shell::Session>(false);
    m_session->SetDocument(m_controller, m_folder + "/life.redraft");
    m_session->SetScript(&m_script);
    m_controller->SetHardware(m_devices);
}

LivingDocument::Moment LivingDocument::Look() const {
    return {m_controller->GetHistory()->GetPosition(), m_controller->GetHistory()->GetCount(),
            m_controller->GetHash(false), IdsOf(*m_controller->GetCurrentSelection()),
            m_controller->GetCurrentSpread()->GetId()};
}

LivingDocument::Moment LivingDocument::LookBehindPreview() const {
    if (!m_behind)
        return Look();
    auto moment = *m_behind;
    moment.spread = m_controller->GetCurrentSpread()->GetId();
    return moment;
}

void LivingDocument::Run(std::string const& line) {
    auto const words = Shell::SplitLine(line);
    if (words.empty())
        return;
    m_ran.clear();
    auto const shown = Look();
    auto before = LookBehindPreview();
    auto const& verb = words.front();
    auto const outcome = RunLine(words);
    // A preview may be on a spread that the user has gone to for it.
    if (verb == "preview")
        before.spread = m_controller->GetCurrentSpread()->GetId();
    bool const isUp = m_controller->GetPreview() != nullptr;
    if (isUp && (outcome == Outcome::Refused || verb != "preview"))
        ExpectNothingHappened(shown, "a line that left the preview up");
    else if (isUp)
        m_behind->spread = m_controller->GetCurrentSpread()->GetId();
    else if (verb == "undo" || verb == "redo" || verb == "goto")
        LearnFromMove(before);
    else if (outcome == Outcome::Refused)
        ExpectNothingHappened(before, "a line that was refused");
    else
        LearnFromCommand(before);
    if (!isUp)
        m_behind.reset();
    if (outcome == Outcome::Ran && (verb == "do" || verb == "preview") && words.size() > 1) {
        auto const* const entry = Shell::FindCommand(words[1]);
        m_ran = entry == nullptr ? std::string() : entry->className;
    }
    m_controller->GetDocument()->CheckInvariants();
    ComparePicture();
}

// Runs a line; the caller judges its effect.
LivingDocument::Outcome LivingDocument::RunLine(std::vector<std::string> const& words) {
    auto const& verb = words.front();
    if (verb == "reload")
        Reload(std::find(words.begin(), words.end(), "--merge") != words.end());
    else if (verb == "elsewhere")
        RunElsewhere();
    else if (verb == "record")
        m_controller->StartMacroRecording("lived");
    else if (verb == "preview")
        return Preview({words.begin() + 1, words.end()});
    else if (verb == "end")
        return EndPreview(words.size() > 1);
    else if (verb == "repeat")
        return Repeat();
    else if (verb == "play")
        return Play();
    else if (verb == "do" && m_controller->GetPreview())
        return RunHere({words.begin() + 1, words.end()});
    else
        return RunVerb(words);
    return Outcome::Refused;
}

// A command as a program with a preview up runs it. Those that leave the preview up would change what lies under it.
LivingDocument::Outcome LivingDocument::RunHere(std::vector<std::string> words) {
    auto const select = TakeOption(words, "--select").value_or("");
    TakeOption(words, "--spread");
    return Accepts([&] {
        auto const command = MakeCommand(*m_controller, words, select);
        if (!command || !command->ClearsPreviewCommands())
            return false;
        m_controller->Run(command);
        return true;
    })
               ? Outcome::Ran
               : Outcome::Refused;
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

// A preview that cannot be shown leaves the document without one.
LivingDocument::Outcome LivingDocument::Preview(std::vector<std::string> words) {
    auto const select = TakeOption(words, "--select").value_or("");
    auto const spread = TakeOption(words, "--spread");
    bool const isKept = TakeFlag(words, "--keep"), staysUp = TakeFlag(words, "--up");
    auto const behind = LookBehindPreview();
    auto const wholeBehind = m_behind ? m_wholeBehind : m_controller->GetHash(true);
    auto const users = m_controller->GetCurrentSpread();
    auto const isUp = m_behind.has_value();
    Kernel::Counted<DocumentCommand> command;
    bool const isMade = Accepts([&] {
        if (spread)
            m_controller->SetCurrentSpread(Shell::FindSpread(*m_controller, *spread));
        command = MakeCommand(*m_controller, words, select);
        // Commands that only do have nothing that takes them back.
        return command && (command->ShouldStackForUndo() || command->MakesDOMDirty()) &&
               !(isUp && IsInexactWhereMade(*command));
    });
    bool const isShown = isMade && Accepts([&] {
                             m_controller->RunPreview(command);
                             return true;
                         });
    if (!isShown) {
        m_controller->SetCurrentSpread(users);
        return Outcome::Refused;
    }
    m_behind = behind;
    m_wholeBehind = wholeBehind;
    if (isUp)
        ComparePreviewWithCopy(words, select, m_controller->GetPreview() != command);
    return staysUp ? Outcome::Ran : EndPreview(isKept);
}

// A copy of the document shows no preview. A preview that has taken over the words' command shows what that would show
// alone. (Commands that make nodes are never taken over, and so even the ids of all nodes are the same.)
void LivingDocument::ComparePreviewWithCopy(std::vector<std::string> const& words, std::string const& select,
                                            bool isTakenOver) const {
    auto const copy = m_controller->MakeCopy();
    if (copy->GetHash(false) != m_behind->hash)
        throw Fault("a copy is not exact: of a document with a preview");
    copy->SetHardware(m_devices);
    if (!isTakenOver)
        return;
    auto const index = IndexOf(*m_controller, *m_controller->GetCurrentSpread());
    copy->SetCurrentSpread(copy->GetDocument()->GetSpreads()[index]);
    if (!Accepts([&] {
            copy->RunPreview(MakeCommand(*copy, words, select));
            return true;
        }))
        throw Fault("a preview is refused: where it is the only one");
    if (copy->GetHash(false) != m_controller->GetHash(false))
        throw Fault("a preview shows something else: that has taken over a newer one");
}

LivingDocument::Outcome LivingDocument::EndPreview(bool isKept) {
    if (!m_behind)
        return Outcome::Refused;
    auto const shown = m_controller->GetHash(false);
    m_controller->EndPreview(isKept);
    if (isKept && m_controller->GetHash(false) != shown)
        throw Fault("the document changed: by keeping a preview");
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
    for (auto const& command : macro->GetCommands()) {
        if (IsInexactWhereMade(*command))
            return Outcome::Refused;
    }
    try {
        m_controller->PlayMacro(macro);
        return Outcome::Ran;
    } catch (Kernel::Exception const&) {
        return Outcome::Refused;
    }
}

void LivingDocument::Reload(bool merges) {
    auto const path = m_folder + "/life.redraft";
    auto const shown = Look();
    auto const behind = LookBehindPreview();
    auto const whole = m_behind ? m_wholeBehind : m_controller->GetHash(true);
    m_controller->Save(path);
    ExpectNothingHappened(shown, "a save");
    m_session.reset();
    m_controller.reset();
    Attach(DocumentController::Open(path, true), merges);
    ExpectNothingHappened(behind, "saving and reloading");
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
    other->SetHardware(m_devices);
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

void LivingDocument::ExpectNothingHappened(Moment const& before, std::string const& when) const {
    auto const now = Look();
    if (now.hash != before.hash)
        throw Fault("the document changed: by " + when);
    if (now.position != before.position || now.count != before.count)
        throw Fault("the history changed: by " + when);
    if (now.selection != before.selection)
        throw Fault("the selection changed: by " + when);
    if (now.spread != before.spread)
        throw Fault("the current spread changed: by " + when);
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
    // The newest step took the command over. Where it ends is another state now, and where it began is the same.
    if (m_controller->GetLastResult().merged) {
        m_states[now.position] = State{now.hash, std::nullopt};
        return;
    }
    // A change outside the history stays when steps are undone, so that no other state is known any more.
    std::fill(m_states.begin(), m_states.end(), std::nullopt);
    m_states[now.position] = State{now.hash, std::nullopt};
}

void LivingDocument::ComparePicture() {
    if (!m_checksPictures || m_behind)
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
