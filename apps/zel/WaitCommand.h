#pragma once

#include "apps/zel/Command.h"

/// Waits for the end of requests.
class CWaitCommand : public ICommand {
public:
    [[nodiscard]] const char* Name() const override { return "wait"; }
    [[nodiscard]] const STextCode& Description() const override { return ToolTexts::IDS_HELP_WAIT; }
    void Define(CLI::App& app) override;
    [[nodiscard]] bool Check() override;
    [[nodiscard]] int Run(CToolSession& session) override;

private:
    std::vector<std::string> m_given;
    std::vector<std::wstring> m_names;
    CTimeoutOption m_timeout;
};
