#pragma once

#include "ZEL_Processor/ZelProcessorEnums.h"
#include "ZEL_Processor/ZelTypes.h"
#include "platform/FileSystem.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

/// Writes and reads one status file. Writer and readers, in whatever process, exclude each other by opening it without
/// sharing and try again while it is open elsewhere: nobody sees a half-written file. The file is never synced to the
/// device; it tells of the moment. One thread at a time.
class CZelProcessorRequestStatusFile {
public:
    /// Touches no file. The logger's name is kept with the object. pGoOn, when given, outlives the object; once it is
    /// false, somebody who keeps the file open is waited for half a second more in all and then no longer: readers need
    /// microseconds, and the last status of a request is worth as much as that.
    CZelProcessorRequestStatusFile(CString loggerName, CString statusFilePath,
                                   const std::atomic<bool>* pGoOn = nullptr);
    virtual ~CZelProcessorRequestStatusFile();

    /// How long all writes together wait for somebody who keeps the file open; then each tries once. 0: no limit.
    void SetPatience(std::chrono::milliseconds patience) { m_patience = patience; }
    /// Counts each further try of a wait, for whoever looks whether the writer gets on. The number outlives the object.
    void SetTurns(std::atomic<std::uint32_t>* pTurns) { m_pTurns = pTurns; }
    /// That it cannot be written is told to the log when it begins, with the reason, and when it is over, in the place
    /// of a box or report for each write.
    void SetToldOnce(bool isToldOnce) { m_isToldOnce = isToldOnce; }
    /// What the last write could not put into the file, for which LastWriteError has the reason. Empty else.
    [[nodiscard]] const std::string& Unwritten() const { return m_unwritten; }

    /// Replaces the file by the status alone. Writers show a box and return false when the file can't be opened.
    virtual bool WriteStatus(eZelProcRequestStatus status);
    virtual bool WriteStatusAndPercent(eZelProcRequestStatus status, std::int32_t percent);

    /// Of the last write: None, or why the file could not be opened or written.
    [[nodiscard]] platform::eOsError LastWriteError() const { return m_writeError; }

    /// Each opens the file anew. On failure the value is eRequestStatus_ClientError, -1 or empty.
    bool ReadStatus(eZelProcRequestStatus& status);
    bool ReadProgressPercent(std::int32_t& percent);
    bool ReadProgressComment(CString& comment);

    enum eReadResult {
        eRead_Ok,
        eRead_CanNotOpen, ///< after a box
        eRead_NoStatus,
        eRead_Absent, ///< there is no file
        eRead_Stopped ///< goOn was false while the file was open elsewhere
    };
    struct SContent {
        eZelProcRequestStatus status = eRequestStatus_NotIntialized;
        bool hasPercent = false;
        std::int32_t percent = -1;
        bool hasComment = false;
        CString comment;
        bool hasTimes = false;
        platform::SFileTimes times;
        platform::eOsError error = platform::eOsError_None; ///< of the opening
    };
    /// All of it through one open: no two parts come from different writes. goOn: asked before every further try to
    /// open it; an empty one waits for as long as it takes.
    eReadResult ReadContent(SContent& content, const std::function<bool()>& goOn = {});

protected:
    bool WriteText(const CString& text);

private:
    bool ReadText(CString& text);
    bool CanNotOpen() const; ///< shows it; false
    platform::eOsError OpenWhenFree(platform::eOpenMode mode, const std::function<bool()>& goOn = {});
    [[nodiscard]] bool HasPatience();
    platform::eOsError WriteAndClose(const std::string& bytes);
    void TellUnopened();
    [[nodiscard]] bool TellOnce();
    void TellWritten();

    CString m_strLoggerName;
    CString m_strStatusFilePath;
    const std::atomic<bool>* m_pGoOn;
    std::atomic<std::uint32_t>* m_pTurns = nullptr;
    std::chrono::nanoseconds m_patienceEnd{0};  ///< 0 until the first wait after the end of going on
    std::unique_ptr<platform::IFile> m_pOpened; ///< open only during a call, and after one that a fault ended
    platform::eOsError m_writeError = platform::eOsError_None;
    std::chrono::nanoseconds m_patience{0};
    std::chrono::nanoseconds m_waited{0};    ///< by the writes so far
    std::chrono::nanoseconds m_waitStart{0}; ///< of this write; 0 until it waits
    bool m_isHeldTold = false;
    bool m_isToldOnce = false;
    bool m_isFailureTold = false;
    std::string m_unwritten;
};
