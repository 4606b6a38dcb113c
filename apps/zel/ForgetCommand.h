#pragma once

#include "apps/zel/Command.h"

/// Removes what requests that have ended left behind, so that their names are free again.
class CForgetCommand : public ICommand {
public:
    [[nodiscard]] const char* Name() const override { return "forget"; }
    [[nodiscard]] const STextCode& Description() const override { return ToolTexts::IDS_HELP_FORGET; }
    void Define(CLI::App& app) override;
    [[nodiscard]] bool Check() override;
    [[nodiscard]] int Run(CToolSession& session) override;

private:
    [[nodiscard]] eExitCode ForgetOne(CToolSession& session, const std::wstring& name) const;

    std::vector<std::string> m_given;
    std::vector<std::wstring> m_names;
    bool m_bFinished = false;
};
