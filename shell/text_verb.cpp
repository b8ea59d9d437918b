// SPDX-License-Identifier: Apache-2.0
#include "shell/selector.h"
#include "shell/shown_pages.h"
#include "shell/values.h"
#include "shell/verbs.h"

#include "platform/story/composed_range.h"

#include <algorithm>
#include <optional>
#include <tuple>
#include <utility>

namespace Shell {

namespace {

// Paragraphs and lines end in newlines. With `isComposed` objects are what they show, else they are left out.
std::string GetStoryText(ShownStory const& shown, Story::StoryRange range, bool isComposed) {
    if (!isComposed)
        return shown.story->GetString(range).ToStdString();
    // Every object is shown by the piece that it stands in. A paragraph that begins with the piece begins behind its
    // place, so that its number is there.
    auto const at = [&](std::uint32_t index, bool isForward) {
        Story::StoryPos position(shown.story, index);
        position.SetIsToComposedForward(isForward);
        return Story::ComposedPos(shown.composed, position);
    };
    bool const isBehindObject =
        range.begin != 0 && shown.story->GetText({range.begin - 1, range.begin}).front() == Story::c_objectCharacter;
    return Story::ComposedRange(at(range.begin, isBehindObject), at(range.end, true)).GetString({}).ToStdString();
}

// A piece of a text that stands in one place.
struct Piece {
    PagePlace place;
    // Behind the last node: no page shows it.
    bool isOverflow = false;
    NodeId node{};
    Story::StoryRange range;
    std::string text;
};

// In the order of spreads, pages and the tree; what has no place comes last.
std::vector<Piece> CollectPieces(DocumentController& document, bool isComposed, std::optional<std::size_t> spread) {
    auto const& root = *document.GetDocument();
    PagePlaces const numbers(root);
    std::vector<Piece> pieces, overflows;
    for (auto const& shown : FindStories(root, true)) {
        for (auto const& part : shown.parts) {
            auto const place = numbers.Find(*part.node);
            if ((spread && place.spread != *spread) || part.range.empty())
                continue;
            pieces.push_back(
                {place, false, part.node->GetId(), part.range, GetStoryText(shown, part.range, isComposed)});
        }
        // The last separator is no part of what its user wrote.
        Story::StoryRange const rest{shown.overflowBegin, shown.story->GetClientAll().end};
        if (!spread && !rest.empty())
            overflows.push_back({numbers.Find(*shown.parts.back().node), true, shown.parts.back().node->GetId(), rest,
                                 GetStoryText(shown, rest, isComposed)});
    }
    std::stable_sort(pieces.begin(), pieces.end(), [](Piece const& a, Piece const& b) {
        auto const key = [](Piece const& piece) {
            // Behind the spread's pages comes what stands beside them.
            return std::tuple(piece.place.spread, piece.place.page.empty(), piece.place.page.size(), piece.place.page);
        };
        return key(a) < key(b);
    });
    pieces.insert(pieces.end(), std::make_move_iterator(overflows.begin()), std::make_move_iterator(overflows.end()));
    return pieces;
}

// The last separator of a story and of a column ends a line; text that ends otherwise gets an end.
void PrintLines(Session& session, std::string_view text, std::string const& prefix) {
    while (!text.empty()) {
        auto const end = text.find('\n');
        session.Print(prefix + std::string(text.substr(0, end)) + "\n");
        text.remove_prefix(end == text.npos ? text.size() : end + 1);
    }
}

void WriteTexts(JsonWriter& json, std::span<Piece const> pieces) {
    json.Key("texts").BeginArray();
    for (auto const& piece : pieces) {
        json.BeginObject();
        json.Member("node", piece.node);
        json.Member("begin", piece.range.begin);
        json.Member("end", piece.range.end);
        json.Member("text", piece.text);
        json.EndObject();
    }
    json.EndArray();
}

void AnswerPages(Session& session, std::vector<Piece> const& pieces, bool withNumbers) {
    if (!session.IsJson()) {
        for (auto const& piece : pieces) {
            auto const page = piece.isOverflow || piece.place.page.empty() ? std::string("-") : piece.place.page;
            PrintLines(session, piece.text, withNumbers ? page + "\t" : std::string());
        }
        return;
    }
    auto& json = session.Json();
    json.BeginArray();
    for (std::size_t begin = 0; begin != pieces.size();) {
        auto const& first = pieces[begin];
        auto end = begin;
        while (end != pieces.size() && pieces[end].isOverflow == first.isOverflow &&
               (first.isOverflow ||
                (pieces[end].place.spread == first.place.spread && pieces[end].place.page == first.place.page)))
            ++end;
        json.BeginObject();
        if (first.isOverflow || first.place.page.empty())
            json.Member("page", nullptr);
        else
            json.Member("page", first.place.page);
        if (first.isOverflow)
            json.Member("spread", nullptr);
        else
            json.Member("spread", first.place.spread);
        WriteTexts(json, std::span(pieces).subspan(begin, end - begin));
        json.EndObject();
        begin = end;
    }
    json.EndArray();
}

void AnswerStories(Session& session, std::vector<ShownStory> const& stories, bool isComposed) {
    auto& json = session.Json();
    if (session.IsJson())
        json.BeginArray();
    bool isFirst = true;
    for (auto const& shown : stories) {
        auto const text = GetStoryText(shown, shown.story->GetClientAll(), isComposed);
        if (session.IsJson()) {
            json.BeginObject();
            json.Key("nodes").BeginArray();
            for (auto const& part : shown.parts)
                json.Value(part.node->GetId());
            json.EndArray();
            json.Member("characters", shown.story->GetClientAll().end);
            json.Member("text", text);
            json.EndObject();
            continue;
        }
        // Stories are parted by a blank line.
        if (!std::exchange(isFirst, false))
            session.Print("\n");
        session.Print(text);
        if (!text.empty() && !text.ends_with('\n'))
            session.Print("\n");
    }
    if (session.IsJson())
        json.EndArray();
}

} // namespace

ExitStatus RunText(Session& session, Arguments const& arguments) {
    auto& document = session.Open(arguments);
    bool const isComposed = arguments.Has("--composed"), byPage = arguments.Has("--pages");
    std::optional<std::size_t> spread;
    if (auto const number = arguments.Find("--spread")) {
        auto const last = static_cast<std::int64_t>(document.GetDocument()->GetSpreads().size()) - 1;
        spread = ParseOption("--spread", [&] { return static_cast<std::size_t>(ParseInteger(*number, 0, last)); });
    }
    Guarded(ExitStatus::Input, session.GetDocumentPath(), [&] {
        if (byPage || spread)
            AnswerPages(session, CollectPieces(document, isComposed, spread), byPage);
        else
            AnswerStories(session, FindStories(*document.GetDocument(), false), isComposed);
    });
    return ExitStatus::Done;
}

} // namespace Shell
