#pragma once

#include "apps/zel/PauseCommand.h"

/// Lets paused requests go on, and no others.
class CResumeCommand : public CPauseCommand {
public:
    [[nodiscard]] const char* Name() const override { return "resume"; }
    [[nodiscard]] const STextCode& Description() const override { return ToolTexts::IDS_HELP_RESUME; }

protected:
    [[nodiscard]] eExitCode Steer(const STarget& target) override;
};
