#pragma once

#include "apps/zel/SteerCommand.h"

/// Pauses requests that wait. To pause one that is paused lets it go on, as the protocol has it.
class CPauseCommand : public CSteerCommand {
public:
    [[nodiscard]] const char* Name() const override { return "pause"; }
    [[nodiscard]] const STextCode& Description() const override { return ToolTexts::IDS_HELP_PAUSE; }

protected:
    [[nodiscard]] eExitCode Steer(const STarget& target) override;
    /// Sends the command and tells what it did.
    [[nodiscard]] static eExitCode Toggle(const STarget& target);

private:
    /// What is known of what the command did.
    [[nodiscard]] static const STextCode& WordFor(eZelProcRequestStatus before, eZelProcRequestStatus after);
};
