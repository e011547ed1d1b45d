// Sorts with the same result as qsort of the C library.
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

// Sorts `rows` by `compare` (negative, 0 or positive) exactly as glibc's merge sort: halves of n/2 and n - n/2, the
// left one taken when the comparison is not above 0. Equal rows keep their order, and a comparator that contradicts
// itself still gives a defined result, which a std::sort would not promise. `spare` is working space, kept by the
// caller so that a steady machine allocates nothing.
template <typename T, typename Compare>
void mergeSort(T* rows, size_t n, std::vector<T>& spare, const Compare& compare) {
    if (n < 2) return;
    const size_t half = n / 2;
    T *left = rows, *right = rows + half;
    size_t lefts = half, rights = n - half;
    mergeSort(left, lefts, spare, compare);
    mergeSort(right, rights, spare, compare);
    if (spare.size() < n) spare.resize(n);
    T* to = spare.data();
    while (lefts > 0 && rights > 0) {
        const bool takeLeft = compare(*left, *right) <= 0;
        *to++ = std::move(takeLeft ? *left++ : *right++);
        (takeLeft ? lefts : rights)--;
    }
    to = std::move(left, left + lefts, to); // the rest of the right half is already in its place
    std::move(spare.data(), to, rows);
}

template <typename T, typename Compare>
void mergeSort(std::vector<T>& rows, std::vector<T>& spare, const Compare& compare) {
    mergeSort(rows.data(), rows.size(), spare, compare);
}

// Sorts by an ascending 32-bit number, compared by the sign of its difference, which wraps. Rows that are in order
// already, as the kernel lists processes and threads, are left alone: without a wrap the sort would not change them.
template <typename T, typename Number> void sortByNumber(T* rows, size_t n, std::vector<T>& spare, Number number) {
    const auto difference = [number](const T& a, const T& b) {
        return static_cast<int32_t>(static_cast<uint32_t>(a.*number) - static_cast<uint32_t>(b.*number));
    };
    const auto before = [number](const T& a, const T& b) { return a.*number < b.*number; };
    if (n < 2 || (std::is_sorted(rows, rows + n, before) && difference(rows[n - 1], rows[0]) >= 0)) return;
    mergeSort(rows, n, spare, difference);
}
