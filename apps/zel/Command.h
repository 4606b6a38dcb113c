#pragma once

#include "apps/zel/ToolSession.h"

#include "ToolTexts.h"

/// One command of the tool. A command defines its options and arguments on a parser of its own, and runs when it was
/// chosen.
class IAnyCommand {
public:
    virtual ~IAnyCommand() = default;
    IAnyCommand(const IAnyCommand&) = delete;
    IAnyCommand& operator=(const IAnyCommand&) = delete;

    [[nodiscard]] virtual const char* Name() const = 0;
    [[nodiscard]] virtual const STextCode& Description() const = 0;
    virtual void Define(CLI::App& app) = 0;
    /// Checks what the parser can't. False after a message: usage. Called before Run, without a session.
    [[nodiscard]] virtual bool Check() { return true; }
    /// One that needs a server has the options that name its directories.
    [[nodiscard]] virtual bool NeedsServer() const = 0;
    /// The exit code.
    [[nodiscard]] virtual int Start(const CToolOptionsParser& common) = 0;

protected:
    IAnyCommand() = default;
};

/// A command that speaks to a server.
class ICommand : public IAnyCommand {
public:
    [[nodiscard]] bool NeedsServer() const final { return true; }
    /// Whether a directory that is not named ends it before it runs,
    [[nodiscard]] virtual bool NeedsNames() const { return true; }
    /// and one that is missing.
    [[nodiscard]] virtual bool NeedsDirectories() const { return true; }
    [[nodiscard]] int Start(const CToolOptionsParser& common) final;
    [[nodiscard]] virtual int Run(CToolSession& session) = 0;
};

/// A command that needs none.
class ILocalCommand : public IAnyCommand {
public:
    [[nodiscard]] bool NeedsServer() const final { return false; }
    [[nodiscard]] int Start(const CToolOptionsParser&) final { return Check() ? Run() : eExitCode_Usage; }
    [[nodiscard]] virtual int Run() = 0;
};

/// Names of requests as users give them: the final component of each counts, so that completed paths work.
[[nodiscard]] std::vector<std::wstring> ToRequestNames(const std::vector<std::string>& given);

/// False, after a message, when one of the names can't be a request's.
[[nodiscard]] bool CheckRequestNames(const std::vector<std::wstring>& names);
