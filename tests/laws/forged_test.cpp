// SPDX-License-Identifier: Apache-2.0
// Documents that no program wrote: every field of a history's steps, and of the objects that they refer to, is taken
// away, made empty, or made to refer to something else; then the history is walked to and fro. A step works,
// or fails with a word and leaves the document as it was.

#include "engine/store/container.h"
#include "platform/kernel/cast.h"
#include "platform/kernel/exception.h"
#include "tests/laws/example_run.h"
#include "tests/support/stored_graph.h"

#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <set>

namespace {

using Support::StoredField;
using Support::StoredFields;
using Support::StoredGraph;

constexpr std::size_t c_otherTargets = 9;

// One way to change a field; answers false where it would change nothing.
using Forgery = std::function<bool(StoredFields&, std::size_t)>;
struct NamedForgery {
    std::string name;
    Forgery apply;
};

Forgery ReplaceEachReference(std::uint32_t id) {
    return [id](StoredFields& fields, std::size_t at) {
        auto& objects = fields[at].objects;
        if (!fields[at].IsReference() || std::all_of(objects.begin(), objects.end(), [&](auto o) { return o == id; }))
            return false;
        std::fill(objects.begin(), objects.end(), id);
        return true;
    };
}

Forgery ReplaceLastReference(std::uint32_t id) {
    return [id](StoredFields& fields, std::size_t at) {
        auto& objects = fields[at].objects;
        if (!fields[at].IsReference() || !fields[at].IsArray() || objects.size() < 2 || objects.back() == id)
            return false;
        objects.back() = id;
        return true;
    };
}

// For arrays of references and of value classes.
template <class F>
Forgery ChangeList(F const& change) {
    return [change](StoredFields& fields, std::size_t at) {
        auto& field = fields[at];
        if (!field.IsArray() || (field.objects.empty() && field.elements.empty()))
            return false;
        auto const before = std::pair(field.objects, field.elements.size());
        if (field.IsReference())
            change(field.objects);
        else
            change(field.elements);
        return field.IsValueClass() || before != std::pair(field.objects, field.elements.size());
    };
}

template <class T>
Forgery Overwrite(T value) {
    return [value](StoredFields& fields, std::size_t at) {
        auto& bytes = fields[at].value;
        auto const old = bytes;
        auto const form = static_cast<std::uint8_t>(fields[at].form & ~Support::c_arrayBit);
        bool const isNumber = std::is_floating_point_v<T> ? form == Support::c_doubleForm ||
                                                                form == Support::c_rectForm ||
                                                                form == Support::c_affineForm
                                                          : form == Support::c_int32Form;
        for (std::size_t i = 0; isNumber && i + sizeof value <= bytes.size(); i += sizeof value)
            std::memcpy(bytes.data() + i, &value, sizeof value);
        return bytes != old;
    };
}

bool FlipBool(StoredFields& fields, std::size_t at) {
    if (fields[at].form != Support::c_boolForm)
        return false;
    fields[at].value.at(0) ^= std::byte{1};
    return true;
}

// Two nodes of each kind, and some of what is none: what a reference may be made to point at.
std::vector<std::uint32_t> ChooseTargets(StoredGraph const& graph) {
    std::map<std::string, int> chosen;
    std::vector<std::uint32_t> ids;
    for (auto const& object : graph.objects) {
        bool const isNode = object.classTag[0] == 'N';
        auto const already = chosen[object.classTag]++;
        if (already < (isNode ? 2 : 1) && (isNode || chosen.size() <= c_otherTargets))
            ids.push_back(object.id);
    }
    return ids;
}

std::vector<NamedForgery> ListForgeries(StoredGraph const& graph) {
    std::vector<NamedForgery> all;
    all.push_back({"missing", [](StoredFields& fields, std::size_t at) {
                       fields.erase(fields.begin() + static_cast<std::ptrdiff_t>(at));
                       return true;
                   }});
    all.push_back({"null", ReplaceEachReference(0)});
    all.push_back({"with a null at its end", ReplaceLastReference(0)});
    std::map<std::string, int> met;
    for (auto const id : ChooseTargets(graph)) {
        auto const name = graph.objects[id - 1].classTag + " " + std::to_string(met[graph.objects[id - 1].classTag]++);
        all.push_back({"made " + name, ReplaceEachReference(id)});
        all.push_back({"with " + name + " at its end", ReplaceLastReference(id)});
    }
    all.push_back({"shortened", ChangeList([](auto& list) { list.pop_back(); })});
    all.push_back({"without its first", ChangeList([](auto& list) { list.erase(list.begin()); })});
    all.push_back({"emptied", ChangeList([](auto& list) { list.clear(); })});
    all.push_back({"lengthened", ChangeList([](auto& list) {
                       auto const first = list.front();
                       list.push_back(first);
                   })});
    all.push_back({"reversed", ChangeList([](auto& list) { std::reverse(list.begin(), list.end()); })});
    for (std::int32_t const number : {0, 1, -1, INT32_MAX, INT32_MIN})
        all.push_back({std::to_string(number), Overwrite(number)});
    all.push_back({"not a number", Overwrite(std::numeric_limits<double>::quiet_NaN())});
    all.push_back({"infinite", Overwrite(std::numeric_limits<double>::infinity())});
    all.push_back({"huge", Overwrite(1e300)});
    all.push_back({"the other truth", FlipBool});
    return all;
}

// Walks the history of a document that may be anything. A step that fails must leave no trace.
void WalkHistory(DocumentController& controller, bool backFirst) {
    controller.GetDocument()->CheckInvariants();
    for (int step = 0; step != 5; ++step) {
        bool const back = (step % 2 == 0) == backFirst;
        auto const position = controller.GetHistory()->GetPosition();
        auto const hash = controller.GetHash(false);
        auto const selection = controller.GetCurrentSelection();
        try {
            back ? controller.Undo() : controller.Redo();
        } catch (Kernel::Exception const& failure) {
            EXPECT_EQ(std::string(failure.what()).find('\n'), std::string::npos);
            EXPECT_EQ(position, controller.GetHistory()->GetPosition());
            EXPECT_EQ(hash, controller.GetHash(false)) << failure.what();
            EXPECT_EQ(selection, controller.GetCurrentSelection());
        }
        controller.GetDocument()->CheckInvariants();
        controller.GetHash(true);
    }
}

class ForgedDocuments : public testing::TestWithParam<std::size_t> {
protected:
    CommandExample const& Example() const { return AllExamples()[GetParam()]; }

    // The example's document with its step done, and taken back.
    bool SaveExample() {
        ExampleRun run(Example());
        run.Do();
        if (!run.controller->GetLastResult().stacked)
            return false;
        run.controller->Save(m_done);
        run.controller->Undo();
        run.controller->Save(m_undone);
        return true;
    }

    void WriteForged(StoredGraph const& graph, std::string const& path) {
        auto const container = Store::Container::Open(path, Store::OpenMode::Edit);
        Store::SaveTransaction transaction(*container);
        Support::WriteGraph(graph, *container);
        transaction.Commit();
    }

    void ForgeEverything(std::string const& path, bool backFirst) {
        auto const whole = Support::ReadGraph(*Store::Container::Open(path, Store::OpenMode::Read));
        auto const forgeries = ListForgeries(whole);
        for (std::size_t object = 0; object != whole.objects.size(); ++object) {
            std::size_t count = 0;
            auto fields = whole.objects[object].fields;
            Support::ForEachStoredField(fields, [&](StoredFields&, std::size_t) { ++count; });
            for (std::size_t field = 0; field != count; ++field) {
                for (auto const& forgery : forgeries)
                    Forge(whole, object, field, forgery, path, backFirst);
            }
        }
    }

    // Each example's commands are forged; of all other objects one of each class, whichever example it is in.
    bool IsNew(std::string const& classTag, std::string const& forgery, bool backFirst) const {
        static std::set<std::string> s_tried;
        auto const* const properties = Kernel::ClassRegistry::Find(TagOf(classTag));
        bool const isCommand =
            properties != nullptr && properties->IsDerivedFrom(DocumentCommand::GetTypeClassProperties());
        if (!isCommand && !backFirst)
            return false;
        auto const key = (isCommand ? std::to_string(GetParam()) : "") + (backFirst ? "<" : ">") + forgery;
        return s_tried.insert(key).second && IsChosen(key);
    }
    // There are tens of thousands, of which a fixed share is tried, with those that can make a document hold itself;
    // all of them when FORGE_ALL is set.
    static bool IsChosen(std::string const& key) {
        constexpr std::uint32_t c_oneOf = 40;
        static bool const s_all = std::getenv("FORGE_ALL") != nullptr;
        // FNV-1a (Fowler, Noll and Vo).
        std::uint32_t hash = 2166136261u;
        for (char const letter : key)
            hash = (hash ^ static_cast<std::uint8_t>(letter)) * 16777619u;
        return s_all || hash % c_oneOf == 0 || key.find("of PrCl made") != std::string::npos;
    }
    static Kernel::ClassUID TagOf(std::string const& text) {
        std::uint32_t value = 0;
        for (char const letter : text)
            value = value << 8 | static_cast<std::uint8_t>(letter);
        return Kernel::ClassUID::FromValue(value);
    }

    void Forge(StoredGraph const& whole, std::size_t object, std::size_t field, NamedForgery const& forgery,
               std::string const& path, bool backFirst) {
        auto graph = whole;
        bool changed = false;
        std::string name;
        std::size_t index = 0;
        Support::ForEachStoredField(graph.objects[object].fields, [&](StoredFields& fields, std::size_t at) {
            if (index++ != field || changed)
                return;
            name = fields[at].tag + " of " + graph.objects[object].classTag + " " + forgery.name;
            changed = forgery.apply(fields, at);
        });
        if (!changed || !IsNew(whole.objects[object].classTag, name, backFirst))
            return;
        SCOPED_TRACE(name);
        WriteForged(graph, path);
        try {
            auto const controller = DocumentController::Open(path, true);
            WalkHistory(*controller, backFirst);
        } catch (Kernel::Exception const&) {
            // Refused.
        }
    }

    TemporaryFolder m_folder;
    std::string const m_done = m_folder.Path("done.redraft"), m_undone = m_folder.Path("undone.redraft");
};

TEST_P(ForgedDocuments, FailWithAWordOrNotAtAll) {
    if (!SaveExample())
        return;
    ForgeEverything(m_done, true);
    ForgeEverything(m_undone, false);
}

INSTANTIATE_TEST_SUITE_P(Commands, ForgedDocuments, testing::Range(std::size_t{0}, AllExamples().size()), ExampleName);

} // namespace
