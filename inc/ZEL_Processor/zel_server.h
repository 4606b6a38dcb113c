#ifndef ZEL_PROCESSOR_ZEL_SERVER_H
#define ZEL_PROCESSOR_ZEL_SERVER_H

/* A server in a process of one's own, for C. What ZEL_Processor/zel.h says of all functions holds here, too. */

#include "ZEL_Processor/zel.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct zel_server zel_server;

/** An error report of the library, or of a plug-in. */
typedef struct zel_report {
    uint32_t size;
    int32_t line;         /**< a constant of the report, with source */
    int64_t time;         /**< when */
    const char* source;   /**< in the library */
    const char* function; /**< the reporting function */
    const char* message;  /**< in the language of the process, or in English */
} zel_report;

enum { ZEL_ANSWER_OK = 1, ZEL_ANSWER_YES = 6, ZEL_ANSWER_NO = 7 };
/** A box for the operator. */
typedef struct zel_message {
    uint32_t size;
    int32_t is_question;    /**< 1: the answer counts */
    uint32_t style;         /**< 4: yes and no; 16: an error; 48: a warning; sums of these */
    int32_t default_answer; /**< what nobody would have answered */
    const char* text;       /**< in the language of the process */
} zel_message;

/** How a server is. */
enum {
    ZEL_SERVER_RUNS = 1,
    ZEL_SERVER_FAILED = 2, /**< it ended itself, because memory ran out, say: nothing more is accepted or run */
    ZEL_SERVER_DRAINED = 3 /**< somebody told it to drain, and it has: nothing more is accepted or run */
};

/** What zel_server_options_init sets: what the library does when nothing is set, which is the file protocol as its
 * oldest clients know it; or what zel-server does. docs/server-options.md compares them. */
enum { ZEL_SERVER_PROTOCOL = 0, ZEL_SERVER_USUAL = 1 };

/** Where no meaning is told: that of the member of SZelServerOptions (ZEL_Processor/ZelServerOptions.h) that is named
 * alike. What is yes or no is 1 or 0. What a request may be (xmlLimits there) cannot be set here: the limits of the
 * library hold. */
typedef struct zel_server_options {
    uint32_t size;
    int32_t manual; /**< 1: the queue advances by zel_server_step alone */

    /** The callbacks, each of which may be null. They are called on threads of the server, report and message also on
     * other ones of the process and by several at once. They must return soon, and may call anything but
     * zel_server_stop and zel_server_drain. Structures are valid for the call. */
    void* context;
    /** In place of a line of the log. For the whole process, but for what becomes the error of a client's call. */
    void (*report)(void* context, const zel_report* report);
    /** The same. Returns the answer. */
    int32_t (*message)(void* context, const zel_message* message);
    /** A request was completed, and its response is in place. */
    void (*done)(void* context);
    /** The server failed or was drained (ZEL_SERVER_...): somebody is to call zel_server_stop on another thread. */
    void (*ended)(void* context, int32_t how);

    /** Folders of plug-ins, each with a file NAME.component beside the module; what is added stays for the process. */
    size_t plugin_folder_count;
    const char* const* plugin_folders;

    int32_t syncing;
    int32_t cancel_by_name;
    int32_t requests_only;
    int32_t paused_status;
    int32_t own_lists;
    int32_t presence;
    int32_t take_turns;
    int32_t private_files;
    int32_t follow_links;
    int32_t tell_refused;
    int32_t tell_reasons;
    int32_t tell_story;
    int32_t retry_last_status;
    int32_t resume;
    int32_t fail_interrupted; /**< interrupted: 1 is eInterrupted_Fail */
    int32_t checked_watch;
    int32_t request_attributes;
    int32_t fair;
    int32_t operator_commands; /**< with it zel_server_drain, and the end that is told */
    int32_t retry_back_off;
    int32_t tell_slots;
    int32_t isolation;     /**< isolation.isOn: tasks run in processes of their own, zel-task-host */
    int32_t sandbox;       /**< isolation.sandbox */
    int32_t allow_network; /**< isolation.allowNetwork */
    uint32_t slots;        /**< how many requests run at once, 1 to 64 */
    uint32_t attempts;
    uint32_t recycle;        /**< isolation.recycle */
    uint32_t nice;           /**< isolation.nice */
    uint64_t max_queued;     /**< of one user; 0: any number */
    uint64_t max_clients;    /**< of one user; 0: any number */
    uint64_t events_limit;   /**< bytes */
    uint64_t memory_limit;   /**< isolation.memoryLimit, bytes */
    uint64_t recycle_memory; /**< isolation.recycleMemory, bytes */
    int64_t poll_ms;
    int64_t patience_ms; /**< negative: as long as it takes */
    int64_t busy_warning_ms;
    int64_t crash_report_ms; /**< crashReportTime */
    int64_t time_limit_ms;
    int64_t grace_ms;
    int64_t keep_s;
    int64_t keep_failed_s;
    const char* task_host; /**< isolation.program; null: zel-task-host beside the program */
} zel_server_options;
/** Fills in size bytes, sizeof(zel_server_options), with ZEL_SERVER_PROTOCOL or ZEL_SERVER_USUAL; callbacks and folders
 * are none. */
ZEL_C_API zel_code zel_server_options_init(zel_server_options* options, size_t size, int32_t kind);

/** Starts a server over two directories that are there, and returns when requests are accepted. ATTENTION: unless
 * resume is set, every file in the output directory and its folder Queue is deleted, registrations of clients included.
 * Options may be null: then there must be plug-ins that were added before. One server at a time in a process:
 * ZEL_WRONG_TIME. ZEL_NO_PLUGIN when no plug-in can be used, ZEL_FILE_ERROR when a directory is missing or refused,
 * ZEL_SYSTEM_ERROR. It makes no claim to the directories: see to it that no other server has them. Plug-ins that watch
 * their data are not asked to: zel_server_tell_changes tells. To be stopped. */
ZEL_C_API zel_code zel_server_start(const char* request_directory, const char* output_directory,
                                    const zel_server_options* options, zel_server** server);
/** With manual: lets the next request run, or the one that waits for it just now. ZEL_WRONG_TIME when the server is
 * being stopped. */
ZEL_C_API zel_code zel_server_step(zel_server* server);
/** Switches manual on (1) or off (0). ZEL_WRONG_TIME, too. */
ZEL_C_API zel_code zel_server_set_manual(zel_server* server, int32_t manual);
/** How it is, in *state: ZEL_SERVER_.... */
ZEL_C_API zel_code zel_server_state(zel_server* server, int32_t* state);
/** Whether its threads have gone on since the call before, in *progress, for a watchdog: some seconds between two
 * calls. */
ZEL_C_API zel_code zel_server_makes_progress(zel_server* server, int32_t* progress);
/** Takes nothing more, and waits until what runs has ended; without resume also what waits. To be stopped then.
 * ZEL_TIMEOUT: it goes on draining. ZEL_STOPPED: another thread stops it. ZEL_SYSTEM_ERROR: it failed. ZEL_REFUSED
 * without operator_commands. A queue that is held has to be released. */
ZEL_C_API zel_code zel_server_drain(zel_server* server, int64_t timeout_ms);
/** Stops it, and returns when its threads have ended, which takes as long as the running requests do; with cancel these
 * are told that they are cancelled. The handle is closed. ZEL_WRONG_TIME in a callback. */
ZEL_C_API zel_code zel_server_stop(zel_server* server, int32_t cancel);

/** Tells every registered client of a change in the data, and which palette groups follow from it. Takes up to some
 * seconds where a client holds its files, unless own_lists is set. ZEL_WRONG_TIME when the server is being stopped. A
 * client that cannot be told is no failure; report is called. */
ZEL_C_API zel_code zel_server_tell_changes(zel_server* server, const zel_event* event);
/** Tells them that results of locking changed. Fails as the one before. */
ZEL_C_API zel_code zel_server_tell_lock_results(zel_server* server);

#ifdef __cplusplus
}
#endif

#endif
