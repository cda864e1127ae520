// Loading a module, and giving back just what was loaded.
#include "foundation/GDynamicLinkLibrary.h"

#include "foundation/GFile.h"
#include "platform/Modules.h"

#include <gtest/gtest.h>

namespace {

bool isLoaded(HINSTANCE module) {
    char name[260];
    return platform::moduleFileName(module, name, sizeof name) != 0;
}

TEST(GDynamicLinkLibrary, HoldsOneModuleAtATime) {
    GFile const file(ONDREL_PLAIN_MODULE);
    GDynamicLinkLibrary library;
    for (char const * next : {"no_such_module", "", static_cast<char const *>(nullptr)}) {
        ASSERT_TRUE(library.load(file.c_str()));
        HINSTANCE const module = library;
        EXPECT_TRUE(GFile(library.get_name()).equals_to(file.c_str()));
        auto const answer =
            reinterpret_cast<int (*)()>(platform::moduleSymbol(module, "plainModuleAnswer"));
        ASSERT_NE(answer, nullptr);
        EXPECT_EQ(platform::moduleOfAddress(reinterpret_cast<void const *>(answer)), module);
        EXPECT_EQ(answer(), 42);

        EXPECT_FALSE(library.load(next)) << "what was there goes, whatever comes";
        EXPECT_FALSE(library.loaded());
        EXPECT_FALSE(isLoaded(module));
        EXPECT_EQ(static_cast<HINSTANCE>(library), nullptr);
        EXPECT_TRUE(library.get_name().isEmpty());
        library.unload(); // nothing to do
    }
}

TEST(GDynamicLinkLibrary, EachLoadIsGivenBackOnce) {
    GDynamicLinkLibrary first(ONDREL_PLAIN_MODULE);
    HINSTANCE const module = first;
    {
        GDynamicLinkLibrary second(ONDREL_PLAIN_MODULE);
        EXPECT_EQ(static_cast<HINSTANCE>(second), module);
        second.load(ONDREL_PLAIN_MODULE);
        EXPECT_EQ(static_cast<HINSTANCE>(second), module);
    }
    EXPECT_TRUE(isLoaded(module)) << "the first holds it";
    first.unload();
    EXPECT_FALSE(isLoaded(module));
}

} // namespace
