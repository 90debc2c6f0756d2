// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

/// \file
/// Where a class keeps its virtual functions. Programs that are built already call them by place, so an operation that
/// moves breaks them although all names stay.

/// Whether pointers to member functions have the form that is read here, as with GCC and clang on x86-64.
#if defined(__GNUC__) && defined(__x86_64__)
constexpr bool kVirtualPlacesAreReadable = true;
#else
constexpr bool kVirtualPlacesAreReadable = false;
#endif

/// The first place after the virtual functions of QObject.
constexpr int kFirstOwnVirtualPlace = 12;

/// \brief The place of a virtual function in the table of its class, from 0; -1 for one that is not virtual.
template<typename Function>
int VirtualPlace(Function function)
{
    std::uintptr_t words[2] = {};
    static_assert(!kVirtualPlacesAreReadable || sizeof(function) == sizeof(words));
    std::memcpy(words, &function, std::min(sizeof(function), sizeof(words)));
    return words[0] % 2 == 1 ? static_cast<int>(words[0] / sizeof(void*)) : -1;
}
