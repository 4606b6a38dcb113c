#pragma once

#include "apps/zel/KeptCommand.h"

/// Removes a request that failed and is kept.
class CDiscardCommand : public CKeptCommand {
public:
    [[nodiscard]] const char* Name() const override { return "discard"; }
    [[nodiscard]] const STextCode& Description() const override { return ToolTexts::IDS_HELP_DISCARD; }

protected:
    [[nodiscard]] std::wstring Word() const override { return L"DiscardFailed"; }
    [[nodiscard]] Command Order() const override { return &CZelProcessorClient::DiscardFailed; }
    [[nodiscard]] const STextCode& DoneWord() const override { return ToolTexts::IDS_WORD_DISCARDED; }
};
