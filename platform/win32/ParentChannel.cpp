#include "platform/Containment.h"

#include "platform/Mutex.h"
#include "platform/Text.h"
#include "platform/win32/Handle.h"
#include "platform/win32/SystemError.h"

#include <array>
#include <cstdio>
#include <io.h>
#include <string_view>

namespace platform {

using win32::CHandle;

namespace {

/// The same stream by a handle that what this process starts does not inherit.
CHandle CopyOfStream(DWORD standardHandle)
{
    HANDLE copy = nullptr;
    const BOOL isMade = DuplicateHandle(GetCurrentProcess(), GetStdHandle(standardHandle), GetCurrentProcess(), &copy,
                                        0, FALSE, DUPLICATE_SAME_ACCESS);
    return isMade ? CHandle(copy) : CHandle();
}

} // namespace

struct CParentChannel::SState {
    CHandle input;
    CHandle output;
    std::string buffer;
    CMutex mutex; ///< a line is written as a whole
    eOsError error = eOsError_None;
};

CParentChannel::CParentChannel() : m_pState(std::make_unique<SState>())
{
    m_pState->input = CopyOfStream(STD_INPUT_HANDLE);
    m_pState->output = CopyOfStream(STD_OUTPUT_HANDLE);
    if (!m_pState->input || !m_pState->output) {
        m_pState->error = win32::LastOsError();
    }
    // The C library closes the handles that it began with.
    static_cast<void>(std::freopen("NUL", "r", stdin));
    static_cast<void>(_dup2(_fileno(stderr), _fileno(stdout)));
    SetStdHandle(STD_INPUT_HANDLE, reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stdin))));
    SetStdHandle(STD_OUTPUT_HANDLE, GetStdHandle(STD_ERROR_HANDLE));
}

CParentChannel::~CParentChannel() = default;

eOsError CParentChannel::Error() const
{
    return m_pState->error;
}

bool CParentChannel::ReadLine(std::wstring& line, std::size_t longest)
{
    std::string& buffer = m_pState->buffer;
    std::size_t end = buffer.find('\n');
    while (end == std::string::npos) {
        std::array<char, 4096> chunk{};
        DWORD got = 0;
        if (!ReadFile(m_pState->input.Get(), chunk.data(), static_cast<DWORD>(chunk.size()), &got, nullptr) ||
            got == 0) {
            return false;
        }
        const std::size_t searched = buffer.size();
        buffer.append(chunk.data(), got);
        end = buffer.find('\n', searched);
        if (end == std::string::npos && buffer.size() > longest) {
            return false;
        }
    }
    line = FromUtf8(std::string_view(buffer).substr(0, end));
    buffer.erase(0, end + 1);
    return end <= longest;
}

bool CParentChannel::HasInput() const
{
    DWORD waiting = 0;
    return !m_pState->buffer.empty() || !PeekNamedPipe(m_pState->input.Get(), nullptr, 0, nullptr, &waiting, nullptr) ||
           waiting != 0;
}

bool CParentChannel::WriteLine(const std::wstring& line)
{
    const std::string bytes = ToUtf8(line) + "\n";
    const CMutexLock lock(m_pState->mutex);
    for (std::size_t at = 0; at < bytes.size();) {
        DWORD written = 0;
        if (!WriteFile(m_pState->output.Get(), bytes.data() + at, static_cast<DWORD>(bytes.size() - at), &written,
                       nullptr)) {
            return false;
        }
        at += written;
    }
    return true;
}

} // namespace platform
