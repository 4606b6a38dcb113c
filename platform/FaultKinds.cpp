#include "platform/Fault.h"

namespace platform {

const wchar_t* FaultKindName(eFaultKind kind)
{
    switch (kind) {
    case eFaultKind_None: return L"none";
    case eFaultKind_AccessViolation: return L"access violation";
    case eFaultKind_Division: return L"division by zero";
    case eFaultKind_IllegalInstruction: return L"illegal instruction";
    case eFaultKind_StackOverflow: return L"stack overflow";
    case eFaultKind_Abort: return L"abort";
    case eFaultKind_Exception: return L"exception";
    case eFaultKind_Other: break;
    }
    return L"other";
}

} // namespace platform
