#pragma once

#include "apps/zel/ToolSession.h"

#include "ToolTexts.h"

/// One command of the tool. A command defines its options and arguments on a parser of its own, and runs when it was
/// chosen.
class ICommand {
public:
    virtual ~ICommand() = default;
    ICommand(const ICommand&) = delete;
    ICommand& operator=(const ICommand&) = delete;

    [[nodiscard]] virtual const char* Name() const = 0;
    [[nodiscard]] virtual const STextCode& Description() const = 0;
    virtual void Define(CLI::App& app) = 0;
    /// Checks what the parser can't. False after a message: usage. Called before Run, without a session.
    [[nodiscard]] virtual bool Check() { return true; }
    [[nodiscard]] virtual int Run(CToolSession& session) = 0;

protected:
    ICommand() = default;
};

/// Names of requests as users give them: the final component of each counts, so that completed paths work.
[[nodiscard]] std::vector<std::wstring> ToRequestNames(const std::vector<std::string>& given);

/// False, after a message, when one of the names can't be a request's.
[[nodiscard]] bool CheckRequestNames(const std::vector<std::wstring>& names);
