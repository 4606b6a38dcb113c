#include "platform/win32/File.h"

#include "platform/PrivateFiles.h"
#include "platform/win32/Handle.h"
#include "platform/win32/Ownership.h"
#include "platform/win32/SystemError.h"
#include "platform/win32/SystemPath.h"

#include <algorithm>
#include <optional>

namespace platform::win32 {

namespace {

/// The most that one call of the system gets: its lengths have 32 bits.
constexpr std::size_t kMaxChunk = std::size_t{1} << 30;

bool IsForWriting(eOpenMode mode)
{
    return mode == eOpenMode_WriteExclusive || mode == eOpenMode_CreateExclusive;
}

class CWin32File final : public IFile {
public:
    CWin32File(CHandle handle, eOpenMode mode) : m_bWrites(IsForWriting(mode)), m_handle(std::move(handle)) {}
    ~CWin32File() override { static_cast<void>(CloseFile()); }

    eOsError Read(std::span<std::byte> buffer, std::size_t& read) override
    {
        DWORD count = 0;
        const auto wanted = static_cast<DWORD>(std::min(buffer.size(), kMaxChunk));
        const bool done = ReadFile(m_handle.Get(), buffer.data(), wanted, &count, nullptr) != FALSE;
        read = count;
        return done ? eOsError_None : LastOsError();
    }

    eOsError Write(std::span<const std::byte> bytes) override
    {
        while (!bytes.empty()) {
            DWORD count = 0;
            const auto wanted = static_cast<DWORD>(std::min(bytes.size(), kMaxChunk));
            if (!WriteFile(m_handle.Get(), bytes.data(), wanted, &count, nullptr)) {
                return LastOsError();
            }
            if (count == 0) {
                return eOsError_DiskFull;
            }
            m_position += count;
            bytes = bytes.subspan(count);
        }
        return eOsError_None;
    }

    eOsError Seek(std::uint64_t position) override
    {
        LARGE_INTEGER offset{};
        offset.QuadPart = static_cast<LONGLONG>(position);
        if (!SetFilePointerEx(m_handle.Get(), offset, nullptr, FILE_BEGIN)) {
            return LastOsError();
        }
        m_position = offset.QuadPart;
        return eOsError_None;
    }

    eOsError GetAttributes(SFileAttributes& attributes) override
    {
        BY_HANDLE_FILE_INFORMATION information{};
        if (!GetFileInformationByHandle(m_handle.Get(), &information)) {
            return LastOsError();
        }
        attributes = ToAttributes(information);
        return eOsError_None;
    }

    eOsError Sync() override
    {
        // A handle for reading has written nothing, and the system refuses to flush it.
        return !m_bWrites || FlushFileBuffers(m_handle.Get()) ? eOsError_None : LastOsError();
    }

    eOsError Close() override { return CloseFile(); }

private:
    eOsError CloseFile()
    {
        if (!m_handle) {
            return eOsError_None;
        }
        const eOsError error = m_bWrites ? CutOffRest() : eOsError_None;
        m_handle.Close();
        return error;
    }

    /// Only a file that is longer is cut: the call costs more than asking for the length.
    eOsError CutOffRest()
    {
        LARGE_INTEGER length{};
        if (!GetFileSizeEx(m_handle.Get(), &length)) {
            return LastOsError();
        }
        if (length.QuadPart <= m_position) {
            return eOsError_None;
        }
        LARGE_INTEGER end{};
        end.QuadPart = m_position;
        const bool cut = SetFilePointerEx(m_handle.Get(), end, nullptr, FILE_BEGIN) && SetEndOfFile(m_handle.Get());
        return cut ? eOsError_None : LastOsError();
    }

    const bool m_bWrites;
    CHandle m_handle;
    LONGLONG m_position = 0;
};

struct SOpenParameters {
    DWORD access;
    DWORD share;
    DWORD disposition;
    DWORD flags;
};

SOpenParameters ToParameters(eOpenMode mode)
{
    switch (mode) {
    case eOpenMode_ReadShared: return {GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING, 0};
    case eOpenMode_WriteExclusive:
        // Not CREATE_ALWAYS, which is refused for a hidden file. What is left of the old content goes at the close.
        return {GENERIC_WRITE, 0, OPEN_ALWAYS, FILE_FLAG_OPEN_REPARSE_POINT};
    case eOpenMode_CreateExclusive: return {GENERIC_WRITE, 0, CREATE_NEW, FILE_FLAG_OPEN_REPARSE_POINT};
    case eOpenMode_ReadExclusive: break;
    }
    return {GENERIC_READ, 0, OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT};
}

enum eReparse { eReparse_None, eReparse_Link, eReparse_Storage };

/// What a file is that was opened without following it: links apart from the ways in which the system stores files
/// elsewhere or packed.
eReparse ReparseKind(HANDLE handle)
{
    BY_HANDLE_FILE_INFORMATION information{};
    if (!GetFileInformationByHandle(handle, &information) ||
        (information.dwFileAttributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0) {
        return eReparse_None;
    }
    FILE_ATTRIBUTE_TAG_INFO tag{};
    const bool known = GetFileInformationByHandleEx(handle, FileAttributeTagInfo, &tag, sizeof tag) != FALSE;
    return known && !IsReparseTagNameSurrogate(tag.ReparseTag) ? eReparse_Storage : eReparse_Link;
}

} // namespace

FileTimeNs ToNanoseconds(const FILETIME& time)
{
    constexpr std::int64_t unixEpoch = 116'444'736'000'000'000; // 1970 in units of 100 ns since 1601
    const auto ticks = static_cast<std::int64_t>((std::uint64_t{time.dwHighDateTime} << 32) | time.dwLowDateTime);
    return (ticks - unixEpoch) * 100;
}

eOsError ReadChangeTime(const std::wstring& path, FileTimeNs& time)
{
    const CHandle handle(CreateFileW(ToSystemPath(path).c_str(), FILE_READ_ATTRIBUTES,
                                     FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                                     FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    FILE_BASIC_INFO information{};
    if (!handle || !GetFileInformationByHandleEx(handle.Get(), FileBasicInfo, &information, sizeof information)) {
        return LastOsError();
    }
    const auto ticks = static_cast<std::uint64_t>(information.ChangeTime.QuadPart);
    time = ToNanoseconds({static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)});
    return eOsError_None;
}

eOsError OpenFileForMode(const std::wstring& path, eOpenMode mode, std::unique_ptr<IFile>& file)
{
    SOpenParameters parameters = ToParameters(mode);
    std::optional<CPrivateSecurity> security;
    if (const FileOwner* const owner = CPrivateFiles::Current(); owner != nullptr && IsForWriting(mode)) {
        security.emplace(*owner);
        if (security->Get() == nullptr) {
            return eOsError_InvalidParameter;
        }
        parameters.access |= WRITE_DAC;
    }
    const auto open = [&, systemPath = ToSystemPath(path)](DWORD share, DWORD flags) {
        return CHandle(CreateFileW(systemPath.c_str(), parameters.access, share, security ? security->Get() : nullptr,
                                   parameters.disposition, FILE_ATTRIBUTE_NORMAL | flags, nullptr));
    };
    // Deleting is not shared: a move or a deletion must find a file in use while somebody reads it. The exception is a
    // file that its holder has opened for deletion already, such as a lock file: whoever wants to read it must share
    // that.
    CHandle handle = open(parameters.share, parameters.flags);
    if (!handle && mode == eOpenMode_ReadShared && GetLastError() == ERROR_SHARING_VIOLATION) {
        handle = open(parameters.share | FILE_SHARE_DELETE, parameters.flags);
    }
    if (!handle) {
        const eOsError error = LastOsError();
        return error == eOsError_FileExists ? eOsError_AlreadyExists : error;
    }
    const eReparse kind = parameters.flags != 0 ? ReparseKind(handle.Get()) : eReparse_None;
    if (kind == eReparse_Link) {
        return eOsError_LinkInTheWay;
    }
    if (kind == eReparse_Storage) {
        // Its content is what the driver that stores it makes of it, so that one has to have a say.
        handle.Close();
        handle = open(parameters.share, 0);
        if (!handle) {
            return LastOsError();
        }
    }
    // One that was there has the list of its maker. Nobody has it open now, so nobody reads on.
    if (security) {
        if (const eOsError error = security->Apply(handle.Get()); !Succeeded(error)) {
            return error;
        }
    }
    file = std::make_unique<CWin32File>(std::move(handle), mode);
    return eOsError_None;
}

} // namespace platform::win32
