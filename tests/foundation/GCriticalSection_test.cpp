#include "foundation/GCriticalSection.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

// A static's constructor may take a lock that stands in a file which starts later.
constinit GCriticalSection g_section;

TEST(GCriticalSection, TheGuardHoldsItForItsScopeAndMayNest) {
    auto heldByAnother = [] {
        std::atomic<bool> entered{false};
        GSingleLock const outer(&g_section);
        std::thread other([&] {
            GSingleLock const held(g_section);
            entered = true;
        });
        bool during;
        {
            GSingleLock const inner(&g_section);
            during = entered;
        }
        during = during || entered;
        g_section.unlock_object();
        other.join();
        g_section.lock_object();
        return during || !entered;
    };
    EXPECT_FALSE(heldByAnother());
}

} // namespace
