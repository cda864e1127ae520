#include "foundation/GPointer.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

namespace {

class Plain : public GObject {};

/// A base in front makes a pointer to it differ from that to its GObject.
class Front {
  public:
    virtual ~Front() = default;
    int filler = 0;
};
class Behind : public Front, public GObject {
  public:
    int value = 42;
};

/// Telling this one takes away its neighbours in the list and destroys another object.
class Destroyer : public GPointer {
  public:
    using GPointer::GPointer;
    void object_destroyed() override {
        GPointer::object_destroyed();
        neighbours.clear();
        next.reset();
    }
    std::vector<std::unique_ptr<GPointer>> neighbours;
    std::unique_ptr<Plain> next;
};

} // namespace

TEST(GPointer, GoesNullWhenTheObjectDies) {
    auto object = std::make_unique<Plain>();
    Plain other;
    GPointer first(object.get()), second(first), third(&other), fourth(object.get());
    fourth = &other;
    GPointer assigned;
    assigned = first;
    EXPECT_EQ(second.pointer(), object.get());
    object.reset();
    EXPECT_FALSE(first);
    EXPECT_TRUE(!second);
    EXPECT_FALSE(assigned);
    EXPECT_EQ(third.pointer(), &other);
    EXPECT_EQ(fourth.pointer(), &other);
}

TEST(GPointer, KeepsTheTypedPointerInStep) {
    TGPointer<Behind> pointer;
    EXPECT_TRUE(pointer == nullptr);
    auto object = std::make_unique<Behind>();
    pointer = object.get();
    TGPointer<Behind> const copy(pointer);
    EXPECT_EQ(copy->value, 42);
    EXPECT_TRUE(copy == object.get());
    object.reset();
    EXPECT_TRUE(pointer == nullptr);
    EXPECT_EQ(copy.pointer(), nullptr);
    EXPECT_FALSE(copy);
}

TEST(GPointer, KeepsInStepWhenItIsChangedAsAPlainOne) {
    auto first = std::make_unique<Behind>(), second = std::make_unique<Behind>();
    TGPointer<Behind> pointer(first.get());
    GPointer & plain = pointer;
    plain = second.get();
    first.reset();
    EXPECT_EQ(pointer.pointer(), second.get());
    plain = static_cast<GObject *>(nullptr);
    EXPECT_TRUE(pointer == nullptr);
}

TEST(GPointer, MayDestroyOthersWhileItIsTold) {
    auto object = std::make_unique<Plain>();
    GPointer last(object.get());
    std::vector<std::unique_ptr<GPointer>> neighbours;
    for (int i = 0; i < 3; ++i)
        neighbours.push_back(std::make_unique<GPointer>(object.get()));
    Destroyer destroyer(object.get());
    destroyer.neighbours = std::move(neighbours);
    destroyer.next = std::make_unique<Plain>();
    GPointer toNext(destroyer.next.get());
    object.reset();
    EXPECT_FALSE(last) << "the walk did not reach the end of the list";
    EXPECT_FALSE(toNext);
    EXPECT_TRUE(destroyer.neighbours.empty());
}

TEST(GPointer, MayBeUsedByManyThreads) {
    auto const work = [] {
        for (int i = 0; i < 2000; ++i) {
            auto object = std::make_unique<Plain>();
            GPointer a(object.get()), b(a);
            object.reset();
            if (a || b)
                ADD_FAILURE() << "a pointer outlived its object";
        }
    };
    std::thread other(work);
    work();
    other.join();
}
