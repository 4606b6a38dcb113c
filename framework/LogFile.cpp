#include "framework/LogFile.h"

#include "framework/LogOptions.h"
#include "platform/StandardPath.h"

#include <cerrno>
#include <system_error>

bool CLogFile::Open(const std::wstring& path, std::uint64_t maxBytes, std::wstring* errorText)
{
    m_path = platform::StandardPath(path);
    m_nMaxBytes = maxBytes;
    errno = 0; // the standard library tells the reason nowhere else
    if (Append())
        return true;
    const int error = errno;
    if (errorText != nullptr) {
        const std::string reason = std::generic_category().message(error);
        *errorText = L"The log file '" + path + L"' cannot be opened: " + std::wstring(reason.begin(), reason.end());
    }
    return false;
}

bool CLogFile::Write(std::string_view line)
{
    // Not when it is closed: then it was set aside, and the new one could not be opened.
    if (m_file.is_open() && m_nMaxBytes != 0 && m_nBytes != 0 && m_nBytes + line.size() > m_nMaxBytes)
        SetAside();
    if (!m_file.is_open() && !Append())
        return false;
    m_file.clear(); // a full disk may have room again
    m_file.write(line.data(), static_cast<std::streamsize>(line.size()));
    m_file.flush();
    m_nBytes += line.size();
    return m_file.good();
}

bool CLogFile::Append()
{
    // Not through the OS layer: that one replaces a file and keeps others out, while a log is appended to and read
    // meanwhile.
    m_file.open(m_path, std::ios::app | std::ios::binary);
    if (!m_file.is_open())
        return false;
    std::error_code unknown;
    const std::uintmax_t length = std::filesystem::file_size(m_path, unknown);
    m_nBytes = unknown ? 0 : length;
    return true;
}

void CLogFile::SetAside()
{
    m_file.close();
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
    if (Append() && error)
        m_nBytes = 0;
}

std::filesystem::path CLogFile::OldPath(int number) const
{
    std::filesystem::path path = m_path;
    path += "." + std::to_string(number);
    return path;
}
