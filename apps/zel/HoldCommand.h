#pragma once

#include "apps/zel/QueueCommand.h"

/// Has the server start nothing until the queue is released.
class CHoldCommand : public CQueueCommand {
public:
    [[nodiscard]] const char* Name() const override { return "hold"; }
    [[nodiscard]] const STextCode& Description() const override { return ToolTexts::IDS_HELP_HOLD; }

protected:
    [[nodiscard]] std::wstring Word() const override { return L"HoldQueue"; }
    [[nodiscard]] eZelProcRequestStatus Order(CZelProcessorClient& client) const override { return client.HoldQueue(); }
    [[nodiscard]] const STextCode& DoneWord() const override { return ToolTexts::IDS_WORD_HELD; }
};
