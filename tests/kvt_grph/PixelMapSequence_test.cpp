#include "kvt_grph/PixelMapSequence.h"

#include "../foundation/StreamBytes.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

using namespace stream_bytes;

namespace {

/// Frames of one colour; two of the same film are the same.
class Film : public PixelMapSequence {
    G_DECLARE_CREATABLE(Film)
  public:
    explicit Film(std::string const & name = "", long frames = 3) : name_(name), frames_(frames) {
        ++alive;
    }
    ~Film() override { --alive; }

    long get_map_count() override { return frames_; }
    PixelMap * get_map(long index) override { return index == 1 ? &frame_ : nullptr; }
    void fix_map(long index, bool fix) override { users[index] += fix ? 1 : -1; }
    bool exists(long index) const override { return index != missing; }
    void change_not_exists(long index) override { changed.push_back(index); }
    void rename(std::string const & name) { name_ = name; }
    bool is_same_as(PixelMapSequence const & other) const override {
        return name_ == static_cast<Film const &>(other).name_;
    }
    void adopt(PixelMapSequence & other) override { adoptedBy = &other; }

    void read(ipstream & in) override {
        GString name;
        in >> name;
        name_ = name.c_str();
    }
    void write(opstream & out) override { out << GString(name_.c_str()); }

    std::map<long, int> users;
    std::vector<long> changed;
    long missing = -1;
    static int alive;
    static PixelMapSequence * adoptedBy;

  private:
    std::string name_;
    long frames_;
    PixelMap frame_{2, 2, AbstractImage::FormatRGB};
};
int Film::alive = 0;
PixelMapSequence * Film::adoptedBy = nullptr;

/// Equal to a Film by is_same_as, but of another class.
class OtherFilm : public Film {
    G_DECLARE_CREATABLE(OtherFilm)
  public:
    using Film::Film;
};

G_DEFINE_CREATABLE(Film, "sequence_test::Film", PixelMapSequence)
G_DEFINE_CREATABLE(OtherFilm, "sequence_test::OtherFilm", Film)

TEST(PixelMapSequence, EqualSequencesAreSharedAndEndWithTheirLastLocation) {
    {
        auto * const first = new Film("rain");
        PixelMapLocation a(first);
        PixelMapLocation b(new Film("rain"));
        EXPECT_EQ(b.get_sequence(), first);
        EXPECT_EQ(Film::adoptedBy, first);
        EXPECT_EQ(Film::alive, 1);
        PixelMapLocation c(new OtherFilm("rain"));
        PixelMapLocation d(new Film("snow"));
        EXPECT_EQ(Film::alive, 3);
        EXPECT_TRUE(a == b);
        EXPECT_FALSE(a == c);
        a.set_sequence(nullptr);
        EXPECT_EQ(Film::alive, 3);
        d = b;
        EXPECT_EQ(Film::alive, 2);
        d.set_sequence(new Film("rain"));
        EXPECT_EQ(d.get_sequence(), first);
        EXPECT_EQ(Film::alive, 2);
    }
    EXPECT_EQ(Film::alive, 0);
}

TEST(PixelMapSequence, AFrameIsFixedWhileALocationStandsOnIt) {
    auto * const film = new Film("fix");
    PixelMapLocation keeper(film);
    EXPECT_EQ(film->users[0], 1);
    {
        PixelMapLocation other(keeper);
        EXPECT_EQ(film->users[0], 2);
        other.set_index(1);
        EXPECT_EQ(film->users[0], 1);
        EXPECT_EQ(film->users[1], 1);
        EXPECT_NE(other.get_map(), nullptr);
        other.set_index(3);
        EXPECT_EQ(other.get_map(), nullptr);
        other.set_index(-1);
        EXPECT_EQ(other.get_map(), nullptr);
    }
    EXPECT_EQ(film->users, (std::map<long, int>{{0, 1}, {1, 0}}));
}

TEST(PixelMapSequence, AllFramesCountForExistence) {
    PixelMapLocation const none;
    EXPECT_TRUE(none.exists());
    EXPECT_EQ(none.get_map_count(), 0);
    EXPECT_EQ(none.get_map(), nullptr);
    auto * const film = new Film("torn");
    PixelMapLocation location(film);
    EXPECT_TRUE(location.exists());
    film->missing = 2;
    EXPECT_FALSE(location.exists());
    location.check_and_change();
    EXPECT_EQ(film->changed, std::vector<long>{2});
    unsigned int flags = 7;
    EXPECT_STREQ(location.get_name(&flags).c_str(), "");
    EXPECT_EQ(flags, 0u);
}

TEST(PixelMapSequence, SiblingsAreThoseOnTheSameSequenceAndEachSequenceIsListedOnce) {
    PixelMapLocation a(new Film("one")), b(a), c(new Film("two"));
    b.set_index(2);
    TGCollection<PixelMapLocation> siblings(0, 4, 1);
    a.get_siblings(siblings);
    ASSERT_EQ(siblings.getCount(), 2);
    EXPECT_TRUE(siblings.index_of(&a) >= 0 && siblings.index_of(&b) >= 0);
    TGVector<PixelMapLocation> all;
    PixelMapLocation::GetAllLocations(all);
    ASSERT_EQ(all.getCount(), 2);
    EXPECT_EQ(all.at(0).get_index(), 0);
    EXPECT_NE(all.at(0).get_sequence(), all.at(1).get_sequence());
}

TEST(PixelMapSequence, SequencesThatBecomeEqualWhileInUseStayApart) {
    auto * const one = new Film("one");
    auto * const two = new Film("two");
    PixelMapLocation a(one), b(two), c;
    one->rename("two");
    TGVector<PixelMapLocation> all;
    PixelMapLocation::GetAllLocations(all);
    ASSERT_EQ(all.getCount(), 2);
    EXPECT_NE(all.at(0).get_sequence(), all.at(1).get_sequence());
    for (Film * const film : {one, two}) {
        c.set_sequence(film);
        EXPECT_EQ(c.get_sequence(), film);
    }
    EXPECT_EQ(Film::alive, 2);
}

TEST(PixelMapSequence, ALocationThatIsReadJoinsTheSequenceInUse) {
    std::string const bytes = written([](opstream & out) {
        PixelMapLocation first(new Film("film"));
        PixelMapLocation second(first);
        second.set_index(2);
        first.write(out);
        second.write(out);
    });
    EXPECT_EQ(Film::alive, 0);
    auto * const inUse = new Film("film");
    PixelMapLocation const keeper(inUse);
    Input in(bytes);
    PixelMapLocation first, second;
    first.read(*in);
    second.read(*in); // a back reference to the sequence that was replaced
    EXPECT_EQ(first.get_sequence(), inUse);
    EXPECT_EQ(second.get_sequence(), inUse);
    EXPECT_EQ(second.get_index(), 2);
    EXPECT_EQ(Film::alive, 1);
}

TEST(PixelMapSequence, TheStreamIsAByteAReferenceAndTheIndex) {
    PixelMapLocation none;
    none.set_index(0x01020304);
    EXPECT_EQ(written([&](opstream & out) { none.write(out); }), hex("00 00 04030201"));
}

} // namespace
