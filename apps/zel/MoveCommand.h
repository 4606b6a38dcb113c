#pragma once

#include "apps/zel/SteerCommand.h"

/// Changes the order of what waits.
class CMoveCommand : public CSteerCommand {
public:
    [[nodiscard]] const char* Name() const override { return "move"; }
    [[nodiscard]] const STextCode& Description() const override { return ToolTexts::IDS_HELP_MOVE; }
    void Define(CLI::App& app) override;
    [[nodiscard]] bool Check() override;

protected:
    [[nodiscard]] eExitCode Steer(const STarget& target) override;

private:
    bool m_bFirst = false;
    bool m_bLast = false;
    std::string m_before;
    std::wstring m_other; ///< the name of m_before
};
