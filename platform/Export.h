#pragma once

/// How a symbol of a shared library is declared: where it is built, where it is used, and where its objects are linked
/// in.
#if defined(_WIN32)
#define ZEL_EXPORTED __declspec(dllexport)
#define ZEL_IMPORTED __declspec(dllimport)
#define ZEL_LINKED_IN
#else
#define ZEL_EXPORTED __attribute__((visibility("default")))
#define ZEL_IMPORTED ZEL_EXPORTED
#define ZEL_LINKED_IN ZEL_EXPORTED
#endif

/// Marks what the framework library (platform, com, framework) shows to its users. Everything else stays hidden.
#if defined(ZEL_Framework_EXPORTS)
#define ZEL_FRAMEWORK_API ZEL_EXPORTED
#else
#define ZEL_FRAMEWORK_API ZEL_IMPORTED
#endif
