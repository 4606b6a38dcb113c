#pragma once

/// Everything that an application needs to send requests and to hear of changes, in the namespace zel. The classes of
/// ZEL_Processor/ZelProcessorClient.h and ZelRequestWatch.h lie beneath and may be used beside it.

#include "ZEL_Processor/zel/Client.h"
#include "ZEL_Processor/zel/Events.h"
#include "ZEL_Processor/zel/Listener.h"
#include "ZEL_Processor/zel/Options.h"
#include "ZEL_Processor/zel/Request.h"
#include "ZEL_Processor/zel/Result.h"
#include "ZEL_Processor/zel/ServerInfo.h"
#include "ZEL_Processor/zel/Session.h"
#include "ZEL_Processor/zel/Status.h"
