// Objects in library files: shared ones and copies, what lies in the file, and what is told when it
// does not.
#include "tavlinbase/LibraryCatalogue.h"

#include "ObjectKernel_support.h"
#include "diagnostics/TavlinError.h"
#include "platform/FileSystem.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace shelf_test {

using namespace kernel_test;

/// Holds another object, perhaps one of a library.
class Holder : public UniqueObject {
    G_DECLARE_CREATABLE(Holder)
  public:
    void read(ipstream & in) override { held = LREAD_RESOURCE(in); }
    void write(opstream & out) override { LWRITE_RESOURCE(out, held, true); }
    TRef<Object> held;
};
G_DEFINE_CREATABLE(Holder, "shelf_test::Holder", UniqueObject)

class Catalogue : public testing::Test {
  protected:
    Catalogue() {
        LibraryCatalogue::ShutDown();
        name_ = platform::createTemporaryFile(platform::temporaryDirectory().c_str(), "lib");
        platform::removeFile(name_.c_str());
    }
    ~Catalogue() override {
        LibraryCatalogue::ShutDown();
        platform::removeFile(name_.c_str());
    }
    GFile file() const { return GFile(name_.c_str()); }
    TRef<LibraryShelf> shelf() const { return LibraryCatalogue::Get(file()); }
    /// Stores a Datum and closes the file, so that what comes next is read from it.
    void store(char const * name, int value, unsigned long flags) const {
        shelf()->put(TRef<Object>(new Datum(value)), name, flags);
        LibraryCatalogue::ShutDown();
    }
    static int valueOf(TRef<Object> const & object) {
        auto const * const datum = gcast<Datum>(object.pointer());
        return datum ? datum->value : -1;
    }
    static std::string messageOf(TRef<LibraryShelf> const & shelf, char const * name) {
        try {
            shelf->get(name);
            return "";
        } catch (Error const & error) {
            return error.getMessage().c_str();
        }
    }

    std::string name_;
};

TEST_F(Catalogue, SharedObjectsHaveOneInstanceAndOthersAreCopied) {
    store("houses\\inn,House", 1, IBookMark::Shared);
    store("houses\\barn,House", 2, 0);
    TRef<Object> const inn = shelf()->get("houses\\inn,House");
    EXPECT_EQ(valueOf(inn), 1);
    EXPECT_EQ(shelf()->get("houses\\inn,House").pointer(), inn.pointer());

    // Copies of one value would be merged as they are registered; these differ meanwhile.
    TRef<Object> const barn = shelf()->get("houses\\barn,House");
    gcast<Datum>(barn.pointer())->value = 3;
    TRef<Object> const other = shelf()->get("houses\\barn,House");
    EXPECT_EQ(valueOf(other), 2);
    EXPECT_NE(other.pointer(), barn.pointer());
    EXPECT_EQ(shelf()->getBusy(), 0);
    EXPECT_EQ(LibraryCatalogue::GetLoadedCount(), 1);
    EXPECT_EQ(LibraryCatalogue::GetLoadedName(0), file());
}

TEST_F(Catalogue, WhatIsPutIsSharedFromThenOn) {
    TRef<Object> const first(new Datum(1)), second(new Datum(2));
    shelf()->put(first, "a,T", IBookMark::Shared);
    EXPECT_EQ(shelf()->get("a,T").pointer(), first.pointer());
    shelf()->put(second, "a,T", IBookMark::Shared);
    EXPECT_EQ(shelf()->get("a,T").pointer(), second.pointer());
    TRef<IBookMark> const mark = second->queryInterface<IBookMark>();
    EXPECT_EQ(mark->getMark()->getFile(), file());
    EXPECT_EQ(mark->getMark()->getName(), NameLinkID("a,T"));
    EXPECT_EQ(mark->getMark()->retrieveObject().pointer(), second.pointer());
    LibraryCatalogue::ShutDown();
    EXPECT_EQ(valueOf(second), 2) << "what others hold outlives the shelf";
    EXPECT_EQ(valueOf(shelf()->get("a,T")), 2);
}

TEST_F(Catalogue, StreamHoldsTheBookmarkOnly) {
    store("a,T", 77, IBookMark::Shared);
    ompstream out;
    LWRITE_RESOURCE(out, shelf()->get("a,T"), true);
    std::string bytes(static_cast<char const *>(out.data()), static_cast<std::size_t>(out.size()));
    EXPECT_EQ(bytes.find("Datum"), std::string::npos);
    for (int round = 0; round < 2; ++round) {
        impstream in(bytes.data(), static_cast<long>(bytes.size()), GIO::ReadMode);
        TRef<Object> const read = LREAD_RESOURCE(in);
        EXPECT_EQ(valueOf(read), 77);
        EXPECT_EQ(read.pointer(), shelf()->get("a,T").pointer());
        LibraryCatalogue::ShutDown(); // in the second round it comes from the file
    }
}

TEST_F(Catalogue, TellsWhatIsMissing) {
    EXPECT_EQ(messageOf(shelf(), "a,T"), "Could not retrieve 'a,T' object from '" + name_ + "'! ");
    EXPECT_FALSE(file().exists()) << "a look makes no file";
    store("a,T", 1, 0);
    EXPECT_EQ(messageOf(shelf(), "b,T"), "Could not retrieve 'b,T' object from '" + name_ + "'! ");
    EXPECT_EQ(messageOf(shelf(), ""), "Could not retrieve '' object from '" + name_ + "'! ");
    EXPECT_EQ(valueOf(shelf()->get("a,T")), 1);
    EXPECT_EQ(shelf()->getBusy(), 0);

    TRef<LibraryShelf> const nowhere =
        LibraryCatalogue::Get(GFile((name_ + ".missing\\file").c_str()));
    TRef<Object> const fresh(new Datum(1)), kept = shelf()->get("a,T");
    EXPECT_THROW(nowhere->put(fresh, "a,T", 0), Error);
    EXPECT_EQ(fresh->queryInterface<IBookMark>().pointer(), nullptr)
        << "or a bookmark to nothing would be saved in its place";
    EXPECT_THROW(nowhere->put(kept, "b,T", IBookMark::Shared), Error);
    TRef<IBookMark> const mark = kept->queryInterface<IBookMark>();
    EXPECT_EQ(mark->getMark()->getFile(), file());
    EXPECT_EQ(mark->getCompareKey(), NameLinkID("a,T"));
    EXPECT_EQ(mark->getFlags(), 0u);
}

TEST_F(Catalogue, StoredThingsThatAreNoObjectsGiveNull) {
    {
        ResourceFile direct(name_.c_str(), GIO::ReadWriteMode);
        GResourceFullName fullName;
        fullName.parse_readable_form("null,T");
        direct.put(nullptr, fullName, false);
        BookMark mark;
        fullName.parse_readable_form("mark,T");
        direct.put(&mark, fullName, false);
        TRef<Thing> const owner(new Thing);
        fullName.parse_readable_form("interface,T");
        direct.put(owner->querySafeInterface(&ILabel::metaclass_).pointer(), fullName, false);
    }
    EXPECT_EQ(shelf()->get("null,T").pointer(), nullptr);
    EXPECT_EQ(shelf()->get("mark,T").pointer(), nullptr);
    EXPECT_EQ(shelf()->get("interface,T").pointer(), nullptr);
    EXPECT_EQ(Thing::alive, 0) << "the owner has come along, and nobody wanted it";
    EXPECT_EQ(ILabel::alive, 0);
}

TEST_F(Catalogue, SpellingsAreShelvesOfTheirOwn) {
    TRef<LibraryShelf> const lower = LibraryCatalogue::Get(GFile("some.lib"));
    TRef<LibraryShelf> const upper = LibraryCatalogue::Get(GFile("SOME.LIB"));
    EXPECT_NE(lower.pointer(), upper.pointer());
    EXPECT_EQ(LibraryCatalogue::Get(GFile("some.lib")).pointer(), lower.pointer());
    EXPECT_EQ(LibraryCatalogue::GetLoadedCount(), 2);
}

TEST_F(Catalogue, MovedMarksLeaveTheOthersInTheirPlaces) {
    std::string const other = name_ + ".2";
    TRef<LibraryShelf> const second = LibraryCatalogue::Get(GFile(other.c_str()));
    TRef<Object> const moved(new Datum(0));
    std::vector<TRef<Object>> stay;
    for (int i = 0; i < 8; ++i) {
        if (i == 4)
            shelf()->put(moved, "first,T", IBookMark::Shared);
        stay.push_back(TRef<Object>(new Datum(i + 1)));
        shelf()->put(stay.back(), ("stay" + std::to_string(i) + ",T").c_str(), IBookMark::Shared);
    }
    auto const allStay = [&] {
        for (int i = 0; i < 8; ++i)
            EXPECT_EQ(shelf()->get(("stay" + std::to_string(i) + ",T").c_str()).pointer(),
                      stay[static_cast<std::size_t>(i)].pointer())
                << i;
    };
    // Names are in the order of their making: this one belongs behind all others.
    shelf()->put(moved, "last,T", IBookMark::Shared);
    EXPECT_EQ(shelf()->get("last,T").pointer(), moved.pointer());
    allStay();
    shelf()->put(moved, "first,T", IBookMark::Shared);
    second->put(moved, "behind,T", IBookMark::Shared);
    EXPECT_EQ(second->get("behind,T").pointer(), moved.pointer());
    allStay();
    EXPECT_NE(shelf()->get("first,T").pointer(), nullptr);
    LibraryCatalogue::ShutDown();
    platform::removeFile(other.c_str());
}

TEST_F(Catalogue, FileThatComesLaterIsOpenedThen) {
    EXPECT_NE(messageOf(shelf(), "a,T"), "");
    TRef<Object> const datum(new Datum(4));
    TRef<LibraryShelf> const apart(new LibraryShelf(file()));
    apart->put(datum, "a,T", 0);
    EXPECT_EQ(valueOf(shelf()->get("a,T")), 4);
}

TEST_F(Catalogue, ShelfThatIsOpenAtTheEndOfTheProgramIsClosed) {
    store("a,T", 1, IBookMark::Shared);
    std::string const former = GTEST_FLAG_GET(death_test_style);
    GTEST_FLAG_SET(death_test_style, "threadsafe"); // a process in which nothing was made before
    EXPECT_EXIT(
        {
            shelf()->put(TRef<Object>(new Datum(2)), "b,T", IBookMark::Shared);
            platform::removeFile(name_.c_str());
            std::exit(0);
        },
        testing::ExitedWithCode(0), "");
    GTEST_FLAG_SET(death_test_style, former);
}

TEST_F(Catalogue, LoadsThatHaveNoEndAreRefused) {
    GFile const other((name_ + ".2").c_str());
    TRef<Holder> const a(new Holder), b(new Holder);
    a->held = TRef<Object>(a.pointer());
    shelf()->put(TRef<Object>(a.pointer()), "self,T", IBookMark::Shared);
    a->held = TRef<Object>(b.pointer());
    b->held = TRef<Object>(a.pointer());
    for (int i = 0; i < 2; ++i) { // the first time there is no bookmark to write yet
        shelf()->put(TRef<Object>(a.pointer()), "a,T", i == 0 ? IBookMark::Shared : 0);
        LibraryCatalogue::Get(other)->put(TRef<Object>(b.pointer()), "b,T", 0);
    }
    a->held = b->held = TRef<Object>();
    LibraryCatalogue::ShutDown();

    std::string const file = name_;
    EXPECT_EQ(messageOf(shelf(), "self,T"),
              "'self,T' object from '" + file + "' contains itself! ");
    EXPECT_EQ(messageOf(shelf(), "a,T"), "'a,T' object from '" + file + "' contains itself! ");
    EXPECT_EQ(messageOf(LibraryCatalogue::Get(other), "b,T"),
              "'b,T' object from '" + file + ".2' contains itself! ");
    EXPECT_EQ(shelf()->getBusy(), 0);
    EXPECT_EQ(RefCounter::IsFinalReleasePaused(), 0);
    LibraryCatalogue::ShutDown();
    platform::removeFile(other.c_str());
}

} // namespace shelf_test
