#pragma once

#include "apps/zel/PauseCommand.h"

/// Lets paused requests go on, and no others.
class CResumeCommand : public CPauseCommand {
public:
    [[nodiscard]] const char* Name() const override { return "resume"; }
    [[nodiscard]] const char* Description() const override
    {
        return "Let paused requests go on, before all others that wait";
    }

protected:
    [[nodiscard]] eExitCode Steer(const STarget& target) override;
};
