#pragma once

/// Marks what the framework library (platform, com, framework) shows to its users. Everything else stays hidden.
#if defined(_WIN32)
#if defined(ZEL_Framework_EXPORTS)
#define ZEL_FRAMEWORK_API __declspec(dllexport)
#else
#define ZEL_FRAMEWORK_API __declspec(dllimport)
#endif
#else
#define ZEL_FRAMEWORK_API __attribute__((visibility("default")))
#endif
