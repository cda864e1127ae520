// The player's records: their bytes, their places, and what a file says that has none.
#include "tavlinmid/PlayerDB.h"

#include "StreamBytes.h"
#include "platform/FileSystem.h"
#include "tavlinbase/TavlinLibrary.h"
#include "tavlinbase/TavlinObject.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace player_test {

using namespace Tavlin;

/// A host's own record, and access to the fields of the library's.
class Save : public PlayerDBResource {
    G_DECLARE_CREATABLE(Save)
  public:
    Save() = default;
    explicit Save(StreamableInit init) : PlayerDBResource(init) {}
    GString get_type() const override { return "Save"; }
};
G_DEFINE_CREATABLE(Save, "player_test::Save", PlayerDBResource)

class Place : public PlayerResourceFullPath {
    G_DECLARE_CREATABLE(Place)
  public:
    Place() = default;
    explicit Place(StreamableInit init) : PlayerResourceFullPath(init) {}
    GFile & file() { return file_; }
    GString & first() { return firstText_; }
    GString & second() { return secondText_; }
};
G_DEFINE_CREATABLE(Place, "player_test::Place", PlayerResourceFullPath)

/// Owns interfaces, which may be stored in place of it.
class Owner : public UniqueObject {
    G_DECLARE_CREATABLE(Owner)
  public:
    Owner() { ++alive; }
    ~Owner() override { --alive; }
    static int alive;
};
int Owner::alive = 0;
G_DEFINE_CREATABLE(Owner, "player_test::Owner", UniqueObject)

class PlayerDBTest : public testing::Test {
  protected:
    PlayerDBTest() {
        name_ = platform::createTemporaryFile(platform::temporaryDirectory().c_str(), "pdb");
        db.reset(new PlayerDB(GFile(name_.c_str()), GIO::ReadWriteMode));
    }
    ~PlayerDBTest() override {
        db.reset();
        platform::removeFile(name_.c_str());
    }
    void reopen() {
        db.reset();
        db.reset(new PlayerDB(GFile(name_.c_str()), GIO::ReadMode));
    }
    bool putSave(char const * name) {
        Save save;
        save.set_name(name);
        return db->put(&save, false);
    }
    static std::string joined(TGVector<GString> & texts) {
        std::string all;
        for (long i = 0; i < texts.getCount(); ++i)
            all += std::string(texts.at(i).c_str()) + " ";
        return all;
    }

    std::string name_;
    std::unique_ptr<PlayerDB> db;
};

TEST_F(PlayerDBTest, RecordHasItsBytes) {
    Place place;
    // The name of a file is its pieces: the version, one piece and its text, the end.
    std::string const nothing = hex("01 04") + text("Not Defined") + hex("00");
    EXPECT_EQ(digits(written(place)), digits(hex("00 00") + text("Unnamed") + nothing +
                                             text("Not Defined") + text("Not Defined")));
    ASSERT_TRUE(readInto(place, hex("07 08") + text("home") + hex("01 04") + text("f.sav") +
                                    hex("00") + text("one") + text("two")));
    EXPECT_EQ(place.get_name(), "home");
    EXPECT_EQ(place.file(), "f.sav");
    EXPECT_EQ(place.first(), "one");
    EXPECT_EQ(place.second(), "two");
}

TEST_F(PlayerDBTest, RecordsStandByTypeAndName) {
    ASSERT_TRUE(db->is_open());
    EXPECT_TRUE(putSave("b"));
    EXPECT_TRUE(putSave("a"));
    Place place;
    place.set_name("home");
    place.first() = "north";
    EXPECT_FALSE(db->path_exists("home"));
    EXPECT_TRUE(db->put(&place, false));
    EXPECT_TRUE(db->exists(place));
    reopen();

    TGVector<GString> types, names;
    db->get_types(types);
    EXPECT_EQ(joined(types), "Save PlayerResourcePath ") << "from the last to the first";
    db->get_names("Save", names);
    EXPECT_EQ(joined(names), "b a ");
    EXPECT_TRUE(db->path_exists("home"));
    EXPECT_EQ(db->read_class_name("Save", "a"), "player_test::Save");
    EXPECT_EQ(db->read_class_name("Save", "c"), "");
    std::unique_ptr<PlayerResourceFullPath> const path(db->get_path("home"));
    ASSERT_TRUE(path);
    EXPECT_EQ(gcast<Place>(path.get())->first(), "north");
    EXPECT_EQ(db->get_path("nowhere"), nullptr);
}

TEST_F(PlayerDBTest, DirectoriesAreMadeAtNeed) {
    Save save;
    save.set_name("one");
    EXPECT_TRUE(db->put("old\\saves", &save, false));
    EXPECT_TRUE(db->exists("old\\saves", "Save", "one"));
    EXPECT_FALSE(db->exists("Save", "one"));
    std::unique_ptr<PlayerDBResource> const back(db->get("old\\saves", "Save", "one", false));
    ASSERT_TRUE(back);
    EXPECT_EQ(back->get_name(), "one");
    EXPECT_TRUE(db->remove("old\\saves", "Save", "one"));
    EXPECT_EQ(db->get("old\\saves", "Save", "one", false), nullptr);
}

TEST_F(PlayerDBTest, RenamesAndRemoves) {
    putSave("a");
    putSave("b");
    EXPECT_TRUE(db->rename("Save", "a", "c"));
    EXPECT_FALSE(db->exists("Save", "a"));
    EXPECT_TRUE(db->exists("Save", "c"));
    EXPECT_TRUE(db->remove("Save", "b"));
    ompstream out;
    EXPECT_FALSE(db->extract_to(out, "Save", "b", true));
    EXPECT_TRUE(db->extract_to(out, "Save", "c", true));
    EXPECT_GT(out.size(), 0);
    db->flush();
    db->remove_type("Save");
    reopen();
    EXPECT_FALSE(db->exists("Save", "c")) << "the removal of a type reaches the file";
}

TEST_F(PlayerDBTest, WhatIsNoRecordIsNotHandedOut) {
    PlayerDB & other = *db;
    ResourceFile & file = other;
    ResourceFile stranger;
    file.put(&stranger, GResourceFullName(GResourcePath(), "x", "Save"), false);
    EXPECT_TRUE(db->exists("Save", "x"));
    EXPECT_EQ(db->get("Save", "x", false), nullptr);
    {
        TRef<Owner> const owner(new Owner);
        TRef<AUnknown> const part = owner->querySafeInterface(&IBookMark::metaclass_);
        file.put(part.pointer(), GResourceFullName(GResourcePath(), "y", "Save"), false);
    }
    EXPECT_EQ(db->get("Save", "y", false), nullptr);
    EXPECT_EQ(Owner::alive, 0) << "what came along goes, too";
}

TEST_F(PlayerDBTest, SameFileIsToldByTheBareName) {
    std::string const bare = name_.substr(name_.rfind('\\') + 1);
    EXPECT_TRUE(db->is_the_same_as(GFile(("\\else\\where\\" + bare).c_str())));
    EXPECT_FALSE(db->is_the_same_as(GFile((bare + "x").c_str())));
}

} // namespace player_test
