#pragma once

#include "platform/OsError.h"
#include "platform/win32/Handle.h"

#include <array>
#include <chrono>
#include <string>

namespace platform::win32 {

enum eReceiveResult { eReceiveResult_Data, eReceiveResult_Ended, eReceiveResult_Timeout };

/// The reading end of a child's standard output, with reads that end in time. Anonymous pipes can't do that; this is a
/// named one whose name nobody else learns. A read that has not ended stays under way until the next call.
class COutputPipe {
public:
    COutputPipe() = default;
    ~COutputPipe();
    COutputPipe(const COutputPipe&) = delete;
    COutputPipe& operator=(const COutputPipe&) = delete;

    /// Makes both ends; the writing one is for the child.
    [[nodiscard]] eOsError Create(CHandle& writingEnd);
    /// Appends what has come; with Data that is at least one byte.
    [[nodiscard]] eReceiveResult Receive(std::string& bytes, std::chrono::milliseconds timeout);

private:
    [[nodiscard]] bool BeginRead();

    CHandle m_pipe;
    CHandle m_done;
    OVERLAPPED m_overlapped{};
    std::array<char, 4096> m_buffer{};
    bool m_bReading = false;
};

} // namespace platform::win32
