#include "platform/Containment.h"

#include "platform/Mutex.h"
#include "platform/Text.h"
#include "platform/posix/Descriptor.h"
#include "platform/posix/Output.h"
#include "platform/posix/SystemError.h"

#include <array>
#include <fcntl.h>
#include <poll.h>
#include <string_view>
#include <unistd.h>

namespace platform {

struct CParentChannel::SState {
    posix::CDescriptor input;
    posix::CDescriptor output;
    const pid_t process = getpid();
    std::string buffer;
    CMutex mutex; ///< a line is written as a whole
    eOsError error = eOsError_None;
};

CParentChannel::CParentChannel() : m_pState(std::make_unique<SState>())
{
    constexpr int kFirst = STDERR_FILENO + 1;
    m_pState->input.Reset(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, kFirst));
    m_pState->output.Reset(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, kFirst));
    const posix::CDescriptor empty(open("/dev/null", O_RDWR | O_CLOEXEC));
    if (!m_pState->input || !m_pState->output || !empty || dup2(empty.Get(), STDIN_FILENO) < 0 ||
        dup2(STDERR_FILENO, STDOUT_FILENO) < 0)
        m_pState->error = posix::LastOsError();
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
        std::array<char, 4096> chunk = {};
        const ssize_t got =
            posix::Uninterrupted([&] { return read(m_pState->input.Get(), chunk.data(), chunk.size()); });
        if (got <= 0)
            return false;
        const std::size_t searched = buffer.size();
        buffer.append(chunk.data(), static_cast<std::size_t>(got));
        end = buffer.find('\n', searched);
        if (end == std::string::npos && buffer.size() > longest)
            return false;
    }
    line = FromUtf8(std::string_view(buffer).substr(0, end));
    buffer.erase(0, end + 1);
    return end <= longest;
}

bool CParentChannel::HasInput() const
{
    pollfd look = {m_pState->input.Get(), POLLIN, 0};
    if (getpid() != m_pState->process)
        return false; // a copy of this process, for which nothing of it is
    return !m_pState->buffer.empty() || posix::Uninterrupted([&] { return poll(&look, 1, 0); }) != 0;
}

bool CParentChannel::WriteLine(const std::wstring& line)
{
    if (getpid() != m_pState->process)
        _exit(1);
    const std::string bytes = ToUtf8(line) + "\n";
    const CMutexLock lock(m_pState->mutex);
    return posix::WriteAll(m_pState->output.Get(), bytes);
}

} // namespace platform
