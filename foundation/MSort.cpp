// Sorts and a search that know places only.
#include "foundation/MSort.h"

long MSort::lessOrEqual_ = -1;
long MSort::greaterOrEqual_ = 0;

namespace {

struct Order {
    MSort::CompareWith compare;
    MSort::SwapWith swap;
    void * data;

    bool before(long i, long j) const { return compare(i, j, data) != 0; }
    void exchange(long i, long j) const { swap(i, j, data); }
};

/// The two functions without a data pointer, reached through the form with one.
struct Plain {
    MSort::Compare compare;
    MSort::Swap swap;

    static int Compare(long i, long j, void * data) {
        return static_cast<Plain *>(data)->compare(i, j);
    }
    static void Swap(long i, long j, void * data) { static_cast<Plain *>(data)->swap(i, j); }
};

/// Parts the range by its first item and returns where that item has come to stand.
long partition(Order const & order, long first, long last) {
    long left = first + 1;
    long right = last;
    while (true) {
        while (left <= right && !order.before(first, left))
            ++left;
        while (left <= right && order.before(first, right))
            --right;
        if (left >= right)
            break;
        order.exchange(left++, right--);
    }
    if (right != first)
        order.exchange(first, right);
    return right;
}

void quickSort(Order const & order, long first, long last) {
    while (first < last) {
        long const pivot = partition(order, first, last);
        // The smaller part goes to the recursion, which keeps its depth logarithmic.
        if (pivot - first < last - pivot) {
            quickSort(order, first, pivot - 1);
            first = pivot + 1;
        } else {
            quickSort(order, pivot + 1, last);
            last = pivot - 1;
        }
    }
}

/// Lets the item at `place` (from 1) sink to the bottom of a heap of `n` and rise again from
/// there, which takes fewer comparisons than stopping it on the way.
void sift(Order const & order, long place, long n) {
    long const top = place;
    while (place <= n / 2) {
        long child = place * 2;
        if (child < n && order.before(child - 1, child))
            ++child;
        order.exchange(place - 1, child - 1);
        place = child;
    }
    while (place > top && order.before(place / 2 - 1, place - 1)) {
        order.exchange(place / 2 - 1, place - 1);
        place /= 2;
    }
}

} // namespace

void MSort::QSort(long n, Compare compare, Swap swap) {
    Plain plain{compare, swap};
    QSort(n, &Plain::Compare, &Plain::Swap, &plain);
}

void MSort::QSort(long n, CompareWith compare, SwapWith swap, void * data) {
    quickSort({compare, swap, data}, 0, n - 1);
}

void MSort::HSort(long n, Compare compare, Swap swap) {
    Plain plain{compare, swap};
    HSort(n, &Plain::Compare, &Plain::Swap, &plain);
}

void MSort::HSort(long n, CompareWith compare, SwapWith swap, void * data) {
    Order const order{compare, swap, data};
    for (long place = n / 2; place >= 1; --place)
        sift(order, place, n);
    for (long last = n; last >= 2; --last) {
        order.exchange(0, last - 1);
        sift(order, 1, last - 1);
    }
}

int MSort::DSearch(long n, short int (*probe)(long)) {
    return DSearch(n, &probe, [](long i, void * data) -> int {
        return (*static_cast<short (**)(long)>(data))(i);
    });
}

int MSort::DSearch(long n, void * data, int (*probe)(long, void *)) {
    if (n < 1)
        return answer(-1, 0);
    int const first = probe(0, data);
    if (first >= 0)
        return first == 0 ? answer(0, 0) : answer(-1, 0);
    int const last = probe(n - 1, data);
    if (last <= 0)
        return last == 0 ? answer(n - 1, n - 1) : answer(n - 1, n);
    long low = 0;
    long high = n - 1;
    while (high - low > 1) {
        long const middle = (low + high) / 2;
        int const order = probe(middle, data);
        if (order == 0)
            return answer(middle, middle);
        (order < 0 ? low : high) = middle;
    }
    return answer(low, high);
}

int MSort::answer(long less, long greater) {
    lessOrEqual_ = less;
    greaterOrEqual_ = greater;
    return less == greater;
}
