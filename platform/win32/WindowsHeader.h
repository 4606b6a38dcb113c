#pragma once

// The one place where the system's headers come in. Its macros take over plain words of our own sources, so those that
// do are taken back here.

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef _WIN32_WINNT
#define _WIN32_WINNT 0x0A00
#endif

#include <windows.h>

#undef CreateFile
#undef CreateMutex
#undef CreateProcess
#undef DeleteFile
#undef ERROR
#undef GetCurrentTime
#undef GetMessage
#undef GetObject
#undef MoveFile
#undef RemoveDirectory
#undef SendMessage
#undef Yield
#undef far
#undef interface
#undef near
#undef small
