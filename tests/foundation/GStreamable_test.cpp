// Copies, orderly ends and the calendar of the root of all that can be saved.
#include "foundation/GStreamable.h"

#include "persistence/PStreamExceptions.h"
#include "persistence/pstream.h"

#include <gtest/gtest.h>

#include <memory>

namespace {

int g_shutDowns = 0;

class Box : public GStreamable {
    G_DECLARE_CREATABLE(Box)
  public:
    Box() = default;
    explicit Box(StreamableInit) : builtToRead(true) {}
    void shut_down() override { ++g_shutDowns; }
    void read(ipstream & in) override {
        in >> name;
        lid.reset(in.readPointer<Box>());
        self = in.readPointer<Box>();
    }
    void write(opstream & out) override {
        out << name;
        out.writePointer(lid.get());
        out.writePointer(self);
    }
    GString name;
    std::unique_ptr<Box> lid;
    Box * self = nullptr;
    bool builtToRead = false;
};
G_DEFINE_CREATABLE(Box, "T::Box", GStreamable)

class Unnamed : public GStreamable {
    G_DECLARE_CLASS(Unnamed)
  public:
    void read(ipstream &) override {}
    void write(opstream &) override {}
};
G_DEFINE_CLASS(Unnamed, "T::Unnamed", GStreamable)

/// As large as a GStreamable, so that several stand in one block as the counted form wants them.
class Plain : public Unnamed {
  public:
    void shut_down() override { ++g_shutDowns; }
};

} // namespace

TEST(GStreamable, ACloneIsDeepAndPointsIntoItself) {
    Box box;
    box.name = "chest";
    box.lid = std::make_unique<Box>();
    box.lid->name = "lid";
    box.lid->self = &box;
    box.self = &box;
    std::unique_ptr<GStreamable> const copy(box.clone());
    Box * const cloned = gcast<Box>(copy.get());
    ASSERT_NE(cloned, nullptr);
    EXPECT_NE(cloned, &box);
    EXPECT_TRUE(cloned->builtToRead);
    EXPECT_TRUE(cloned->name == "chest");
    EXPECT_TRUE(cloned->lid->name == "lid");
    EXPECT_EQ(cloned->self, cloned);
    EXPECT_EQ(cloned->lid->self, cloned);
}

TEST(GStreamable, WhatStreamsLeaveOutHasNoClone) {
    Box box;
    box.shouldWrite(0);
    EXPECT_EQ(box.clone(), nullptr);
    EXPECT_THROW(Unnamed().clone(), AbstractClass_Exception);
}

TEST(GStreamable, DestroyShutsDownFirst) {
    g_shutDowns = 0;
    GStreamable::Destroy(nullptr);
    GStreamable::destroy(3, nullptr);
    EXPECT_EQ(g_shutDowns, 0);
    GStreamable::Destroy(new Box);
    EXPECT_EQ(g_shutDowns, 1);
}

TEST(GStreamable, VersionTimeCountsHoursOfMonthsOf31Days) {
    long const start = GStreamable::GetVersionTime();
    int year, month, day, hour;
    GStreamable::GetVersionTime(year, month, day, hour);
    EXPECT_GE(year, 2024);
    EXPECT_TRUE(month >= 1 && month <= 12 && day >= 1 && day <= 31 && hour >= 0 && hour < 24);

    GStreamable::SetVersionTime(2000, 1, 1, 0);
    EXPECT_EQ(GStreamable::GetVersionTime(), 2000L * 12 * 31 * 24);
    GStreamable::SetVersionTime(1999, 12, 31, 23);
    EXPECT_EQ(GStreamable::GetVersionTime(), 2000L * 12 * 31 * 24 - 1);
    GStreamable::GetVersionTime(year, month, day, hour);
    EXPECT_EQ(year, 1999);
    EXPECT_EQ(month, 12);
    EXPECT_EQ(day, 31);
    EXPECT_EQ(hour, 23);
    EXPECT_GE(GStreamable::GetTickCount(), start);
}
