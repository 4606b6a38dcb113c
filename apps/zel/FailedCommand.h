#pragma once

#include "Kernel/ZEL_Processor/ZEL_Processor/protocol/FailedRecord.h"
#include "apps/zel/Command.h"

#include <cstdint>
#include <string>
#include <vector>

/// One that failed and is kept, as its files tell.
struct SKeptRequest {
    std::wstring name;
    SFailedRecord record;
    std::uint64_t size = 0;
    std::wstring owner;
    std::string client; ///< the attribute of that name
};

/// Lists the requests that failed and that the server keeps.
class CFailedCommand : public ICommand {
public:
    [[nodiscard]] const char* Name() const override { return "failed"; }
    [[nodiscard]] const STextCode& Description() const override { return ToolTexts::IDS_HELP_FAILED; }
    void Define(CLI::App&) override {}
    [[nodiscard]] int Run(CToolSession& session) override;

    /// The last one first. False after a message, when the folder can't be read; one that does not exist is empty.
    [[nodiscard]] static bool Find(const CToolSession& session, std::vector<SKeptRequest>& kept);
};
