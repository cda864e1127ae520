// Object streams beside Boost.Serialization's binary archive with tracked pointers: the same graph
// of 100,000 objects saved and loaded, in memory. It is a small world: houses with villagers, who
// hold things (two classes behind one base) that they partly share with others, a friend, and a
// way back to their house. Both sides hold objects by a counting pointer, which goes through the
// stream as a plain one.
//
// "peak" is the most memory that a load takes, and "graph" what remains of it once the stream is
// gone; "stream" is the size of what was saved, all in bytes.
#include "benchmarks/RunBenchmarks.h"
#include "ondrel.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <random>
#include <string>
#include <utility>
#include <vector>

#if defined(ONDREL_HAVE_BOOST_SERIALIZATION)
#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <boost/serialization/base_object.hpp>
#include <boost/serialization/export.hpp>
#include <boost/serialization/split_member.hpp>
#include <boost/serialization/string.hpp>
#include <boost/serialization/tracking.hpp>
#include <boost/serialization/vector.hpp>

#include <sstream>
#include <streambuf>
#endif

// ---- Memory in use ----

namespace {

/// In front of each block, as wide as the strictest alignment.
constexpr std::size_t headSize = alignof(std::max_align_t);
std::size_t g_inUse = 0;
std::size_t g_peak = 0;

} // namespace

void * operator new(std::size_t size) {
    void * const block = std::malloc(size + headSize);
    if (!block)
        throw std::bad_alloc();
    *static_cast<std::size_t *>(block) = size;
    g_inUse += size;
    g_peak = std::max(g_peak, g_inUse);
    return static_cast<char *>(block) + headSize;
}

void operator delete(void * memory) noexcept {
    if (!memory)
        return;
    void * const block = static_cast<char *>(memory) - headSize;
    g_inUse -= *static_cast<std::size_t *>(block);
    std::free(block);
}

void operator delete(void * memory, std::size_t) noexcept {
    operator delete(memory);
}

namespace {

constexpr int houseCount = 999;
constexpr int villagerCount = 33000;
constexpr int ownThings = 2; // for each villager, and as many that are somebody else's as well

std::string nameOf(char const * kind, int number) {
    return std::string(kind) + ' ' + std::to_string(number);
}

} // namespace

// ---- The graph, on streams ----

namespace ondrel_side {

using Tavlin::TRef;

class Thing : public Tavlin::RefCounter {
    G_DECLARE_CLASS(Thing)
  public:
    void read(ipstream & in) override { in >> weight_ >> price_; }
    void write(opstream & out) override { out << weight_ << price_; }

    float weight_ = 0;
    int price_ = 0;
};
G_DEFINE_CLASS(Thing, "Village::Thing", Tavlin::RefCounter)

class Tool : public Thing {
    G_DECLARE_CREATABLE(Tool)
  public:
    void read(ipstream & in) override {
        Thing::read(in);
        in >> wear_;
    }
    void write(opstream & out) override {
        Thing::write(out);
        out << wear_;
    }

    int wear_ = 0;
};
G_DEFINE_CREATABLE(Tool, "Village::Tool", Thing)

class Food : public Thing {
    G_DECLARE_CREATABLE(Food)
  public:
    void read(ipstream & in) override {
        Thing::read(in);
        in >> freshness_;
    }
    void write(opstream & out) override {
        Thing::write(out);
        out << freshness_;
    }

    float freshness_ = 0;
};
G_DEFINE_CREATABLE(Food, "Village::Food", Thing)

class House;

class Villager : public Tavlin::UniqueObject {
    G_DECLARE_CREATABLE(Villager)
  public:
    Villager() = default;
    explicit Villager(StreamableInit) {}
    void read(ipstream & in) override;
    void write(opstream & out) override;

    GString name_;
    float x_ = 0, y_ = 0, z_ = 0;
    int age_ = 0;
    House * home_ = nullptr;
    TRef<Villager> friend_;
    Tavlin::TRefVector<Thing> things_;
};
G_DEFINE_CREATABLE(Villager, "Village::Villager", Tavlin::UniqueObject)

class House : public Tavlin::UniqueObject {
    G_DECLARE_CREATABLE(House)
  public:
    House() = default;
    explicit House(StreamableInit) {}
    void read(ipstream & in) override;
    void write(opstream & out) override;

    GString name_;
    Tavlin::TRefVector<Villager> villagers_;
};
G_DEFINE_CREATABLE(House, "Village::House", Tavlin::UniqueObject)

class World : public Tavlin::RefCounter {
    G_DECLARE_CREATABLE(World)
  public:
    void read(ipstream & in) override;
    void write(opstream & out) override;

    Tavlin::TRefVector<House> houses_;
};
G_DEFINE_CREATABLE(World, "Village::World", Tavlin::RefCounter)

template <class T>
void writeAll(opstream & out, Tavlin::TRefVector<T> const & vector) {
    out.writeDWord(static_cast<unsigned long>(vector.getCount()));
    for (long i = 0; i < vector.getCount(); ++i)
        out.writePointer(vector.at(i).pointer());
}

/// The registered object, like every Object that is loaded.
template <class T>
TRef<T> readObject(ipstream & in) {
    Tavlin::TObjectCreator<T> creator(in);
    return TRef<T>(static_cast<T *>(creator));
}

void Villager::read(ipstream & in) {
    UniqueObject::read(in);
    in >> name_ >> x_ >> y_ >> z_ >> age_;
    home_ = in.readPointer<House>();
    friend_ = readObject<Villager>(in);
    unsigned long count = in.readDWord();
    things_.setLimit(static_cast<long>(std::min(count, 64ul)));
    for (; count > 0 && in.good(); --count)
        things_.insert(TRef<Thing>(in.readPointer<Thing>()));
}

void Villager::write(opstream & out) {
    UniqueObject::write(out);
    out << name_ << x_ << y_ << z_ << age_;
    out.writePointer(home_);
    out.writePointer(friend_.pointer());
    writeAll(out, things_);
}

void House::read(ipstream & in) {
    UniqueObject::read(in);
    in >> name_;
    unsigned long count = in.readDWord();
    villagers_.setLimit(static_cast<long>(std::min(count, 64ul)));
    for (; count > 0 && in.good(); --count)
        villagers_.insert(readObject<Villager>(in));
}

void House::write(opstream & out) {
    UniqueObject::write(out);
    out << name_;
    writeAll(out, villagers_);
}

void World::read(ipstream & in) {
    unsigned long count = in.readDWord();
    houses_.setLimit(static_cast<long>(std::min(count, 1024ul)));
    for (; count > 0 && in.good(); --count)
        houses_.insert(readObject<House>(in));
}

void World::write(opstream & out) {
    writeAll(out, houses_);
}

struct Classes {
    using World = ondrel_side::World;
    using House = ondrel_side::House;
    using Villager = ondrel_side::Villager;
    using Thing = ondrel_side::Thing;
    using Tool = ondrel_side::Tool;
    using Food = ondrel_side::Food;
    template <class T>
    using Ref = TRef<T>;

    template <class T>
    static T * made() {
        return Tavlin::TObjectCreator<T>();
    }
    template <class T>
    static void add(Tavlin::TRefVector<T> & vector, TRef<T> const & item) {
        vector.insert(item);
    }
    template <class T>
    static long count(Tavlin::TRefVector<T> const & vector) {
        return vector.getCount();
    }
    static void name(GString & target, std::string const & text) { target = text.c_str(); }

    static std::string save(World & world) {
        ompstream out;
        out.writePointer(&world);
        return std::string(static_cast<char const *>(out.data()),
                           static_cast<std::size_t>(out.size()));
    }
    /// The bytes of the stream, which goes before anything copies them.
    static std::size_t saveOnly(World & world) {
        ompstream out;
        out.writePointer(&world);
        return static_cast<std::size_t>(out.size());
    }
    static TRef<World> load(std::string & saved) {
        impstream in(saved.data(), static_cast<long>(saved.size()), GIO::ReadMode);
        Tavlin::FinalReleasePause const pause;
        return TRef<World>(in.readPointer<World>());
    }
};

} // namespace ondrel_side

// ---- The graph, on archives ----

#if defined(ONDREL_HAVE_BOOST_SERIALIZATION)

namespace boost_side {

class Counted {
  public:
    virtual ~Counted() = default;
    void addref() { ++count_; }
    void release() {
        if (--count_ == 0)
            delete this;
    }

  private:
    long count_ = 0;
};

/// What TRef is on the other side.
template <class T>
class Ref {
  public:
    Ref(T * pointer = nullptr) : pointer_(pointer) {
        if (pointer_)
            pointer_->addref();
    }
    Ref(Ref const & other) : Ref(other.pointer_) {}
    Ref(Ref && other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}
    template <class U>
    Ref(Ref<U> const & other) : Ref(other.pointer()) {}
    ~Ref() {
        if (pointer_)
            pointer_->release();
    }
    Ref & operator=(Ref other) noexcept {
        std::swap(pointer_, other.pointer_);
        return *this;
    }
    T * pointer() const { return pointer_; }
    T * operator->() const { return pointer_; }
    T & operator*() const { return *pointer_; }
    explicit operator bool() const { return pointer_ != nullptr; }

    template <class Archive>
    void save(Archive & archive, unsigned) const {
        archive << pointer_;
    }
    template <class Archive>
    void load(Archive & archive, unsigned) {
        T * read = nullptr;
        archive >> read;
        *this = Ref(read);
    }
    BOOST_SERIALIZATION_SPLIT_MEMBER()

  private:
    T * pointer_;
};

class Thing : public Counted {
  public:
    template <class Archive>
    void serialize(Archive & archive, unsigned) {
        archive & weight_ & price_;
    }

    float weight_ = 0;
    int price_ = 0;
};

class Tool : public Thing {
  public:
    template <class Archive>
    void serialize(Archive & archive, unsigned) {
        archive & boost::serialization::base_object<Thing>(*this) & wear_;
    }

    int wear_ = 0;
};

class Food : public Thing {
  public:
    template <class Archive>
    void serialize(Archive & archive, unsigned) {
        archive & boost::serialization::base_object<Thing>(*this) & freshness_;
    }

    float freshness_ = 0;
};

class House;

class Villager : public Counted {
  public:
    template <class Archive>
    void serialize(Archive & archive, unsigned) {
        archive & name_ & x_ & y_ & z_ & age_ & home_ & friend_ & things_;
    }

    std::string name_;
    float x_ = 0, y_ = 0, z_ = 0;
    int age_ = 0;
    House * home_ = nullptr;
    Ref<Villager> friend_;
    std::vector<Ref<Thing>> things_;
};

class House : public Counted {
  public:
    template <class Archive>
    void serialize(Archive & archive, unsigned) {
        archive & name_ & villagers_;
    }

    std::string name_;
    std::vector<Ref<Villager>> villagers_;
};

class World : public Counted {
  public:
    template <class Archive>
    void serialize(Archive & archive, unsigned) {
        archive & houses_;
    }

    std::vector<Ref<House>> houses_;
};

/// Bytes that are there already, without a copy.
class ReadBuffer : public std::streambuf {
  public:
    explicit ReadBuffer(std::string & saved) {
        setg(saved.data(), saved.data(), saved.data() + saved.size());
    }
};

struct Classes {
    using World = boost_side::World;
    using House = boost_side::House;
    using Villager = boost_side::Villager;
    using Thing = boost_side::Thing;
    using Tool = boost_side::Tool;
    using Food = boost_side::Food;
    template <class T>
    using Ref = boost_side::Ref<T>;

    template <class T>
    static T * made() {
        return new T;
    }
    template <class T>
    static void add(std::vector<Ref<T>> & vector, Ref<T> const & item) {
        vector.push_back(item);
    }
    template <class T>
    static long count(std::vector<Ref<T>> const & vector) {
        return static_cast<long>(vector.size());
    }
    static void name(std::string & target, std::string const & text) { target = text; }

    static void write(std::stringbuf & buffer, World & world) {
        boost::archive::binary_oarchive archive(buffer, boost::archive::no_header);
        World * const pointer = &world;
        archive << pointer;
    }
    static std::string save(World & world) {
        std::stringbuf buffer(std::ios::out | std::ios::binary);
        write(buffer, world);
        return buffer.str();
    }
    static std::size_t saveOnly(World & world) {
        std::stringbuf buffer(std::ios::out | std::ios::binary);
        write(buffer, world);
        return static_cast<std::size_t>(buffer.pubseekoff(0, std::ios::cur, std::ios::out));
    }
    static Ref<World> load(std::string & saved) {
        ReadBuffer buffer(saved);
        boost::archive::binary_iarchive archive(buffer, boost::archive::no_header);
        World * read = nullptr;
        archive >> read;
        return Ref<World>(read);
    }
};

} // namespace boost_side

// The smallest form of a reference: no version and no entry of its own.
template <class T>
struct boost::serialization::implementation_level<boost_side::Ref<T>>
    : boost::mpl::int_<boost::serialization::object_serializable> {};
template <class T>
struct boost::serialization::tracking_level<boost_side::Ref<T>>
    : boost::mpl::int_<boost::serialization::track_never> {};
BOOST_CLASS_EXPORT_GUID(boost_side::Tool, "Village::Tool")
BOOST_CLASS_EXPORT_GUID(boost_side::Food, "Village::Food")

#endif

// ---- Both sides ----

namespace {

/// The same world for both sides.
template <class Side>
auto build() {
    typename Side::template Ref<typename Side::World> world(new typename Side::World);
    using Villager = typename Side::Villager;
    using Thing = typename Side::Thing;
    std::mt19937 random(1);
    std::vector<typename Side::template Ref<Villager>> villagers;
    std::vector<typename Side::template Ref<Thing>> things;
    auto const oneOf = [&](auto const & all) { return all[random() % all.size()]; };
    for (int h = 0; h < houseCount; ++h) {
        typename Side::template Ref<typename Side::House> house(
            Side::template made<typename Side::House>());
        Side::name(house->name_, nameOf("House", h));
        Side::add(world->houses_, house);
        auto const end = static_cast<std::size_t>(villagerCount) * (h + 1) / houseCount;
        while (villagers.size() < end) {
            typename Side::template Ref<Villager> villager(Side::template made<Villager>());
            Side::name(villager->name_, nameOf("Villager", static_cast<int>(villagers.size())));
            villager->x_ = static_cast<float>(random() % 4096) / 8;
            villager->z_ = static_cast<float>(random() % 4096) / 8;
            villager->age_ = static_cast<int>(random() % 90);
            villager->home_ = &*house;
            if (!villagers.empty())
                villager->friend_ = oneOf(villagers);
            for (int i = 0; i < ownThings; ++i) {
                if (!things.empty())
                    Side::add(villager->things_, oneOf(things));
                Thing * thing;
                if (i % 2)
                    thing = new typename Side::Tool;
                else
                    thing = new typename Side::Food;
                thing->weight_ = static_cast<float>(random() % 100) / 4;
                thing->price_ = static_cast<int>(random() % 1000);
                things.push_back(typename Side::template Ref<Thing>(thing));
                Side::add(villager->things_, things.back());
            }
            villagers.push_back(villager);
            Side::add(house->villagers_, villager);
        }
    }
    return world;
}

/// A number for all that hangs together in a world: who has what, and whom.
template <class Side>
double sumOf(typename Side::World const & world) {
    double sum = 0;
    double factor = 1;
    for (long h = 0; h < Side::count(world.houses_); ++h) {
        auto const & house = *world.houses_[h];
        for (long v = 0; v < Side::count(house.villagers_); ++v) {
            auto const & villager = *house.villagers_[v];
            factor = factor < 1000 ? factor + 1 : 1;
            sum += factor * (villager.x_ + villager.age_ + (villager.home_ == &house));
            if (villager.friend_)
                sum += factor * villager.friend_->z_;
            for (long t = 0; t < Side::count(villager.things_); ++t)
                sum += factor * (villager.things_[t]->weight_ + villager.things_[t]->price_);
        }
    }
    return sum;
}

template <class Side>
void save(benchmark::State & state) {
    auto const world = build<Side>();
    std::size_t size = 0;
    for (auto _ : state)
        size = Side::saveOnly(*world);
    state.counters["stream"] = static_cast<double>(size);
}

template <class Side>
void load(benchmark::State & state) {
    double sum;
    std::string saved;
    {
        auto const world = build<Side>();
        sum = sumOf<Side>(*world);
        saved = Side::save(*world);
    }
    std::size_t peak = 0, graph = 0;
    for (auto _ : state) {
        std::size_t const before = g_peak = g_inUse;
        auto world = Side::load(saved);
        peak = g_peak - before;
        graph = g_inUse - before;
        state.PauseTiming();
        if (!world || sumOf<Side>(*world) != sum)
            state.SkipWithError("the world does not come back");
        world = nullptr;
        state.ResumeTiming();
    }
    state.counters["peak"] = static_cast<double>(peak);
    state.counters["graph"] = static_cast<double>(graph);
    state.counters["peak/graph"] = static_cast<double>(peak) / static_cast<double>(graph);
}

template <class Side>
void enter(std::string const & side) {
    benchmark::RegisterBenchmark(("save/" + side).c_str(), save<Side>)
        ->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark(("load/" + side).c_str(), load<Side>)
        ->Unit(benchmark::kMillisecond);
}

} // namespace

int main(int argc, char ** argv) {
    enter<ondrel_side::Classes>("ondrel");
#if defined(ONDREL_HAVE_BOOST_SERIALIZATION)
    enter<boost_side::Classes>("boost");
#else
    std::puts("Boost.Serialization was not found when this was built: its side is left out.");
#endif
    return runBenchmarks(argc, argv);
}
