// Regions beside pixman's region32, over the same rectangles in the same run: 1,000 random ones
// added one by one, two regions of 1,000 each united and cut with each other, and a region cut with
// 1,000 rectangles one by one. "small" rectangles measure up to 128 pixels on a plane of 4096 by
// 4096, "large" ones up to 1024. Both sides give the same number of pixels, or the run says so.
//
// Image files, sizes, colours and blocks stand in the folder of this name.
#include "benchmarks/RunBenchmarks.h"
#include "benchmarks/imaging/Suites.h"
#include "ondrel.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <random>
#include <vector>

#if defined(ONDREL_HAVE_PIXMAN)
#include <pixman.h>
#endif

namespace {

std::vector<GRect> rectangles(unsigned seed, long largest) {
    std::mt19937 random(seed);
    auto const below = [&](long n) {
        return static_cast<long>(random() % static_cast<unsigned long>(n));
    };
    std::vector<GRect> rects;
    for (int i = 0; i < 1000; ++i)
        rects.emplace_back(below(4096), below(4096), 1 + below(largest), 1 + below(largest));
    return rects;
}

/// The two sides under the same names.
struct Ondrel {
    GRegion region;

    Ondrel() = default;
    explicit Ondrel(std::vector<GRect> const & rects) {
        for (GRect const & rect : rects)
            unite(rect);
    }
    void unite(GRect const & rect) { region |= rect; }
    void subtract(GRect const & rect) { region -= rect; }
    void unite(Ondrel const & a, Ondrel const & b) { region = a.region | b.region; }
    void intersect(Ondrel const & a, Ondrel const & b) { region = a.region & b.region; }
    double pixels() const {
        double sum = 0;
        region.enumerate(
            [](long left, long top, long right, long bottom, void * data) {
                *static_cast<double *>(data) +=
                    static_cast<double>(right - left + 1) * static_cast<double>(bottom - top + 1);
                return true;
            },
            &sum);
        return sum;
    }
};

#if defined(ONDREL_HAVE_PIXMAN)

struct Pixman {
    pixman_region32_t region;

    Pixman() { pixman_region32_init(&region); }
    explicit Pixman(std::vector<GRect> const & rects) : Pixman() {
        for (GRect const & rect : rects)
            unite(rect);
    }
    Pixman(Pixman const & other) : Pixman() { pixman_region32_copy(&region, &other.region); }
    Pixman & operator=(Pixman const &) = delete;
    ~Pixman() { pixman_region32_fini(&region); }

    void unite(GRect const & rect) {
        pixman_region32_union_rect(&region, &region, static_cast<int>(rect.x),
                                   static_cast<int>(rect.y), static_cast<unsigned>(rect.w),
                                   static_cast<unsigned>(rect.h));
    }
    void subtract(GRect const & rect) {
        Pixman other;
        other.unite(rect);
        pixman_region32_subtract(&region, &region, &other.region);
    }
    void unite(Pixman const & a, Pixman const & b) {
        pixman_region32_union(&region, const_cast<pixman_region32_t *>(&a.region),
                              const_cast<pixman_region32_t *>(&b.region));
    }
    void intersect(Pixman const & a, Pixman const & b) {
        pixman_region32_intersect(&region, const_cast<pixman_region32_t *>(&a.region),
                                  const_cast<pixman_region32_t *>(&b.region));
    }
    double pixels() const {
        int count = 0;
        pixman_box32_t const * const boxes =
            pixman_region32_rectangles(const_cast<pixman_region32_t *>(&region), &count);
        double sum = 0;
        for (int i = 0; i < count; ++i)
            sum += static_cast<double>(boxes[i].x2 - boxes[i].x1) *
                   static_cast<double>(boxes[i].y2 - boxes[i].y1);
        return sum;
    }
};

#endif

/// What each benchmark measures, for either side. `state.range(0)` is the largest side of a
/// rectangle.
template <class Side>
struct Scene {
    std::vector<GRect> rects, others;
    Side a, b;

    explicit Scene(long largest)
        : rects(rectangles(1, largest)), others(rectangles(2, largest)), a(rects), b(others) {}
};

template <class Side>
Side added(Scene<Side> const & scene) {
    return Side(scene.rects);
}
template <class Side>
Side subtracted(Scene<Side> const & scene) {
    Side result(scene.a);
    for (GRect const & rect : scene.others)
        result.subtract(rect);
    return result;
}
template <class Side>
Side united(Scene<Side> const & scene) {
    Side result;
    result.unite(scene.a, scene.b);
    return result;
}
template <class Side>
Side intersected(Scene<Side> const & scene) {
    Side result;
    result.intersect(scene.a, scene.b);
    return result;
}

template <class Side>
void run(benchmark::State & state, Side (*work)(Scene<Side> const &),
         Ondrel (*reference)(Scene<Ondrel> const &)) {
    Scene<Side> const scene(state.range(0));
    if (work(scene).pixels() != reference(Scene<Ondrel>(state.range(0))).pixels()) {
        state.SkipWithError("the two sides differ");
        return;
    }
    for (auto _ : state)
        benchmark::DoNotOptimize(work(scene));
}

template <class Side>
void registerSide(char const * side) {
    struct Work {
        char const * name;
        Side (*work)(Scene<Side> const &);
        Ondrel (*reference)(Scene<Ondrel> const &);
    };
    Work const all[] = {{"region_add_rects", added<Side>, added<Ondrel>},
                        {"region_subtract_rects", subtracted<Side>, subtracted<Ondrel>},
                        {"region_union", united<Side>, united<Ondrel>},
                        {"region_intersection", intersected<Side>, intersected<Ondrel>}};
    for (Work const & one : all)
        for (long const largest : {128L, 1024L}) {
            std::string const name =
                std::string(one.name) + (largest == 128 ? "/small/" : "/large/");
            benchmark::RegisterBenchmark(
                (name + side).c_str(),
                [one](benchmark::State & state) { run<Side>(state, one.work, one.reference); })
                ->Arg(largest)
                ->Unit(benchmark::kMicrosecond);
        }
}

} // namespace

int main(int argc, char ** argv) {
    registerSide<Ondrel>("ondrel");
#if defined(ONDREL_HAVE_PIXMAN)
    registerSide<Pixman>("pixman");
#else
    std::puts("pixman was not found when this was built: its side is left out.");
#endif
    registerFiles();
    registerPixels();
    registerPool();
#if !defined(ONDREL_HAVE_STB)
    std::puts("stb was not found when this was built: its side is left out.");
#endif
    return runBenchmarks(argc, argv);
}
