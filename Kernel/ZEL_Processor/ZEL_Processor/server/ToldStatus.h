#pragma once

#include "ZEL_Processor/ZelTypes.h"
#include "protocol/HandOver.h"

/// What the status file of a request or command says to a server that starts.
enum eTold { eTold_Nothing, eTold_Waiting, eTold_Running, eTold_Paused, eTold_Done, eTold_Failed, eTold_Held };

[[nodiscard]] constexpr bool IsEnd(eTold told)
{
    return told == eTold_Done || told == eTold_Failed;
}

/// Nothing: there is none, or none that can be read. Waiting: a start took its end back; what else waits has none.
/// Held: somebody has it open, for longer than a reader does, and patience has ended.
[[nodiscard]] eTold ReadTold(const CString& statusPath, const Protocol::GoOn& patience);
