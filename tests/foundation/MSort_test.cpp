#include "foundation/MSort.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace {

std::vector<int> values;

short before(long i, long j) {
    return values[static_cast<std::size_t>(i)] < values[static_cast<std::size_t>(j)];
}
void exchange(long i, long j) {
    std::swap(values[static_cast<std::size_t>(i)], values[static_cast<std::size_t>(j)]);
}
int beforeIn(long i, long j, void * data) {
    auto const * items = static_cast<int const *>(data);
    return items[i] < items[j];
}
void exchangeIn(long i, long j, void * data) {
    auto * items = static_cast<int *>(data);
    std::swap(items[i], items[j]);
}

/// Rising, falling, equal and mixed values of many lengths.
std::vector<std::vector<int>> samples() {
    std::vector<std::vector<int>> result;
    for (int n : {0, 1, 2, 3, 4, 7, 8, 33, 200}) {
        std::vector<int> shapes[5];
        for (int i = 0; i < n; ++i) {
            int const next[5] = {i, -i, 5, i * 7919 % 101, i * 31 % 4};
            for (int shape = 0; shape < 5; ++shape)
                shapes[shape].push_back(next[shape]);
        }
        result.insert(result.end(), std::begin(shapes), std::end(shapes));
    }
    return result;
}

} // namespace

TEST(MSort, SortsBothWaysInBothForms) {
    for (std::vector<int> const & sample : samples()) {
        std::vector<int> sorted = sample;
        std::sort(sorted.begin(), sorted.end());
        auto const n = static_cast<long>(sample.size());

        values = sample;
        MSort::QSort(n, before, exchange);
        EXPECT_EQ(values, sorted);
        values = sample;
        MSort::HSort(n, before, exchange);
        EXPECT_EQ(values, sorted);
        std::vector<int> local = sample;
        MSort::QSort(n, beforeIn, exchangeIn, local.data());
        EXPECT_EQ(local, sorted);
        local = sample;
        MSort::HSort(n, beforeIn, exchangeIn, local.data());
        EXPECT_EQ(local, sorted);
    }
}

TEST(MSort, StaysInsideTheRangeWhenEqualItemsCompareTrue) {
    std::vector<int> equal(50, 1);
    auto const notBehind = [](long i, long j, void * data) -> int {
        EXPECT_TRUE(i >= 0 && i < 50 && j >= 0 && j < 50);
        auto const * items = static_cast<int const *>(data);
        return items[i] <= items[j];
    };
    MSort::QSort(50, notBehind, exchangeIn, equal.data());
    MSort::HSort(50, notBehind, exchangeIn, equal.data());
}

TEST(MSort, SearchesAndTellsTheNeighbours) {
    struct Search {
        int target;
        std::vector<int> items;
    };
    auto const probe = [](long i, void * data) {
        auto const & search = *static_cast<Search *>(data);
        return search.items[static_cast<std::size_t>(i)] - search.target;
    };
    struct Case {
        int target, hit;
        long less, greater;
    };
    Case const cases[] = {{5, 0, -1, 0}, {10, 1, 0, 0}, {15, 0, 0, 1}, {40, 1, 3, 3},
                          {45, 0, 3, 4}, {50, 1, 4, 4}, {60, 0, 4, 5}};
    for (Case const & c : cases) {
        Search search{c.target, {10, 20, 30, 40, 50}};
        EXPECT_EQ(MSort::DSearch(5, &search, probe), c.hit) << c.target;
        EXPECT_EQ(MSort::Less_or_Equal(), c.less) << c.target;
        EXPECT_EQ(MSort::Greater_or_Equal(), c.greater) << c.target;
    }
    EXPECT_EQ(MSort::DSearch(0, nullptr, probe), 0);
    EXPECT_EQ(MSort::Less_or_Equal(), -1);
    EXPECT_EQ(MSort::Greater_or_Equal(), 0);
    auto const plain = [](long i) { return static_cast<short>(i - 77); };
    EXPECT_EQ(MSort::DSearch(100, plain), 1);
    EXPECT_EQ(MSort::Less_or_Equal(), 77);
}
