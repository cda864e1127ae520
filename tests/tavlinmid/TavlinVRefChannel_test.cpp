#include "tavlinmid/TavlinVRefChannel.h"

#include "ScriptTest.h"
#include "StreamBytes.h"

#include <functional>
#include <type_traits>

namespace Tavlin {

/// Keeps what it is called with, and does something about it.
class Listener : public UniqueObject, public IDispatcherImpl {
    G_DECLARE_CREATABLE(Listener)
    TAVLIN_DECLARE_DISPATCHER(Listener)
  public:
    explicit Listener(std::string text = "?") : name(std::move(text)) {}
    ~Listener() override { --alive; }
    void ring(VariableRef *, VRefVector * args) { note("ring", args); }
    void knock(VariableRef *, VRefVector * args) { note("knock", args); }
    void read(ipstream & in) override { in.readByte(); }
    void write(opstream & out) override { out.writeByte(0x4C); }
    void onFinalRelease() override { Object::onFinalRelease(); }

    std::string name;
    std::function<void()> work;
    static std::string log;
    static int alive;
    static std::string taken() { return std::exchange(log, ""); }

  private:
    void note(char const * what, VRefVector * args) {
        if (work)
            work();
        // Behind the work, so that one which has ended meanwhile shows.
        log += (log.empty() ? "" : " ") + name + ":" + what;
        for (int i = 0; i < args->getCount(); ++i)
            log += "," + Recorder::describe(args->at(i));
    }
    int const counted_ = ++alive;
};

std::string Listener::log;
int Listener::alive = 0;

G_DEFINE_CREATABLE(Listener, "channel_test::Listener", UniqueObject, IDispatcherImpl)
TAVLIN_BEGIN_DISPATCHER(Listener, IDispatcherImpl)
    TAVLIN_METHOD("Ring", ring, UNDEFINED)
    TAVLIN_METHOD("Knock", knock, UNDEFINED)
TAVLIN_END_DISPATCHER()

/// A method that comes and goes with an interface.
class IKnocker : public IDispatcherImpl {
    G_DECLARE_CREATABLE(IKnocker)
    TAVLIN_DECLARE_DISPATCHER(IKnocker)
  public:
    void tap(VariableRef *, VRefVector *) { Listener::log += "tap" + std::to_string(taps_++); }

  private:
    int taps_ = 1;
};

G_DEFINE_CREATABLE(IKnocker, "channel_test::IKnocker", IDispatcherImpl)
TAVLIN_BEGIN_DISPATCHER(IKnocker, IDispatcherImpl)
    TAVLIN_METHOD("Tap", tap, UNDEFINED)
TAVLIN_END_DISPATCHER()

class ChannelTest : public ScriptTest {
  protected:
    ChannelTest() {
        Listener::taken();
        for (char const * name : {"a", "b", "c", "d"})
            listeners.emplace_back(new Listener(name));
    }
    TRef<Object> objectOf(std::size_t i) { return TRef<Object>(listeners[i].pointer()); }
    TRef<VRefChannel> open(std::size_t i, char const * method = "Ring") {
        return source->openChannelTo(objectOf(i), NameLinkID(method));
    }
    std::string sent() {
        VRefVector args;
        source->send(args);
        return Listener::taken();
    }

    TRef<VRefChannelSource> source{new VRefChannelSource};
    std::vector<TRef<Listener>> listeners;
};

TEST_F(ChannelTest, SendCallsTheNewestFirstWithTheSameValues) {
    EXPECT_EQ(sent(), "");
    EXPECT_TRUE(source->isLocked()) << "all of none";
    TRef<VRefChannel> const a = open(0), knock = open(0, "Knock"), b = open(1);
    EXPECT_EQ(sent(), "b:ring a:knock a:ring");
    VariableRef one, two;
    one = 1;
    two = "two";
    listeners[1]->work = [&] { one = 5; };
    source->send(one, two);
    EXPECT_EQ(Listener::taken(), "b:ring,5,\"two\" a:knock,5,\"two\" a:ring,5,\"two\"");
    knock->close();
    EXPECT_EQ(knock->getSource(), nullptr);
    a->lock();
    EXPECT_FALSE(source->isLocked());
    source->send(two);
    EXPECT_EQ(Listener::taken(), "b:ring,\"two\"");
    b->lock();
    EXPECT_TRUE(source->isLocked());
}

TEST_F(ChannelTest, OneChannelForEachObjectAndMethod) {
    TRef<VRefChannel> const first = open(0);
    first->lock();
    EXPECT_EQ(open(0), first);
    EXPECT_TRUE(first->isLocked());
    EXPECT_EQ(source->openObjectChannelTo(objectOf(0), NameLinkID("Ring")).pointer(), nullptr)
        << "there is one of the plain kind";
    TRef<VRefObjectChannel> const other =
        source->openObjectChannelTo(objectOf(0), NameLinkID("Knock"));
    EXPECT_EQ(open(0, "Knock").pointer(), other.pointer());
    EXPECT_EQ(open(0, "Whistle").pointer(), nullptr);
    EXPECT_EQ(source->openChannelTo(nullptr, NameLinkID("Ring")).pointer(), nullptr);
    EXPECT_EQ(source->getChannelCount(), 2);
    other->close();
    EXPECT_NE(source->openObjectChannelTo(objectOf(0), NameLinkID("Knock")), other);
}

TEST_F(ChannelTest, ClosedAndOrphanedChannelsDoNothing) {
    TRef<VRefChannel> const a = open(0), b = open(1);
    a->lock();
    a->close();
    a->close();
    EXPECT_FALSE(a->isLocked());
    b->lock();
    source.empty();
    EXPECT_EQ(b->getSource(), nullptr);
    EXPECT_FALSE(b->isLocked());
    b->close();
}

TEST_F(ChannelTest, DeadTargetGoesWithTheNextSendThoughItIsLocked) {
    TRef<VRefChannel> const a = open(0), b = open(1), c = open(2);
    a->lock();
    c->lock();
    listeners[0].empty();
    listeners[1].empty();
    EXPECT_EQ(Listener::alive, 2) << "a channel does not keep its target";
    EXPECT_EQ(source->getChannelCount(), 3);
    EXPECT_EQ(sent(), "");
    EXPECT_EQ(source->getChannelCount(), 1);
    for (auto const & dead : {a, b}) {
        EXPECT_EQ(dead->getSource(), nullptr);
        EXPECT_FALSE(dead->isLocked());
    }
    EXPECT_EQ(c->getSource(), source.pointer());
}

TEST_F(ChannelTest, ReceiversCloseAndOpenChannelsMeanwhile) {
    for (std::size_t i = 0; i < 4; ++i)
        open(i);
    // c, in the middle, closes itself and both neighbours: d has been called, b is not.
    listeners[2]->work = [&] {
        for (std::size_t const i : {3, 2, 1})
            open(i)->close();
        open(2, "Knock");
        open(1);
    };
    EXPECT_EQ(sent(), "d:ring c:ring a:ring");
    EXPECT_EQ(sent(), "b:ring c:knock a:ring");

    // Inside a send of the same source, too.
    listeners[0]->work = [&] {
        listeners[0]->work = nullptr;
        listeners[2]->work = [&] { open(1)->close(); };
        Listener::log += "(";
        VRefVector args;
        source->send(args);
        Listener::log += ")";
    };
    listeners[2]->work = nullptr;
    open(2);
    open(3);
    EXPECT_EQ(sent(), "d:ring c:ring b:ring c:knock( d:ring c:ring c:knock a:ring) a:ring");
}

TEST_F(ChannelTest, ReceiversMayEndDuringTheSend) {
    for (std::size_t i = 0; i < 4; ++i)
        open(i);
    listeners[3]->work = [&] { listeners[2].empty(); };
    listeners[1]->work = [&] {
        int const before = Listener::alive;
        listeners[1].empty();
        EXPECT_EQ(Listener::alive, before) << "it is in the middle of its own call";
    };
    EXPECT_EQ(sent(), "d:ring b:ring a:ring");
    EXPECT_EQ(Listener::alive, 2);
    EXPECT_EQ(source->getChannelCount(), 3) << "b goes with the next send";
    listeners[3]->work = nullptr;
    EXPECT_EQ(sent(), "d:ring a:ring");
    EXPECT_EQ(source->getChannelCount(), 2);
}

TEST_F(ChannelTest, MethodMayGoAndComeWithItsInterface) {
    listeners[0]->addInterface(TRef<AUnknown>(new IKnocker));
    TRef<VRefChannel> const tap = open(0, "Tap");
    EXPECT_EQ(sent(), "tap1");
    listeners[0]->removeInterface(&IKnocker::metaclass_);
    EXPECT_EQ(sent(), "") << "it stays subscribed";
    listeners[0]->addInterface(TRef<AUnknown>(new IKnocker));
    EXPECT_EQ(sent(), "tap1") << "the new one";
    // Replaced between two sends.
    listeners[0]->removeInterface(&IKnocker::metaclass_);
    listeners[0]->addInterface(TRef<AUnknown>(new IKnocker));
    EXPECT_EQ(sent(), "tap1");
    EXPECT_EQ(sent(), "tap2");
    EXPECT_EQ(tap->getSource(), source.pointer());
}

TEST_F(ChannelTest, SourceMayEndDuringTheSend) {
    TRef<VRefChannel> const a = open(0), b = open(1);
    listeners[1]->work = [&] { source.empty(); };
    VRefVector args;
    source->send(args);
    EXPECT_EQ(Listener::taken(), "b:ring a:ring") << "the send holds it";
    EXPECT_EQ(a->getSource(), nullptr);

    // One that is part of something else cannot be held.
    auto part = std::make_unique<VRefChannelSource>();
    for (std::size_t const i : {2, 3})
        part->openChannelTo(objectOf(i), NameLinkID("Ring"));
    listeners[3]->work = [&] { part.reset(); };
    part->send(args);
    EXPECT_EQ(Listener::taken(), "d:ring");
}

TEST_F(ChannelTest, ReceiverThatThrowsLeavesTheSourceInOrder) {
    for (std::size_t i = 0; i < 3; ++i)
        open(i);
    listeners[1]->work = [] { throw 1; };
    EXPECT_THROW(sent(), int);
    EXPECT_EQ(Listener::taken(), "c:ring");
    listeners[1]->work = [&] { open(0)->close(); };
    EXPECT_EQ(sent(), "c:ring b:ring");
}

TEST_F(ChannelTest, CopiesWouldClaimTheSameChannels) {
    EXPECT_FALSE(std::is_copy_constructible_v<VRefChannelSource>);
    EXPECT_FALSE(std::is_copy_constructible_v<VRefChannel>);
    EXPECT_FALSE(std::is_copy_assignable_v<VRefChannelSource>);
    EXPECT_FALSE(std::is_copy_assignable_v<VRefChannel>);
}

TEST_F(ChannelTest, ScriptsAndClientsHandleObjectChannels) {
    TRef<Automat> const automat =
        run("heard := 0\nState A\n{\nMethod Hear\n{\nheard = heard + 1\nif (heard == 2)\n{\n"
            "scene.Bell.Close()\n}\n}\n}\n");
    TRef<VRefObjectChannel> const bell =
        source->openObjectChannelTo(TRef<Object>(automat.pointer()), NameLinkID("Hear"));
    ASSERT_TRUE(bell);
    scene->regObject("Bell", TRef<Object>(bell.pointer()));
    auto const locked = [] {
        return Recorder::describe(IDispatcher::FindVRef("scene.Bell.Locked", nullptr, nullptr));
    };
    VariableRef whole, broken;
    broken = 0.0f;
    for (int const value : {1, 0, -3}) {
        whole = value;
        EXPECT_TRUE(IDispatcher::SetVRef(whole, "scene.Bell.Locked", nullptr, nullptr));
        EXPECT_TRUE(IDispatcher::SetVRef(broken, "scene.Bell.Locked", nullptr, nullptr));
        EXPECT_EQ(bell->isLocked(), value != 0);
        EXPECT_EQ(locked(), value != 0 ? "1" : "0");
        sent();
        EXPECT_EQ(variable(automat, "heard"), value == 1 ? "0" : "1");
    }
    bell->unlock();
    sent();
    EXPECT_EQ(variable(automat, "heard"), "2");
    EXPECT_EQ(bell->getSource(), nullptr);
    EXPECT_EQ(source->getChannelCount(), 0);
    EXPECT_TRUE(IDispatcher::CallMethod("scene.Bell.Close", nullptr, nullptr, nullptr, nullptr));
}

std::string const noInterfaces = hex("02 00 00 00 00");
std::string const known1 = hex("01 01 00"), known2 = hex("01 02 00");

/// A channel on a new listener; `source` is what it names as its own.
std::string channelBytes(char const * method, std::string const & source) {
    return hex("00 00 00 00 00") + object("channel_test::Listener", hex("4C")) + name(method) +
           source;
}

class ChannelStreamTest : public ChannelTest {
  protected:
    /// The source that `body` gives when it comes as the first object of a stream; `also` is read
    /// behind it.
    TRef<VRefChannelSource> sourceOf(std::string const & body, std::string const & also = "") {
        bytes_ = object("VRefChannelSource", body) + also;
        in_ = std::make_unique<impstream>(bytes_.data(), static_cast<long>(bytes_.size()),
                                          GIO::ReadMode);
        FinalReleasePause const pause;
        TRef<VRefChannelSource> const read(in_->readPointer<VRefChannelSource>());
        if (!also.empty())
            held_ = RefCounterRead(*in_, &Object::metaclass_);
        EXPECT_TRUE(in_->good());
        EXPECT_EQ(in_->tellg(), static_cast<long>(bytes_.size()));
        return read;
    }
    std::unique_ptr<impstream> in_;
    TRef<RefCounter> held_;

  private:
    std::string bytes_;
};

TEST_F(ChannelStreamTest, StreamedForms) {
    std::string const target = object("channel_test::Listener", hex("4C"));
    std::string const channel = hex("00 01 00 00 00") + target + name("Ring");
    // The source in front: its channels lead back to it.
    std::string const list =
        hex("00 02 00 00 00") +
        object("Tavlin::VRefObjectChannel",
               hex("00") + noInterfaces + channel + known1 + hex("01") + known2) +
        object("Tavlin::VRefChannel", hex("00 00 00 00 00 01 03 00") + name("Knock") + known1);
    TRef<VRefObjectChannel> ring = source->openObjectChannelTo(objectOf(0), NameLinkID("Ring"));
    ring->lock();
    ring->queryInterface(&AUnknown::metaclass_);
    open(0, "Knock");
    ompstream out;
    out.writePointer(source.pointer());
    EXPECT_EQ(digits(std::string(static_cast<char const *>(out.data()),
                                 static_cast<std::size_t>(out.size()))),
              digits(object("VRefChannelSource", list)));

    TRef<VRefChannelSource> const read = sourceOf(list, hex("01 03 00"));
    TRef<Object> const listener(gcast<Object>(held_.pointer()));
    ASSERT_EQ(read->getChannelCount(), 2);
    EXPECT_FALSE(read->isLocked());
    ring = read->openObjectChannelTo(listener, NameLinkID("Ring"));
    EXPECT_TRUE(ring->isLocked());
    EXPECT_EQ(ring->getSource(), read.pointer());
    VRefVector args;
    read->send(args);
    EXPECT_EQ(Listener::taken(), "?:knock");
    ring->close();
    EXPECT_EQ(read->getChannelCount(), 1);

    // The channel in front, which brings its source along.
    std::string bytes =
        object("Tavlin::VRefChannel",
               channel + object("VRefChannelSource", hex("00 01 00 00 00 01 01 00")));
    impstream in(bytes.data(), static_cast<long>(bytes.size()), GIO::ReadMode);
    TRef<VRefChannel> const first(in.readPointer<VRefChannel>());
    TRef<VRefChannelSource> const its(first->getSource());
    ASSERT_TRUE(its);
    EXPECT_TRUE(its->isLocked());
    EXPECT_EQ(its->getChannelCount(), 1);
}

TEST_F(ChannelStreamTest, TargetMayBeHeldByWhatComesLater) {
    std::string bytes =
        object("VRefChannelSource", hex("00 01 00 00 00") + object("Tavlin::VRefChannel",
                                                                   channelBytes("Ring", known1))) +
        hex("01 03 00");
    {
        // No release is postponed here.
        impstream in(bytes.data(), static_cast<long>(bytes.size()), GIO::ReadMode);
        source = in.readPointer<VRefChannelSource>();
        held_ = RefCounterRead(in, &Object::metaclass_);
    }
    EXPECT_EQ(sent(), "?:ring");
    int const before = Listener::alive;
    held_.empty();
    EXPECT_EQ(Listener::alive, before - 1) << "the stream has let go";
    EXPECT_EQ(sent(), "");
}

TEST_F(ChannelStreamTest, ChannelOfADeadTargetKeepsItsForm) {
    TRef<VRefChannel> const channel = open(0);
    listeners[0].empty();
    source.empty();
    std::string const gone = hex("00 00 00 00 00 00") + name("Ring") + hex("00");
    TRef<VRefChannel> const other(new VRefChannel);
    ASSERT_TRUE(readInto(*other, gone));
    EXPECT_EQ(digits(written(*other)), digits(gone));
}

TEST_F(ChannelStreamTest, UnknownVersionsAreRefused) {
    TRef<VRefObjectChannel> const channel(new VRefObjectChannel);
    EXPECT_EQ(versionError(*channel, hex("01")),
              "tavlinmid/TavlinVRefChannel(117): Unsupported stream version (1, when expected 0)");
    EXPECT_EQ(
        versionError(*source, hex("FF")),
        "tavlinmid/TavlinVRefChannel(243): Unsupported stream version (255, when expected 0)");
    TRef<VRefChannel> const plain(new VRefChannel);
    EXPECT_TRUE(readInto(*plain, hex("07 00 00 00 00 00 00 00 00 00 00 00"))) << "it has none";
}

TEST_F(ChannelStreamTest, StrangeListsGiveTheirChannelsOnce) {
    std::string const self = channelBytes("Ring", known1);
    std::string const stranger = object("channel_test::Listener", hex("4C"));
    // Null, no channel, one twice, and one whose target is null.
    TRef<VRefChannelSource> read = sourceOf(
        hex("00 05 00 00 00 00") + stranger + object("Tavlin::VRefChannel", self) +
            hex("01 03 00") +
            object("Tavlin::VRefChannel", hex("00 00 00 00 00 00") + name("Ring") + known1),
        hex("01 04 00"));
    EXPECT_EQ(read->getChannelCount(), 2);
    VRefVector args;
    read->send(args);
    EXPECT_EQ(Listener::taken(), "?:ring");
    EXPECT_EQ(read->getChannelCount(), 1);

    // A channel that names another source which does not list it, and one which does.
    for (char const * lists : {"00 00 00 00 00", "00 01 00 00 00 01 02 00"}) {
        read = sourceOf(hex("00 01 00 00 00") +
                            object("Tavlin::VRefChannel",
                                   channelBytes("Ring", object("VRefChannelSource", hex(lists)))),
                        hex("01 03 00"));
        bool const taken = lists[4] == '1';
        EXPECT_EQ(read->getChannelCount(), taken ? 0 : 1);
        read->send(args);
        EXPECT_EQ(Listener::taken(), taken ? "" : "?:ring");
        if (taken) // nobody else has the second source
            TRef<VRefChannelSource>(gcast<VRefChannelSource>(in_->getObject(3))).empty();
    }
    TRef<VRefChannel> const lost(new VRefChannel);
    ASSERT_TRUE(
        readInto(*lost, channelBytes("Ring", object("VRefChannelSource", hex("00 00 00 00 00")))));
    EXPECT_EQ(lost->getSource(), nullptr);
    lost->close();
}

TEST_F(ChannelStreamTest, HugeCountEndsWithTheStream) {
    EXPECT_FALSE(readInto(*source, hex("00 FF FF FF FF 00 00")));
    EXPECT_EQ(source->getChannelCount(), 0);
    EXPECT_FALSE(
        readInto(*source, hex("00 FF FF FF FF") +
                              object("Tavlin::VRefChannel", channelBytes("Ring", hex("00")))));
    EXPECT_EQ(source->getChannelCount(), 1);
}

} // namespace Tavlin
