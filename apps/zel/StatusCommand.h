#pragma once

#include "apps/zel/Command.h"

/// Tells the status of requests.
class CStatusCommand : public ICommand {
public:
    [[nodiscard]] const char* Name() const override { return "status"; }
    [[nodiscard]] const STextCode& Description() const override { return ToolTexts::IDS_HELP_STATUS; }
    void Define(CLI::App& app) override;
    [[nodiscard]] bool Check() override;
    [[nodiscard]] int Run(CToolSession& session) override;

private:
    std::vector<std::string> m_given;
    std::vector<std::wstring> m_names;
};
