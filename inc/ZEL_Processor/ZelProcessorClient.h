#pragma once

#include "ZEL_Processor/ZelExport.h"
#include "ZEL_Processor/ZelProcessorEnums.h"
#include "ZEL_Processor/ZelTypes.h"

#include <cstdint>

/// The requesting application's side: hands request files to a server and follows them. Every call works on the caller's thread, blocks
/// for as long as it takes, and is independent of the others; one object may be used by several threads once Init was called.
class ZEL_API CZelProcessorClient {
public:
    /// What is known of a request beside its status.
    class ZEL_API CAdditionalRequestStatus {
    public:
        CAdditionalRequestStatus();
        /// Copies all but the comment, which stays empty; assignment copies the comment too.
        CAdditionalRequestStatus(const CAdditionalRequestStatus& other);
        CAdditionalRequestStatus& operator=(const CAdditionalRequestStatus& other);

        /// Back to the initial values.
        void Clear();

        [[nodiscard]] eZelProcRequestStatus GetStatus() const;
        void SetStatus(eZelProcRequestStatus status);
        /// 1 and the percent (-1 when the writer knew none), or 0 and -1 when none was read.
        int GetProgress(std::int32_t& progress) const;
        void SetProgress(std::int32_t progress);
        [[nodiscard]] const CString& GetProgressComment() const;
        void SetProgressComment(const CString& comment);
        /// 1 and the time of the status file, or 0 and CTime(0).
        int GetTimeCreated(CTime& time) const;
        int GetTileModifyed(CTime& time) const;
        void SetTimes(const CTime& created, const CTime& modified);
        /// The status file's last write in seconds, 0 when unknown: what IsStatusFileChanged compares with.
        [[nodiscard]] std::int64_t GetSnapshotHash() const;

    protected:
        void Copy(const CAdditionalRequestStatus& other);

    private:
        eZelProcRequestStatus m_eStatus = eRequestStatus_NotIntialized;
        std::int32_t m_bHasProgress = 0;
        std::int32_t m_nProgress = -1;
        std::int32_t m_bHasTimes = 0;
        CString m_strProgressComment;
        CTime m_timeCreated;
        CTime m_timeModified;
    };

    CZelProcessorClient();
    virtual ~CZelProcessorClient();
    CZelProcessorClient(const CZelProcessorClient&) = delete;
    CZelProcessorClient& operator=(const CZelProcessorClient&) = delete;

    /// Absolute paths without a separator at the end: the directory that the server watches, the server's output directory, and a
    /// directory of this client's own, on the same volume as the first. Nothing is checked or touched.
    void Init(CString requestDirectory, CString outputDirectory, CString clientDirectory);
    /// Whether what is handed over is synced to the storage device (the default), so that a power cut loses nothing.
    void SetSyncing(bool syncing);

    /// Moves a finished request file into the request directory, replacing one of that name: the file leaves its place.
    /// eRequestStatus_Sent, or eRequestStatus_ClientError after a report. The file must be on the request directory's volume.
    [[nodiscard]] eZelProcRequestStatus SendRequest(const CString& requestPath);

    /// The status of a request, by its file name. additional may be null; it is cleared first.
    [[nodiscard]] eZelProcRequestStatus GetStatus(const CString& requestPath, CAdditionalRequestStatus* additional);
    /// Whether a full read of the status is worth while. Changes within one second are not seen. A missing file counts as changed.
    [[nodiscard]] bool IsStatusFileChanged(const CString& requestPath, std::int64_t snapshotHash);
    /// Moves the response to targetPath, replacing what is there, and removes the request's status file. For requests that are done. The
    /// target must be on the output directory's volume.
    [[nodiscard]] bool ReceiveOutput(const CString& requestPath, const CString& targetPath);

    /// A name that no other call gives, in this process or another: a GUID in braces, "_" and a counter. Safe from any thread.
    [[nodiscard]] static CString GetUniqueString();

private:
    friend struct SClientTestAccess;

    [[nodiscard]] eZelProcRequestStatus SendMessageToServer(const CString& messagePath);
    [[nodiscard]] eZelProcRequestStatus ReadStatusFile(const CString& path, CAdditionalRequestStatus* additional);
    /// Gives the status back, so that it can be returned with what was set.
    static eZelProcRequestStatus SetRequestStatus(CAdditionalRequestStatus* additional, const CString& text,
                                                  eZelProcRequestStatus status);
    [[nodiscard]] CString GetFileInRequestDirFullPath(const CString& path) const;
    [[nodiscard]] CString GetFileInQueueFullPath(const CString& path) const;
    [[nodiscard]] CString GetOutputFilePath(const CString& path) const;
    [[nodiscard]] CString GetStatusFilePath(const CString& path) const;
    [[nodiscard]] unsigned MoveFlags() const;

    CString m_strRequestDir = L"invalid";
    CString m_strOutputDir = L"invalid";
    CString m_strClientDir;
    bool m_bSyncing = true;
};
