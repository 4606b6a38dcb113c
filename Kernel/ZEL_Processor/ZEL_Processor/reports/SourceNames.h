#pragma once

/// Source names as error reports carry them: paths inside the project, without extension. They name the module of a
/// report, so they stay when a module is split over several files.
namespace SourceNames {

constexpr const wchar_t* kLockFile = L"Kernel/ZEL_Processor/ZEL_Processor/LockFile";
constexpr const wchar_t* kProtocolFiles = L"Kernel/ZEL_Processor/ZEL_Processor/ProtocolFiles";
constexpr const wchar_t* kZelProcessor = L"Kernel/ZEL_Processor/ZEL_Processor/ZelProcessor";
constexpr const wchar_t* kZelProcessorServer = L"Kernel/ZEL_Processor/ZEL_Processor/ZelProcessorServer";
constexpr const wchar_t* kZelProcessorClient = L"Kernel/ZEL_Processor/ZEL_Processor/ZelProcessorClient";
constexpr const wchar_t* kXMLTools = L"Kernel/ZEL_Processor/ZEL_Processor/XMLTools";
constexpr const wchar_t* kZELAutomationEnvFile = L"inc/ZELAutomation/ZELAutomationEnvFile";

} // namespace SourceNames

/// Name of the logger that every line of the system goes to.
constexpr const char* kLoggerName = "ZelProcessor";
/// Name of this module's text table.
constexpr const char* kResourceModule = "ZEL_Processor";
