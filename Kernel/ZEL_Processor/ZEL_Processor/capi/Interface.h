#pragma once

// The C interface as the library itself sees it: what it shows.
#include "ZEL_Processor/ZelExport.h"

#define ZEL_C_API ZEL_API
#include "ZEL_Processor/zel_server.h"
