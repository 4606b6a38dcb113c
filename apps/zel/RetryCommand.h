#pragma once

#include "apps/zel/KeptCommand.h"

/// Has a request that failed wait for its turn again.
class CRetryCommand : public CKeptCommand {
public:
    [[nodiscard]] const char* Name() const override { return "retry"; }
    [[nodiscard]] const STextCode& Description() const override { return ToolTexts::IDS_HELP_RETRY; }

protected:
    [[nodiscard]] std::wstring Word() const override { return L"RetryFailed"; }
    [[nodiscard]] Command Order() const override { return &CZelProcessorClient::RetryFailed; }
    [[nodiscard]] const STextCode& DoneWord() const override { return ToolTexts::IDS_WORD_RETRIED; }
};
