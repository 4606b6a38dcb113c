#pragma once

#include "apps/zel/Command.h"
#include "apps/zel/CommandClient.h"

#include <cstdint>
#include <optional>

/// Asks a data source for one property of one item.
class CPropertiesCommand : public ICommand {
public:
    [[nodiscard]] const char* Name() const override { return "properties"; }
    [[nodiscard]] const STextCode& Description() const override { return ToolTexts::IDS_HELP_PROPERTIES; }
    void Define(CLI::App& app) override;
    [[nodiscard]] bool Check() override;
    [[nodiscard]] int Run(CToolSession& session) override;

private:
    /// Writes the request and hands it over; false with the reason.
    [[nodiscard]] bool Send(CToolSession& session, CCommandClient& client, const std::wstring& name,
                            std::wstring& error) const;
    /// Takes the response and prints the value.
    [[nodiscard]] eExitCode Collect(CToolSession& session, CCommandClient& client, const SRequestState& state) const;

    std::string m_dataSource;
    std::string m_property;
    std::optional<std::int64_t> m_id;
    std::string m_name;
    bool m_bFirst = false;
    CTimeoutOption m_timeout;
};
