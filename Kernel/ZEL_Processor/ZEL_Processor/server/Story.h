#pragma once

#include "ZEL_Processor/ZelTypes.h"

#include <chrono>

class CZelProcessorProgressStatusFile;

/// What a host that wants it (SZelServerOptions::tellStory) reads in the log of the way of each request and command:
/// one line for each step, of the level "info", a failure with its reason of the level "error". Whose line it is the
/// thread's subject tells. What others have written is cut, and stays on its line. From any thread.
namespace Story {

/// A request was taken into the queue, where its file is.
void TellReceived(const CString& queuePath);
/// type: of the task that is about to run.
void TellStarted(const CString& type);
/// Its task declined it; it will be asked again, and nothing told until it takes it.
void TellDeclined();
/// The run has ended with the status that was written last. type: of the task, empty when it is not known.
void TellEnded(const CZelProcessorProgressStatusFile& status, const CString& type, std::chrono::nanoseconds duration,
               const CString& responsePath);
/// what: what the command asked for; empty of one that could not be read.
void TellCommand(const CString& what, const CZelProcessorProgressStatusFile& status);

} // namespace Story
