#pragma once

#include "apps/zel/SteerCommand.h"

/// Cancels requests that wait or run.
class CCancelCommand : public CSteerCommand {
public:
    [[nodiscard]] const char* Name() const override { return "cancel"; }
    [[nodiscard]] const STextCode& Description() const override { return ToolTexts::IDS_HELP_CANCEL; }

protected:
    [[nodiscard]] eExitCode Steer(const STarget& target) override;

private:
    /// False when the request is still in the request directory after the server's time, or the user does not wait.
    [[nodiscard]] static bool WaitUntilTaken(const STarget& target);
};
