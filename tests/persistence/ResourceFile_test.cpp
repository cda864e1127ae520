// The handle and the operations on names: what is stored, kept, shared, renamed and told.
#include "persistence/GResourceIterator.h"
#include "persistence/ResourceFileServer.h"
#include "persistence/mpstream.h"
#include "resource_support.h"
#include "tests/TemporaryDirectory.h"

#include <atomic>
#include <semaphore>
#include <thread>
#include <vector>

using namespace resource_tests;
using pstream_tests::digits;
using pstream_tests::framed;
using pstream_tests::hex;
using pstream_tests::Leaf;
using pstream_tests::Tracked;

namespace {

class ResourceFileTest : public ResourceTest {
  protected:
    std::string fileName(char const * name = "file.res") const { return directory_.name(name); }
    TemporaryDirectory directory_;
};

using IO = GIO;

TEST_F(ResourceFileTest, WhatWasFlushedIsThereWhenTheFileIsOpenedAgain) {
    {
        ResourceFile file(fileName().c_str(), IO::WriteMode);
        ASSERT_TRUE(file.is_open());
        EXPECT_EQ(file.io_mode(), IO::ReadWriteMode);
        EXPECT_TRUE(put(file, "a,T", "first"));
        EXPECT_TRUE(put(file, "sub\\a,T", noise(70000, 1)));
        EXPECT_TRUE(put(file, "a,T", "second"));
        EXPECT_TRUE(file.put(nullptr, named("nothing,T"), false));
        EXPECT_TRUE(file.is_modified());
        EXPECT_TRUE(file.flush());
        EXPECT_FALSE(file.is_modified());
        EXPECT_TRUE(file.flush()) << "nothing to do";
    }
    std::string const bytes = directory_.content("file.res");
    {
        ResourceFile file(fileName().c_str(), IO::ReadWriteMode);
        EXPECT_EQ(get(file, "a,T"), "second");
        EXPECT_EQ(get(file, "sub\\a,T"), noise(70000, 1));
        EXPECT_TRUE(file.exist(named("nothing,T")));
        EXPECT_EQ(file.get(named("nothing,T"), false), nullptr);
        EXPECT_EQ(file.get(named("other,T"), false), nullptr);
        EXPECT_EQ(file.get(named("sub\\other,T"), false), nullptr);
        EXPECT_EQ(file.get(named("other\\a,T"), false), nullptr);
        EXPECT_EQ(file.error(), 0);
        std::unique_ptr<char[]> const name(file.read_class_name(named("a,T")));
        EXPECT_STREQ(name.get(), "T::Blob");
        EXPECT_EQ(file.read_class_name(named("nothing,T")), nullptr);
        ResourceFileBlock const block = file.get_resource_block(named("a,T"));
        EXPECT_GE(block.offset, 8);
        EXPECT_GT(block.size, 0);
        EXPECT_EQ(file.get_resource_block(named("other,T")).rawSize, -1);
    }
    EXPECT_EQ(directory_.content("file.res"), bytes) << "closing an unchanged file writes nothing";
}

TEST_F(ResourceFileTest, AKeptObjectStaysWithTheFile) {
    ResourceFile file(fileName().c_str(), IO::ReadWriteMode);
    auto * const leaf = new Leaf(1);
    EXPECT_TRUE(file.put(leaf, "a", "T", true));
    EXPECT_EQ(file.get("a", "T", true), leaf);
    std::unique_ptr<GStreamable> const other(file.get("a", "T", false));
    EXPECT_NE(other.get(), leaf) << "read from the file";

    leaf->value = 2;
    EXPECT_TRUE(file.put(leaf, "a", "T", false));
    EXPECT_EQ(Tracked::alive.count(leaf), 1u) << "put back, it stays";
    EXPECT_EQ(file.get("a", "T", true), leaf);

    Leaf replacement(3);
    EXPECT_TRUE(file.put(&replacement, "a", "T", false));
    EXPECT_EQ(Tracked::alive.count(leaf), 0u);
    auto * const read = static_cast<Leaf *>(file.get("a", "T", true));
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(read->value, 3);
    EXPECT_EQ(file.get("a", "T", true), read);
    EXPECT_TRUE(file.remove("a", "T"));
    EXPECT_EQ(Tracked::alive.count(read), 0u);
    EXPECT_FALSE(file.exist("a", "T"));
}

/// Uses its file while it goes in and out.
class Meddler : public Tracked {
    G_DECLARE_CREATABLE(Meddler)
  public:
    void meddle() {
        EXPECT_FALSE(put(*file, "b,T", "B"));
        EXPECT_EQ(get(*file, "a,T"), std::nullopt);
        file->mark_as_modified();
        EXPECT_FALSE(file->flush());
        EXPECT_FALSE(file->pack());
        // What is being stored would go away under the storing.
        EXPECT_FALSE(file->remove(named("d\\m,T")));
        EXPECT_FALSE(file->rename(named("a,T"), named("d\\m,T")));
        EXPECT_FALSE(file->remove_type(named("d\\m,T")));
        EXPECT_FALSE(file->remove_directory(path("d")));
        EXPECT_FALSE(file->rename_directory(path("d"), path("e")));
        EXPECT_FALSE(file->create_directory(path("e")));
        file->empty();
    }
    void read(ipstream & in) override {
        meddle();
        in >> number;
    }
    void write(opstream & out) override {
        meddle();
        out << number;
    }
    int number = 7;
    static ResourceFile * file;
};

ResourceFile * Meddler::file = nullptr;
G_DEFINE_CREATABLE(Meddler, "T::Meddler", Tracked)

TEST_F(ResourceFileTest, AnObjectCannotUseItsFileWhileItIsStored) {
    ResourceFile file(fileName().c_str(), IO::ReadWriteMode);
    put(file, "a,T", "A");
    Meddler::file = &file;
    Meddler meddler;
    meddler.number = 8;
    EXPECT_TRUE(file.put(&meddler, named("d\\m,T"), false));
    std::unique_ptr<GStreamable> const back(file.get(named("d\\m,T"), false));
    ASSERT_NE(gcast<Meddler>(back.get()), nullptr);
    EXPECT_EQ(gcast<Meddler>(back.get())->number, 8);
    EXPECT_EQ(get(file, "a,T"), "A");
    EXPECT_TRUE(file.flush());
}

/// Closes the handle that reads it.
class Closer : public Tracked {
    G_DECLARE_CREATABLE(Closer)
  public:
    void read(ipstream & in) override {
        Meddler::file->close();
        in >> number;
    }
    void write(opstream & out) override { out << number; }
    int number = 7;
};

G_DEFINE_CREATABLE(Closer, "T::Closer", Tracked)

TEST_F(ResourceFileTest, AnObjectMayCloseItsFileWhileItIsRead) {
    ResourceFile file(fileName().c_str(), IO::ReadWriteMode);
    Meddler::file = &file;
    Closer closer;
    closer.number = 8;
    EXPECT_TRUE(file.put(&closer, named("c,T"), false));
    std::unique_ptr<GStreamable> const back(file.get(named("c,T"), false));
    ASSERT_NE(gcast<Closer>(back.get()), nullptr);
    EXPECT_EQ(gcast<Closer>(back.get())->number, 8);
    EXPECT_FALSE(file.is_open());
    file.open(fileName().c_str(), IO::ReadWriteMode);
    EXPECT_TRUE(file.exist(named("c,T"))) << "what could not be flushed then is still there";
    EXPECT_TRUE(file.flush());
}

TEST_F(ResourceFileTest, NamesAreCompletedFromTheCurrentOnes) {
    ResourceFile file(fileName().c_str(), IO::ReadWriteMode);
    file.set_current_directory(path("d\\e"));
    file.set_type("T");
    Leaf leaf(1);
    EXPECT_TRUE(file.put(&leaf, "a", false));
    EXPECT_STREQ(file.get_current_name().c_str(), "a");
    EXPECT_TRUE(file.exist(named("d\\e\\a,T")));
    EXPECT_TRUE(file.exist("a", "T"));
    EXPECT_FALSE(file.exist("b"));
    EXPECT_STREQ(file.get_current_name().c_str(), "b");
    EXPECT_TRUE(file.exist("a"));

    EXPECT_TRUE(file.rename("a", "b"));
    EXPECT_TRUE(file.exist(named("d\\e\\b,T")));
    EXPECT_TRUE(file.rename("b", "c", "T"));
    EXPECT_FALSE(file.rename("b", "c", "T"));
    EXPECT_TRUE(file.copy(named("d\\e\\c,T"), named("c,U")));
    EXPECT_TRUE(file.create_subdirectory(path("f")));
    EXPECT_TRUE(file.directory_exists(path("d\\e\\f")));
    EXPECT_TRUE(file.remove_subdirectory(path("f")));
    EXPECT_FALSE(file.directory_exists(path("d\\e\\f")));
    EXPECT_TRUE(file.remove_type("T"));
    EXPECT_FALSE(file.exist("c", "T"));
    EXPECT_TRUE(file.exist(named("c,U")));
}

TEST_F(ResourceFileTest, RenamingReplacesTheTargetAndMovesNothing) {
    ResourceFile file(fileName().c_str(), IO::ReadWriteMode);
    put(file, "a,T", "A");
    put(file, "b,T", "B");
    long const end = file.server()->end_position();
    EXPECT_TRUE(file.rename(named("a,T"), named("b,T")));
    EXPECT_TRUE(file.rename(named("b,T"), named("x\\y\\c,U")));
    EXPECT_EQ(contentOf(file), (Content{{"x\\y\\c,U", "A"}}));
    EXPECT_EQ(file.server()->end_position(), end);
    EXPECT_FALSE(file.rename(named("a,T"), named("d,T")));
    EXPECT_FALSE(file.rename(named("x\\y\\c,U"), named("x\\y\\c,U")));
}

TEST_F(ResourceFileTest, ARenamedDirectoryTakesTheCurrentOnesOfAllHandlesAlong) {
    ResourceFile file(fileName().c_str(), IO::ReadWriteMode);
    ResourceFile other(fileName().c_str(), IO::ReadMode);
    EXPECT_EQ(other.server(), file.server());
    ResourceFile const copy(other);
    put(file, "a\\b\\x,T", "X");
    put(file, "c\\y,T", "Y");
    other.set_current_directory(path("a\\b"));
    EXPECT_FALSE(file.rename_directory(path("a"), path("a\\b\\c"))) << "not into itself";
    EXPECT_FALSE(file.rename_directory(path("other"), path("z")));
    EXPECT_TRUE(file.rename_directory(path("a"), path("n\\m")));
    EXPECT_TRUE(other.get_current_directory() == path("n\\m\\b"));
    EXPECT_TRUE(copy.get_current_directory() == GResourcePath());
    EXPECT_EQ(contentOf(file), (Content{{"n\\m\\b\\x,T", "X"}, {"c\\y,T", "Y"}}));
    // Over one that is there, and over one that it lies in.
    EXPECT_TRUE(file.rename_directory(path("n\\m"), path("c")));
    EXPECT_EQ(contentOf(file), (Content{{"c\\b\\x,T", "X"}}));
    EXPECT_TRUE(file.rename_directory(path("c\\b"), path("c")));
    EXPECT_EQ(contentOf(file), (Content{{"c\\x,T", "X"}}));
    EXPECT_TRUE(file.flush());
    other.close();
    EXPECT_FALSE(other.is_open());
    EXPECT_EQ(get(other, "c\\x,T"), std::nullopt);
}

TEST_F(ResourceFileTest, ADirectoryTooDeepToBeWrittenIsRefused) {
    ResourceFile file(fileName().c_str(), IO::ReadWriteMode);
    GResourcePath deep;
    for (int i = 0; i < ResourceFileServer::maxDepth; ++i)
        deep += GString("d");
    EXPECT_TRUE(file.create_directory(deep));
    Leaf leaf;
    EXPECT_TRUE(file.put(&leaf, GResourceFullName(deep, "a", "T"), false));
    put(file, "x\\y\\a,T", "A");
    EXPECT_FALSE(file.rename_directory(path("x"), deep));
    deep += GString("d");
    EXPECT_FALSE(file.create_directory(deep));
    EXPECT_FALSE(file.put(&leaf, GResourceFullName(deep, "a", "T"), false));
    EXPECT_FALSE(file.rename(named("x\\y\\a,T"), GResourceFullName(deep, "a", "T")));
    EXPECT_TRUE(file.flush());
    file.close();
    file.open(fileName().c_str(), IO::ReadMode);
    EXPECT_TRUE(file.exist(GResourceFullName(deep.parent(), "a", "T")));
}

TEST_F(ResourceFileTest, RemovalsOfTypesAndEverythingWaitForAnotherChange) {
    ResourceFile file(fileName().c_str(), IO::ReadWriteMode);
    put(file, "a,T", "A");
    put(file, "d\\b,U", "B");
    file.flush();
    EXPECT_TRUE(file.remove_type(named("d\\,U")));
    EXPECT_FALSE(file.remove_type(named("d\\,U")));
    EXPECT_FALSE(file.is_modified());
    file.close();
    EXPECT_EQ(contentOf(fileName()), (Content{{"a,T", "A"}, {"d\\b,U", "B"}}));

    file.open(fileName().c_str(), IO::ReadWriteMode);
    file.empty();
    EXPECT_EQ(contentOf(file), Content());
    EXPECT_FALSE(file.directory_exists(path("d")));
    file.close();
    EXPECT_EQ(contentOf(fileName()), (Content{{"a,T", "A"}, {"d\\b,U", "B"}}));

    file.open(fileName().c_str(), IO::ReadWriteMode);
    file.empty();
    file.mark_as_modified();
    file.close();
    EXPECT_EQ(contentOf(fileName()), Content());
}

TEST_F(ResourceFileTest, CopiesOfBlocksDirectoriesAndWholeFiles) {
    ResourceFile file(fileName().c_str(), IO::ReadWriteMode);
    ResourceFile other(fileName("other.res").c_str(), IO::ReadWriteMode);
    Content const content{{"a,T", noise(20000, 1)}, {"d\\b,T", "B"}, {"d\\e\\c,U", noise(5, 2)}};
    for (auto const & [address, bytes] : content)
        put(file, address, bytes);
    EXPECT_FALSE(file.copy_from(file)) << "not from itself";
    EXPECT_TRUE(other.copy_from(file));
    EXPECT_EQ(contentOf(other), content);
    EXPECT_EQ(other.get_resource_block(named("a,T")).rawSize,
              file.get_resource_block(named("a,T")).rawSize);

    EXPECT_TRUE(file.copy_directory(path("d"), path("d\\e"))) << "into itself";
    EXPECT_EQ(contentOf(file), (Content{{"a,T", noise(20000, 1)},
                                        {"d\\b,T", "B"},
                                        {"d\\e\\b,T", "B"},
                                        {"d\\e\\c,U", noise(5, 2)},
                                        {"d\\e\\e\\c,U", noise(5, 2)}}));
    EXPECT_FALSE(file.copy_from(named("z,T"), other, named("missing,T")));
    EXPECT_FALSE(file.exist(named("z,T")));
}

TEST_F(ResourceFileTest, BytesComeInFromStreamsAndGoOut) {
    ResourceFile file(fileName().c_str(), IO::ReadWriteMode);
    std::string const stream = hex("02") + framed("T::Leaf", hex("2A"));
    for (unsigned const flags : {0u, unsigned{ResourceFile::CopyCompress}}) {
        std::string bytes = "front" + stream + "behind";
        impstream in(bytes.data(), static_cast<long>(bytes.size()), IO::ReadMode);
        in.skipBytes(5);
        EXPECT_TRUE(file.copy_from(named("a,T"), in, static_cast<long>(stream.size()), flags));
        std::unique_ptr<GStreamable> const object(file.get(named("a,T"), false));
        ASSERT_NE(gcast<Leaf>(object.get()), nullptr);
        EXPECT_EQ(gcast<Leaf>(object.get())->value, 42);
        EXPECT_EQ(in.readByte(), 'b');

        ompstream out, raw;
        EXPECT_TRUE(file.extract_to(out, named("a,T"), true));
        EXPECT_EQ(digits(std::string(static_cast<char *>(out.data()), stream.size())),
                  digits(stream));
        EXPECT_TRUE(file.extract_to(raw, named("a,T"), false));
        EXPECT_EQ(raw.size(), file.get_resource_block(named("a,T")).size);
        EXPECT_FALSE(file.extract_to(out, named("b,T"), false));
        // A compressed block as it lies.
        if (flags) {
            impstream again(raw.data(), raw.size(), IO::ReadMode);
            EXPECT_TRUE(file.copy_from(named("c,T"), again, -1, ResourceFile::CopyCompressed));
            std::unique_ptr<GStreamable> const same(file.get(named("c,T"), false));
            EXPECT_NE(gcast<Leaf>(same.get()), nullptr);
        }
        EXPECT_FALSE(file.copy_from(named("d,T"), in, 100, flags)) << "there are not so many";
        EXPECT_FALSE(file.exist(named("d,T")));
        in.clear();
        in.generate_exception_on(pstream::EofBit);
        EXPECT_THROW(file.copy_from(named("d,T"), in, 100, flags), NonZeroPStreamState_Exception);
        EXPECT_FALSE(file.exist(named("d,T")));
    }
    EXPECT_EQ(file.get_resource_block(named("a,T")).rawSize, static_cast<long>(stream.size()));
    // From the very stream of the file.
    ResourceFileBlock const block = file.get_resource_block(named("c,T"));
    zpstream & own = *file.server()->get_stream();
    own.seekg(block.offset);
    EXPECT_TRUE(file.copy_from(named("e,T"), own, block.size, ResourceFile::CopyCompressed));
    std::unique_ptr<GStreamable> const same(file.get(named("e,T"), false));
    EXPECT_NE(gcast<Leaf>(same.get()), nullptr);
}

TEST_F(ResourceFileTest, ResidentFilesAreASearchPath) {
    EXPECT_FALSE(ResourceFile::Put(nullptr, "a", "T", false)) << "there is none";
    EXPECT_EQ(ResourceFile::GetCount(), 0);
    ResourceFileServer * const first = ResourceFile::Use(fileName("1").c_str(), IO::WriteMode);
    ResourceFileServer * const second = ResourceFile::Use(fileName("2").c_str(), IO::WriteMode);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(ResourceFile::GetCount(), 2);
    EXPECT_EQ(ResourceFile::At(0), second);
    EXPECT_EQ(ResourceFile::At(1), first);
    EXPECT_EQ(ResourceFile::At(2), nullptr);
    Leaf one(1), two(2);
    EXPECT_TRUE(ResourceFile::Put(&one, "a", "T", false));
    EXPECT_TRUE(second->exist(named("a,T")));
    EXPECT_EQ(ResourceFile::Use(fileName("1").c_str(), IO::ReadMode), first);
    EXPECT_TRUE(ResourceFile::Put(&two, "b", "T", false));
    EXPECT_FALSE(second->exist(named("b,T")));
    for (auto const & [name, value] : {std::pair("a", 1), std::pair("b", 2)}) {
        std::unique_ptr<GStreamable> const object(ResourceFile::Get(name, "T", false));
        ASSERT_NE(gcast<Leaf>(object.get()), nullptr);
        EXPECT_EQ(gcast<Leaf>(object.get())->value, value);
    }
    EXPECT_EQ(ResourceFile::Get("c", "T", false), nullptr);
    { ResourceFile const passing(fileName("1").c_str(), IO::ReadMode); }
    EXPECT_EQ(ResourceFile::FindServer(fileName("1").c_str()), first) << "outlives its handles";
    ResourceFile::Update(fileName("1").c_str());
    EXPECT_FALSE(first->is_modified());
}

TEST_F(ResourceFileTest, AHandleInAStreamOpensItsFileAgain) {
    ompstream out;
    {
        ResourceFile file(fileName().c_str(), IO::ReadWriteMode), closed;
        put(file, "d\\a,T", "A");
        file.set_current_directory(path("d"));
        file.set_type("T");
        file.exist("a");
        out << 7;
        out.writeStreamable(file);
        out.writeStreamable(closed);
    }
    impstream in(out.data(), out.size(), IO::ReadMode);
    int seven = 0;
    in >> seven;
    ResourceFile file, closed;
    in.readStreamable(file);
    in.readStreamable(closed);
    EXPECT_TRUE(in.good());
    EXPECT_FALSE(closed.is_open());
    ASSERT_TRUE(file.is_open());
    EXPECT_EQ(file.io_mode(), IO::ReadWriteMode);
    EXPECT_STREQ(file.get_current_name().c_str(), "a");
    EXPECT_TRUE(file.exist("a"));

    std::string const old = framed("ResourceFile", hex("02 00"));
    ompstream bytes;
    bytes.writeStreamable(closed);
    EXPECT_EQ(digits(std::string(static_cast<char *>(bytes.data()), old.size())), digits(old));
}

/// Known to nobody else, so that threads may make as many as they like.
class Number : public GStreamable {
    G_DECLARE_CREATABLE(Number)
  public:
    explicit Number(int start = 0) : value(start) {}
    void read(ipstream & in) override { in >> value; }
    void write(opstream & out) override { out << value; }
    int value;
};

G_DEFINE_CREATABLE(Number, "T::Number", GStreamable)

TEST_F(ResourceFileTest, ThreadsShareAFileByHandlesOfTheirOwn) {
    std::string const name = fileName();
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t)
        threads.emplace_back([&name, &wrong, t] {
            for (int i = 0; i < 150; ++i) {
                ResourceFile file(name.c_str(), IO::ReadWriteMode);
                GResourceFullName const own(GResourcePath(), std::to_string(t).c_str(), "T");
                Number number(i);
                file.put(&number, own, false);
                if (i % 8 == 0)
                    file.flush();
                std::unique_ptr<GStreamable> const back(file.get(own, false));
                wrong += !gcast<Number>(back.get()) || gcast<Number>(back.get())->value != i;
            }
        });
    for (std::thread & thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
    ResourceFile file(name.c_str(), IO::ReadMode);
    EXPECT_EQ(GResourceIterator(file, "T").count(), 3);
}

TEST_F(ResourceFileTest, AHandleFollowsADirectoryThatAnotherThreadRenames) {
    ResourceFile file(fileName().c_str(), IO::ReadWriteMode);
    put(file, "a\\b\\x,T", "X");
    file.set_current_directory(path("a\\b"));
    std::atomic<bool> stop = false;
    std::thread other([&] {
        ResourceFile own(file.server()->get_filename().c_str(), IO::ReadWriteMode);
        for (int i = 0; i < 300 || !stop; ++i) {
            own.rename_directory(path("a"), path("c"));
            own.rename_directory(path("c"), path("a"));
        }
        own.rename_directory(path("a"), path("d"));
    });
    for (int i = 0; i < 300; ++i) {
        std::string const now = file.get_current_directory().get_readable_form().c_str();
        EXPECT_TRUE(now == "a\\b\\" || now == "c\\b\\") << now;
        ResourceFile copy(file);
        copy.set_current_directory(path("elsewhere"));
        std::this_thread::yield();
    }
    stop = true;
    other.join();
    EXPECT_STREQ(file.get_current_directory().get_readable_form().c_str(), "d\\b\\");
    EXPECT_TRUE(file.exist("x", "T"));
}

// Callbacks.

std::string g_told;

void note(GCallBackReason reason, void * info, void * server) {
    if (static_cast<ResourceFile::Reason_BaseInfo *>(info)->server != server)
        return;
    struct {
        GCallBackReason reason;
        char const * letter;
    } const letters[] = {{ResourceFile::Reason_Flushed, "F"},
                         {ResourceFile::Reason_DirectoryCreated, "+d"},
                         {ResourceFile::Reason_DirectoryRemoved, "-d"},
                         {ResourceFile::Reason_DirectoryRenamed, "=d"},
                         {ResourceFile::Reason_DirectoryEmptied, "0"},
                         {ResourceFile::Reason_CurrentDirectoryChanged, "c"},
                         {ResourceFile::Reason_TypeCreated, "+t"},
                         {ResourceFile::Reason_TypeRemoved, "-t"},
                         {ResourceFile::Reason_ItemPut, "+i"},
                         {ResourceFile::Reason_ItemRemoved, "-i"},
                         {ResourceFile::Reason_ItemRenamed, "=i"},
                         {ResourceFile::Reason_ItemCopied, "*i"}};
    for (auto const & entry : letters)
        if (entry.reason == reason)
            g_told += std::string(entry.letter) + " ";
}

std::string told() {
    std::string const text = g_told;
    g_told.clear();
    return text;
}

TEST_F(ResourceFileTest, EachChangeIsTold) {
    ResourceFile file(fileName().c_str(), IO::ReadWriteMode);
    ResourceFile::RegisterCallback(&note, GAnyReason, file.server());
    told();
    put(file, "d\\e\\a,T", "A");
    EXPECT_EQ(told(), "+d +t +i ") << "one directory for the whole path";
    put(file, "d\\e\\a,T", "A");
    EXPECT_EQ(told(), "+i ");
    put(file, "d\\e\\b,T", "B");
    told();
    file.rename(named("d\\e\\a,T"), named("d\\e\\b,T"));
    EXPECT_EQ(told(), "-i =i ");
    file.copy(named("d\\e\\b,T"), named("b,U"));
    EXPECT_EQ(told(), "+t *i ");
    file.remove(named("b,U"));
    EXPECT_EQ(told(), "-i ");
    file.rename_directory(path("d\\e"), path("f"));
    EXPECT_EQ(told(), "=d ");
    file.set_current_directory(path("f"));
    file.set_current_directory(path("f"));
    EXPECT_EQ(told(), "c ");
    file.remove_type("T");
    EXPECT_EQ(told(), "-t ");
    file.remove_directory(path("f"));
    EXPECT_EQ(told(), "-d ");
    file.flush();
    file.flush();
    EXPECT_EQ(told(), "F ");
    file.empty();
    EXPECT_EQ(told(), "0 ");
    for (char const * const missing : {"x,T", "x\\y,T"}) {
        file.remove(named(missing));
        file.rename(named(missing), named("z,T"));
        file.remove_type(named(missing));
        file.remove_directory(named(missing));
    }
    EXPECT_EQ(told(), "");
    ResourceFile::UnRegisterCallback(&note, GAnyReason, file.server());
}

/// Tells that it ends.
class Signal : public GStreamable {
    G_DECLARE_CREATABLE(Signal)
  public:
    explicit Signal(std::binary_semaphore * semaphore = nullptr) : done(semaphore) {}
    ~Signal() override {
        if (done)
            done->release();
    }
    void read(ipstream &) override {}
    void write(opstream &) override {}
    std::binary_semaphore * done;
};

G_DEFINE_CREATABLE(Signal, "T::Signal", GStreamable)

struct Meeting {
    ResourceFile * file = nullptr;
    std::binary_semaphore inside{0}, emptying{0};
    bool existed = true;
};

TEST_F(ResourceFileTest, ACallbackMayUseAFileThatAnotherThreadEmpties) {
    ResourceFile file(fileName().c_str(), IO::ReadWriteMode);
    Meeting meeting;
    meeting.file = &file;
    file.put(new Signal(&meeting.emptying), "s", "T", true);
    auto const act = [](GCallBackReason, void *, void * data) {
        auto & with = *static_cast<Meeting *>(data);
        with.inside.release();
        with.emptying.acquire(); // the other thread holds the file now, and is to tell of it
        with.existed = with.file->exist(named("s,T"));
    };
    ResourceFile::RegisterCallback(act, ResourceFile::Reason_ItemPut, &meeting);
    std::thread other([&] {
        meeting.inside.acquire();
        file.empty();
    });
    ResourceFile another(fileName("another.res").c_str(), IO::ReadWriteMode);
    put(another, "a,T", "A");
    other.join();
    EXPECT_FALSE(meeting.existed);
    ResourceFile::UnRegisterCallback(act, ResourceFile::Reason_ItemPut, &meeting);
}

TEST_F(ResourceFileTest, WhatIsUnregisteredRunsInNoThreadAnyMore) {
    std::atomic<bool> stop = false;
    std::thread telling([&] {
        ResourceFile::Reason_BaseInfo info{nullptr};
        for (; !stop; std::this_thread::yield())
            ResourceFile::EvokeCallback(ResourceFile::Reason_Flushed, info);
    });
    std::atomic<int> wrong = 0;
    struct Listener {
        std::atomic<int> * wrong;
        std::atomic<int> calls{0};
        std::atomic<bool> over{false};
    };
    for (int i = 0; i < 50; ++i) {
        Listener listener{&wrong};
        auto const act = [](GCallBackReason, void *, void * data) {
            auto & self = *static_cast<Listener *>(data);
            ++self.calls;
            *self.wrong += self.over;
            std::this_thread::yield();
            *self.wrong += self.over;
        };
        ResourceFile::RegisterCallback(act, ResourceFile::Reason_Flushed, &listener);
        while (listener.calls < 2)
            std::this_thread::yield();
        ResourceFile::UnRegisterCallback(act, ResourceFile::Reason_Flushed, &listener);
        listener.over = true;
    }
    stop = true;
    telling.join();
    EXPECT_EQ(wrong, 0);
}

TEST_F(ResourceFileTest, IteratorsGoFromTheLastToTheFirst) {
    ResourceFile file(fileName().c_str(), IO::ReadWriteMode);
    for (char const * const address : {"b,T", "a,T", "c,T", "x,S", "q\\a,T", "p\\a,T"})
        put(file, address, address);
    std::string seen;
    for (GResourceSubDirectoryIterator directory(file); directory; ++directory)
        seen += directory.name().c_str();
    for (GResourceTypeIterator type(file); type; ++type)
        seen += type.name().c_str();
    GResourceIterator item(file, "T");
    EXPECT_EQ(item.count(), 3);
    for (; item; ++item) {
        seen += item.name().c_str();
        EXPECT_EQ(item.get_loaded(), nullptr);
        GStreamable * const object = item.get(true);
        EXPECT_EQ(item.get_loaded(), object);
        file.remove(item.fullName());
    }
    EXPECT_EQ(seen, "qpTScba");
    EXPECT_FALSE(GResourceIterator(file, named("none\\,T")));
    EXPECT_EQ(GResourceIterator(ResourceFile(), "T").count(), 0);
}

} // namespace
