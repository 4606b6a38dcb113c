#pragma once

#include "apps/zel/Command.h"

/// Takes the response of a request that has ended; of one that failed, tells why and makes its name free.
class CReceiveCommand : public ICommand {
public:
    [[nodiscard]] const char* Name() const override { return "receive"; }
    [[nodiscard]] const STextCode& Description() const override { return ToolTexts::IDS_HELP_RECEIVE; }
    void Define(CLI::App& app) override;
    [[nodiscard]] bool Check() override;
    [[nodiscard]] int Run(CToolSession& session) override;

private:
    std::string m_given;
    std::string m_target;
    std::wstring m_strName;
};
