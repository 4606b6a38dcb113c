#pragma once

#include "apps/zel/Command.h"

#include <map>
#include <set>

/// Lists all requests that have a file anywhere, with their status.
class CListCommand : public ICommand {
public:
    [[nodiscard]] const char* Name() const override { return "list"; }
    [[nodiscard]] const STextCode& Description() const override { return ToolTexts::IDS_HELP_LIST; }
    void Define(CLI::App& app) override;
    [[nodiscard]] int Run(CToolSession& session) override;

    /// The names of requests that have a file there. False when the directory can't be read; one that does not exist is
    /// empty.
    [[nodiscard]] static bool AddNames(const std::wstring& directory, std::set<std::wstring>& names);

private:
    /// Positions by name, of those that wait: first those that the server has, in the order in which they came.
    using Positions = std::map<std::wstring, std::int64_t>;

    [[nodiscard]] eExitCode ListAll(CToolSession& session, const std::set<std::wstring>& names,
                                    const Positions& positions);
    void AddFileTexts(const CToolSession& session, const Positions& positions, SRequestState& state);
    [[nodiscard]] const std::wstring& OwnerName(const std::wstring& path);

    std::string m_sort;
    std::map<std::string, std::wstring> m_owners; ///< names of owners that were asked for
    std::vector<SRequestState> m_states;
};
