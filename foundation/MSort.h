// Sorting and searching by index: the caller compares and swaps two places, so these never see
// what is sorted. Both sorts also come with a pointer that is handed through.
#pragma once

#include "platform/Export.h"

/// Static functions: two sorts and a binary search by index.
class ONDREL_API MSort {
  public:
    /// Whether item `i` stands before item `j`; never for an item and itself or an equal one.
    using Compare = short int (*)(long i, long j);
    using CompareWith = int (*)(long i, long j, void * data);
    using Swap = void (*)(long i, long j);
    using SwapWith = void (*)(long i, long j, void * data);

    /// Partition sort of the items 0 to n - 1. Items that are in order already are its worst case.
    static void QSort(long n, Compare compare, Swap swap);
    static void QSort(long n, CompareWith compare, SwapWith swap, void * data);
    /// Heap sort of the items 0 to n - 1, with the same effort whatever their order.
    static void HSort(long n, Compare compare, Swap swap);
    static void HSort(long n, CompareWith compare, SwapWith swap, void * data);

    /// Binary search among n items in order: `probe` is below 0, 0 or above 0 as item `i` is less
    /// than, equal to or greater than the target. 1 when it is found, else 0.
    static int DSearch(long n, short int (*probe)(long i));
    static int DSearch(long n, void * data, int (*probe)(long i, void * data));
    /// The items around the target of the last search of the process: both the one found, else the
    /// neighbours, -1 in front of the first and n behind the last.
    static long Less_or_Equal() { return lessOrEqual_; }
    static long Greater_or_Equal() { return greaterOrEqual_; }

  private:
    static int answer(long less, long greater);
    static long lessOrEqual_;
    static long greaterOrEqual_;
};
