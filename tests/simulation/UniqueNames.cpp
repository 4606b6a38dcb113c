#include "ZEL_Processor/ZelProcessorClient.h"
#include "tests/simulation/World.h"

#include <string>

/// As in the library, but counted for each history, so that one does not depend on those before it.
CString CZelProcessorClient::GetUniqueString()
{
    return L"{" + std::to_wstring(++sim::CWorld::Current()->m_names) + L"}_1";
}
