#pragma once

#include "ZEL_Processor/ZelProcessorEnums.h"
#include "ZEL_Processor/ZelTypes.h"
#include "platform/FileSystem.h"

#include <functional>

/// Writes and reads one status file. Writer and readers, in whatever process, exclude each other by opening it without
/// sharing and try again while it is open elsewhere: nobody sees a half-written file. The file is never synced to the
/// device; it tells of the moment. One thread at a time.
class CZelProcessorRequestStatusFile {
public:
    /// Touches no file. The logger's name is kept with the object.
    CZelProcessorRequestStatusFile(CString loggerName, CString statusFilePath);
    virtual ~CZelProcessorRequestStatusFile();

    /// Replaces the file by the status alone. Writers show a box and return false when the file can't be opened.
    virtual bool WriteStatus(eZelProcRequestStatus status);
    virtual bool WriteStatusAndPercent(eZelProcRequestStatus status, std::int32_t percent);

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
    };
    /// All of it through one open: no two parts come from different writes. goOn: asked before every further try to
    /// open it; an empty one waits for as long as it takes.
    eReadResult ReadContent(SContent& content, const std::function<bool()>& goOn = {});

protected:
    bool WriteText(const CString& text);

private:
    bool ReadText(CString& text);
    bool CanNotOpen() const; ///< shows it; false

    CString m_strLoggerName;
    CString m_strStatusFilePath;
};
