// SPDX-License-Identifier: Apache-2.0
// The index from the command line: what it has, and marks for a list of words.
#include "shell/input_files.h"
#include "shell/text_objects.h"
#include "shell/values.h"
#include "shell/verbs.h"

#include "platform/document/compound_command.h"
#include "platform/document/index_commands.h"
#include "platform/document/index_preview.h"
#include "platform/kernel/cast.h"
#include "platform/story/paragraph.h"

#include <algorithm>
#include <map>
#include <unordered_map>

namespace Shell {

namespace {

using Topic = Kernel::Counted<Story::IndexTopic const>;

std::vector<Kernel::String> SplitPath(std::string_view path) {
    std::vector<Kernel::String> names;
    for (std::size_t at = 0; at <= path.size();) {
        auto const end = std::min(path.find('/', at), path.size());
        if (end != at)
            names.emplace_back(path.substr(at, end - at));
        at = end + 1;
    }
    return names;
}

// A word of a list, and the topic that its marks get.
struct ListedWord {
    std::u32string word;
    // The full name of the topic.
    std::string path;
};

// Words, each on a line, perhaps with a tab and a topic's path behind it; otherwise the word names its topic.
std::vector<ListedWord> ParseWordList(std::string_view list) {
    std::vector<ListedWord> words;
    if (list.starts_with("\xEF\xBB\xBF"))
        list.remove_prefix(3);
    std::size_t number = 0;
    for (std::size_t at = 0; at < list.size();) {
        auto const end = std::min(list.find('\n', at), list.size());
        auto line = list.substr(at, end - at);
        at = end + 1;
        ++number;
        if (line.ends_with('\r'))
            line.remove_suffix(1);
        auto const tab = line.find('\t');
        auto const word = line.substr(0, tab);
        if (word.empty()) {
            if (line.empty())
                continue;
            throw ValueError("line " + std::to_string(number) + " has no word");
        }
        if (!Kernel::IsValidUtf8(line))
            throw ValueError("line " + std::to_string(number) + " is not UTF-8");
        auto const path = tab == std::string_view::npos ? std::string_view() : line.substr(tab + 1);
        // A slash in a word would part levels.
        std::string topic(path.empty() ? word : path);
        if (path.empty())
            std::replace(topic.begin(), topic.end(), '/', ' ');
        if (SplitPath(topic).empty())
            throw ValueError("line " + std::to_string(number) + " names no topic");
        words.push_back({Story::DecodeUtf8(word).text, std::move(topic)});
    }
    return words;
}

// The places of whole words in a story, for each word of the list, in ascending order.
class WordFinder {
public:
    explicit WordFinder(std::vector<ListedWord> const& words) : m_words(words) {
        for (std::size_t i = 0; i != words.size(); ++i)
            m_byFirst[words[i].word.front()].push_back(i);
    }
    void Find(Story::StoryRef const& story, std::vector<std::vector<std::uint32_t>>& places) const {
        for (std::size_t number = 0; number != story->GetParagraphCount(); ++number) {
            auto const begin = story->GetParagraphBegin(number);
            auto const text = story->GetParagraph(number)->GetText();
            for (std::size_t i = 0; i != text.size(); ++i) {
                auto const found = m_byFirst.find(text[i]);
                if (found == m_byFirst.end() || (i != 0 && IsPlainLetter(text[i]) && IsPlainLetter(text[i - 1])))
                    continue;
                for (auto const word : found->second) {
                    auto const& letters = m_words[word].word;
                    if (text.compare(i, letters.size(), letters) == 0 &&
                        IsWhole(story, begin + static_cast<std::uint32_t>(i), letters.size()))
                        places[word].push_back(begin + static_cast<std::uint32_t>(i));
                }
            }
        }
    }

private:
    // Between two of these no word ends.
    static bool IsPlainLetter(char32_t c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
    static bool IsWhole(Story::StoryRef const& story, std::uint32_t begin, std::size_t length) {
        auto const end = begin + static_cast<std::uint32_t>(length);
        return Story::StoryPos(story, begin).GetWordBegin().GetIndex() == begin &&
               Story::StoryPos(story, end - 1).GetWordEnd().GetIndex() == end;
    }

    std::vector<ListedWord> const& m_words;
    std::unordered_map<char32_t, std::vector<std::size_t>> m_byFirst;
};

// Counts marks that were put in front of a place (Fenwick 1994).
class PutMarks {
public:
    explicit PutMarks(std::size_t length) : m_sums(length + 2) {}
    void Add(std::uint32_t place) {
        for (std::size_t i = place + 1; i < m_sums.size(); i += i & (~i + 1))
            ++m_sums[i];
    }
    // At the place itself too.
    std::uint32_t Count(std::uint32_t place) const {
        std::uint32_t sum = 0;
        for (std::size_t i = place + 1; i != 0; i -= i & (~i + 1))
            sum += m_sums[i];
        return sum;
    }

private:
    std::vector<std::uint32_t> m_sums;
};

// One step: the topics that are missing, and a command for each topic that puts all its marks. It is stored as the
// plain compound that it becomes.
class IndexWordsCommand final : public AggregateCommand {
public:
    explicit IndexWordsCommand(std::vector<ListedWord> words) : m_words(std::move(words)) {
        SetDescription(Kernel::LocalisedString("Index Words", "Command description"));
    }
    std::size_t GetMarkCount() const { return m_markCount; }
    std::size_t GetTopicCount() const { return m_topicCount; }
    std::vector<std::string> const& GetMissing() const { return m_missing; }
    bool ShouldStackForUndo() const override { return m_markCount != 0; }
    Kernel::Counted<DocumentCommand> Clone() const override { return Kernel::MakeCounted<IndexWordsCommand>(m_words); }

    void Do() override {
        SetDirection(Direction::Do);
        auto const stories = FindStories(*GetDocumentController()->GetDocument(), false);
        WordFinder const finder(m_words);
        // For each topic, the places in each story.
        std::map<std::string, std::vector<std::vector<std::uint32_t>>> byTopic;
        std::vector<std::size_t> counts(m_words.size());
        for (std::size_t s = 0; s != stories.size(); ++s) {
            std::vector<std::vector<std::uint32_t>> places(m_words.size());
            finder.Find(stories[s].story, places);
            for (std::size_t w = 0; w != m_words.size(); ++w) {
                counts[w] += places[w].size();
                if (places[w].empty())
                    continue;
                auto& all = byTopic[m_words[w].path];
                all.resize(stories.size());
                all[s].insert(all[s].end(), places[w].begin(), places[w].end());
            }
        }
        for (std::size_t w = 0; w != m_words.size(); ++w) {
            if (counts[w] == 0)
                m_missing.push_back(Story::EncodeUtf8(m_words[w].word));
        }
        std::vector<PutMarks> put;
        for (auto const& shown : stories)
            put.emplace_back(shown.story->GetLength());
        TextChangeBatch batch;
        for (auto& [path, places] : byTopic) {
            auto const add = Kernel::MakeCounted<AddIndexTopicCommand>(SplitPath(path), Topic(), true);
            InnerCommands::DoOne(*this, *add);
            if (add->ShouldStackForUndo())
                m_commands.Append(add);
            Selection::Items items;
            for (std::size_t s = 0; s != stories.size(); ++s) {
                // Words of one topic may begin at one place.
                std::ranges::sort(places[s]);
                places[s].erase(std::unique(places[s].begin(), places[s].end()), places[s].end());
                std::vector<Story::SelectionRange> carets;
                for (auto const place : places[s]) {
                    auto const now = static_cast<int>(place + put[s].Count(place));
                    carets.push_back({now, now});
                }
                for (auto const place : places[s])
                    put[s].Add(place);
                m_markCount += carets.size();
                if (!carets.empty())
                    items.push_back(Kernel::MakeCounted<SubSelectionItem>(
                        stories[s].parts.front().node, Kernel::MakeCounted<TextSelection>(std::move(carets))));
            }
            auto const insert =
                Kernel::MakeCounted<InsertGlyphsCommand>(Kernel::MakeCounted<Story::IndexMarkGlyph>(add->GetTopic()),
                                                         Kernel::MakeCounted<Selection const>(std::move(items), false));
            insert->SetSelectNewText(static_cast<unsigned>(BaseReplaceTextCommand::NewTextSelection::Keep));
            AddAndDoCommand(insert);
        }
        batch.Finish();
        m_topicCount = byTopic.size();
    }

private:
    std::vector<ListedWord> m_words;
    std::vector<std::string> m_missing;
    std::size_t m_markCount = 0, m_topicCount = 0;
};

} // namespace

ExitStatus RunTopics(Session& session, Arguments const& arguments) {
    auto& document = session.Open(arguments);
    auto const node = document.GetDocument();
    auto const marks = node->GetIndexMarks(false, false, true);
    // Below each topic come those that stand below it, as an index has them.
    std::unordered_map<Story::IndexTopic const*, std::vector<Topic>> below;
    for (auto const& topic : node->GetIndex())
        below[topic->GetParent().get()].push_back(topic);
    auto& json = session.Json();
    if (session.IsJson())
        json.BeginArray();
    auto const print = [&](Topic const& topic, int depth) {
        auto const count = marks->GetMarksForTopic(topic).size();
        auto const related = topic->GetRelatedTo();
        if (!session.IsJson()) {
            // Deeper levels than anyone prints stand where the tenth does.
            std::string line(2 * static_cast<std::size_t>(std::min(depth, 10)), ' ');
            line += OneLine(topic->GetName().view()) + "  " + Count(count, "mark", "marks");
            if (!topic->GetGUID().empty())
                line += "  guid " + OneLine(topic->GetGUID().view());
            if (!topic->GetSortString().empty())
                line += "  sort " + Quote(topic->GetSortString().view());
            for (auto const& other : related)
                line += "  see " + Quote(other->GetNameWithParents().view());
            session.Print(line + "\n");
            return;
        }
        json.BeginObject();
        json.Member("path", topic->GetNameWithParents().view());
        json.Member("name", topic->GetName().view());
        json.Member("guid", topic->GetGUID().view());
        json.Member("sort", topic->GetSortString().view());
        json.Member("marks", count);
        json.Key("related").BeginArray();
        for (auto const& other : related)
            json.Value(other->GetNameWithParents().view());
        json.EndArray();
        json.EndObject();
    };
    // Without recursion: a document may have levels without end.
    std::vector<std::pair<Topic, int>> open;
    auto const openBelow = [&](Story::IndexTopic const* topic, int depth) {
        auto const& topics = below[topic];
        for (auto each = topics.rbegin(); each != topics.rend(); ++each)
            open.emplace_back(*each, depth);
    };
    openBelow(nullptr, 0);
    while (!open.empty()) {
        auto const [topic, depth] = open.back();
        open.pop_back();
        print(topic, depth);
        openBelow(topic.get(), depth + 1);
    }
    if (session.IsJson())
        json.EndArray();
    return ExitStatus::Done;
}

ExitStatus RunMarks(Session& session, Arguments const& arguments) {
    auto& document = session.Open(arguments);
    auto const marks = document.GetDocument()->GetIndexMarks(false, true, true);
    auto& json = session.Json();
    if (session.IsJson())
        json.BeginArray();
    for (auto const& mark : marks->GetMarks()) {
        auto const node = mark->GetBookmark().GetText();
        auto const index = mark->GetBookmark().FindIndex();
        if (!node || !index)
            continue;
        TextPlace const place{node, *index};
        auto const& topic = mark->GetTopic();
        auto const name = topic ? topic->GetNameWithParents() : Kernel::String();
        auto const& page = mark->GetPageLabel();
        if (!session.IsJson()) {
            session.Print(OneLine(name.view()) + "  " + place.GetSelector() + "  page " +
                          (page.empty() ? "-" : page.ToStdString()) +
                          (mark->GetStyleName().empty() ? "" : "  style " + Quote(mark->GetStyleName().view())) + "\n");
            continue;
        }
        json.BeginObject();
        json.Member("topic", name.view());
        json.Member("style", mark->GetStyleName().view());
        json.Member("node", node->GetId());
        json.Member("place", *index);
        json.Member("select", place.GetSelector());
        if (page.empty())
            json.Member("page", nullptr);
        else
            json.Member("page", page.view());
        json.EndObject();
    }
    if (session.IsJson())
        json.EndArray();
    return ExitStatus::Done;
}

ExitStatus RunIndexWords(Session& session, Arguments const& arguments) {
    constexpr std::uint64_t c_maximumList = 64u << 20;
    auto const bytes = InputFiles::Read(std::string(arguments.Get("FILE")), c_maximumList);
    auto words = ParseOption("FILE", [&] {
        return ParseWordList({reinterpret_cast<char const*>(bytes.data()), bytes.size()});
    });
    auto& document = session.Open(arguments);
    auto const command = Kernel::MakeCounted<IndexWordsCommand>(std::move(words));
    document.Run(command);
    if (command->GetMarkCount() != 0)
        session.MarkChanged();
    auto const position = document.GetHistory()->GetPosition();
    if (session.IsJson()) {
        auto& json = session.Json();
        json.BeginObject();
        json.Member("marks", command->GetMarkCount());
        json.Member("topics", command->GetTopicCount());
        json.Key("missing").BeginArray();
        for (auto const& word : command->GetMissing())
            json.Value(word);
        json.EndArray();
        json.Member("position", position);
        json.EndObject();
        return ExitStatus::Done;
    }
    session.Print(Count(command->GetMarkCount(), "mark", "marks") + " of " +
                  Count(command->GetTopicCount(), "topic", "topics") + ": step " + std::to_string(position) + "\n");
    if (!command->GetMissing().empty())
        session.Print(Count(command->GetMissing().size(), "word", "words") + " of the list stand nowhere\n");
    return ExitStatus::Done;
}

} // namespace Shell
