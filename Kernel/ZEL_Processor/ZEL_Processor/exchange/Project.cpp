#include "ZEL_Processor/Project.h"

#include "com/Bstr.h"

namespace _ar {

project::project() noexcept = default;
project::project(IWQ_Project* object) noexcept : m_pProject(object) {}
project::project(const project& other) noexcept = default;
project& project::operator=(const project& other) noexcept = default;
project::~project() = default;

CString project::GetErrorMessage() const
{
    CBstr message;
    ThrowIfFailed(m_pProject->GetErrorMessage(message.Put()));
    return message.Text();
}

int project::GetFence() const
{
    LONG fence = 0;
    ThrowIfFailed(m_pProject->GetFence(&fence));
    return fence;
}

void project::SetFence(int fence)
{
    ThrowIfFailed(m_pProject->PutFence(fence));
}

GUID project::GetProjectId() const
{
    GUID id = {};
    ThrowIfFailed(m_pProject->GetProjectId(&id));
    return id;
}

int project::GetStorageObjectsCount() const
{
    LONG count = 0;
    ThrowIfFailed(m_pProject->GetStorageObjectsCount(&count));
    return count;
}

} // namespace _ar
