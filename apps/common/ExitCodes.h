#pragma once

/// How the programs end. The client tool's codes tell what became of a request; the numbers are documented in its
/// manual page.
enum eExitCode : int {
    eExitCode_Done = 0,
    eExitCode_ClientError = 1, ///< the server program: could not start or run
    eExitCode_Usage = 2,
    eExitCode_ServerError = 3,
    eExitCode_ServerTimeout = 4,
    eExitCode_NotRequested = 5,
    eExitCode_Canceled = 6,
    eExitCode_Timeout = 7,       ///< the tool's own --timeout ran out
    eExitCode_Interrupted = 130, ///< as shells have it for a program that was ended with Ctrl-C
};
