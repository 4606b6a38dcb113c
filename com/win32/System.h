#pragma once

// The system's own COM headers, without the macros that would rename our functions. Do not include this directly.

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <objbase.h>

#include <oleauto.h>

#include <comcat.h>

#include <msxml2.h>

// The header renames the version-independent document class to another one; kClsidDomDocument names ours.
#undef DOMDocument
#undef CLSID_DOMDocument

#undef CopyFile
#undef CreateDirectory
#undef CreateEvent
#undef CreateFile
#undef CreateMutex
#undef CreateProcess
#undef CreateSemaphore
#undef DeleteFile
#undef ERROR
#undef FindFirstFile
#undef FindNextFile
#undef FindResource
#undef FormatMessage
#undef GetClassName
#undef GetCommandLine
#undef GetCurrentDirectory
#undef GetEnvironmentVariable
#undef GetFileAttributes
#undef GetFreeSpace
#undef GetMessage
#undef GetModuleFileName
#undef GetModuleHandle
#undef GetObject
#undef GetTempFileName
#undef GetTempPath
#undef GetUserName
#undef LoadLibrary
#undef LoadString
#undef MessageBox
#undef MoveFile
#undef OpenEvent
#undef OutputDebugString
#undef PostMessage
#undef RemoveDirectory
#undef ReplaceFile
#undef ReportEvent
#undef SendMessage
#undef SetCurrentDirectory
#undef SetEnvironmentVariable
#undef StartService
#undef Yield
#undef interface
#undef max
#undef min
#undef small
