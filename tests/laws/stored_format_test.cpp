// SPDX-License-Identifier: Apache-2.0
// The stored form of every class, compared with the table beside this file: a tag, a form or an order that changes
// makes documents of older programs lose what they say, and is never an accident.

#include "engine/store/container.h"
#include "platform/kernel/class_properties.h"
#include "platform/kernel/exception.h"
#include "tests/laws/example_run.h"
#include "tests/laws/full_document.h"
#include "tests/support/records.h"
#include "tests/support/stored_graph.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <set>
#include <sstream>

namespace {

using Support::StoredField;
using Support::StoredFields;

constexpr char c_header[] =
    "# Every persisted class, as it stands in documents: tag, name, version, tag of the registered base (- for none);\n"
    "# below it its fields in the order in which they are written, each with its tag and its form, those of value\n"
    "# classes indented. Fields that are written only at times are among them, and a registered class that is the\n"
    "# value of a field is listed once, by itself. Nothing here is changed: new fields are added, under tags that the\n"
    "# class never had. After such an addition this table is written anew by\n"
    "#     RENEW_STORED_FORMAT=1 build/dev/tests/test-laws --gtest_filter='StoredFormat.*'\n"
    "# and the difference read line by line.\n";

// The fields of one class, gathered from many objects of it that do not have all of them.
struct Layout {
    struct Known {
        // More than one where a field holds values of several registered classes.
        std::set<std::string> forms;
        // Of a value class that is not registered.
        std::unique_ptr<Layout> nested;
    };
    std::map<std::string, Known> fields;
    // Which tags were met behind each.
    std::map<std::string, std::set<std::string>> behind;
    // As first met.
    std::vector<std::string> met;

    // Tags such that each stands behind all that were ever met in front of it.
    std::vector<std::string> GetOrder() const {
        std::vector<std::string> order;
        std::vector<std::string> left = met;
        while (!left.empty()) {
            auto const next = std::find_if(left.begin(), left.end(), [&](auto const& tag) {
                return std::none_of(left.begin(), left.end(), [&](auto const& other) {
                    auto const found = behind.find(other);
                    return other != tag && found != behind.end() && found->second.contains(tag);
                });
            });
            if (next == left.end()) {
                ADD_FAILURE() << "fields are written in two orders, " << left.front() << " among them";
                return met;
            }
            order.push_back(*next);
            left.erase(next);
        }
        return order;
    }
};

bool IsRegistered(std::string const& tag) {
    auto const all = Kernel::ClassRegistry::GetAll();
    return std::any_of(all.begin(), all.end(),
                       [&](auto const* properties) { return properties->GetClassUID().ToString() == tag; });
}

class Table {
public:
    void Add(Kernel::ChunkStorage const& storage) {
        for (auto const& object : Support::ReadGraph(storage).objects)
            AddFields(m_classes[object.classTag], object.fields);
    }

    std::string Print() const {
        std::map<std::string, Kernel::ClassProperties const*> registered;
        for (auto const* properties : Kernel::ClassRegistry::GetAll()) {
            // Classes that other tests of this program bring along.
            if (properties->GetClassUID().ToString()[0] != 't')
                registered[properties->GetClassUID().ToString()] = properties;
        }
        std::ostringstream out;
        out << c_header;
        for (auto const& [tag, properties] : registered) {
            auto const* const base = properties->GetBase();
            out << "\n"
                << tag << " " << properties->GetName() << " " << properties->GetVersion() << " "
                << (base == nullptr ? "-" : base->GetClassUID().ToString()) << "\n";
            if (auto const found = m_classes.find(tag); found != m_classes.end())
                PrintFields(out, found->second, 1);
        }
        return out.str();
    }

private:
    void AddFields(Layout& layout, StoredFields const& fields) {
        for (std::size_t i = 0; i != fields.size(); ++i) {
            auto const& field = fields[i];
            bool const isOwn = field.IsValueClass() && !IsRegistered(field.classTag);
            auto& known = layout.fields[field.tag];
            if (known.forms.empty())
                layout.met.push_back(field.tag);
            known.forms.insert(field.DescribeForm() + (isOwn ? " " + std::to_string(field.classVersion) : ""));
            for (std::size_t j = i + 1; j < fields.size(); ++j)
                layout.behind[field.tag].insert(fields[j].tag);
            if (isOwn && known.nested == nullptr)
                known.nested = std::make_unique<Layout>();
            for (auto const& element : field.elements) {
                if (element)
                    AddFields(isOwn ? *known.nested : m_classes[field.classTag], *element);
            }
        }
    }

    static void PrintFields(std::ostream& out, Layout const& layout, std::size_t depth) {
        for (auto const& tag : layout.GetOrder()) {
            auto const& field = layout.fields.at(tag);
            out << std::string(depth * 4, ' ') << tag;
            char const* separator = " ";
            for (auto const& form : field.forms)
                out << std::exchange(separator, " or ") << form;
            out << "\n";
            if (field.nested != nullptr)
                PrintFields(out, *field.nested, depth + 1);
        }
    }

    std::map<std::string, Layout> m_classes;
};

Table GatherWritten() {
    Table table;
    TemporaryFolder const folder;
    auto const add = [&](DocumentController& controller) {
        auto const path = folder.Path("written.redraft");
        controller.Save(path);
        table.Add(*Store::Container::Open(path, Store::OpenMode::Read));
    };
    for (auto const& example : AllExamples()) {
        ExampleRun run(example);
        run.Do();
        table.Add(Support::SaveToMemory({Kernel::Counted<Kernel::Serialisable const>(run.command)}));
        add(*run.controller);
        if (!run.controller->GetLastResult().stacked)
            continue;
        run.controller->Undo();
        add(*run.controller);
    }
    auto const full = MakeFullDocument();
    add(*full);
    // Classes that no document here has are added as empty objects.
    for (auto const* properties : Kernel::ClassRegistry::GetAll()) {
        if (auto const object = properties->Create())
            table.Add(Support::SaveToMemory({Kernel::Counted<Kernel::Serialisable const>(object)}));
    }
    return table;
}

std::set<std::string> GetRegisteredTags() {
    std::set<std::string> tags;
    for (auto const* properties : Kernel::ClassRegistry::GetAll())
        tags.insert(properties->GetClassUID().ToString());
    return tags;
}

// The classes that were registered before any test made an object.
class ClassesAtFirst final : public testing::Environment {
public:
    void SetUp() override { s_tags = GetRegisteredTags(); }
    inline static std::set<std::string> s_tags;
};
testing::Environment* const s_classesAtFirst = testing::AddGlobalTestEnvironment(new ClassesAtFirst);

TEST(StoredFormat, IsAsTheTableSays) {
    auto const written = GatherWritten().Print();
    // A program that only opens a document makes no object before it reads one.
    for (auto const& tag : GetRegisteredTags())
        EXPECT_TRUE(ClassesAtFirst::s_tags.contains(tag) || tag[0] == 't')
            << tag << " is registered only once somebody asks for it: the engine's list of classes lacks it";
    if (std::getenv("RENEW_STORED_FORMAT") != nullptr)
        std::ofstream(STORED_FORMAT) << written;
    std::istringstream wanted(ReadWholeFile(STORED_FORMAT)), present(written);
    std::string line, expected, present_class;
    int number = 0;
    for (;;) {
        bool const isThere = static_cast<bool>(std::getline(present, line));
        bool const isWanted = static_cast<bool>(std::getline(wanted, expected));
        if (!isThere && !isWanted)
            break;
        ++number;
        ASSERT_TRUE(isThere && isWanted && line == expected)
            << "line " << number << " of " << STORED_FORMAT << ", of " << present_class << ": " << expected
            << "\nwritten now: " << line;
        if (!line.empty() && line[0] != ' ' && line[0] != '#')
            present_class = line;
    }
}

} // namespace
