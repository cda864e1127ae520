// What was committed survives: a disk that fills up at every byte, one that fails at every write,
// and a process that is killed within every write or whenever it happens. Afterwards the file opens
// and has the last committed directory, or the one whose commit was under way, with every object.
#include "disk_support.h"
#include "resource_support.h"
#include "tests/TemporaryDirectory.h"

#include <algorithm>
#include <atomic>
#include <csignal>
#include <filesystem>
#include <functional>
#include <random>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

using namespace resource_tests;

namespace {

class ResourceFileCrash : public ResourceTest {
  protected:
    void SetUp() override { disk::heal(); }
    void TearDown() override {
        disk::heal();
        ResourceTest::TearDown();
    }
    std::string fileName(char const * name = "file.res") const { return directory_.name(name); }
    void clean() const {
        for (auto const & entry : std::filesystem::directory_iterator(directory_.path()))
            std::filesystem::remove(entry.path());
    }
    TemporaryDirectory directory_;
};

/// The content after so many commits.
Content generation(int commits) {
    Content content;
    if (commits >= 1)
        content = {{"a,T", "A"}, {"d\\b,T", noise(100, 1)}, {"c,T", std::string(300, 'c')}};
    if (commits >= 2) {
        content.erase("c,T");
        content["a,T"] = noise(60, 2);
        content["d\\e\\f,U"] = "F";
    }
    if (commits >= 3) {
        content["g\\b,T"] = content["d\\b,T"];
        content["g\\e\\f,U"] = content["d\\e\\f,U"];
        content.erase("d\\b,T");
        content.erase("d\\e\\f,U");
        content["h,T"] = "H";
    }
    return content;
}

/// One commit's changes; true when it was committed.
bool advance(ResourceFile & file, int commit) {
    switch (commit) {
        case 1:
            put(file, "a,T", "A");
            put(file, "d\\b,T", noise(100, 1));
            put(file, "c,T", std::string(300, 'c'));
            break;
        case 2:
            file.remove(named("c,T"));
            put(file, "a,T", noise(60, 2));
            put(file, "d\\e\\f,U", "F");
            break;
        default:
            file.rename_directory(path("d"), path("g"));
            put(file, "h,T", "H");
    }
    return file.flush();
}

/// Runs all commits and tells how many went well before the first that did not.
int run(std::string const & name) {
    ResourceFile file(name.c_str(), GIO::WriteMode);
    if (!file.is_open())
        return -1;
    int good = file.is_modified() ? -1 : 0;
    for (int commit = 1; commit <= 3; ++commit)
        if (advance(file, commit) && good == commit - 1)
            good = commit;
    return good;
}

/// The file is usable, and holds generation `committed` or the next one.
void expectIntact(std::string const & name, int committed) {
    disk::heal();
    {
        ResourceFile file(name.c_str(), GIO::ReadWriteMode);
        ASSERT_TRUE(file.is_open());
        Content const content = contentOf(file);
        ASSERT_TRUE(content == generation(std::max(committed, 0)) ||
                    content == generation(committed + 1));
        ASSERT_TRUE(put(file, "after,T", "it works"));
    }
    if (committed >= 0) {
        ASSERT_FALSE(std::filesystem::exists(name + ".damaged"));
    }
    ResourceFile file(name.c_str(), GIO::ReadMode);
    ASSERT_EQ(get(file, "after,T"), "it works");
}

TEST_F(ResourceFileCrash, ADiskThatFillsUpAtAnyByte) {
    ASSERT_EQ(run(fileName()), 3);
    long const all = disk::bytes();
    ASSERT_GT(all, 500);
    for (long room = 0; room <= all; ++room) {
        SCOPED_TRACE(room);
        clean();
        disk::fillAfter(room);
        int const committed = run(fileName());
        ASSERT_EQ(committed == 3, room == all);
        expectIntact(fileName(), committed);
        if (HasFatalFailure())
            return;
    }
}

TEST_F(ResourceFileCrash, WhatFailedOnAFullDiskIsCommittedWhenThereIsRoomAgain) {
    run(fileName());
    long const all = disk::bytes();
    for (long room = 0; room < all; room += 5) {
        SCOPED_TRACE(room);
        clean();
        disk::fillAfter(room);
        Content content;
        {
            ResourceFile file(fileName().c_str(), GIO::WriteMode);
            for (int commit = 1; commit <= 3; ++commit)
                advance(file, commit);
            disk::heal();
            content = contentOf(file);
            ASSERT_TRUE(put(file, "last,T", "last"));
            ASSERT_TRUE(file.flush());
        }
        content["last,T"] = "last";
        ASSERT_EQ(contentOf(fileName()), content);
    }
}

TEST_F(ResourceFileCrash, AnObjectThatCouldNotBePutStaysTheCallers) {
    ResourceFile file(fileName().c_str(), GIO::WriteMode);
    auto * const kept = new Blob("kept");
    ASSERT_TRUE(file.put(kept, named("a,T"), true));
    Blob refused(noise(100, 1));
    disk::fillAfter(0);
    EXPECT_FALSE(file.put(&refused, named("a,T"), true));
    EXPECT_FALSE(file.put(&refused, named("b,T"), true));
    EXPECT_FALSE(file.put(&refused, named("a,T"), false));
    disk::heal();
    EXPECT_EQ(file.get(named("a,T"), true), kept) << "what was there is there";
    EXPECT_FALSE(file.exist(named("b,T")));
}

/// A failed operation changes nothing, and does not harm what follows.
TEST_F(ResourceFileCrash, ASingleFailedWrite) {
    // Ends with the commit behind the failure, so that nothing later mends it but the closing.
    auto const life = [this](Content & content, long failing) {
        std::mt19937 random(5);
        ResourceFile file(fileName().c_str(), GIO::WriteMode);
        for (int i = 0; i < 40 && (i % 4 != 1 || disk::calls() <= failing); ++i) {
            std::string const name = "n" + std::to_string(random() % 6) + ",T";
            std::string const bytes = noise(random() % 9000, static_cast<unsigned>(i));
            if (put(file, name, bytes))
                content[name] = bytes;
            if (i % 4 == 0)
                file.flush();
        }
        return disk::calls();
    };
    Content content;
    long const calls = life(content, 1000000);
    for (long call = 0; call < calls; ++call) {
        for (int const half : {0, 1}) {
            SCOPED_TRACE(testing::Message() << call << (half ? " half" : ""));
            clean();
            content.clear();
            disk::failOnce(call, half);
            life(content, call);
            disk::heal();
            ASSERT_EQ(contentOf(fileName()), content);
        }
    }
}

/// Runs `act` in another process, which is killed or ends.
void inAnotherProcess(std::function<void()> const & act) {
    pid_t const child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        act();
        ::_exit(0);
    }
    ::waitpid(child, nullptr, 0);
}

TEST_F(ResourceFileCrash, AProcessThatIsKilledWithinAnyWrite) {
    disk::heal();
    run(fileName());
    long const calls = disk::calls();
    ASSERT_GE(calls, 4);
    for (long call = 0; call < calls; ++call) {
        for (int const half : {0, 1}) {
            SCOPED_TRACE(testing::Message() << call << (half ? " half" : ""));
            clean();
            inAnotherProcess([&] {
                disk::killAt(call, half);
                run(fileName());
            });
            // How far it came cannot be told, so any generation will do.
            disk::heal();
            Content const content = contentOf(fileName());
            ASSERT_TRUE(content == generation(0) || content == generation(1) ||
                        content == generation(2) || content == generation(3));
        }
    }
}

/// A trailer that was written though its commit failed must not lead into what is written over it.
TEST_F(ResourceFileCrash, AFailedCommitAndThenAKilledProcess) {
    auto const putMany = [](ResourceFile & file) {
        std::mt19937_64 random(1);
        for (int i = 0; i < 500; ++i)
            put(file, std::to_string(random()) + ",T", "A");
    };
    // A commit that takes several writes, the last of which brings the trailers.
    long writes = 0;
    {
        ResourceFile file(fileName("counted.res").c_str(), GIO::WriteMode);
        putMany(file);
        disk::heal();
        file.flush();
        writes = disk::calls();
    }
    ASSERT_GT(writes, 2);
    for (long kill = 0; kill < writes; ++kill) {
        SCOPED_TRACE(kill);
        clean();
        disk::heal();
        {
            ResourceFile file(fileName().c_str(), GIO::WriteMode);
            put(file, "a,A", "first");
        }
        inAnotherProcess([&] {
            ResourceFile file(fileName().c_str(), GIO::WriteMode);
            putMany(file);
            disk::failOnce(writes - 1, 1);
            if (file.flush())
                ::_exit(1);
            disk::heal();
            // The directory changes from its beginning on, and begins at the same place.
            file.rename(named("a,A"), named("another,A"));
            disk::killAt(kill, 0);
            file.flush();
        });
        disk::heal();
        ResourceFile file(fileName().c_str(), GIO::ReadWriteMode);
        EXPECT_EQ(get(file, "a,A"), "first");
        EXPECT_FALSE(directory_.has("file.res.damaged"));
    }
}

/// Of what was written behind the last wait for the medium, any part may be missing.
TEST_F(ResourceFileCrash, ALossOfPowerAfterADurableCommit) {
    std::vector<disk::Event> events;
    std::vector<std::size_t> committed; // events up to the end of each commit
    {
        ResourceFile file(fileName().c_str(), GIO::WriteMode);
        ASSERT_TRUE(file.set_durable(true));
        events.push_back({false, 0, directory_.content("file.res")});
        disk::record(&events);
        for (int commit = 1; commit <= 3; ++commit) {
            ASSERT_TRUE(advance(file, commit));
            committed.push_back(events.size());
        }
        disk::record(nullptr);
    }
    std::mt19937 random(3);
    std::size_t synced = 1;
    for (std::size_t now = 1; now <= events.size(); ++now) {
        if (events[now - 1].isSync)
            synced = now;
        for (int variant = 0; variant < 12; ++variant) {
            SCOPED_TRACE(testing::Message() << now << " events, variant " << variant);
            std::string bytes;
            for (std::size_t i = 0; i < now; ++i) {
                disk::Event const & event = events[i];
                if (i >= synced && variant > 0 && random() % 2 != 0)
                    continue;
                auto const end = static_cast<std::size_t>(event.position) + event.bytes.size();
                bytes.resize(std::max(bytes.size(), end));
                bytes.replace(static_cast<std::size_t>(event.position), event.bytes.size(),
                              event.bytes);
            }
            clean();
            directory_.put("file.res", bytes);
            auto const commits = std::count_if(committed.begin(), committed.end(),
                                               [&](std::size_t end) { return end <= now; });
            Content const content = contentOf(fileName());
            ASSERT_TRUE(content == generation(static_cast<int>(commits)) ||
                        content == generation(static_cast<int>(commits) + 1));
        }
    }
}

/// The content that belongs to a number; nearly all of it changes with every number.
Content numbered(unsigned number) {
    Content content{{"number,T", std::to_string(number)}};
    for (unsigned i = 0; i < 5; ++i)
        if ((number + i) % 4 != 0)
            content["d\\" + std::to_string(i) + ",T"] = noise(number * 37 % 5000, number * 8 + i);
    return content;
}

TEST_F(ResourceFileCrash, AProcessThatIsKilledWhenever) {
    std::mt19937 random(11);
    for (int round = 0; round < 25; ++round) {
        SCOPED_TRACE(round);
        int pipe[2];
        ASSERT_EQ(::pipe(pipe), 0);
        pid_t const child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            ResourceFile file(fileName().c_str(), GIO::ReadWriteMode);
            unsigned number =
                static_cast<unsigned>(std::stoul(get(file, "number,T").value_or("0")));
            for (;;) {
                ++number;
                file.remove_directory(path("d"));
                for (auto const & [address, bytes] : numbered(number))
                    put(file, address, bytes);
                if (!file.flush() || ::write(pipe[1], &number, sizeof number) < 0)
                    ::_exit(1);
            }
        }
        ::close(pipe[1]);
        unsigned told = 0;
        for (unsigned left = 1 + random() % 8; left > 0; --left)
            ASSERT_EQ(::read(pipe[0], &told, sizeof told), static_cast<ssize_t>(sizeof told));
        std::atomic<unsigned> spin{static_cast<unsigned>(random() % 400000)};
        while (spin > 0)
            --spin;
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
        while (::read(pipe[0], &told, sizeof told) > 0) {
        }
        ::close(pipe[0]);

        Content const content = contentOf(fileName());
        ASSERT_EQ(content.count("number,T"), 1u);
        auto const number = static_cast<unsigned>(std::stoul(content.at("number,T")));
        EXPECT_TRUE(number == told || number == told + 1) << number << " after " << told;
        EXPECT_EQ(content, numbered(number));
    }
    EXPECT_FALSE(directory_.has("file.res.damaged"));
}

} // namespace
