#pragma once

#include "apps/zel/Command.h"
#include "apps/zel/Follower.h"
#include "apps/zel/ShownAnswer.h"
#include "apps/zel/TaskRequest.h"

#include <chrono>

/// Sends a request, waits for its answer, prints that, and leaves nothing behind: who does not wait to the end wants it
/// cancelled.
class CRunCommand : public ICommand {
public:
    [[nodiscard]] const char* Name() const override { return "run"; }
    [[nodiscard]] const STextCode& Description() const override { return ToolTexts::IDS_HELP_RUN; }
    void Define(CLI::App& app) override;
    [[nodiscard]] bool Check() override;
    [[nodiscard]] int Run(CToolSession& session) override;

private:
    [[nodiscard]] eExitCode Send(CToolSession& session) const;
    [[nodiscard]] eExitCode Print(CToolSession& session) const;
    [[nodiscard]] bool WriteAnswer(CToolSession& session, std::wstring& error) const;
    [[nodiscard]] bool WriteFile(CToolSession& session, const ByteSource& source, std::wstring& error) const;
    /// Takes back what was sent, or has it cancelled, and removes what it leaves.
    void Withdraw(CToolSession& session) const;
    [[nodiscard]] bool TakeBack(CToolSession& session, std::chrono::nanoseconds end) const;
    [[nodiscard]] bool Cancel(CToolSession& session, std::chrono::nanoseconds end) const;

    std::string m_file;
    CTaskOptions m_task;
    std::string m_given; ///< name
    std::string m_target;
    CFormatOption m_format;
    CTimeoutOption m_timeout;
    std::wstring m_name;
};
