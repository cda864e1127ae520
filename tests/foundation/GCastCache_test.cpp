#include "foundation/GCastCache.h"

#include "foundation/GObject.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace {

class Root : public virtual GObject {
    G_DECLARE_CLASS(Root)
  public:
    int root = 1;
};
class Side : public virtual GObject {
    G_DECLARE_CLASS(Side)
  public:
    /// Asks while the object is still under construction, inside whatever it becomes.
    Side() : seen(gcast_cached<Side>(static_cast<GObject *>(this))) {}
    Side const * seen;
};
class Both : public Root, public Side {
    G_DECLARE_CLASS(Both)
  public:
    long long more[4] = {};
};
class Later : public Both {
    G_DECLARE_CLASS(Later)
  public:
    long long yet[8] = {};
};
/// Has no description of its own, and another layout than its base, which describes it.
class Undescribed : public Both {
  public:
    long long extra[16] = {};
};

G_DEFINE_CLASS(Root, "castcache_test::Root", GObject)
G_DEFINE_CLASS(Side, "castcache_test::Side", GObject)
G_DEFINE_CLASS(Both, "castcache_test::Both", Root, Side)
G_DEFINE_CLASS(Later, "castcache_test::Later", Both)

void expectSameAsWalk(GRTTIObject const & object) {
    for (GMetaClass const * target :
         {&GRTTIObject::metaclass_, &GObject::metaclass_, &Root::metaclass_, &Side::metaclass_,
          &Both::metaclass_, &Later::metaclass_})
        for (int round = 0; round < 2; ++round)
            EXPECT_EQ(GCastCache::Cast(&object, target), object.fast_cast_to_(target))
                << object.getClassName() << " as " << target->getName();
}

TEST(GCastCache, AnswersLikeTheWalkOverTheBases) {
    Root root;
    Side side;
    Both both;
    Later later;
    Undescribed undescribed;
    for (GRTTIObject const * object : std::initializer_list<GRTTIObject const *>{
             &root, &side, &both, &later, &undescribed, &both, &root})
        expectSameAsWalk(*object);
}

// The same part Side lies at another distance from the virtual base in each complete class, also
// while its own constructor runs.
TEST(GCastCache, KeepsTheLayoutsOfOnePartInSeveralClassesApart) {
    for (int round = 0; round < 3; ++round) {
        Side side;
        Both both;
        Later later;
        Undescribed undescribed;
        EXPECT_EQ(side.seen, &side);
        EXPECT_EQ(both.seen, static_cast<Side *>(&both));
        EXPECT_EQ(later.seen, static_cast<Side *>(&later));
        EXPECT_EQ(undescribed.seen, static_cast<Side *>(&undescribed));
    }
}

TEST(GCastCache, LearnsAnewAfterForgetting) {
    Both both;
    expectSameAsWalk(both);
    GCastCache::Forget();
    expectSameAsWalk(both);
}

TEST(GCastCache, NullIsNothing) {
    EXPECT_EQ(gcast_cached<Side>(static_cast<GObject *>(nullptr)), nullptr);
}

TEST(GCastCache, ThreadsThatFightForSlotsGetRightAnswers) {
    std::atomic<int> wrong{0};
    auto const work = [&wrong] {
        Both both;
        Later later;
        for (int i = 0; i < 20000; ++i) {
            if (i % 64 == 0)
                GCastCache::Forget();
            GRTTIObject const * const object = i % 2 ? static_cast<GRTTIObject *>(&both) : &later;
            GMetaClass const * const target = i % 3 ? &Side::metaclass_ : &Later::metaclass_;
            wrong += GCastCache::Cast(object, target) != object->fast_cast_to_(target);
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back(work);
    for (std::thread & thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

} // namespace
