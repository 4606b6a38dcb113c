#pragma once

#include "platform/Export.h"

/// Marks what libZEL_Processor shows to its users. Everything else stays hidden.
#if defined(ZEL_Processor_EXPORTS)
#define ZEL_API ZEL_EXPORTED
#elif defined(ZEL_PROCESSOR_STATIC)
#define ZEL_API ZEL_LINKED_IN
#else
#define ZEL_API ZEL_IMPORTED
#endif
