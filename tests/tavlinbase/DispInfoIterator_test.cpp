// The walks over names, checked against lists of what each should visit.
#include "tavlinbase/DispInfoIterator.h"

#include "tavlinbase/IDispatcherImpl.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace iterator_test {

using namespace Tavlin;

using Names = std::vector<std::string>;

/// A list of names that it is given; a failing one is a hole in the list.
class List : public IDispatcher::Info {
  public:
    struct Item {
        char const * name;
        IDispatcher::CallType type;
    };
    explicit List(std::vector<Item> items) : items_(std::move(items)) {}
    int getNamesCount() const override { return int(items_.size()); }
    bool getNameInfo(int index, NameLinkID * name, IDispatcher::CallType * type, int * thisOffset,
                     void ** function, VariableTypes * returnType) const override {
        Item const & item = items_[std::size_t(index)];
        if (!item.name)
            return false;
        if (name)
            *name = NameLinkID(item.name);
        if (type)
            *type = item.type;
        if (returnType)
            *returnType = INT;
        // Only the first item tells these.
        if (index == 0 && thisOffset)
            *thisOffset = 16;
        if (index == 0 && function)
            *function = const_cast<List *>(this);
        return true;
    }

  private:
    std::vector<Item> items_;
};

List const g_list({{"first", IDispatcher::Method},
                   {"read", IDispatcher::PropertyGet},
                   {nullptr, IDispatcher::PropertyGet},
                   {"read", IDispatcher::PropertySet},
                   {"member", IDispatcher::Variable}});

class IListed : public IDispatcher {
    G_DECLARE_CREATABLE(IListed)
  public:
    explicit IListed(Info const * names = nullptr) : names_(names) {}
    bool invoke(DispParams * params) override {
        if (!names_ || !names_->findNameInfo(params->name, params->type, nullptr, nullptr, nullptr))
            return false;
        if (params->result)
            *params->result = params->params ? params->params->getCount() : -1;
        return true;
    }
    Info const * getTypeInfo() override { return names_; }

  private:
    Info const * names_;
};
/// Tells its own list of names, the first of which takes it out when it is called.
class ILeaver : public IListed {
    G_DECLARE_CREATABLE(ILeaver)
  public:
    ILeaver() : IListed(&names_) {}
    ~ILeaver() override { ++ended; }
    bool invoke(DispParams * params) override {
        if (params->name == NameLinkID("leave"))
            getObject()->removeAllInterfaces(&ILeaver::metaclass_);
        return true;
    }
    static int ended;

  private:
    List names_{{{"leave", IDispatcher::PropertyGet}, {"rest", IDispatcher::PropertyGet}}};
};
int ILeaver::ended = 0;
class Bag : public UniqueObject {
    G_DECLARE_CREATABLE(Bag)
};
G_DEFINE_CREATABLE(IListed, "iterator_test::IListed", IDispatcher)
G_DEFINE_CREATABLE(ILeaver, "iterator_test::ILeaver", IListed)
G_DEFINE_CREATABLE(Bag, "iterator_test::Bag", UniqueObject)

Names rest(DispInfoIterator & iterator) {
    Names names;
    for (; iterator; ++iterator)
        names.push_back(iterator.name().c_str());
    return names;
}

TEST(DispInfo, FindGoesByNameAndExactTypeAndLeavesNothingOfOtherNames) {
    int offset = -5;
    void * function = nullptr;
    VariableTypes kind = UNDEFINED;
    EXPECT_TRUE(g_list.findNameInfo(NameLinkID("read"), IDispatcher::PropertySet, &offset,
                                    &function, &kind));
    EXPECT_EQ(kind, INT);
    EXPECT_EQ(offset, -5) << "that of the first item";
    EXPECT_EQ(function, nullptr);
    EXPECT_FALSE(
        g_list.findNameInfo(NameLinkID("read"), IDispatcher::Method, nullptr, nullptr, nullptr));
}

TEST(DispInfoIterator, VisitsTheNamesUnderTheMask) {
    struct {
        IDispatcher::CallType mask;
        Names names;
    } const walks[] = {
        {IDispatcher::Method, {"first"}},
        {IDispatcher::PropertyGet | IDispatcher::Variable, {"read", "member"}},
        {IDispatcher::CallType(15), {"first", "read", "read", "member"}},
        {IDispatcher::CallType(0), {}},
    };
    for (auto const & walk : walks) {
        DispInfoIterator iterator(&g_list, walk.mask);
        EXPECT_EQ(rest(iterator), walk.names);
        iterator.next();
        EXPECT_EQ(iterator.index(), iterator.count()) << "a step at the end does nothing";
    }
    DispInfoIterator none(nullptr, IDispatcher::Method);
    EXPECT_TRUE(none.isEmpty());
    none.info(&g_list);
    EXPECT_EQ(rest(none), Names{"first"});
    none.flags(IDispatcher::Variable);
    EXPECT_EQ(rest(none), Names{"member"}) << "new flags start again";
}

TEST(DispInfoIterator, TellsTheCurrentNameAlone) {
    DispInfoIterator iterator(&g_list, IDispatcher::CallType(15));
    EXPECT_EQ(iterator.thisOffset(), 16);
    EXPECT_NE(iterator.function(), nullptr);
    ++iterator;
    EXPECT_EQ(iterator.callType(), IDispatcher::PropertyGet);
    EXPECT_EQ(iterator.returnType(), INT);
    EXPECT_EQ(iterator.thisOffset(), 0);
    EXPECT_EQ(iterator.function(), nullptr);
    VariableRef result;
    DispParams params(NameLinkID(), &result, nullptr, IDispatcher::Method);
    iterator.params(params);
    EXPECT_EQ(params.name, NameLinkID("read"));
    EXPECT_EQ(params.type, IDispatcher::PropertyGet);
    EXPECT_EQ(params.result, &result);
}

TEST(DispInfoIterator, CallsTheCurrentName) {
    TRef<Object> const object(new Bag);
    object->addInterface(TRef<AUnknown>(new IListed(&g_list)));
    DispInfoIterator iterator(&g_list, IDispatcher::Method);
    VRefVector two;
    two.setCount(2);
    VariableRef result;
    EXPECT_TRUE(iterator.call(object, &two, &result));
    EXPECT_EQ(result.asINT(), 2);
    EXPECT_FALSE(iterator.call(TRef<Object>(), &two, &result));
    ++iterator;
    EXPECT_FALSE(iterator.call(object, &two, &result));
}

TEST(DispObjectInfoIterator, GoesThroughAllInterfacesThatTellNames) {
    static List const last({{"own", IDispatcher::PropertyGet}});
    static List const methods({{"Do", IDispatcher::Method}});
    TRef<Object> const object(new Bag);
    for (IDispatcher::Info const * names : {static_cast<IDispatcher::Info const *>(&g_list),
                                            static_cast<IDispatcher::Info const *>(nullptr),
                                            static_cast<IDispatcher::Info const *>(&methods),
                                            static_cast<IDispatcher::Info const *>(&last)})
        ASSERT_TRUE(object->addInterface(TRef<AUnknown>(new IListed(names))));

    auto const readable = IDispatcher::PropertyGet | IDispatcher::Variable;
    DispObjectInfoIterator iterator(object, readable);
    EXPECT_EQ(rest(iterator), (Names{"own", "read", "member"})) << "the last attached first";
    iterator.next();
    EXPECT_TRUE(iterator.isEmpty());
    iterator.first();
    EXPECT_EQ(iterator.infoIter().info(), &last);
    EXPECT_EQ(iterator.dispIter()->getTypeInfo(), &last);
    iterator.flags(IDispatcher::Method);
    EXPECT_EQ(rest(iterator), (Names{"Do", "first"}));

    DispObjectInfoIterator none(TRef<Object>(), readable);
    EXPECT_TRUE(none.isEmpty());
}

TEST(DispObjectInfoIterator, StandsOnAnInterfaceThatLeaves) {
    TRef<Object> const object(new Bag);
    object->addInterface(TRef<AUnknown>(new IListed(&g_list)));
    object->addInterface(TRef<AUnknown>(new ILeaver));
    Names names;
    for (DispObjectInfoIterator i(object, IDispatcher::PropertyGet); i; ++i) {
        names.push_back(i.name().c_str());
        i.call(object, nullptr, nullptr);
        EXPECT_EQ(ILeaver::ended, names.back() == "read" ? 1 : 0);
    }
    EXPECT_EQ(names, (Names{"leave", "rest", "read"}));
}

} // namespace iterator_test
