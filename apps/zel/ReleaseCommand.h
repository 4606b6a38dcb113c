#pragma once

#include "apps/zel/QueueCommand.h"

/// Lets a queue that is held go on.
class CReleaseCommand : public CQueueCommand {
public:
    [[nodiscard]] const char* Name() const override { return "release"; }
    [[nodiscard]] const STextCode& Description() const override { return ToolTexts::IDS_HELP_RELEASE; }

protected:
    [[nodiscard]] std::wstring Word() const override { return L"ReleaseQueue"; }
    [[nodiscard]] eZelProcRequestStatus Order(CZelProcessorClient& client) const override
    {
        return client.ReleaseQueue();
    }
    [[nodiscard]] const STextCode& DoneWord() const override { return ToolTexts::IDS_WORD_RELEASED; }
};
