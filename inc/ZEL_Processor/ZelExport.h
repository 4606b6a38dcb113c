#pragma once

/// Marks what libZEL_Processor shows to its users. Everything else stays hidden.
#if defined(_WIN32)
#if defined(ZEL_Processor_EXPORTS)
#define ZEL_API __declspec(dllexport)
#elif defined(ZEL_PROCESSOR_STATIC)
#define ZEL_API
#else
#define ZEL_API __declspec(dllimport)
#endif
#else
#define ZEL_API __attribute__((visibility("default")))
#endif
