#include "tavlinbase/INamedObject.h"

#include "ObjectKernel_support.h"
#include "diagnostics/TavlinError.h"

#include <gtest/gtest.h>

namespace {

using namespace kernel_test;

TEST(INamedObject, RefusedNameLeavesThePresentOne) {
    class Short : public INamedObjectImpl {
      public:
        using INamedObjectImpl::INamedObjectImpl;
        bool isNameOK(char const * name) override { return std::string(name).size() < 4; }
    };
    TRef<Short> const named(new Short("a"));
    EXPECT_TRUE(named->setName("bcd"));
    EXPECT_FALSE(named->setName("longer"));
    EXPECT_STREQ(named->getName().c_str(), "bcd");
}

TEST(INamedObject, StreamsByteZeroTheInterfaceAndTheName) {
    TRef<INamedObjectImpl> const named(new IRemovableNamedObject("door"));
    Bytes expected;
    expected.byte(2).open("Tavlin::IRemovableNamedObject");
    expected.byte(0).byte(1).byte(0).text("door").close();
    std::string const bytes = written([&](opstream & out) { out.writePointer(named.pointer()); });
    EXPECT_EQ(bytes, expected.str());
    Input in(bytes);
    TRef<INamedObject> const copy(in->readPointer<INamedObject>());
    ASSERT_TRUE(copy);
    EXPECT_STREQ(copy->getName().c_str(), "door");
}

TEST(INamedObject, UnknownVersionIsTold) {
    Input in(Bytes().byte(3).byte(1).byte(0).text("door").str());
    TRef<INamedObjectImpl> const named(new INamedObjectImpl("a"));
    try {
        named->read(in);
        FAIL();
    } catch (XStrVer const & error) {
        EXPECT_STREQ(error.getMessage().c_str(), "Unsupported stream version (3, when expected 0)");
    }
}

} // namespace
