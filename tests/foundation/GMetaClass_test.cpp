// The class registry, the casts, and what a class supplies through the macros.
#include "foundation/GException.h"
#include "foundation/GRTTIObject.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

class Animal : public GRTTIObject {
    G_DECLARE_CLASS(Animal)
  public:
    int legs = 4;
};

class Named : public GRTTIObject {
    G_DECLARE_CLASS(Named)
  public:
    int length = 3;
};

class Dog : public Animal, public Named {
    G_DECLARE_CREATABLE(Dog)
  public:
    static int living;
    Dog() { ++living; }
    ~Dog() override { --living; }
};

class Puppy : public Dog {
    G_DECLARE_CREATABLE(Puppy)
  public:
    explicit Puppy(GStreamableInit) : built(true) {}
    Puppy() = default;
    bool built = false;
};

G_DEFINE_CLASS(Animal, "Test::Animal", GRTTIObject)
G_DEFINE_CLASS(Named, "Test::Named", GRTTIObject)
G_DEFINE_CREATABLE(Dog, "Test::Dog", Animal, Named)
G_DEFINE_CREATABLE(Puppy, "Test::Puppy", Dog)
int Dog::living = 0;

GMetaClass const formerName(Dog::metaclass_, "Test::Hound");

std::vector<std::string> namesIn(GClassDictionary const & classes) {
    std::vector<std::string> names;
    for (long i = 0; i < classes.getCount(); ++i)
        names.push_back(classes[i]->getName());
    return names;
}

using Names = std::vector<std::string>;

} // namespace

TEST(GMetaClass, RegistryStandsInDescendingOrderOfNames) {
    for (long i = 1; i < GMetaClass::GetCount(); ++i)
        EXPECT_GT(std::strcmp(GMetaClass::At(i - 1)->getName(), GMetaClass::At(i)->getName()), 0);
}

TEST(GMetaClass, ClassIsBuiltByItsName) {
    GRTTIObject * const object = GMetaClass::BuildByName("Test::Puppy");
    ASSERT_NE(object, nullptr);
    auto * const puppy = gcast<Puppy>(object);
    ASSERT_NE(puppy, nullptr);
    EXPECT_TRUE(puppy->built) << "the constructor for streams is preferred";
    EXPECT_EQ(Dog::living, 1);
    object->destroyThis();
    EXPECT_EQ(Dog::living, 0);
    EXPECT_EQ(GMetaClass::BuildByName("Test::Animal"), nullptr);
    EXPECT_EQ(GMetaClass::BuildByName("Test::Nobody"), nullptr);
    EXPECT_EQ(GMetaClass::FindByName(nullptr), nullptr);
}

TEST(GMetaClass, CastAdjustsThePointerToTheBase) {
    Puppy puppy;
    GRTTIObject * const root = static_cast<Animal *>(&puppy);
    auto * const named = gcast<Named>(root);
    EXPECT_EQ(named, static_cast<Named *>(&puppy));
    EXPECT_EQ(named->length, 3);
    EXPECT_EQ(root->cast_to_(typeid(Dog)), static_cast<Dog *>(&puppy));
    EXPECT_EQ(root->cast_to_(typeid(GRTTIObject)), static_cast<void *>(root))
        << "the first base in the order of declaration";
    EXPECT_EQ(root->cast_to_(typeid(int)), nullptr);
}

TEST(GMetaClass, AliasStandsForItsClassButIsNoPartOfObjects) {
    GMetaClass const * const alias = GMetaClass::FindByName("Test::Hound");
    ASSERT_NE(alias, nullptr);
    EXPECT_TRUE(alias->isOldClass());
    EXPECT_EQ(alias->getBuilder(), Dog::metaclass_.getBuilder());
    EXPECT_EQ(*alias, Dog::metaclass_);
    EXPECT_EQ(Puppy::metaclass_.isKindOf(*alias), &Dog::metaclass_);
    Dog dog;
    Animal & object = dog;
    EXPECT_FALSE(object.isKindOf("Test::Hound"));
    EXPECT_TRUE(object.isKindOf("Test::Named"));
    EXPECT_TRUE(object.isKindOfOld(alias));
    EXPECT_TRUE(object.hasTheSameClassAs("Test::Hound"));
    EXPECT_FALSE(object.hasTheSameClassAs(static_cast<char const *>(nullptr)));
    GMetaClass const second(*alias, "Test::Hound2");
    EXPECT_EQ(second.getClassIdentifier(), &Dog::metaclass_) << "an alias of an alias";
}

TEST(GMetaClass, SecondRegistrationOfANameNeedsTheSameBuilder) {
    EXPECT_THROW(GMetaClass(typeid(Animal), "Test::Dog", nullptr, nullptr, nullptr),
                 DuplicatedTypes_Exception);
    EXPECT_EQ(GMetaClass::FindByName("Test::Dog"), &Dog::metaclass_);
    GMetaClass const first(typeid(Animal), "Test::Twin", nullptr, nullptr, nullptr);
    {
        GMetaClass const second(typeid(Animal), "Test::Twin", nullptr, nullptr, nullptr);
        EXPECT_EQ(GMetaClass::FindByName("Test::Twin"), &first);
    }
    EXPECT_EQ(GMetaClass::FindByName("Test::Twin"), nullptr) << "removed by name";
}

TEST(GMetaClass, BasesAndDerivedClassesAreListed) {
    GClassDictionary found;
    Dog::metaclass_.getBaseClasses(found, false);
    EXPECT_EQ(namesIn(found), (Names{"Test::Named", "Test::Animal"}));
    Dog::metaclass_.getBaseClasses(found, true);
    EXPECT_EQ(found.getCount(), 0) << "a recursive listing ends empty";
    Animal::metaclass_.getDerivedClasses(found, false);
    EXPECT_EQ(namesIn(found), (Names{"Test::Dog"}));
    Animal::metaclass_.getDerivedClasses(found, true);
    EXPECT_EQ(namesIn(found), (Names{"Test::Puppy", "Test::Dog"}));
    EXPECT_EQ(Puppy::metaclass_.getBaseDerivedFrom(Dog::metaclass_), &Dog::metaclass_);
    EXPECT_EQ(Puppy::metaclass_.getBaseDerivedFrom(Animal::metaclass_), nullptr);
    EXPECT_EQ(Dog::metaclass_.getAncestor(1), &Named::metaclass_);
    EXPECT_EQ(Dog::metaclass_.getAncestor(2), nullptr);
}

TEST(GMetaClass, BasesMayBeGivenOneByOne) {
    GMetaClass const several(typeid(Dog), "Test::Several", nullptr, nullptr, 2, &Animal::metaclass_,
                             &Named::metaclass_);
    EXPECT_EQ(several.getAncestorsCount(), 2);
    EXPECT_EQ(several.getAncestor(1), &Named::metaclass_);
    GMetaClass const none(typeid(Dog), "Test::None", nullptr, nullptr, 1,
                          static_cast<GMetaClass const *>(nullptr));
    EXPECT_EQ(none.getAncestorsCount(), 0);
}

TEST(GClassDictionary, KeepsEachNameOnceAndGrows) {
    std::vector<std::string> names; // outlives the classes, which do not copy them
    std::vector<std::unique_ptr<GMetaClass>> classes;
    for (int i = 0; i < 40; ++i)
        names.push_back("Grow::" + std::to_string(100 + i * 7 % 40));
    GClassDictionary dictionary;
    for (std::string const & name : names) {
        classes.push_back(std::make_unique<GMetaClass>(typeid(Dog), name.c_str(), nullptr, nullptr,
                                                       &Animal::metaclass_));
        dictionary.insert(*classes.back());
    }
    EXPECT_EQ(dictionary.getCount(), 40);
    long const place = dictionary.index_of("Grow::139");
    EXPECT_EQ(place, 0) << "the greatest name comes first";
    EXPECT_EQ(dictionary.insert(*dictionary[place]), place);
    EXPECT_EQ(dictionary.getCount(), 40);
    GClassDictionary const copy(dictionary);
    EXPECT_EQ(dictionary.remove("Grow::120"), 19);
    EXPECT_EQ(dictionary.remove("Grow::120"), -1);
    EXPECT_EQ(copy.index_of("Grow::120"), 19);
}
