// The directory tree: its bytes, its older forms, and streams that say impossible things of it.
#include "persistence/GResourceDirectory.h"
#include "persistence/GResourcePath.h"
#include "pstream_support.h"

#include "foundation/GMetaClass.h"

using namespace pstream_tests;

namespace {

class GResourceDirectoryTest : public PStream {};

std::string text(std::string const & characters) {
    return std::string{static_cast<char>(characters.size()), '\0'} + characters;
}

std::string const one = hex("01 00  04 00 04 00  01"); // a collection of one item begins so
std::string const none = hex("00 00 00 00 04 00  01"), noDuplicates = hex("00");
std::string const object = hex("02"), null = hex("00");

/// A collection with one item; `item` is what follows its name.
std::string collectionOf(std::string const & item) {
    return framed("ResourceCollection", one + text("k") + item + noDuplicates);
}

std::string directoryOf(std::string const & types, std::string const & name,
                        std::string const & subdirectories) {
    return framed("GResourceDirectory",
                  hex("00") + types + noDuplicates + text(name) + subdirectories);
}

std::string listOf(std::string const & directories) {
    return framed("GResourceDirectoryList", directories + noDuplicates);
}

std::string const current = hex("CC ED FF FF  00  05 00 00 00  09 00 00 00  01");

TEST_F(GResourceDirectoryTest, AnItemHasThreeFormsAndTheCurrentOneIsWritten) {
    struct {
        char const * bytes;
        std::int32_t offset, size, rawSize, compressed;
    } const cases[] = {
        {"CC ED FF FF  00  05 00 00 00  09 00 00 00  01", 0x1234, 5, 9, 1},
        {"FF FF FF FF  07  05 00 00 00  FF FF FF FF  00", 1, 5, -1, 0},
        {"34 12 00 00  05 00 00 00", 0x1234, 5, 5, 0},
        {"34 12 00 00  FB FF FF FF", 0x1234, 5, -1, 1},
        {"00 00 00 00  05 00 00 00", 0, 5, 5, 0},
        {"00 00 00 80  00  05 00 00 00  09 00 00 00  01", INT32_MIN, 5, 9, 1},
    };
    for (auto const & c : cases) {
        SCOPED_TRACE(c.bytes);
        Memory memory(collectionOf(hex(c.bytes)));
        ResourceCollection items;
        memory->readStreamable(items);
        EXPECT_TRUE(memory->good());
        ResourceItem const * const item = items.find("k");
        ASSERT_NE(item, nullptr);
        EXPECT_EQ(item->offset, c.offset);
        EXPECT_EQ(item->size, c.size);
        EXPECT_EQ(item->rawSize, c.rawSize);
        EXPECT_EQ(item->compressed, c.compressed);
    }
    ResourceCollection items;
    for (char const * name : {"k", "never written"})
        items.insert(new ResourceItem(name));
    ResourceItem & item = *items.find("k");
    item.offset = 0x1234;
    item.size = 5;
    item.rawSize = 9;
    Memory memory;
    memory->writeStreamable(items);
    EXPECT_EQ(digits(memory.bytes()), digits(collectionOf(current)));
}

TEST_F(GResourceDirectoryTest, ATreeHasItsBytesAndComesBack) {
    GResourceDirectory root;
    bool existed = true;
    GResourceDirectory * const below = root.create_subdirectory("sub", existed);
    EXPECT_FALSE(existed);
    EXPECT_EQ(root.create_subdirectory("sub", existed), below);
    EXPECT_TRUE(existed);
    auto * const type = new ResourceTypeItem("T");
    below->insert(type);
    auto * const item = new ResourceItem("k");
    item->offset = 0x1234;
    item->size = 5;
    item->rawSize = 9;
    type->makeItems().insert(item);

    std::string const bytes =
        object +
        directoryOf(none, "",
                    object + listOf(one + object +
                                    directoryOf(one + text("T") + object + collectionOf(current),
                                                "sub", null)));
    Memory memory;
    memory->writePointer(&root);
    EXPECT_EQ(digits(memory.bytes()), digits(bytes));

    memory->seekg(0);
    std::unique_ptr<GResourceDirectory> const back(memory->readPointer<GResourceDirectory>());
    ASSERT_NE(back, nullptr);
    GResourceDirectory const * const sub = back->get_subdirectory("sub");
    ASSERT_NE(sub, nullptr);
    EXPECT_EQ(sub->parent(), back.get());
    ASSERT_NE(sub->find("T"), nullptr);
    ASSERT_NE(sub->find("T")->items()->find("k"), nullptr);
    EXPECT_EQ(sub->find("T")->items()->find("K"), nullptr);
    GResourcePath path("before");
    sub->build_path(path);
    EXPECT_STREQ(path.get_readable_form().c_str(), "\\sub\\") << "the root's name leads";
    EXPECT_FALSE(back->remove_subdirectory("other"));
    EXPECT_TRUE(back->remove_subdirectory("sub"));
    EXPECT_EQ(back->get_subdirectory("sub"), nullptr);
}

TEST_F(GResourceDirectoryTest, TheOldestDirectoryIsTypesAlone) {
    Memory memory(object + framed("ResourceTypeCollection",
                                  one + text("T") + object + collectionOf(current) + noDuplicates));
    std::unique_ptr<GResourceDirectory> const root(memory->readPointer<GResourceDirectory>());
    ASSERT_NE(root, nullptr);
    EXPECT_TRUE(memory->good());
    ASSERT_NE(root->find("T"), nullptr);
    EXPECT_NE(root->find("T")->items()->find("k"), nullptr);
}

TEST_F(GResourceDirectoryTest, WhatAStreamClaimsOfOwnersAndOrderIsNotBelieved) {
    std::string const borrowing = hex("02 00  04 00 04 00  00"); // two items, none owned
    std::string const duplicates = hex("01");
    std::string const items = framed("ResourceCollection", borrowing + text("z") + current +
                                                               text("a") + current + duplicates);
    // Of two types the second one comes first and has no items; of two directories one is null.
    Memory memory(
        object +
        directoryOf(borrowing + text("U") + object + items + text("T") + null, "",
                    object + listOf(borrowing + null + object + directoryOf(none, "sub", null))));
    std::unique_ptr<GResourceDirectory> const root(memory->readPointer<GResourceDirectory>());
    ASSERT_NE(root, nullptr);
    EXPECT_TRUE(memory->good());
    ASSERT_NE(root->find("U"), nullptr);
    EXPECT_NE(root->find("U")->items()->find("a"), nullptr);
    EXPECT_NE(root->find("U")->items()->find("z"), nullptr);
    EXPECT_EQ(root->find("T")->items(), nullptr);
    EXPECT_NE(root->get_subdirectory("sub"), nullptr);
    EXPECT_EQ(root->get_subdirectory("other"), nullptr);
}

TEST_F(GResourceDirectoryTest, APartThatBelongsToAnotherIsRefusedAndNothingIsLeftBehind) {
    std::string const shared = hex("01 02 00"), itself = hex("01 01 00");
    std::string const two = hex("02 00  04 00 04 00  01");
    std::string const whole =
        object + directoryOf(one + text("T") + object + collectionOf(current), "",
                             object + listOf(one + object + directoryOf(none, "sub", null)));
    std::string const wrongClass =
        object + directoryOf(one + text("T") + object + framed("T::Leaf", hex("07")), "", null);
    std::string const cases[] = {
        object + directoryOf(two + text("T") + object + collectionOf(current) + text("U") + shared,
                             "", null),
        object + directoryOf(none, "", object + listOf(one + itself)),
        wrongClass,
        whole.substr(0, whole.size() - 30),
        whole.substr(0, whole.size() / 2),
    };
    for (std::string const & bytes : cases) {
        Memory memory(bytes);
        bool complete = false;
        try {
            memory->readPointer<GResourceDirectory>();
            complete = memory->good();
        } catch (InvalidPStream_Exception const &) {
        }
        EXPECT_FALSE(complete);
        GResourceDirectory::DestroyUnfinished(*memory);
    }
}

TEST_F(GResourceDirectoryTest, ItemsThatWereReadTogetherEndOneByOne) {
    auto const nameOf = [](long i) { return GString(char('a' + i % 26), unsigned(i % 90)); };
    constexpr long count = 2000;
    Memory memory;
    {
        ResourceCollection written;
        written.setDuplicates(1);
        for (long i = 0; i < count; ++i) {
            auto * const item = new ResourceItem(nameOf(i));
            item->offset = static_cast<std::int32_t>(i + 1);
            written.insert(item);
        }
        memory->writeStreamable(written);
    }
    memory->seekg(0);
    ResourceCollection kept;
    kept.setDuplicates(1);
    {
        ResourceCollection read;
        memory->readStreamable(read);
        ASSERT_EQ(read.getCount(), count);
        for (long i = count - 1; i >= 0; --i) {
            ResourceItem * const item = read.at(i);
            ASSERT_EQ(item->key().compare(nameOf(item->offset - 1)), 0);
            if (item->offset % 7 == 0) {
                read.at_remove(i);
                if (item->offset % 2 == 0)
                    item->set_key(GString("renamed"));
                kept.insert(item);
            } else if (item->offset % 3 == 0) {
                read.at_free(i);
            }
        }
    }
    ASSERT_EQ(kept.getCount(), count / 7);
    for (long i = 0; i < kept.getCount(); ++i) {
        ResourceItem const & item = *kept.at(i);
        EXPECT_STREQ(item.name(),
                     item.offset % 2 == 0 ? "renamed" : nameOf(item.offset - 1).c_str());
    }
}

TEST_F(GResourceDirectoryTest, AnItemEndsItsObject) {
    {
        ResourceItem item("k");
        auto * const leaf = new Leaf;
        item.set_object(leaf);
        item.set_object(leaf);
        EXPECT_EQ(Tracked::alive.size(), 1u);
        item.set_object(new Leaf);
        EXPECT_EQ(Tracked::alive.size(), 1u);
    }
    EXPECT_TRUE(Tracked::alive.empty());
}

} // namespace
