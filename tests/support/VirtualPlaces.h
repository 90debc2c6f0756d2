// SPDX-License-Identifier: MIT
#pragma once

#include <QVector>

#include <cstdint>
#include <cstring>

/// \file
/// Where a class keeps its virtual functions. Programs that are built already call them by place, so an operation that
/// moves breaks them although all names stay. Not for MSVC, whose pointers to member functions have another form.

/// \brief The place of a virtual function in the table of its class, from 0; -1 for one that is not virtual.
template<typename Function>
int VirtualPlace(Function function)
{
    std::uintptr_t words[2] = {};
    static_assert(sizeof(function) == sizeof(words));
    std::memcpy(words, &function, sizeof(words));
    return words[0] % 2 == 1 ? static_cast<int>(words[0] / sizeof(void*)) : -1;
}

/// \brief The first places of a class that is derived from QObject: behind the three functions of QObject's
/// meta-object, its destructor's two, and its seven others.
inline QVector<int> PlacesAfterQObject(int count)
{
    constexpr int kFirst = 12;
    QVector<int> places;
    for (int i = 0; i < count; ++i)
        places << kFirst + i;
    return places;
}
