#include "tavlinmid/TavlinSimpleDispatcher.h"

#include "ScriptTest.h"
#include "StreamBytes.h"
#include "diagnostics/GEmergencyLog.h"
#include "tavlinbase/TavlinLibrary.h"

#include <functional>

namespace Tavlin {

/// Answers to whatever it is called by.
class Handler : public UniqueObject, public IDispatcher {
    G_DECLARE_CREATABLE(Handler)
  public:
    explicit Handler(std::string text = "?") : name(std::move(text)) {}
    bool invoke(DispParams * params) override {
        log += (log.empty() ? "" : " ") + name;
        if (params->name != NameLinkID("default") || params->type != IDispatcher::Method)
            log += std::string(":") + params->name.c_str();
        for (int i = 0; params->params && i < params->params->getCount(); ++i)
            log += "," + Recorder::describe(params->params->at(i));
        if (params->result)
            *params->result = ++calls;
        if (work)
            work();
        return answers;
    }
    IDispatcher::Info const * getTypeInfo() override { return nullptr; }
    void read(ipstream & in) override {
        name = static_cast<char>(in.readByte());
        friend_ = RefCounterRead(in, &Object::metaclass_);
    }
    void write(opstream & out) override {
        out.writeByte(static_cast<unsigned char>(name[0]));
        RefCounterWrite(out, friend_);
    }
    void onFinalRelease() override { Object::onFinalRelease(); }

    std::string name;
    bool answers = true;
    std::function<void()> work;
    static int calls;
    static std::string log;
    static std::string taken() { return std::exchange(log, ""); }

  private:
    TRef<RefCounter> friend_;
};

int Handler::calls = 0;
std::string Handler::log;

G_DEFINE_CREATABLE(Handler, "board_test::Handler", UniqueObject, IDispatcher)

namespace {

using Group = SimpleDispatcherFunctionGroup;

class BoardTest : public testing::Test {
  protected:
    BoardTest() {
        Handler::taken();
        Handler::calls = 0;
        group_ = groupOf("Fire");
        for (char const * name : {"a", "b", "c", "d"}) {
            handlers_.emplace_back(new Handler(name));
            group_->handlers().insert(TRef<Object>(handlers_.back().pointer()));
        }
        board_->functions().insert(group_);
    }
    static TRef<Group> groupOf(char const * name) {
        TRef<Group> const group(new Group);
        group->setName(NameLinkID(name));
        return group;
    }
    template <class T>
    static bool send(TRef<T> const & to, char const * name, VariableRef * result = nullptr,
                     VRefVector * args = nullptr,
                     IDispatcher::CallType type = IDispatcher::Method) {
        return DispParams(NameLinkID(name), result, args, type).call(TRef<Object>(to.pointer()));
    }
    std::string sent() {
        EXPECT_TRUE(send(board_, "Fire"));
        return Handler::taken();
    }
    TRefVector<Object> & list() { return group_->handlers(); }
    TRef<Object> handler(std::size_t i) { return TRef<Object>(handlers_[i].pointer()); }

    TRef<SimpleDispatcher> board_{new SimpleDispatcher};
    TRef<Group> group_;
    std::vector<TRef<Handler>> handlers_;
};

TEST_F(BoardTest, MessageReachesEveryHandlerInOrderWhateverTheyAnswer) {
    for (auto const & each : handlers_)
        each->answers = false;
    VariableRef result, value;
    value = 7;
    VRefVector args;
    args.insert(value);
    EXPECT_TRUE(send(board_, "Fire", &result, &args));
    EXPECT_EQ(Handler::taken(), "a,7 b,7 c,7 d,7");
    EXPECT_EQ(result.asINT(), 4) << "the last to write wins";
    handlers_[0]->answers = handlers_[1]->answers = handlers_[3]->answers = true;
    EXPECT_FALSE(group_->invoke_handlers());
    EXPECT_EQ(Handler::taken(), "a b c d");
    handlers_[2]->answers = true;
    EXPECT_TRUE(group_->invoke_handlers());
    list().at_insert(1, nullptr);
    EXPECT_FALSE(group_->invoke_handlers()) << "nobody takes a call to null";
    list().empty();
    EXPECT_TRUE(group_->invoke_handlers());
    EXPECT_TRUE(send(board_, "Fire")) << "there is a group";
}

TEST_F(BoardTest, NothingIsCalledForOtherNamesAndKindsOfCall) {
    for (TRef<Object> const & to :
         {TRef<Object>(board_.pointer()), TRef<Object>(group_.pointer())}) {
        EXPECT_FALSE(send(to, "Flood"));
        EXPECT_FALSE(send(to, "default"));
        EXPECT_FALSE(send(to, "Fire", nullptr, nullptr, IDispatcher::PropertyGet));
        EXPECT_FALSE(send(to, "Fire", nullptr, nullptr, IDispatcher::Variable));
    }
    EXPECT_EQ(Handler::taken(), "");
    EXPECT_TRUE(send(group_, "Fire"));
    EXPECT_EQ(Handler::taken(), "a b c d");
}

TEST_F(BoardTest, MessagesAreFoundAmongManyAndTold) {
    std::vector<std::string> names;
    for (int i = 0; i < 50; ++i)
        names.push_back("Message" + std::to_string(i));
    for (int i = 0; i < 50; ++i) // in another order than that of the names' making
        board_->functions().insert(groupOf(names[std::size_t(i * 7 % 50)].c_str()));
    board_->functions().insert(groupOf("Fire")); // the one that is there stays
    EXPECT_EQ(board_->getNamesCount(), 51);
    for (std::string const & name : names)
        EXPECT_TRUE(send(board_, name.c_str())) << name;
    EXPECT_EQ(sent(), "a b c d");

    NameLinkID name;
    IDispatcher::CallType type{};
    int offset = 1;
    void * function = this;
    VariableTypes kind = INT;
    IDispatcher::Info const & info = *board_->getTypeInfo();
    EXPECT_TRUE(
        info.findNameInfo(NameLinkID("Message20"), IDispatcher::Method, &offset, &function, &kind));
    EXPECT_TRUE(offset == 0 && !function && kind == UNDEFINED);
    EXPECT_TRUE(info.getNameInfo(50, nullptr, nullptr, nullptr, nullptr, nullptr));
    EXPECT_FALSE(info.getNameInfo(51, &name, &type, &offset, &function, &kind));
    EXPECT_FALSE(info.getNameInfo(-1, &name, &type, &offset, &function, &kind));
    EXPECT_TRUE(group_->getNameInfo(0, &name, &type, nullptr, nullptr, nullptr));
    EXPECT_TRUE(name == NameLinkID("Fire") && type == IDispatcher::Method);
    EXPECT_FALSE(group_->getNameInfo(1, &name, &type, nullptr, nullptr, nullptr));
}

TEST_F(BoardTest, MessageStandsInTheContext) {
    std::string contexts;
    handlers_[1]->work = [&] {
        for (auto const * at = GEmergencyContext::Head(); at; at = at->previous())
            contexts += std::string(at->text()) + "\n";
    };
    sent();
    EXPECT_EQ(contexts, "Fire\ndispatching message (see below)\n");
    EXPECT_EQ(GEmergencyContext::Head(), nullptr);
}

TEST_F(BoardTest, HandlersGoDuringTheMessage) {
    handlers_[0]->work = [&] { list().remove(handler(0)); };
    EXPECT_EQ(sent(), "a b c d");
    EXPECT_EQ(sent(), "b c d");
    // Itself and one that has been called.
    handlers_[2]->work = [&] {
        list().remove(handler(1));
        list().remove(handler(2));
    };
    EXPECT_EQ(sent(), "b c d");
    EXPECT_EQ(sent(), "d");

    // One that is still to come, and all references to both.
    handlers_[1]->work = [&] {
        list().remove(handler(3));
        list().remove(handler(1));
        handlers_[3].empty();
        handlers_[1].empty();
    };
    list().at_insert(0, handler(1));
    list().insert(handler(2));
    handlers_[2]->work = nullptr;
    EXPECT_EQ(sent(), "b c");
}

TEST_F(BoardTest, HandlersThatComeWaitForTheNextMessage) {
    handlers_[0]->work = [&] { list().insert(handler(0)); };
    handlers_[2]->work = [&] { list().at_insert(0, handler(2)); };
    EXPECT_EQ(sent(), "a b c d");
    handlers_[0]->work = handlers_[2]->work = nullptr;
    EXPECT_EQ(sent(), "c a b c d a");
    // Each place in the list counts for itself, also when a twin goes.
    handlers_[2]->work = [&] { list().remove(handler(2)); };
    EXPECT_EQ(sent(), "c a b c d a");
    handlers_[2]->work = nullptr;
    EXPECT_EQ(sent(), "a b d a");
}

TEST_F(BoardTest, MessageInsideAMessage) {
    handlers_[1]->work = [&] {
        handlers_[1]->work = nullptr;
        list().remove(handler(2));
        sent();
    };
    EXPECT_TRUE(send(board_, "Fire"));
    EXPECT_EQ(Handler::taken(), "d") << "what came before went with the inner message";
}

TEST_F(BoardTest, GroupThatIsItsOwnHandlerComesToAnEnd) {
    TRef<Group> const endless = groupOf("default");
    board_->functions().insert(endless);
    for (int i = 0; i < 2; ++i) { // twice, to double
        endless->handlers().insert(TRef<Object>(endless.pointer()));
        endless->handlers().insert(TRef<Object>(board_.pointer()));
    }
    EXPECT_FALSE(endless->invoke_handlers());
    EXPECT_TRUE(send(board_, "default"));
    endless->handlers().empty();
    EXPECT_TRUE(endless->invoke_handlers()) << "nothing is left of the break";
}

TEST_F(BoardTest, BoardAndGroupMayEndDuringTheMessage) {
    handlers_[1]->work = [&] {
        board_.empty();
        group_.empty();
    };
    EXPECT_TRUE(send(board_, "Fire"));
    EXPECT_EQ(Handler::taken(), "a b c d");
}

std::string const noInterfaces = hex("02 00 00 00 00");
std::string const loose = hex("01 00"); // an interface of nothing so far

std::string handlerBytes(char name, std::string const & reference = hex("00")) {
    return object("board_test::Handler", std::string(1, name) + reference);
}

std::string collectionBytes() {
    return hex("00") + noInterfaces + hex("03 00 00 00 00") + handlerBytes('x') + hex("00 00") +
           hex("00 01 01 00");
}

TEST_F(BoardTest, StreamedForms) {
    TRef<Handler> const x(new Handler("x"));
    list().empty();
    for (Object * each : {static_cast<Object *>(x.pointer()), static_cast<Object *>(nullptr),
                          static_cast<Object *>(x.pointer())})
        list().insert(TRef<Object>(each));
    TRef<HandlerCollectionObject> const plain(new HandlerCollectionObject);
    plain->handlers() = list();
    EXPECT_EQ(digits(written(*plain)), digits(collectionBytes()));
    std::string const group = hex("03") + collectionBytes() + loose + name("Fire");
    EXPECT_EQ(digits(written(*group_)), digits(group));
    list().empty();
    EXPECT_EQ(
        digits(written(*board_)),
        digits(hex("01") + noInterfaces + loose + hex("01 00 00 00 00") +
               object("Tavlin::SimpleDispatcherFunctionGroup",
                      hex("03 00") + noInterfaces + hex("00 00 00 00") + loose + name("Fire"))));

    plain->handlers().insert(handler(0));
    ASSERT_TRUE(readInto(*plain, collectionBytes()));
    ASSERT_EQ(plain->handlers().getCount(), 3);
    EXPECT_EQ(plain->handlers().at(0), plain->handlers().at(2));
    EXPECT_EQ(plain->handlers().at(1).pointer(), nullptr);
    EXPECT_FALSE(plain->invoke_handlers());
    EXPECT_EQ(Handler::taken(), "x x");
}

TEST_F(BoardTest, EveryOldFormIsRead) {
    std::string const head = noInterfaces + loose + name("Flood"), two = hex("02 00 00 00");
    for (std::string const & group :
         {hex("00") + head + two + handlerBytes('x') + handlerBytes('y'),
          hex("01") + head + two + hex("00") + handlerBytes('x') + hex("00") + handlerBytes('y'),
          hex("03 00") + noInterfaces + two + hex("00") + handlerBytes('x') + hex("00") +
              handlerBytes('y') + loose + name("Flood")}) {
        ASSERT_TRUE(readInto(*group_, group)) << digits(group);
        EXPECT_TRUE(send(group_, "Flood"));
        EXPECT_EQ(Handler::taken(), "x y");
    }
    ASSERT_TRUE(readInto(*group_, hex("02") + head));
    EXPECT_TRUE(send(group_, "Flood"));
    EXPECT_EQ(Handler::taken(), "");

    auto const groupBytes = [](char const * message, char handler) {
        return object("Tavlin::SimpleDispatcherFunctionGroup",
                      hex("03 00") + noInterfaces + hex("01 00 00 00 00") + handlerBytes(handler) +
                          loose + name(message));
    };
    // Three groups and a null; the second of one name is left out.
    for (int version : {0, 1}) {
        std::string const plain = version == 0 ? "" : hex("00");
        std::string const board = hex(version == 0 ? "00" : "01") + noInterfaces + loose +
                                  hex("05 00 00 00") + plain + groupBytes("Storm", 's') + plain +
                                  hex("00") + plain + groupBytes("Calm", 'c') + plain +
                                  groupBytes("Storm", 't') + plain + handlerBytes('u');
        ASSERT_TRUE(readInto(*board_, board));
        EXPECT_EQ(board_->getNamesCount(), 2);
        EXPECT_FALSE(send(board_, "Fire")) << "the list was emptied first";
        EXPECT_TRUE(send(board_, "Calm") && send(board_, "Storm"));
        EXPECT_EQ(Handler::taken(), "c s");
    }
}

TEST_F(BoardTest, UnknownVersionsAreRefused) {
    TRef<HandlerCollectionObject> const plain(new HandlerCollectionObject);
    std::string const unit = "tavlinmid/TavlinSimpleDispatcher";
    EXPECT_EQ(versionError(*plain, hex("02")),
              unit + "(65): Unsupported stream version (2, when expected 0)");
    EXPECT_EQ(versionError(*group_, hex("04")), unit + "(124): Unsupported stream version");
    EXPECT_EQ(versionError(*board_, hex("02")), unit + "(196): Unsupported stream version");
    EXPECT_EQ(sent(), "a b c d") << "nothing was touched";
}

TEST_F(BoardTest, GroupsThatAreStillBeingReadFindTheirPlaces) {
    NameLinkID const early("BoardEarly"), late("BoardLate"), middle("BoardMiddle");
    auto const groupBytes = [](std::string const & handler, NameLinkID message) {
        return object("Tavlin::SimpleDispatcherFunctionGroup", hex("03 00") + noInterfaces +
                                                                   hex("01 00 00 00 00") + handler +
                                                                   loose + name(message.c_str()));
    };
    // Two groups, one in the other, whose innermost handler knows the board that lists both.
    std::string const board =
        object("Tavlin::SimpleDispatcher", hex("01") + noInterfaces + loose +
                                               hex("03 00 00 00 00 01 01 00 00 01 02 00 00") +
                                               groupBytes(handlerBytes('m'), middle));
    std::string bytes = groupBytes(groupBytes(handlerBytes('h', board), early), late);
    impstream in(bytes.data(), static_cast<long>(bytes.size()), GIO::ReadMode);
    TRef<RefCounter> const outer = RefCounterRead(in, &Object::metaclass_);
    TRef<SimpleDispatcher> const read(gcast<SimpleDispatcher>(in.getObject(3)));
    ASSERT_TRUE(outer && read);
    EXPECT_EQ(read->getNamesCount(), 3);
    for (NameLinkID const message : {early, middle, late})
        EXPECT_TRUE(send(read, message.c_str())) << message.c_str();
    EXPECT_EQ(Handler::taken(), "h m");
    gcast<Group>(outer.pointer())->handlers().empty();
    read->functions().empty();
}

TEST_F(BoardTest, HugeCountsEndWithTheStream) {
    std::string const huge = hex("FF FF FF FF 00 00");
    EXPECT_FALSE(readInto(*group_, hex("00") + noInterfaces + loose + name("x") + huge));
    EXPECT_FALSE(readInto(*group_, hex("01") + noInterfaces + loose + name("x") + huge));
    EXPECT_FALSE(readInto(*group_, hex("03 00") + noInterfaces + huge));
    EXPECT_LE(list().getCount(), 7);
    EXPECT_FALSE(readInto(*board_, hex("00") + noInterfaces + loose + huge));
    EXPECT_FALSE(readInto(*board_, hex("01") + noInterfaces + loose + huge));
    EXPECT_EQ(board_->getNamesCount(), 0);
}

TEST_F(BoardTest, HandlersOfALibraryAreNamedNotWritten) {
    TRef<Object> const stored = handler(1);
    TRef<IBookMark> const mark(new IBookMark);
    mark->setPath(GFile("handlers.lib"), NameLinkID("b"));
    stored->addInterface(TRef<AUnknown>(mark.pointer()));
    list().empty();
    list().insert(stored);
    static TRef<Object> shelf;
    shelf = stored;
    BookMark::SetRetriever([](GFile const &, NameLinkID name) {
        return name == NameLinkID("b") ? shelf : TRef<Object>();
    });
    std::string const bytes = written(*group_);
    EXPECT_EQ(bytes.find("board_test::Handler"), std::string::npos);
    list().empty();
    EXPECT_TRUE(readInto(*group_, bytes));
    EXPECT_EQ(sent(), "b");
    BookMark::SetRetriever(nullptr);
    shelf.empty();
}

} // namespace
} // namespace Tavlin
