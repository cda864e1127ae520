#include "foundation/GCriticalSection.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

// Constant from the start, so that statics of other files may use it while they start.
constinit GCriticalSection g_section;

TEST(GCriticalSection, GuardsKeepThreadsApartAndMayNest) {
    long counter = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&counter] {
            for (int n = 0; n < 500; ++n) {
                GSingleLock const outer(&g_section);
                { GSingleLock const inner(g_section); }
                // Others get their chance between the read and the write.
                long const seen = counter;
                std::this_thread::yield();
                counter = seen + 1;
            }
        });
    for (std::thread & thread : threads)
        thread.join();
    EXPECT_EQ(counter, 2000);
}

} // namespace
