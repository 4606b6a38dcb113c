#pragma once

#include "apps/zel/Command.h"

/// Looks at all that has to be right for requests to be served, and says what to do.
class CDoctorCommand : public ICommand {
public:
    [[nodiscard]] const char* Name() const override { return "doctor"; }
    [[nodiscard]] const STextCode& Description() const override { return ToolTexts::IDS_HELP_DOCTOR; }
    [[nodiscard]] bool NeedsNames() const override { return false; } // it tells of them
    [[nodiscard]] bool NeedsDirectories() const override { return false; }
    void Define(CLI::App& app) override;
    [[nodiscard]] int Run(CToolSession& session) override;
};
