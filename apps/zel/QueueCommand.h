#pragma once

#include "apps/zel/SteerCommand.h"

/// Base of the commands for the queue as a whole, which name no request.
class CQueueCommand : public CSteerCommand {
public:
    void Define(CLI::App&) override {}
    [[nodiscard]] bool Check() override { return true; }
    [[nodiscard]] int Run(CToolSession& session) override;

protected:
    [[nodiscard]] eExitCode Steer(const STarget& target) override;
    /// That of the protocol, which the server must have among its commands.
    [[nodiscard]] virtual std::wstring Word() const = 0;
    [[nodiscard]] virtual eZelProcRequestStatus Order(CZelProcessorClient& client) const = 0;
    /// What it says when it is done.
    [[nodiscard]] virtual const STextCode& DoneWord() const = 0;
};
