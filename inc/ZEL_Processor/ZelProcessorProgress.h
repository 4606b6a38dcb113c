#pragma once

#include "ZEL_Processor/ZelProcessorEnums.h"

#include <cstdint>

/// The percent of a position, as status files have it: the position divided by a hundredth of the range's width, cut to
/// a whole number; 0 at or below the low end, 100 at or above the high end. The position itself counts, not its
/// distance from the low end: with a range that does not start at 0 the percent runs ahead of the linear share. Readers
/// know it so.
[[nodiscard]] inline std::int32_t ZelPercent(std::uint64_t low, std::uint64_t high, std::uint64_t position)
{
    if (position <= low || high <= low)
        return 0;
    if (position >= high)
        return 100;
    const double onePercent = static_cast<double>(high - low) / 100.0;
    const double percent = static_cast<double>(position) / onePercent;
    constexpr double kMost = 2147483647.0;
    return static_cast<std::int32_t>(percent < kMost ? percent : kMost);
}

/// Through this a task reports how far it is. The server passes an object that publishes every report in the request's
/// status file. Called on the thread that runs the request; one thread at a time. The object belongs to the caller of
/// the task and must not be kept beyond the call.
class CZelProcessorProgress {
public:
    /// Sets the range of positions and the position to 0, and publishes the percent.
    virtual void SetRange(std::uint64_t low, std::uint64_t high) = 0;
    /// Sets the position and publishes the percent. Each call rewrites the status file, but for a task whose kit paces
    /// it (ZelPluginTask.h): call it when the percent changes, not for every row.
    virtual void SetPos(std::uint64_t position) = 0;
    /// Sets the increment of StepIt; publishes nothing.
    virtual void SetStep(std::int32_t step) = 0;
    /// SetPos with the position + the step.
    virtual void StepIt() = 0;
    /// Replaces the comment and publishes. Copied; null counts as empty.
    virtual void SetComment(const wchar_t* comment) = 0;
    /// Replaces status and comment and publishes.
    virtual void SetStatusAndComment(eZelProcRequestStatus status, const wchar_t* comment) = 0;

protected:
    ~CZelProcessorProgress() = default;
};
