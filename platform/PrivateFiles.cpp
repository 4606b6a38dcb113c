#include "platform/PrivateFiles.h"

#include <utility>

namespace platform {
namespace {

// A pointer, not the owner itself: MinGW frees the memory of a thread's variables before it calls their destructors.
thread_local const CPrivateFiles* innermost = nullptr;

} // namespace

CPrivateFiles::CPrivateFiles(FileOwner owner) : m_owner(std::move(owner)), m_pOuter(innermost)
{
    innermost = this;
}

CPrivateFiles::~CPrivateFiles()
{
    innermost = m_pOuter;
}

const FileOwner* CPrivateFiles::Current()
{
    return innermost != nullptr && !innermost->m_owner.empty() ? &innermost->m_owner : nullptr;
}

const CPrivateFiles* CPrivateFiles::Innermost()
{
    return innermost;
}

void CPrivateFiles::ReturnTo(const CPrivateFiles* object)
{
    innermost = object;
}

} // namespace platform
