#pragma once

#include "apps/zel/Command.h"

/// Tells of changes in the data until it is stopped.
class CListenCommand : public ICommand {
public:
    [[nodiscard]] const char* Name() const override { return "listen"; }
    [[nodiscard]] const char* Description() const override
    {
        return "Tell of changes in the server's data until Ctrl-C";
    }
    void Define(CLI::App& app) override;
    [[nodiscard]] int Run(CToolSession& session) override;
};
