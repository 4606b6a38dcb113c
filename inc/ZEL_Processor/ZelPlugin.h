#pragma once

/// The kit for plug-ins: everything that a module with request processors needs, in headers alone. A plug-in derives a
/// task from CZelTask, a response from CZelXmlResponse, a factory from CZelXmlFactory, and
/// names the factory's class id in ZEL_PLUGIN_MODULE. It links ZEL_Processor and ZEL_Framework, and a component
/// manifest (com/Components.h) makes it known.
#include "ZEL_Processor/IWQ_ZELProcessorFactory.h"
#include "ZEL_Processor/XMLTools.h"
#include "ZEL_Processor/ZelPluginFactory.h"
#include "ZEL_Processor/ZelPluginModule.h"
#include "ZEL_Processor/ZelPluginObject.h"
#include "ZEL_Processor/ZelPluginParameters.h"
#include "ZEL_Processor/ZelPluginProgress.h"
#include "ZEL_Processor/ZelPluginRequest.h"
#include "ZEL_Processor/ZelPluginResponse.h"
#include "ZEL_Processor/ZelPluginTask.h"
