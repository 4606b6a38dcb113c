#pragma once

#include "platform/AppendFile.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

/// The file that the log goes to: appended to, and set aside as FILE.1 when it is full. For one thread at a time.
class CLogFile {
public:
    /// False when the file cannot be opened; errorText, when given, names it with the reason. maxBytes: see
    /// SLogOptions.
    [[nodiscard]] bool Open(const std::wstring& path, std::uint64_t maxBytes, std::wstring* errorText);
    /// Whether there is a file to write to, be it that it can't be written just now.
    [[nodiscard]] bool IsSet() const { return !m_path.empty(); }

    /// Hands a line to the system. False when it is not in the file; the next one may be.
    [[nodiscard]] bool Write(std::string_view line);

private:
    [[nodiscard]] platform::eOsError Append();
    void SetAside();
    [[nodiscard]] std::filesystem::path OldPath(int number) const;

    std::wstring m_strPath;
    std::filesystem::path m_path; ///< the same, for the standard library
    std::uint64_t m_nMaxBytes = 0;
    std::uint64_t m_nBytes = 0;
    std::unique_ptr<platform::IAppendFile> m_pFile; ///< null while it can't be opened
};
