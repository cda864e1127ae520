#include "tavlinmid/TavlinObjectModifier.h"

#include "StreamBytes.h"
#include "diagnostics/TavlinError.h"
#include "tavlinbase/INamedObject.h"
#include "tavlinbase/IObjectContainer.h"
#include "tavlinbase/VRefArray.h"

#include <functional>
#include <gtest/gtest.h>

namespace Tavlin {

/// Records what is asked of it, and with which object.
class Mark : public ObjectModifier {
    G_DECLARE_CREATABLE(Mark)
  public:
    explicit Mark(std::string text = "") : name(std::move(text)) {}
    bool canApply(TRef<Object> const & object) override { return note("?", object); }
    bool canUndo(TRef<Object> const & object) override { return note("!", object); }

    std::string name;
    bool answer = true;
    std::function<void()> work;
    static std::string log;
    static Object * usual; // the object that goes without saying
    static std::string taken() { return std::exchange(log, ""); }

  protected:
    bool v_apply(TRef<Object> const & object) override { return note("+", object); }
    bool v_undo(TRef<Object> const & object) override { return note("-", object); }

  private:
    bool note(char const * what, TRef<Object> const & object) {
        log += (log.empty() ? "" : " ") + name + what + (object == usual ? "" : "other");
        if (work)
            work();
        return answer;
    }
};

/// Works on the object that its own list of targets gives, one after the other.
class Parts : public ComplexComponentModifier {
    G_DECLARE_CREATABLE(Parts)
  public:
    TRef<Object> getTargetObject(TRef<Object> const & object) override {
        Mark::log += Mark::log.empty() ? "get" : " get";
        return targets.empty() ? object : targets.at(asked++ % targets.size());
    }
    std::vector<TRef<Object>> targets;
    std::size_t asked = 0;
};

G_DEFINE_CREATABLE(Mark, "modifier_test::Mark", ObjectModifier)
G_DEFINE_CREATABLE(Parts, "modifier_test::Parts", ComplexComponentModifier)

std::string Mark::log;
Object * Mark::usual = nullptr;

namespace {

TRef<Object> someObject() {
    ObjectCreator creator(&WritableVRefArray::metaclass_);
    return TRef<Object>(static_cast<Object *>(creator));
}

class ModifierTest : public testing::Test {
  protected:
    ModifierTest() {
        Mark::taken();
        Mark::usual = object_;
        for (char const * name : {"a", "b", "c"}) {
            marks_.push_back(TRef<Mark>(new Mark(name)));
            list_->vector().insert(TRef<ObjectModifier>(marks_.back().pointer()));
            parts_->vector().insert(TRef<ObjectModifier>(marks_.back().pointer()));
        }
        list_->vector().at_insert(1, nullptr);
    }
    ~ModifierTest() override { Mark::usual = nullptr; }

    TRef<Object> object_ = someObject();
    std::vector<TRef<Mark>> marks_;
    TRef<ComplexObjectModifier> list_{new ComplexObjectModifier};
    TRef<Parts> parts_{new Parts};
};

TEST_F(ModifierTest, AppliesForwardUndoesBackwardAndAsksBackward) {
    EXPECT_TRUE(list_->canApply(object_));
    EXPECT_EQ(Mark::taken(), "c? b? a?");
    EXPECT_TRUE(list_->canUndo(object_));
    EXPECT_EQ(Mark::taken(), "c! b! a!");
    EXPECT_TRUE(list_->apply(object_));
    EXPECT_EQ(Mark::taken(), "a+ b+ c+");
    EXPECT_TRUE(list_->undo(object_));
    EXPECT_EQ(Mark::taken(), "c- b- a-");
    list_->vector().empty();
    EXPECT_TRUE(list_->canApply(object_) && list_->canUndo(object_));
    EXPECT_TRUE(list_->apply(object_) && list_->undo(object_));
}

TEST_F(ModifierTest, OneThatFailsEndsTheQuestionButNotTheWork) {
    marks_[1]->answer = false;
    EXPECT_FALSE(list_->canApply(object_));
    EXPECT_FALSE(list_->canUndo(object_));
    EXPECT_EQ(Mark::taken(), "c? b? c! b!");
    EXPECT_FALSE(list_->apply(object_));
    EXPECT_FALSE(list_->undo(object_));
    EXPECT_EQ(Mark::taken(), "a+ b+ c+ c- b- a-");
}

TEST_F(ModifierTest, ComponentsAreAskedForBeforeEachChild) {
    parts_->targets = {object_, nullptr, someObject()};
    EXPECT_TRUE(parts_->apply(object_));
    EXPECT_EQ(Mark::taken(), "get a+ get get c+other");
    EXPECT_TRUE(parts_->canUndo(object_));
    EXPECT_EQ(Mark::taken(), "get c! get get a!other");
    marks_[0]->answer = false;
    EXPECT_FALSE(parts_->undo(object_));
    EXPECT_EQ(Mark::taken(), "get c- get get a-other");
    marks_[1]->answer = false;
    EXPECT_FALSE(parts_->canApply(someObject())) << "the answer of the last";
    EXPECT_EQ(Mark::taken(), "get c? get get a?other");
}

TEST_F(ModifierTest, ListMayChangeWhileItIsWalked) {
    marks_[1]->work = [&] { list_->vector().empty(); };
    EXPECT_TRUE(list_->apply(object_));
    EXPECT_EQ(Mark::taken(), "a+ b+");

    marks_[2]->work = [&] {
        parts_->vector().empty();
        parts_.empty();
        marks_.clear();
    };
    EXPECT_TRUE(parts_->undo(object_));
    EXPECT_EQ(Mark::taken(), "get c-");
}

TEST_F(ModifierTest, ListThatContainsItselfFailsInTheEnd) {
    std::string const self = hex("01 01 00");
    std::string bytes =
        object("Tavlin::ComplexObjectModifier",
               hex("00 00 02 00 00 00 00  02 00 00 00") + self + self); // twice, to double
    impstream in(bytes.data(), static_cast<long>(bytes.size()), GIO::ReadMode);
    TRef<ComplexObjectModifier> const endless(in.readPointer<ComplexObjectModifier>());
    ASSERT_EQ(endless->vector().at(1).pointer(), endless.pointer());
    EXPECT_FALSE(endless->canApply(object_));
    EXPECT_FALSE(endless->canUndo(object_));
    EXPECT_FALSE(endless->apply(object_));
    EXPECT_FALSE(endless->undo(object_));
    endless->vector().empty();
    EXPECT_TRUE(list_->apply(object_)) << "nothing is left of the break";
}

TEST_F(ModifierTest, AddsAndTakesOutAnInterface) {
    TRef<MAddInterface> const add(new MAddInterface);
    add->init(&INamedObjectImpl::metaclass_);
    object_->addInterface(TRef<AUnknown>(new IRemovableNamedObject));
    EXPECT_TRUE(add->canApply(object_)) << "a derived class is another one";
    EXPECT_FALSE(add->canUndo(object_));
    EXPECT_FALSE(add->undo(object_));

    EXPECT_TRUE(add->apply(object_));
    EXPECT_FALSE(add->canApply(object_));
    EXPECT_TRUE(add->canUndo(object_));
    EXPECT_TRUE(add->apply(object_)) << "nobody asks";
    EXPECT_TRUE(add->undo(object_));
    EXPECT_TRUE(add->canUndo(object_)) << "there were two";
    EXPECT_TRUE(add->undo(object_));
    EXPECT_FALSE(add->canUndo(object_));
    EXPECT_EQ(object_->removeAllInterfaces(&INamedObject::metaclass_), 1);

    for (GMetaClass const * strange :
         {static_cast<GMetaClass const *>(nullptr), &INamedObject::metaclass_, &Mark::metaclass_}) {
        add->init(strange);
        EXPECT_FALSE(add->apply(object_));
        EXPECT_FALSE(add->undo(object_));
    }
}

std::string const noInterfaces = hex("02 00 00 00 00");

TEST_F(ModifierTest, StreamedForms) {
    std::string const mark = object("modifier_test::Mark", hex("00") + noInterfaces);
    TRef<Mark> const twice(new Mark);
    std::string const items =
        hex("00") + noInterfaces + hex("03 00 00 00") + mark + hex("00") + hex("01 01 00");
    for (auto * vector : {&list_->vector(), &parts_->vector()}) {
        vector->empty();
        vector->insert(TRef<ObjectModifier>(twice.pointer()));
        vector->insert(nullptr);
        vector->insert(TRef<ObjectModifier>(twice.pointer()));
    }
    EXPECT_EQ(digits(written(*list_)), digits(hex("00") + items));
    EXPECT_EQ(digits(written(*parts_)), digits(hex("00 00") + items));

    // Whatever the version bytes of the other classes say, one form is read.
    ASSERT_TRUE(readInto(*list_, hex("07 05") + items.substr(1)));
    ASSERT_EQ(list_->vector().getCount(), 3);
    EXPECT_EQ(list_->vector().at(2), list_->vector().at(0));
    EXPECT_NE(list_->vector().at(0).pointer(), twice.pointer());
    ASSERT_TRUE(readInto(*parts_, hex("00 00") + items));
    EXPECT_EQ(parts_->vector().getCount(), 3);
    try {
        readInto(*parts_, hex("01 00") + items);
        FAIL();
    } catch (XStrVer const & error) {
        EXPECT_STREQ(error.getMessage().c_str(), "Unsupported stream version (1, when expected 0)");
    }
}

TEST_F(ModifierTest, StreamedFormOfAnAddedInterfaceIsItsName) {
    TRef<MAddInterface> const add(new MAddInterface);
    std::string const head = hex("00 00") + noInterfaces;
    EXPECT_EQ(digits(written(*add)), digits(head + hex("00 00")));
    add->init(&IObjectContainer::metaclass_);
    std::string const bytes = head + text("Tavlin::IObjectContainer");
    EXPECT_EQ(digits(written(*add)), digits(bytes));

    ASSERT_TRUE(readInto(*add, head + text("Tavlin::INamedObjectImpl")));
    EXPECT_EQ(add->getInterfaceId(), &INamedObjectImpl::metaclass_);
    ASSERT_TRUE(readInto(*add, hex("01 02") + noInterfaces + hex("00 00")));
    EXPECT_EQ(add->getInterfaceId(), &INamedObjectImpl::metaclass_) << "no name changes nothing";
    ASSERT_TRUE(readInto(*add, head + text("Nobody::Knows")));
    EXPECT_FALSE(add->apply(object_));
}

TEST_F(ModifierTest, HostileStreamsEndInBoundedLists) {
    std::string const head = hex("00 00") + noInterfaces;
    EXPECT_FALSE(readInto(*list_, head + hex("FF FF FF FF 00 00")));
    EXPECT_LE(list_->vector().getCount(), 3);
    std::string const stranger = object("Tavlin::WritableVRefArray", written(*object_));
    EXPECT_TRUE(readInto(*list_, head + hex("02 00 00 00") + stranger + hex("00")));
    EXPECT_TRUE(list_->apply(object_));

    std::string deep = hex("00");
    for (int i = 0; i < 300; ++i)
        deep = object("Tavlin::ComplexObjectModifier", head + hex("01 00 00 00") + deep);
    impstream in(deep.data(), static_cast<long>(deep.size()), GIO::ReadMode);
    in.nesting_limit(200);
    EXPECT_THROW(RefCounterRead(in, nullptr), InvalidPStream_Exception);
    std::string shallow = deep;
    impstream again(shallow.data(), static_cast<long>(shallow.size()), GIO::ReadMode);
    TRef<RefCounter> const whole = RefCounterRead(again, &ObjectModifier::metaclass_);
    EXPECT_TRUE(gcast<ObjectModifier>(whole.pointer())->apply(object_));
}

} // namespace
} // namespace Tavlin
