#include "apps/zel/StagingFolder.h"

#include "ZEL_Processor/ZelProcessorClient.h"
#include "apps/common/ShownText.h"
#include "platform/Os.h"
#include "platform/Path.h"

#include "ToolTexts.h"

CStagingFolder::CStagingFolder(const std::wstring& parent)
    : m_strFolder(platform::JoinPath(parent, L".zel-" + CZelProcessorClient::GetUniqueString()))
{}

CStagingFolder::~CStagingFolder()
{
    if (!m_isMade)
        return;
    std::vector<platform::SDirectoryEntry> left;
    static_cast<void>(platform::Files().List(m_strFolder, left));
    for (const platform::SDirectoryEntry& entry : left)
        static_cast<void>(platform::Files().Remove(FilePath(entry.name)));
    static_cast<void>(platform::Files().RemoveEmptyDirectory(m_strFolder));
}

bool CStagingFolder::Make(std::wstring& error)
{
    const platform::eOsError result = platform::Files().MakeDirectory(m_strFolder);
    m_isMade = platform::Succeeded(result);
    if (!m_isMade)
        error = ShownText(ToolTexts::IDS_FOLDER_CANNOT_BE_MADE, {m_strFolder, platform::OsErrorText(result)});
    return m_isMade;
}

std::wstring CStagingFolder::FilePath(const std::wstring& name) const
{
    return platform::JoinPath(m_strFolder, name);
}
