#pragma once

#include "apps/zel/SteerCommand.h"

/// Base of the commands for requests that failed and are kept: by their names, or all.
class CKeptCommand : public CSteerCommand {
public:
    void Define(CLI::App& app) override;
    [[nodiscard]] bool Check() override;
    [[nodiscard]] int Run(CToolSession& session) override;

protected:
    [[nodiscard]] eExitCode Steer(const STarget& target) override;
    /// That of the protocol, which the server must have among its commands.
    [[nodiscard]] virtual std::wstring Word() const = 0;
    /// Which asks the server for it.
    [[nodiscard]] virtual Command Order() const = 0;
    /// What it says when it is done.
    [[nodiscard]] virtual const STextCode& DoneWord() const = 0;

private:
    std::vector<std::string> m_given;
    std::vector<std::wstring> m_names;
    bool m_bAll = false;
};
