#pragma once

#include "ZEL_Processor/ZelTypes.h"
#include "framework/DefaultHost.h"
#include "framework/Log.h"

#include <functional>
#include <vector>

/// What a process of tasks has to say to people, on its way to the server, whose host says it.
namespace HostMessages {

/// In the server: the least important level of lines that anybody wants.
[[nodiscard]] Brel::Log::eLogLevel LowestLevel();
/// In the server: says what a line of the other process holds. False for one that is no message.
[[nodiscard]] bool PassOn(const std::vector<CString>& words);

/// In the process of the tasks: the host services while it lives, which hand everything on.
class CSender final : public CWQ_DefaultHost {
public:
    using Send = std::function<void(const std::vector<CString>& words)>;

    explicit CSender(Send send);
    ~CSender() override;

    /// Of lines of the log.
    static void SetLevel(Brel::Log::eLogLevel level, const Send& send);
    void ReportError(const SWQ_ErrorReport& report) override;
    int ShowMessage(const std::wstring& text, unsigned style, unsigned flags) override;

private:
    const Send m_send;
    IWQ_Host* const m_pPrevious;
};

} // namespace HostMessages
