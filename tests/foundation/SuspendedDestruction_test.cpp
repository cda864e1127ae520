// Condemned objects go at once, or wait their turn.
#include "foundation/SuspendedDestruction.h"

#include "foundation/GModule.h"
#include "foundation/GObject.h"
#include "foundation/GStreamable.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

std::string log;

class Plain : public GObject {
    G_DECLARE_CLASS(Plain)
  public:
    Plain(char n, GObject * then) : name(n), condemned(then) {}
    ~Plain() override {
        log += name;
        if (condemned)
            condemned->condemn();
    }
    char name;
    GObject * condemned;
};

class Saved : public GStreamable {
    G_DECLARE_CLASS(Saved)
  public:
    ~Saved() override { log += 'd'; }
    void shut_down() override { log += 's'; }
    void read(ipstream &) override {}
    void write(opstream &) override {}
};

G_DEFINE_CLASS(Plain, "Test::SuspendedPlain", GObject)
G_DEFINE_CLASS(Saved, "Test::SuspendedSaved", GStreamable)

class SuspendedDestructionTest : public testing::Test {
  protected:
    SuspendedDestructionTest() { log.clear(); }
    ~SuspendedDestructionTest() override { SuspendedDestruction::Enable(0); }
};

} // namespace

TEST_F(SuspendedDestructionTest, IsAtOnceWhileOff) {
    SuspendedDestruction::Put(nullptr);
    (new Plain('a', nullptr))->condemn();
    (new Saved)->condemn();
    EXPECT_EQ(log, "asd") << "a streamable object is shut down first";
}

TEST_F(SuspendedDestructionTest, WaitsInOrderAndForgetsTheDead) {
    SuspendedDestruction::Enable(1);
    EXPECT_TRUE(SuspendedDestruction::IsEnabled());
    auto * const dead = new Plain('x', nullptr);
    (new Plain('a', new Plain('c', nullptr)))->condemn();
    dead->condemn();
    (new Plain('b', nullptr))->condemn();
    EXPECT_EQ(log, "");
    delete dead;
    SuspendedDestruction::DestroyAll();
    EXPECT_EQ(log, "xabc") << "what is condemned meanwhile goes too";
    (new Plain('e', nullptr))->condemn();
    SuspendedDestruction::Enable(0);
    EXPECT_EQ(log, "xabce");
}

TEST(SuspendedDestructionDeathTest, IsAtOnceForStaticsThatEndAfterTheQueue) {
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // a process where nobody has used the queue
    auto const endWhileOn = [] {
        static GModuleDtor const last([] {
            (new Saved)->condemn();
            std::_Exit(log == "sd" ? 0 : 1);
        });
        SuspendedDestruction::Enable(1);
        log.clear();
        std::exit(2);
    };
    EXPECT_EXIT(endWhileOn(), testing::ExitedWithCode(0), "");
}
