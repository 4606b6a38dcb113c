#pragma once

#include "apps/zel/Command.h"
#include "apps/zel/Follower.h"
#include "apps/zel/TaskRequest.h"

/// Sends request files, and on demand waits for them and takes their responses.
class CSendCommand : public ICommand {
public:
    [[nodiscard]] const char* Name() const override { return "send"; }
    [[nodiscard]] const STextCode& Description() const override { return ToolTexts::IDS_HELP_SEND; }
    void Define(CLI::App& app) override;
    [[nodiscard]] bool Check() override;
    [[nodiscard]] int Run(CToolSession& session) override;

private:
    struct SItem {
        std::wstring source; ///< a file; empty for what the options say
        std::wstring name;
        bool isSent = false;
        eExitCode code = eExitCode_Done;
    };

    [[nodiscard]] bool MakeItems();
    [[nodiscard]] bool MakeTaskItem();
    /// The name of the request from this file.
    [[nodiscard]] std::wstring NameFor(const std::wstring& file) const;
    [[nodiscard]] bool CheckTarget() const;
    /// Before anything is sent. Done, or the exit code after a message.
    [[nodiscard]] eExitCode TryTarget(CToolSession& session) const;
    [[nodiscard]] eExitCode SendItem(CToolSession& session, SItem& item);
    /// Interrupted when the user did not wait for all.
    [[nodiscard]] eFollowEnd FinishItems(CToolSession& session);
    [[nodiscard]] eExitCode Collect(CToolSession& session, const SRequestState& state);
    [[nodiscard]] eExitCode FailToReceive(CToolSession& session, const std::wstring& name, std::wstring error);

    std::vector<std::string> m_files;
    CTaskOptions m_task;
    std::string m_name;
    std::string m_target;
    bool m_bMove = false;
    bool m_bWait = false;
    bool m_bUnique = false;
    bool m_bKeep = false;
    CTimeoutOption m_timeout;
    std::vector<SItem> m_items;
};
