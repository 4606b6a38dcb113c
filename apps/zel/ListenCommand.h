#pragma once

#include "apps/zel/Command.h"

/// Tells of changes in the data until it is stopped.
class CListenCommand : public ICommand {
public:
    [[nodiscard]] const char* Name() const override { return "listen"; }
    [[nodiscard]] const STextCode& Description() const override { return ToolTexts::IDS_HELP_LISTEN; }
    void Define(CLI::App& app) override;
    [[nodiscard]] int Run(CToolSession& session) override;
};
