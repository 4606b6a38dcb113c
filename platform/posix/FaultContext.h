#pragma once

#include "platform/Fault.h"

#include <csignal>

namespace platform::posix {

/// What a signal tells: its kind, the registers' part of it and the addresses. Safe in a handler.
/// stackLimit: the lowest address of the thread's stack, by which an overflow is told from other accesses.
void DescribeSignal(int number, const siginfo_t& info, const void* context, std::uintptr_t stackLimit,
                    SFaultRecord& record);

/// Adds the return addresses, the faulting instruction first. Walks a stack that may be damaged: be prepared for a
/// fault.
void WalkFaultingStack(const void* context, SFaultRecord& record);

} // namespace platform::posix
