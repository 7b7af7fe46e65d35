#pragma once

// Symbols of the shared core library are exported with default visibility so that both
// extension modules (built with hidden visibility) see one type identity per class.
//
// The class templates of the core are instantiated once, in the core, and announced to other
// libraries by extern template declarations marked OSTREL_CORE_TEMPLATE_API: clang gives an
// instantiation the visibility of its least visible template argument (or of a primary template
// without the attribute) unless that declaration says otherwise, and would hide it from the
// modules. GCC exports them by the class's own attribute and warns about one on a class that is
// already defined, so for GCC the mark is empty.
#if defined(_WIN32)
#if defined(OSTREL_CORE_BUILD)
#define OSTREL_CORE_API __declspec(dllexport)
#else
#define OSTREL_CORE_API __declspec(dllimport)
#endif
#else
#define OSTREL_CORE_API __attribute__((visibility("default")))
#endif

#if defined(__clang__)
#define OSTREL_CORE_TEMPLATE_API OSTREL_CORE_API
#else
#define OSTREL_CORE_TEMPLATE_API
#endif
