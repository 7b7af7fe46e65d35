#pragma once

// Symbols of the shared core library are exported with default visibility so that both
// extension modules (built with hidden visibility) see one type identity per class.
#if defined(_WIN32)
#if defined(OSTREL_CORE_BUILD)
#define OSTREL_CORE_API __declspec(dllexport)
#else
#define OSTREL_CORE_API __declspec(dllimport)
#endif
#else
#define OSTREL_CORE_API __attribute__((visibility("default")))
#endif
