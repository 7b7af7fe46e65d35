#pragma once

// Symbols of the shared core library are exported with default visibility so that both
// extension modules (built with hidden visibility) see one type identity per class.
//
// The class templates of the core are instantiated once, in the core, and announced to other
// libraries by extern template declarations, which carry OSTREL_CORE_API too: clang gives an
// instantiation the visibility of its least visible template argument (or of a primary template
// without the attribute) unless its declaration says otherwise, and would hide it from the
// modules. GCC takes the attribute from there as well.
#if defined(_WIN32)
#if defined(OSTREL_CORE_BUILD)
#define OSTREL_CORE_API __declspec(dllexport)
#else
#define OSTREL_CORE_API __declspec(dllimport)
#endif
#else
#define OSTREL_CORE_API __attribute__((visibility("default")))
#endif
