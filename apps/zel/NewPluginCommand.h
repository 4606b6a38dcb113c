#pragma once

#include "apps/zel/Command.h"

/// Makes a folder with the beginnings of a plug-in.
class CNewPluginCommand : public ILocalCommand {
public:
    [[nodiscard]] const char* Name() const override { return "new-plugin"; }
    [[nodiscard]] const STextCode& Description() const override { return ToolTexts::IDS_HELP_NEW_PLUGIN; }
    void Define(CLI::App& app) override;
    [[nodiscard]] bool Check() override;
    [[nodiscard]] int Run() override;

private:
    std::string m_given;
};
