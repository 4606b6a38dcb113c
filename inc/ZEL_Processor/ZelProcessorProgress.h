#pragma once

#include "ZEL_Processor/ZelProcessorEnums.h"

#include <cstdint>

/// Through this a task reports how far it is. The server passes an object that publishes every report in the request's
/// status file. Called on the thread that runs the request; one thread at a time. The object belongs to the caller of
/// the task and must not be kept beyond the call.
class CZelProcessorProgress {
public:
    /// Sets the range of positions and the position to 0, and publishes the percent.
    virtual void SetRange(std::uint64_t low, std::uint64_t high) = 0;
    /// Sets the position and publishes the percent. Each call rewrites the status file: call it when the percent
    /// changes, not for every row.
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
