#pragma once

// Recovering the type of a grid function that callers hold only as IGridFunction: a chain of
// dynamic casts tried in a fixed order, the first match running its typed code. The order is
// part of the contract (a concrete array function before its interface, so that it can be
// shared rather than copied).
#include <typeinfo>

#include "core/grid_function/GenGridFunction.h"

namespace ostrel::core {

template <class... Ts>
struct TypeList {};

// The element types of the chains, in their order.
using ChainRV2d = mtm::RigidVector<2, double>;
using ChainRV3d = mtm::RigidVector<3, double>;
using ChainRV6d = mtm::RigidVector<6, double>;
using ChainRV3us = mtm::RigidVector<3, unsigned short>;
using ChainRV4us = mtm::RigidVector<4, unsigned short>;

// Array functions of rank 3 on a box.
using FullArrayChain =
    TypeList<double, float, int, unsigned int, short, unsigned short, signed char, unsigned char,
             ChainRV3d, ChainRV3us, ChainRV4us, bool>;
// Array functions of rank 1: on a selection, and first in every histogram chain.
using FlatArrayChain =
    TypeList<double, float, int, unsigned int, short, unsigned short, signed char, unsigned char,
             ChainRV3us, ChainRV3d, ChainRV4us, ChainRV6d, bool>;
// Views of rank-3 array functions through a selection.
using ViewChain = TypeList<float, double, signed char, short, int, long long, unsigned char,
                           unsigned short, unsigned int>;
// The typed interfaces, last in every chain.
using InterfaceChain =
    TypeList<double, float, int, unsigned int, short, unsigned short, signed char, unsigned char,
             ChainRV3d, const ChainRV3d&, ChainRV2d, const ChainRV2d&, const ChainRV3us&,
             const ChainRV4us&, ChainRV6d, const ChainRV6d&>;

template <class T>
using FullArrayFunction = ArrayGridFunction<T, 3>;
template <class T>
using FlatArrayFunction = ArrayGridFunction<T, 1>;

template <class Target, class Run>
bool try_cast(const IGridFunction& p_function, Run& p_run) {
    if (const Target* typed = dynamic_cast<const Target*>(&p_function)) {
        p_run(*typed);
        return true;
    }
    return false;
}

// Runs p_run on the first Wrap<T> of the list that p_function is; false when none.
template <template <class> class Wrap, class... Ts, class Run>
bool dispatch_chain(const IGridFunction& p_function, TypeList<Ts...>, Run&& p_run) {
    return (try_cast<Wrap<Ts>>(p_function, p_run) || ...);
}

// No type of the chain matched.
[[noreturn]] OSTREL_CORE_API void fail_no_conversion(const IGridFunction& p_function,
                                                     const char* p_file, unsigned int p_line);

}  // namespace ostrel::core
