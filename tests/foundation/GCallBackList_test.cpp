#include "foundation/GCallBackList.h"

#include <gtest/gtest.h>

#include <string>

namespace {

GCallBackReason const red, green;

void note(GCallBackReason reason, void * param, void * data) {
    std::string & log = *static_cast<std::string *>(param);
    log += static_cast<char const *>(data);
    log += reason == red ? "r" : reason == green ? "g" : "?";
}

struct GCallBackListTest : testing::Test {
    std::string calls(GCallBackReason reason) {
        std::string log;
        list.call(reason, &log);
        return log;
    }
    GCallBackList list;
    char a[2] = "a";
    char b[2] = "b";
};

/// Takes itself and the two registrations of the fixture out.
void detachAll(GCallBackReason, void *, void * data) {
    auto & test = *static_cast<GCallBackListTest *>(data);
    test.list.detach_callback(detachAll, GAnyReason, data);
    test.list.detach_callback(note, GAnyReason, test.a);
    test.list.detach_callback(note, GAnyReason, test.b);
}

} // namespace

TEST_F(GCallBackListTest, CallsTheLastFirstByReason) {
    list.attach_callback(note, red, a);
    list.attach_callback(note, GAnyReason, b);
    list.attach_callback(note, green, a);
    EXPECT_EQ(calls(red), "brar");
    EXPECT_EQ(calls(green), "agbg");
    EXPECT_EQ(calls(GCallBackReason(7)), "b?");
}

TEST_F(GCallBackListTest, CountsAttachesOfOneReason) {
    list.attach_callback(note, red, a);
    list.attach_callback(note, red, a);
    list.detach_callback(note, green, a);
    list.detach_callback(note, red, a);
    EXPECT_EQ(calls(red), "ar");
    list.detach_callback(note, red, a);
    EXPECT_EQ(calls(red), "");
}

TEST_F(GCallBackListTest, LetsAnyReasonCoverTheNarrowerOnes) {
    list.attach_callback(note, red, a);
    list.attach_callback(note, green, a);
    list.attach_callback(note, red, b);
    list.attach_callback(note, GAnyReason, a);
    list.attach_callback(note, GAnyReason, a);
    list.attach_callback(note, red, a); // heard already
    EXPECT_EQ(calls(red), "arbr");
    list.detach_callback(note, GAnyReason, a); // at once, whatever the count
    EXPECT_EQ(calls(red), "br");
}

TEST_F(GCallBackListTest, LetsACallbackDetachItselfAndOthers) {
    list.attach_callback(note, red, a);
    list.attach_callback(note, red, b);
    list.attach_callback(detachAll, GAnyReason, this);
    EXPECT_EQ(calls(red), "");
}

namespace {

/// Takes the first registration out, which stands in front of this one in the list.
void detachFirst(GCallBackReason reason, void * param, void * data) {
    auto & test = *static_cast<GCallBackListTest *>(data);
    note(reason, param, test.b);
    test.list.detach_callback(note, red, test.a);
}

/// Hears green and calls red.
void callRed(GCallBackReason, void * param, void * data) {
    static_cast<GCallBackListTest *>(data)->list.call(red, param);
}

} // namespace

TEST_F(GCallBackListTest, TellsEachOnceThoughOneInFrontIsDetached) {
    list.attach_callback(note, red, a);
    list.attach_callback(note, green, a);
    list.attach_callback(detachFirst, red, this);
    EXPECT_EQ(calls(red), "br");
    list.attach_callback(note, red, a);
    list.attach_callback(callRed, green, this);
    EXPECT_EQ(calls(green), "arbrag") << "also in a call within a call";
}

TEST(GCallBackReason, IsUniqueUnlessCopied) {
    EXPECT_NE(red, green);
    GCallBackReason const copy(red);
    EXPECT_EQ(copy, red);
    EXPECT_NE(copy, GAnyReason);
}
