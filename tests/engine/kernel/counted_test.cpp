// SPDX-License-Identifier: Apache-2.0
#include "platform/kernel/cast.h"
#include "platform/kernel/consolidated.h"
#include "platform/kernel/counted.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace {

using namespace Kernel;

std::atomic<int> s_objects = 0;

class Base : public virtual Countable {
public:
    Base() { ++s_objects; }
    ~Base() override { --s_objects; }
};
class Face : public virtual Countable {
public:
    virtual int Answer() const { return 1; }
};
class Derived final : public Base, public Face {};

TEST(Counted, TheLastReferenceDeletesTheObject) {
    auto first = MakeCounted<Derived>();
    Counted<Base> const second = first;
    Counted<Face> third = std::move(first);
    EXPECT_FALSE(first);
    EXPECT_EQ(second->GetControlBlock()->GetStrongCount(), 2u);
    third.reset();
    EXPECT_EQ(s_objects, 1);
    auto* const detached = Counted<Base>(second).Detach();
    EXPECT_EQ(second->GetControlBlock()->GetStrongCount(), 2u);
    EXPECT_EQ(Counted<Base>::Adopt(detached), second);
}

TEST(Counted, AWeakReferenceDoesNotKeepTheObject) {
    Weak<Base> weak, empty;
    {
        auto const object = MakeCounted<Derived>();
        weak = Counted<Base>(object);
        auto const copy = weak;
        EXPECT_EQ(copy.Lock(), object);
    }
    EXPECT_EQ(s_objects, 0);
    EXPECT_FALSE(weak.Lock());
    EXPECT_TRUE(weak.IsExpired());
    EXPECT_FALSE(empty.Lock());
}

TEST(Counted, AWeakReferenceGivesNothingWhileTheObjectIsDestroyed) {
    class Suspicious final : public Countable {
    public:
        ~Suspicious() override { *m_result = static_cast<bool>(m_self.Lock()); }
        Weak<Suspicious> m_self;
        bool* m_result = nullptr;
    };
    bool isLocked = true;
    {
        auto const object = MakeCounted<Suspicious>();
        object->m_self = object;
        object->m_result = &isLocked;
    }
    EXPECT_FALSE(isLocked);
}

class Link final : public Countable {
public:
    Link() { ++s_objects; }
    ~Link() override { --s_objects; }
    Counted<Link> m_next, m_other;
};

TEST(Counted, AChainOfAnyLengthIsDeletedWithoutStack) {
    Counted<Link> first;
    for (int i = 0; i != 3000000; ++i) {
        auto link = MakeCounted<Link>();
        link->m_next = std::move(first);
        if (i % 1000 == 0)
            link->m_other = MakeCounted<Link>();
        first = std::move(link);
    }
    first.reset();
    EXPECT_EQ(s_objects, 0);
}

TEST(Counted, CountsAreRightWhenThreadsShareAnObject) {
    auto const object = MakeCounted<Derived>();
    std::atomic<int> locked{0};
    {
        std::vector<std::jthread> threads;
        for (int i = 0; i != 4; ++i) {
            threads.emplace_back([&] {
                Weak<Derived> const weak(object);
                for (int k = 0; k != 20000; ++k) {
                    Counted<Base> const copy = object;
                    locked += weak.Lock() ? 1 : 0;
                }
            });
        }
    }
    EXPECT_EQ(locked.load(), 80000);
    EXPECT_EQ(object->GetControlBlock()->GetStrongCount(), 1u);
}

TEST(Counted, ObjectsMayDieOnOtherThreadsThanTheyWereMadeOn) {
    std::vector<Counted<Countable>> objects(10000);
    std::jthread([&] {
        for (auto& object : objects)
            object = MakeCounted<Link>();
    }).join();
    objects.clear();
    EXPECT_EQ(s_objects, 0);
}

TEST(Cast, FindsAnotherFaceAndRemembersIt) {
    Counted<Base> const object = MakeCounted<Derived>();
    Counted<Base> const other = MakeCounted<Base>();
    auto const cast = [](Counted<Base> const& base) { return Cast<Face>(base); };
    ASSERT_TRUE(cast(object));
    EXPECT_EQ(cast(object)->Answer(), 1);
    auto const misses = CastMissCount();
    for (int i = 0; i != 100; ++i)
        EXPECT_TRUE(cast(object));
    EXPECT_EQ(CastMissCount(), misses);
    EXPECT_FALSE(cast(other));
    EXPECT_FALSE(cast(nullptr));
    EXPECT_EQ(CastMissCount(), misses + 1);
}

class Colour : public Countable {
public:
    explicit Colour(int value) : m_value(value) { ++s_objects; }
    ~Colour() override { --s_objects; }
    // Few hashes for many values, so that equality has to decide.
    std::size_t GetHash() const { return static_cast<std::size_t>(m_value % 3); }
    friend bool operator==(Colour const& a, Colour const& b) { return a.m_value == b.m_value; }
    int const m_value;
};
class NamedColour final : public Colour {
public:
    using Colour::Colour;
};

TEST(Consolidated, EqualValuesAreOneObject) {
    auto const a = MakeConsolidated<Colour>(5), b = MakeConsolidated<Colour>(5), c = MakeConsolidated<Colour>(8);
    EXPECT_EQ(a.get(), b.get());
    EXPECT_EQ(a, b);
    EXPECT_FALSE(a == c);
    EXPECT_EQ(s_objects, 2);
    EXPECT_FALSE(Consolidated<Colour>(Counted<Colour const>()));
    Consolidated<Colour> const fromDerived = MakeConsolidated<NamedColour>(8);
    EXPECT_EQ(fromDerived, c);
}

TEST(Consolidated, ValuesLeaveWithTheirLastReference) {
    EXPECT_EQ(s_objects, 0);
    for (int i = 0; i != 1000; ++i)
        EXPECT_EQ(MakeConsolidated<Colour>(i)->m_value, i);
    EXPECT_EQ(s_objects, 0);
}

TEST(Consolidated, ThreadsAgreeOnTheObject) {
    constexpr int c_values = 50;
    std::vector<std::vector<Consolidated<Colour>>> seen(4);
    {
        std::vector<std::jthread> threads;
        for (auto& values : seen) {
            threads.emplace_back([&values] {
                for (int i = 0; i != c_values; ++i)
                    values.emplace_back(Counted<Colour const>(new Colour(i)));
            });
        }
    }
    for (auto const& values : seen)
        EXPECT_EQ(values, seen[0]);
    EXPECT_EQ(s_objects, c_values);
    seen.clear();
    EXPECT_EQ(s_objects, 0);
}

} // namespace
