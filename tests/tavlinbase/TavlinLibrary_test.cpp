// References to objects of libraries, byte by byte, with a library that the test plays itself.
#include "tavlinbase/TavlinLibrary.h"

#include "ObjectKernel_support.h"
#include "diagnostics/TavlinError.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>

namespace library_test {

using namespace kernel_test;

/// An object of a library with a number of its own on top.
class Stock : public UniqueObject, public IDynamicDataReadWrite {
    G_DECLARE_CREATABLE(Stock)
  public:
    void readDynamic(ipstream & in) override { in >> number; }
    void writeDynamic(opstream & out) override { out << number; }
    void read(ipstream & in) override { UniqueObject::read(in); }
    void write(opstream & out) override { UniqueObject::write(out); }
    void onFinalRelease() override { Object::onFinalRelease(); }
    int number = 0;
};
G_DEFINE_CREATABLE(Stock, "library_test::Stock", UniqueObject, IDynamicDataReadWrite)

/// Looks at the two references that it reads, and keeps neither.
class Passer : public UniqueObject {
    G_DECLARE_CREATABLE(Passer)
  public:
    void read(ipstream & in) override {
        for (bool & found : passed)
            found = gcast<Witness>(RefCounterRead(in, &BookMark::metaclass_).pointer()) != nullptr;
        alive = Witness::alive;
    }
    class Witness : public BookMark {
        G_DECLARE_CREATABLE(Witness)
      public:
        Witness() { ++alive; }
        ~Witness() override { --alive; }
        static int alive;
    };
    bool passed[2] = {};
    int alive = 0;
};
int Passer::Witness::alive = 0;
G_DEFINE_CREATABLE(Passer, "library_test::Passer", UniqueObject)
G_DEFINE_CREATABLE(Passer::Witness, "library_test::Witness", BookMark)

class LibraryTest : public testing::Test {
  protected:
    LibraryTest() {
        shelf().clear();
        asked.clear();
        BookMark::SetRetriever([](GFile const & file, NameLinkID name) {
            asked += std::string(file.c_str()) + '/' + name.c_str();
            auto const found = shelf().find(name.c_str());
            return found == shelf().end() ? TRef<Object>() : found->second;
        });
    }
    ~LibraryTest() override {
        BookMark::SetRetriever(nullptr);
        shelf().clear();
    }
    /// What stands in the library under a name.
    static std::map<std::string, TRef<Object>> & shelf() {
        static std::map<std::string, TRef<Object>> objects;
        return objects;
    }
    template <class T>
    static TRef<T> put(char const * name, unsigned long flags) {
        TRef<T> const object(new T);
        auto * const mark = new IBookMark;
        mark->setPath(GFile("shelf"), NameLinkID(name));
        mark->setFlags(flags);
        object->addInterface(TRef<AUnknown>(mark));
        shelf()[name] = TRef<Object>(object.pointer());
        return object;
    }
    static std::string asked;
};
std::string LibraryTest::asked;

/// The name of a file that is one piece of text: version, the piece, the end.
Bytes & file(Bytes & bytes, char const * text) {
    return bytes.byte(1).byte(4).text(text).byte(0);
}
std::string bookMark(char const * fileName, char const * name) {
    Bytes bytes;
    bytes.byte(1).byte(2).open("Tavlin::BookMark").byte(0);
    file(bytes, fileName).byte(0).dword(1).text(name).close();
    return bytes.str();
}
std::string resource(TRef<Object> const & object, bool dynamic) {
    return written([&](opstream & out) { LWRITE_RESOURCE(out, object, dynamic); });
}

TEST_F(LibraryTest, ObjectsOfNoLibraryAreWrittenInline) {
    EXPECT_EQ(resource(TRef<Object>(), true), Bytes().byte(0).byte(0).str());
    Bytes inlined;
    inlined.byte(0).byte(2).open("test::Datum").byte(2).dword(0).dword(17).close();
    EXPECT_EQ(resource(TRef<Object>(new Datum(17)), true), inlined.str());

    Input null(Bytes().byte(0).byte(0).str());
    EXPECT_EQ(LREAD_RESOURCE(null).pointer(), nullptr);
    Input in(inlined.str());
    TRef<Object> const read = LREAD_RESOURCE(in);
    ASSERT_TRUE(gcast<Datum>(read.pointer()));
    EXPECT_EQ(gcast<Datum>(read.pointer())->value, 17);
    EXPECT_EQ(asked, "");
}

TEST_F(LibraryTest, OwnStateFollowsTheBookMark) {
    TRef<Stock> const stock = put<Stock>("barrel", 0);
    stock->number = 5;
    TRef<Object> const object(stock.pointer());
    std::string const withState = bookMark("shelf", "barrel") + Bytes().byte(1).dword(5).str();
    std::string const without = bookMark("shelf", "barrel") + Bytes().byte(0).str();
    EXPECT_EQ(resource(object, true), withState);
    EXPECT_EQ(resource(object, false), without);

    stock->number = 0;
    Input plain(without);
    EXPECT_EQ(LREAD_RESOURCE(plain).pointer(), object.pointer());
    EXPECT_EQ(stock->number, 0);
    Input in(withState);
    EXPECT_EQ(LREAD_RESOURCE(in).pointer(), object.pointer());
    EXPECT_EQ(stock->number, 5);
    EXPECT_EQ(asked, "shelf/barrelshelf/barrel");
    EXPECT_TRUE(in->good());
}

TEST_F(LibraryTest, SharedObjectHasNoStateOfItsOwn) {
    TRef<Object> const object(put<Stock>("well", IBookMark::Shared).pointer());
    std::string const form = resource(object, true);
    EXPECT_EQ(form, bookMark("shelf", "well"));
    Input in(form + '\x07');
    EXPECT_EQ(LREAD_RESOURCE(in).pointer(), object.pointer());
    EXPECT_EQ(in->readByte(), 7) << "what follows is the next reader's";
}

TEST_F(LibraryTest, ObjectsOfOneBookMarkAreReadOneAfterTheOther) {
    TRef<Object> const object(put<Stock>("well", IBookMark::Shared).pointer());
    std::string const form = written([&](opstream & out) {
        for (int i = 0; i < 3; ++i)
            LWRITE_RESOURCE(out, object, true);
    });
    std::string const again = Bytes().byte(1).byte(1).word(1).str();
    EXPECT_EQ(form, bookMark("shelf", "well") + again + again);
    Input in(form);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(LREAD_RESOURCE(in).pointer(), object.pointer());
}

TEST_F(LibraryTest, WhatNobodyHoldsForAMomentIsKeptForTheRestOfTheLoad) {
    Bytes bytes;
    bytes.byte(2).open("library_test::Passer");
    bytes.byte(2).open("library_test::Witness").byte(0);
    file(bytes, "f").byte(0).dword(0).close();
    bytes.byte(1).word(2).close();
    Input in(bytes.str());
    std::unique_ptr<Passer> const read(in->readPointer<Passer>());
    EXPECT_TRUE(read->passed[0]);
    EXPECT_TRUE(read->passed[1]);
    EXPECT_EQ(read->alive, 1);
    EXPECT_EQ(Passer::Witness::alive, 0) << "and no longer";
    EXPECT_EQ(RefCounter::IsFinalReleasePaused(), 0);

    Input cut(bytes.str().substr(0, bytes.str().size() - 30));
    EXPECT_THROW(cut->readPointer<Passer>(), GLibraryException);
    EXPECT_EQ(Passer::Witness::alive, 0);
    EXPECT_EQ(RefCounter::IsFinalReleasePaused(), 0);
}

TEST_F(LibraryTest, ObjectWithoutStateWritesThatItHasNone) {
    TRef<Object> const object(put<Thing>("stone", 0).pointer());
    EXPECT_EQ(resource(object, true), bookMark("shelf", "stone") + Bytes().byte(0).str());
}

TEST_F(LibraryTest, InterfaceIsWrittenAsItsObject) {
    TRef<Object> const object(put<Thing>("stone", 0).pointer());
    auto const mark = object->queryInterface(&IBookMark::metaclass_);
    EXPECT_EQ(written([&](opstream & out) { LWRITE_INTERFACE(out, mark, true); }),
              resource(object, true));
    EXPECT_EQ(written([](opstream & out) { LWRITE_INTERFACE(out, TRef<AUnknown>(), true); }),
              Bytes().byte(0).byte(0).str());
}

TEST_F(LibraryTest, ObjectThatIsNotThereRaises) {
    Input in(bookMark("shelf", "missing"));
    try {
        LREAD_RESOURCE(in);
        FAIL();
    } catch (Error const & error) {
        EXPECT_STREQ(error.getMessage().c_str(),
                     "Could not retrieve object from library! (missing)");
    }
    Input null(Bytes().byte(1).byte(0).str());
    EXPECT_THROW(LREAD_RESOURCE(null), Error);
    EXPECT_FALSE(BookMark(GFile("shelf"), NameLinkID("missing")).exist());
}

TEST_F(LibraryTest, RedirectionWritesTheMappedFile) {
    class Move : public BookMarkRedirection {
      public:
        explicit Move(bool active) : BookMarkRedirection(active) {}
        GString mapFile(BookMark const & mark) override {
            return GString("moved") + mark.getName().c_str();
        }
    };
    TRef<Object> const object(put<Thing>("stone", IBookMark::Shared).pointer());
    {
        Move first(true);
        EXPECT_EQ(resource(object, true), bookMark("movedstone", "stone"));
        Move second(true);
        first.deactivate();
        EXPECT_EQ(BookMark::g_pRedirect, &second) << "another one has taken over";
    }
    EXPECT_EQ(BookMark::g_pRedirect, nullptr);
    EXPECT_EQ(resource(object, true), bookMark("shelf", "stone"));
}

TEST_F(LibraryTest, MarkInterfaceIsStreamed) {
    TRef<IBookMark> const mark(new IBookMark);
    EXPECT_FALSE(mark->getCompareKey().isValid());
    EXPECT_EQ(written([&](opstream & out) { mark->write(out); }),
              Bytes().byte(0).byte(1).byte(0).byte(0).dword(0).str());
    mark->setPath(GFile("shelf"), NameLinkID("stone"));
    mark->setFlags(0x80000001u);
    std::string const form = Bytes().byte(0).byte(1).byte(0).str() +
                             bookMark("shelf", "stone").substr(1) +
                             Bytes().dword(0x80000001u).str();
    EXPECT_EQ(written([&](opstream & out) { mark->write(out); }), form);
    TRef<IBookMark> const read(new IBookMark);
    Input in(form);
    read->read(in);
    EXPECT_EQ(read->getFlags(), 0x80000001u);
    EXPECT_EQ(read->getCompareKey(), NameLinkID("stone"));
    EXPECT_EQ(read->getMark()->getFile(), GFile("shelf"));
}

} // namespace library_test
