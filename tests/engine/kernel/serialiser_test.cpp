// SPDX-License-Identifier: Apache-2.0
#include "tests/engine/kernel/test_classes.h"

#include "engine/kernel/object_queue.h"
#include "engine/kernel/out_context.h"
#include "platform/kernel/exception.h"
#include "platform/kernel/index_range_list.h"

#include <functional>
#include <gtest/gtest.h>
#include <limits>

namespace {

using namespace KernelTest;
using Kernel::IDTag;
using Kernel::PropType;

// Saves and loads by functions of the test.
class Scripted final : public Serialisable {
public:
    static inline std::function<void(OutSerialiser&)> s_save;
    static inline std::function<bool(InSerialiser const&, unsigned short)> s_load;

    void Save(OutSerialiser& out) const override { s_save(out); }
    bool Load(InSerialiser const& in, Kernel::FileStore&, unsigned short version) override {
        return s_load(in, version);
    }
    Kernel::ClassProperties const* GetObjectClassProperties() const override { return &s_properties; }
    static Kernel::ClassProperties const s_properties;
};
Kernel::ClassProperties const Scripted::s_properties("Scri", &Create<Scripted>, 3, nullptr, nullptr, "Scripted");

// Runs the two functions through a saved and loaded graph.
void RoundTrip(std::function<void(OutSerialiser&)> save, std::function<void(InSerialiser const&)> load) {
    Registered const scripted(Scripted::s_properties), node(Node::s_properties);
    bool isLoaded = false;
    Scripted::s_save = std::move(save);
    Scripted::s_load = [&](InSerialiser const& in, unsigned short version) {
        EXPECT_EQ(version, 3);
        load(in);
        isLoaded = true;
        return true;
    };
    Kernel::MemoryChunkStorage storage;
    Kernel::ObjectGraph graph, second;
    SaveOne(graph, MakeCounted<Scripted>(), storage);
    EXPECT_TRUE(LoadOne<Scripted>(second, storage));
    EXPECT_TRUE(isLoaded);
    Scripted::s_save = nullptr;
    Scripted::s_load = nullptr;
}

class Colours final : public Kernel::EnumSerialiser {
public:
    static Colours const& GetInstance() {
        static Colours const s_instance;
        return s_instance;
    }

private:
    Colours() { RegisterEnumSet(c_entries, 3); }
    static constexpr EnumEntry c_entries[] = {{7, "red"}, {8, "green"}, {9, 0}};
};

TEST(Serialiser, GivesBackEachFormOfValue) {
    RoundTrip(
        [](OutSerialiser& out) {
            out.SaveType("Bool", true);
            out.SaveType("Text", String("grün"));
            out.SaveTypes("Bits", std::vector<bool>{true, false, true});
            out.SaveTypes("Txts", std::vector<String>{"a", "", "ccc"});
            std::uint64_t const mask = ~std::uint64_t{0};
            out.SaveTypeI("Mask", PropType{4}, &mask, 8);
            std::int32_t const number = -5;
            out.SaveTypeI("Numb", PropType{7}, &number, 4);
            std::int64_t const offset = -6;
            out.SaveTypeI("Offs", PropType{10}, &offset, 8);
            double const values[6] = {1, 2, 3, 4, 5, 6};
            out.SaveTypeI("Poin", PropType{36}, values, 16);
            out.SaveTypeI("Rect", PropType{38}, values, 32);
            out.SaveTypeI("Affi", PropType{40}, values, 48);
            out.SaveTypeArrayI("Arra", PropType{36}, values, 16, 3);
        },
        [](InSerialiser const& in) {
            bool flag = false;
            EXPECT_TRUE(in.LoadType("Bool", flag));
            EXPECT_TRUE(flag);
            String text;
            EXPECT_TRUE(in.LoadType("Text", text));
            EXPECT_EQ(text, String("grün"));
            std::vector<bool> bits;
            EXPECT_TRUE(in.LoadTypes("Bits", bits));
            EXPECT_EQ(bits, (std::vector<bool>{true, false, true}));
            std::vector<String> texts;
            EXPECT_TRUE(in.LoadTypes("Txts", texts));
            EXPECT_EQ(texts, (std::vector<String>{"a", "", "ccc"}));
            std::uint64_t mask = 0;
            EXPECT_TRUE(in.LoadTypeI("Mask", PropType{4}, &mask, 8));
            EXPECT_EQ(mask, ~std::uint64_t{0});
            std::int32_t number = 0;
            EXPECT_TRUE(in.LoadTypeI("Numb", PropType{7}, &number, 4));
            EXPECT_EQ(number, -5);
            std::int64_t offset = 0;
            EXPECT_TRUE(in.LoadTypeI("Offs", PropType{10}, &offset, 8));
            EXPECT_EQ(offset, -6);
            double values[6] = {};
            EXPECT_TRUE(in.LoadTypeI("Poin", PropType{36}, values, 16));
            EXPECT_EQ(values[1], 2);
            EXPECT_TRUE(in.LoadTypeI("Rect", PropType{38}, values, 32));
            EXPECT_EQ(values[3], 4);
            EXPECT_TRUE(in.LoadTypeI("Affi", PropType{40}, values, 48));
            EXPECT_EQ(values[5], 6);
            std::size_t count = 0;
            auto const* bytes = static_cast<std::byte const*>(in.LoadTypeArrayI("Arra", PropType{36}, 16, count));
            ASSERT_NE(bytes, nullptr);
            EXPECT_EQ(count, 3u);
            std::memcpy(values, bytes, 48);
            EXPECT_EQ(values[5], 6);
        });
}

TEST(Serialiser, ReadsTagsInAnyOrderAndTwice) {
    RoundTrip(
        [](OutSerialiser& out) {
            for (int const value : {1, 2, 3})
                out.SaveTypeI(IDTag::FromValue(0x41414141u + static_cast<unsigned>(value)), PropType::Int32, &value, 4);
        },
        [](InSerialiser const& in) {
            for (unsigned const value : {3u, 1u, 2u, 2u, 1u, 3u}) {
                unsigned loaded = 0;
                EXPECT_TRUE(in.LoadTypeI(IDTag::FromValue(0x41414141u + value), PropType::Int32, &loaded, 4));
                EXPECT_EQ(loaded, value);
            }
        });
}

TEST(Serialiser, TagsMayHaveASpaceADotOrANumberSign) {
    RoundTrip(
        [](OutSerialiser& out) {
            out.SaveType("Add ", true);
            out.SaveType("idx.", String("dot"));
            out.SaveType("Tag#", String("sign"));
        },
        [](InSerialiser const& in) {
            bool added = false;
            EXPECT_TRUE(in.LoadType("Add ", added));
            EXPECT_TRUE(added);
            String text;
            EXPECT_TRUE(in.LoadType("idx.", text));
            EXPECT_EQ(text, String("dot"));
            EXPECT_TRUE(in.LoadType("Tag#", text));
            EXPECT_EQ(text, String("sign"));
            EXPECT_FALSE(in.LoadType("Tag_", text));
        });
    EXPECT_EQ(IDTag("Add ").ToString(), "Add ");
}

TEST(Serialiser, LeavesTheValueAloneWhenTheTagIsMissingOrHasAnotherForm) {
    RoundTrip([](OutSerialiser& out) { out.SaveType("Flag", true); },
              [](InSerialiser const& in) {
                  bool flag = false;
                  EXPECT_FALSE(in.LoadType("Miss", flag));
                  EXPECT_FALSE(flag);
                  String text = "old";
                  EXPECT_FALSE(in.LoadType("Flag", text));
                  EXPECT_EQ(text, String("old"));
                  int number = 4;
                  EXPECT_FALSE(in.LoadTypeI("Flag", PropType::Int32, &number, 4));
                  EXPECT_EQ(number, 4);
                  std::size_t count = 9;
                  EXPECT_EQ(in.LoadTypeArrayI("Flag", PropType::Bool, 1, count), nullptr);
                  Counted<Serialisable> object;
                  EXPECT_FALSE(in.LoadObjectI("Flag", object, true));
                  EXPECT_EQ(in.LoadObjectsI("Flag", true), nullptr);
                  Kernel::ClassUID uid;
                  unsigned short version = 0;
                  EXPECT_EQ(in.LoadClassI("Flag", uid, version), nullptr);
                  EXPECT_TRUE(in.LoadClassesI("Flag", uid, version).empty());
                  EXPECT_TRUE(in.LoadType("Flag", flag));
                  EXPECT_TRUE(flag);
              });
}

TEST(Serialiser, PersistsEnumerationsByNameAndTheNamelessByNumber) {
    RoundTrip(
        [](OutSerialiser& out) {
            auto const& colours = Colours::GetInstance();
            out.SaveEnumI("Name", colours, 8);
            out.SaveEnumI("Numb", colours, 9);
            out.SaveEnumI("Unkn", colours, 77);
            int const values[] = {9, 7, 8};
            out.SaveEnumsI("Many", colours, values, 3);
            int const wrong[] = {7, 77};
            out.SaveEnumsI("Wron", colours, wrong, 2);
            out.SaveType("Text", String("red"));
        },
        [](InSerialiser const& in) {
            auto const& colours = Colours::GetInstance();
            int value = 0;
            EXPECT_TRUE(in.LoadEnumI("Name", colours, value));
            EXPECT_EQ(value, 8);
            EXPECT_TRUE(in.LoadEnumI("Numb", colours, value));
            EXPECT_EQ(value, 9);
            EXPECT_FALSE(in.LoadEnumI("Unkn", colours, value));
            EXPECT_FALSE(in.LoadEnumI("Text", colours, value));
            EXPECT_EQ(value, 9);
            std::vector<int> values;
            EXPECT_TRUE(in.LoadEnumI("Many", colours, values));
            EXPECT_EQ(values, (std::vector<int>{9, 7, 8}));
            EXPECT_FALSE(in.LoadEnumI("Wron", colours, values));
            EXPECT_EQ(values.size(), 3u);
        });
}

TEST(Serialiser, KeepsValueClassesInTheirOwnScope) {
    RoundTrip(
        [](OutSerialiser& out) {
            out.SaveType("Same", String("outer"));
            out.StartClassTestI("Clas");
            out.StartClassBeginI("Clas", "Strc", 300);
            {
                OutSerialiser nested(out, nullptr);
                nested.SaveType("Same", String(std::string(1000, 'x')));
                nested.Close();
            }
            out.EndPropClassI();
            out.SaveNullPropClassI("Null");
            out.StartClassArrayTestI("Arra");
            out.StartClassArrayBeginI("Arra", "Elem", 2, 3);
            for (int i = 0; i != 3; ++i) {
                if (i == 1) {
                    out.SaveNullPropClassI("Arra");
                    continue;
                }
                out.StartClassArrayClassI();
                OutSerialiser nested(out, nullptr);
                nested.SaveTypeI("Numb", PropType::Int32, &i, 4);
                nested.Close();
                out.EndPropClassI();
            }
            out.EndPropClassArrayI();
            out.SaveType("Last", true);
        },
        [](InSerialiser const& in) {
            Kernel::ClassUID uid;
            unsigned short version = 0;
            auto const* nested = in.LoadClassI("Clas", uid, version);
            ASSERT_NE(nested, nullptr);
            EXPECT_EQ(uid, Kernel::ClassUID("Strc"));
            EXPECT_EQ(version, 300);
            String text;
            EXPECT_TRUE(nested->LoadType("Same", text));
            EXPECT_EQ(text.size(), 1000u);
            EXPECT_TRUE(in.LoadType("Same", text));
            EXPECT_EQ(text, String("outer"));
            EXPECT_EQ(in.LoadClassI("Null", uid, version), nullptr);
            EXPECT_TRUE(in.LoadNullPropClassI("Null"));
            auto const elements = in.LoadClassesI("Arra", uid, version);
            ASSERT_EQ(elements.size(), 3u);
            EXPECT_EQ(uid, Kernel::ClassUID("Elem"));
            EXPECT_EQ(elements[1], nullptr);
            int number = 0;
            EXPECT_TRUE(elements[2]->LoadTypeI("Numb", PropType::Int32, &number, 4));
            EXPECT_EQ(number, 2);
            bool flag = false;
            EXPECT_TRUE(in.LoadType("Last", flag));
        });
}

TEST(Serialiser, WritesArraysOfObjectsAndOfRawValuesByHand) {
    auto const shared = MakeCounted<Node>(5);
    RoundTrip(
        [&](OutSerialiser& out) {
            out.StartObjectArrayTestI("Objs", 3);
            out.StartObjectArrayBeginI("Objs", 3);
            out.SaveObjectI("Objs", shared, true);
            out.SaveObjectI("Objs", nullptr, true);
            out.SaveObjectI("Objs", shared, true);
            out.StartObjectArrayBeginI("None", 0);
            out.StartNewPropTypeArrayTestI("Raws", 100);
            out.StartNewPropTypeArrayBeginI("Raws", PropType::Double, 100);
            for (int i = 0; i != 100; ++i) {
                double const value = i;
                EXPECT_EQ(out.GetOutStream().Write(&value, sizeof value), sizeof value);
            }
            out.SaveObject("Last", shared, true);
        },
        [](InSerialiser const& in) {
            auto const* objects = in.LoadObjectsI("Objs", true);
            ASSERT_NE(objects, nullptr);
            ASSERT_EQ(objects->size(), 3u);
            EXPECT_FALSE((*objects)[1]);
            EXPECT_EQ((*objects)[0], (*objects)[2]);
            auto const* none = in.LoadObjectsI("None", true);
            ASSERT_NE(none, nullptr);
            EXPECT_TRUE(none->empty());
            std::size_t count = 0;
            EXPECT_NE(in.LoadTypeArrayI("Raws", PropType::Double, 8, count), nullptr);
            EXPECT_EQ(count, 100u);
            Counted<Serialisable> last;
            EXPECT_TRUE(in.LoadObjectI("Last", last, true));
            EXPECT_EQ(last, (*objects)[0]);
        });
}

TEST(Serialiser, RefusesToBeUsedOutOfOrder) {
    Kernel::MemoryChunkStorage storage;
    auto const refuses = [&](std::function<void(OutSerialiser&)> save) {
        Scripted::s_save = std::move(save);
        Kernel::ObjectGraph graph;
        EXPECT_THROW(SaveOne(graph, MakeCounted<Scripted>(), storage), Kernel::Exception);
        Scripted::s_save = nullptr;
    };
    refuses([](OutSerialiser& out) {
        OutSerialiser const nested(out, nullptr);
        out.SaveType("Flag", true);
    });
    refuses([](OutSerialiser& out) { out.EndPropClassI(); });
    refuses([](OutSerialiser& out) { out.StartClassBeginI("Clas", "Clas", 1); });
    refuses([](OutSerialiser& out) {
        out.StartClassBeginI("Clas", "Clas", 1);
        out.SaveType("Flag", true);
    });
    refuses([](OutSerialiser& out) {
        out.StartObjectArrayBeginI("Objs", 2);
        out.SaveObjectI("Objs", nullptr, true);
    });
    refuses([](OutSerialiser& out) { out.SaveObjectI("Objs", nullptr, true); });
    refuses([](OutSerialiser& out) {
        out.StartClassArrayBeginI("Arra", "Elem", 1, 2);
        out.EndPropClassArrayI();
    });
    refuses([](OutSerialiser& out) { out.StartNewPropTypeArrayBeginI("Raws", PropType::Double, 2); });
    refuses([](OutSerialiser& out) { out.SaveTypeI("Numb", PropType::Int32, "12345678", 8); });
    refuses([](OutSerialiser& out) {
        out.Close();
        out.SaveType("Flag", true);
    });
    refuses([](OutSerialiser& out) { out.StartObjectArrayTestI("Objs", std::numeric_limits<std::size_t>::max()); });
}

TEST(Serialiser, AFullStreamTakesFewerBytes) {
    Kernel::Detail::ObjectQueue queue;
    Kernel::Detail::OutContext context(queue, Kernel::Detail::Purpose::Full);
    context.maxRecordSize = 1000;
    context.filePath = "folder/file";
    std::size_t taken = 0;
    Scripted::s_save = [&](OutSerialiser& out) {
        double const values[10] = {};
        Kernel::SaveValue(out, "Raws", std::vector<int>(10));
        out.StartNewPropTypeArrayBeginI("Raw2", PropType::Double, 1000);
        for (std::size_t last = sizeof values; last == sizeof values; taken += last)
            last = out.GetOutStream().Write(values, sizeof values);
        Kernel::SerialiserAccess::MarkAsHandlingException(out);
        throw OutSerialiser::SaveException(out.GetFilePath());
    };
    try {
        context.WriteRecord(1, *MakeCounted<Scripted>());
        ADD_FAILURE();
    } catch (Kernel::OutStream::WriteException const& exception) {
        EXPECT_EQ(exception.GetFilePath(), String("folder/file"));
    }
    EXPECT_GT(taken, 900u);
    EXPECT_LE(context.buffer.size(), 1000u);
    Scripted::s_save = [](OutSerialiser& out) { Kernel::SaveValue(out, "Raws", std::vector<double>(1000)); };
    EXPECT_THROW(context.WriteRecord(2, *MakeCounted<Scripted>()), OutSerialiser::SaveException);
    Scripted::s_save = [](OutSerialiser& out) { out.SaveType("Text", String(std::string(2000, 'x'))); };
    EXPECT_THROW(context.WriteRecord(3, *MakeCounted<Scripted>()), OutSerialiser::SaveException);
    Scripted::s_save = nullptr;
}

TEST(Serialiser, AValueTypeOfAHigherRoomCarriesItsLength) {
    RoundTrip(
        [](OutSerialiser& out) {
            out.SaveTypeI("Extn", PropType{70}, "abc", 3);
            out.SaveTypeArrayI("Exts", PropType{70}, "abcdef", 3, 2);
            out.SaveType("Last", true);
        },
        [](InSerialiser const& in) {
            bool flag = false;
            EXPECT_TRUE(in.LoadType("Last", flag));
            char text[4] = {};
            EXPECT_FALSE(in.LoadTypeI("Extn", PropType{70}, text, 4));
            EXPECT_TRUE(in.LoadTypeI("Extn", PropType{70}, text, 3));
            EXPECT_STREQ(text, "abc");
            std::size_t count = 0;
            EXPECT_EQ(in.LoadTypeArrayI("Exts", PropType{70}, 4, count), nullptr);
            EXPECT_NE(in.LoadTypeArrayI("Exts", PropType{70}, 3, count), nullptr);
            EXPECT_EQ(count, 2u);
        });
}

} // namespace
