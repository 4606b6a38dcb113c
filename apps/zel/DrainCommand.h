#pragma once

#include "apps/zel/QueueCommand.h"

/// Has the server end when it has done what it has to do.
class CDrainCommand : public CQueueCommand {
public:
    [[nodiscard]] const char* Name() const override { return "drain"; }
    [[nodiscard]] const STextCode& Description() const override { return ToolTexts::IDS_HELP_DRAIN; }
    void Define(CLI::App& app) override;
    [[nodiscard]] int Run(CToolSession& session) override;

protected:
    [[nodiscard]] eExitCode Steer(const STarget& target) override;
    [[nodiscard]] std::wstring Word() const override { return L"DrainServer"; }
    [[nodiscard]] eZelProcRequestStatus Order(CZelProcessorClient& client) const override
    {
        return client.DrainServer();
    }
    [[nodiscard]] const STextCode& DoneWord() const override { return ToolTexts::IDS_WORD_DRAINS; }

private:
    bool m_bWait = false;
    CTimeoutOption m_timeout;
};
