#include "framework/log/LogFile.h"

#include "framework/LogOptions.h"
#include "platform/StandardPath.h"

#include <system_error>

bool CLogFile::Open(const std::wstring& path, std::uint64_t maxBytes, std::wstring* errorText)
{
    m_path = platform::StandardPath(path);
    m_nMaxBytes = maxBytes;
    m_strPath = path;
    const platform::eOsError error = Append();
    if (!platform::Succeeded(error) && errorText != nullptr)
        *errorText = L"The log file '" + path + L"' cannot be opened: " + platform::OsErrorText(error);
    return platform::Succeeded(error);
}

bool CLogFile::Write(std::string_view line)
{
    // Not when it is closed: then it was set aside, and the new one could not be opened.
    if (m_pFile && m_nMaxBytes != 0 && m_nBytes != 0 && m_nBytes + line.size() > m_nMaxBytes)
        SetAside();
    if (!m_pFile && !platform::Succeeded(Append()))
        return false;
    m_nBytes += line.size();
    return platform::Succeeded(m_pFile->Write(line));
}

platform::eOsError CLogFile::Append()
{
    const platform::eOsError error = platform::OpenForAppending(m_strPath, m_pFile);
    if (platform::Succeeded(error))
        m_nBytes = m_pFile->Length();
    return error;
}

void CLogFile::SetAside()
{
    m_pFile.reset();
    // Moved on up to the first gap, which a failure leaves behind: trying again takes no further old file.
    std::error_code error;
    int number = 1;
    while (number < Brel::Log::kOldLogFiles && std::filesystem::exists(OldPath(number), error))
        ++number;
    error.clear();
    for (; number > 1 && !error; --number)
        std::filesystem::rename(OldPath(number - 1), OldPath(number), error);
    if (!error)
        std::filesystem::rename(m_path, OldPath(1), error);
    // A file that can't be set aside, because its reader on Windows does not let go of it, is written on, and tried
    // again when as much has been added.
    if (platform::Succeeded(Append()) && error)
        m_nBytes = 0;
}

std::filesystem::path CLogFile::OldPath(int number) const
{
    std::filesystem::path path = m_path;
    path += "." + std::to_string(number);
    return path;
}
