#pragma once

#include "apps/zel/Command.h"

#include <set>

/// Lists all requests that have a file anywhere, with their status.
class CListCommand : public ICommand {
public:
    [[nodiscard]] const char* Name() const override { return "list"; }
    [[nodiscard]] const STextCode& Description() const override { return ToolTexts::IDS_HELP_LIST; }
    void Define(CLI::App& app) override;
    [[nodiscard]] int Run(CToolSession& session) override;

private:
    /// False when the directory can't be read; one that does not exist is empty.
    [[nodiscard]] static bool AddNames(const std::wstring& directory, std::set<std::wstring>& names);
};
