#pragma once

/// How long somebody waits for what a command does.
class IPatience {
public:
    IPatience() = default;
    IPatience(const IPatience&) = delete;
    IPatience& operator=(const IPatience&) = delete;

    /// True once the user pressed Ctrl-C or the tool is to stop for another reason.
    [[nodiscard]] virtual bool IsInterrupted() = 0;
    /// False when a wait is to end: the tool is to stop, or the time is over.
    [[nodiscard]] virtual bool GoOn() = 0;
    /// True when a wait was ended so.
    [[nodiscard]] virtual bool HasGivenUp() const = 0;

protected:
    ~IPatience() = default;
};
