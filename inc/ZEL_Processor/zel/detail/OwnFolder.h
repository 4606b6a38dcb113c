#pragma once

#include "ZEL_Processor/ZelProcessorClient.h"
#include "ZEL_Processor/zel/Result.h"
#include "ZEL_Processor/zel/detail/Text.h"
#include "com/ComError.h"

#include <filesystem>
#include <mutex>
#include <string>
#include <system_error>

/// No part of what zel promises.
namespace zel::detail {

/// A name that nobody else has, but for a system that has no ids to give: then it is empty.
[[nodiscard]] inline std::wstring uniqueName()
{
    try {
        return CZelProcessorClient::GetUniqueString();
    } catch (const CComError&) {
        return {};
    }
}

/// A folder for files on their way, of a name that nobody else has: such files have their final names already. Servers
/// look into no folder, so it may lie in the request directory. Made when it is needed; goes at the end, with what is
/// left in it. Safe from any thread.
class OwnFolder {
public:
    explicit OwnFolder(const std::wstring& parent) : m_path(platform::JoinPath(parent, L".zel-" + uniqueName())) {}
    ~OwnFolder()
    {
        std::error_code ignored;
        if (m_isMade)
            std::filesystem::remove_all(pathOf(m_path), ignored);
    }
    OwnFolder(const OwnFolder&) = delete;
    OwnFolder& operator=(const OwnFolder&) = delete;

    [[nodiscard]] const std::wstring& path() const { return m_path; }
    Result<void> make()
    {
        const std::lock_guard lock(m_mutex);
        if (m_isMade)
            return {};
        std::error_code error;
        if (!std::filesystem::create_directory(pathOf(m_path), error))
            return Error{error ? Code::fileError : Code::systemError,
                         said("cannot make the folder", pathOf(m_path), error)};
        m_isMade = true;
        return {};
    }

private:
    const std::wstring m_path;
    std::mutex m_mutex;
    bool m_isMade = false;
};

} // namespace zel::detail
