#include "plugins/testtasks/SystemCalls.h"

CString TrySystemCall(const CString&)
{
    return L"this system has no such call";
}
