#pragma once

#include "apps/zel/Command.h"

/// Takes the responses of requests that have ended; of one that failed, tells why and makes its name free.
class CReceiveCommand : public ICommand {
public:
    [[nodiscard]] const char* Name() const override { return "receive"; }
    [[nodiscard]] const STextCode& Description() const override { return ToolTexts::IDS_HELP_RECEIVE; }
    void Define(CLI::App& app) override;
    [[nodiscard]] bool Check() override;
    [[nodiscard]] int Run(CToolSession& session) override;

private:
    [[nodiscard]] eExitCode ReceiveOne(CToolSession& session, const std::wstring& name) const;

    std::vector<std::string> m_given;
    std::string m_target;
    std::vector<std::wstring> m_names;
};
