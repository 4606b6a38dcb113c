#ifndef ZEL_PROCESSOR_ZEL_H
#define ZEL_PROCESSOR_ZEL_H

/* The library for C, and for every language that can call C: an application that sends requests and hears of changes.
 * A server of one's own is in ZEL_Processor/zel_server.h. C99 and any C++; needs nothing but two headers of the
 * compiler. A first program: docs/c-interface.md.
 *
 * What holds for all functions:
 *
 * Text is UTF-8, ended by a zero. A null pointer where none is allowed, text that is no UTF-8, an empty text where one
 * is needed, and what is beyond a ZEL_MAX_... is ZEL_BAD_ARGUMENT, and nothing was done.
 *
 * Handles are numbers that look like pointers and are never used twice: one that was closed, is of another kind, or
 * null is ZEL_BAD_ARGUMENT. Closing null is ZEL_OK.
 *
 * Any thread may call anything at any time, unless a function says otherwise. A thread need not be prepared for COM:
 * each call does that for its own length where it has to; on Windows a choice that the thread made before stays.
 *
 * No function throws, ends the process or writes to standard output. Memory that runs out is ZEL_NO_MEMORY.
 *
 * What is given through a pointer to a pointer is one block with all that it points to, and the caller's until
 * zel_free. It is null after a failure, unless the function says otherwise. For a block, the argument may be null: then
 * nothing is given.
 *
 * Structures begin with their size, so that older and newer libraries know how much is there. Where the caller fills
 * them the ..._init functions set it, or he does. Those that the library gives may be longer than they are known here:
 * so arrays have pointers to them.
 *
 * Times to wait are in milliseconds; ZEL_FOREVER and every other negative number has no end. Points in time are seconds
 * since 1970-01-01 UTC; 0 stands for none.
 *
 * For processes of 64 bits alone, where the system has one calling convention: that of C.
 *
 * Not promised: anything in a process made by fork, in a signal handler, or after the end of main. */

#include <stddef.h>
#include <stdint.h>

#ifndef ZEL_C_API
#define ZEL_C_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Versions, errors, memory ---- */

/** Grows with what is added. A program built with one number runs with every library that has it or a larger one; what
 * is taken away takes another name of the library (docs/versioning.md). */
#define ZEL_ABI_VERSION 1
ZEL_C_API uint32_t zel_abi_version(void);
/** "0.1.0". Never to be freed. */
ZEL_C_API const char* zel_version(void);

#define ZEL_FOREVER (-1)
#define ZEL_MAX_PATH_BYTES 32767
#define ZEL_MAX_NAMES 1000000
#define ZEL_MAX_TEXT_BYTES 1073741824 /**< of a request that is sent, or a response that is read into memory */

/** Why a call has nothing to give. */
typedef int32_t zel_code;
enum {
    ZEL_OK = 0,
    ZEL_TIMEOUT = 1,         /**< the time is over; what was waited for may still come */
    ZEL_STOPPED = 2,         /**< zel_client_stop or zel_client_close ended it */
    ZEL_BAD_NAME = 3,        /**< no request can have this name */
    ZEL_BAD_ARGUMENT = 4,    /**< see above */
    ZEL_NAME_IN_USE = 5,     /**< a request, a status or a response of this name is there */
    ZEL_UNKNOWN_REQUEST = 6, /**< there is no request of this name, or no longer */
    ZEL_NOT_ENDED = 7,       /**< the request waits or runs */
    ZEL_HAS_ENDED = 8,       /**< too late: the request is at its end */
    ZEL_HAS_STARTED = 9,     /**< too late: the request runs */
    ZEL_NOT_PAUSED = 10,     /**< the request is not known as paused */
    ZEL_CANCELED = 11,       /**< the request was cancelled */
    ZEL_FAILED = 12,         /**< the request ended with an error; the detail is the server's */
    ZEL_NO_ANSWER = 13,      /**< no server answered in the time that it has */
    ZEL_REFUSED = 14,        /**< the server answered that it will not */
    ZEL_FILE_ERROR = 15,     /**< a file cannot be read, written or moved */
    ZEL_SYSTEM_ERROR = 16,   /**< the system refuses something else */
    ZEL_NO_SERVER = 17,      /**< no server was there for as long as the options say; it may still come */
    ZEL_WOKEN = 18,          /**< zel_waker_wake ended the wait */
    ZEL_NO_MEMORY = 19,      /**< memory ran out */
    ZEL_WRONG_TIME = 20,     /**< another thread is in it, or a callback calls what it must not; a server is there */
    ZEL_NO_PLUGIN = 21,      /**< a server without plug-ins */
    ZEL_INTERNAL = 22        /**< a mistake of the library; the detail tells */
};

/** Why the last call of this thread that failed did so; ZEL_OK and empty texts before. Calls that succeed leave it.
 * Never null; valid until the next call of this thread that fails, and not in other threads. */
typedef struct zel_error {
    uint32_t size;
    zel_code code;
    const char* text;   /**< a sentence for the user, in the language of the process */
    const char* detail; /**< what happened to what, on one line, for a log: in English, with the words of system or
                           server; may be empty */
} zel_error;
ZEL_C_API const zel_error* zel_last_error(void);

/** The sentence of a code in the language of the process, as zel_error::text. Valid until the next such call of this
 * thread. */
ZEL_C_API const char* zel_code_text(zel_code code);
/** "timeout": a word for programs, the same in all versions; "unknown" for another number. Never to be freed. */
ZEL_C_API const char* zel_code_name(zel_code code);

/** The language of all texts for people in this process: "de", "de_AT.UTF-8"; null or empty for that of the
 * environment. English where there is none, and for a language that has no texts, which is ZEL_OK. */
ZEL_C_API zel_code zel_set_language(const char* language);

/** Gives back a block of the library; null is fine. Anything else is a mistake that can end the process, as with free.
 */
ZEL_C_API void zel_free(void* block);

/** Where the lines of the library's log go, for the whole process: without a callback to standard error. The callback
 * is called on any thread, by several at once, must be quick, and must not call the library. The texts are valid for
 * the call. Levels: 0 trace, 1 debug, 2 info, 3 warning, 4 error, 5 critical; ones below least are dropped. When this
 * returns an earlier callback may still run on another thread. */
typedef void (*zel_log_callback)(void* context, int32_t level, const char* logger, const char* text);
ZEL_C_API zel_code zel_set_log(zel_log_callback callback, void* context, int32_t least);

/* ---- A client ---- */

typedef struct zel_client zel_client;
typedef struct zel_waker zel_waker;
typedef struct zel_follower zel_follower;
typedef struct zel_watch zel_watch;
typedef struct zel_listener zel_listener;

typedef struct zel_client_options {
    uint32_t size;
    int32_t syncing;       /**< 1: what is sent is on the storage device when the call returns */
    int32_t allow_reading; /**< 0. 1: the owner of the request directory may read what is sent (POSIX) */
    int32_t checked_watch; /**< 0. 1: other machines may change the directories: look where no change is told, too */
    int64_t poll_ms;       /**< 0. With checked_watch: look so often */
    int64_t command_timeout_ms; /**< 10,000: for the answer to a command */
    /** 30,000: how long a wait goes on without a server, then ZEL_NO_SERVER; 0: to its end. Counted anew in each wait:
     * who waits in short pieces looks with zel_get_server_info himself. */
    int64_t server_absence_ms;
    const char* own_directory; /**< null: for files on their way, on the volume of the requests; null: there */
} zel_client_options;
/** Fills in size bytes, sizeof(zel_client_options), with what is given above. */
ZEL_C_API zel_code zel_client_options_init(zel_client_options* options, size_t size);

/** A client of the server with these two directories, absolute or relative to the current one; nothing is checked or
 * touched yet. Options may be null. To be closed. */
ZEL_C_API zel_code zel_client_open(const char* request_directory, const char* output_directory,
                                   const zel_client_options* options, zel_client** client);
/** Ends what waits, on any thread, and each later wait of this client: ZEL_STOPPED. For good. What does not wait works
 * on, and callbacks go on. */
ZEL_C_API zel_code zel_client_stop(zel_client* client);
/** The same, and ends its callbacks: waits for one that runs. Its followers and watches are told nothing more, and are
 * still to be closed, as its listeners are. ZEL_WRONG_TIME in a callback. Requests go on. */
ZEL_C_API zel_code zel_client_close(zel_client* client);

/* ---- Sending ----
 * A request is known by its name, which is that of its file: it ends in .drq or .xml. */

/** Hands a copy of a file over, as name, or with null under its own. Returns when it is in the request directory.
 * ZEL_BAD_NAME, ZEL_NAME_IN_USE, ZEL_FILE_ERROR, ZEL_STOPPED; then nothing was handed over. The name is given. */
ZEL_C_API zel_code zel_send_file(zel_client* client, const char* path, const char* name, char** sent);
/** The same with a text of so many bytes, which need not end with a zero, as it is (a request is XML in the encoding
 * that it names); null as name: one that nobody else uses. */
ZEL_C_API zel_code zel_send_text(zel_client* client, const char* text, size_t length, const char* name, char** sent);

/** One of many: either path or text. */
typedef struct zel_order {
    uint32_t size;
    uint32_t reserved;
    const char* path;
    const char* text;
    size_t length; /**< of text */
    const char* name;
} zel_order;
typedef struct zel_names {
    uint32_t size;
    uint32_t reserved;
    size_t count;
    const char* const* names;
} zel_names;
/** Sends many in this order, and goes on after one that fails: codes, which may be null, has count codes then; names
 * the names, empty for what was not sent, and is given with a failure, too. ZEL_OK, or the first failure. The orders
 * have the size of the first one. */
ZEL_C_API zel_code zel_send_many(zel_client* client, const zel_order* orders, size_t count, zel_code* codes,
                                 zel_names** names);
/** A name that nobody else uses, for a request that is sent later. ZEL_SYSTEM_ERROR. */
ZEL_C_API zel_code zel_unique_name(char** name);

/* ---- Statuses and waiting ---- */

/** Where a request is: the numbers of the file protocol. Newer servers may have others. */
enum {
    ZEL_STATE_UNKNOWN = -1,       /**< it has started or ended, and its status is not written yet */
    ZEL_STATE_CLIENT_ERROR = 0,   /**< the status cannot be read; the comment tells why */
    ZEL_STATE_SERVER_ERROR = 1,   /**< it failed; the comment has the reason */
    ZEL_STATE_SERVER_TIMEOUT = 2, /**< the server did not answer in time */
    ZEL_STATE_SENT = 3,           /**< handed over */
    ZEL_STATE_NOT_REQUESTED = 4,  /**< no such request is known */
    ZEL_STATE_WAITING = 5,        /**< in the queue, or on its way there */
    ZEL_STATE_STARTED = 6,        /**< taken out of the queue */
    ZEL_STATE_PARSING = 7,        /**< the request is being read */
    ZEL_STATE_CALCULATING = 8,    /**< its task computes */
    ZEL_STATE_GETTING_DATA = 9,   /**< its task obtains data */
    ZEL_STATE_PREPARING = 10,     /**< the response is being written */
    ZEL_STATE_CANCELED = 11,      /**< it was cancelled */
    ZEL_STATE_PAUSED = 12,        /**< waits until it is resumed */
    ZEL_STATE_DONE = 13           /**< the response is there */
};
/** "server-error": a word for programs, the same in all versions; "unknown" for another number. Never to be freed. */
ZEL_C_API const char* zel_state_name(int32_t state);

typedef struct zel_status {
    uint32_t size;
    int32_t state;
    int32_t percent;     /**< 0 to 100; -1 when the task does not tell */
    int32_t has_ended;   /**< 1: nothing more comes: done, cancelled, failed, or no such request */
    int64_t changed;     /**< when it was written */
    const char* name;    /**< of the request */
    const char* comment; /**< words of server or task, in the server's language; may be empty, or have several lines */
} zel_status;

/** Where a request is now. Reads a file or two. ZEL_OK whatever the state is; ZEL_BAD_NAME. */
ZEL_C_API zel_code zel_get_status(zel_client* client, const char* name, zel_status** status);

/** Sleeps until the request has ended; with 0 it only looks. ZEL_OK when it is done; else ZEL_CANCELED, ZEL_FAILED,
 * ZEL_UNKNOWN_REQUEST, ZEL_NO_ANSWER or ZEL_FILE_ERROR: it has ended, too. ZEL_TIMEOUT, ZEL_NO_SERVER, ZEL_STOPPED,
 * ZEL_WOKEN: it has not. The last status is given with all of these. The waker may be null. */
ZEL_C_API zel_code zel_wait(zel_client* client, const char* name, int64_t timeout_ms, zel_waker* waker,
                            zel_status** status);
/** Sleeps until one of count requests has ended, however it did: ZEL_OK, its place in *index, and its status. One that
 * ended before, or is unknown, counts. ZEL_TIMEOUT, ZEL_NO_SERVER, ZEL_STOPPED, ZEL_WOKEN. Looks at all with every
 * change: for thousands, zel_follow is better. */
ZEL_C_API zel_code zel_wait_any(zel_client* client, const char* const* names, size_t count, int64_t timeout_ms,
                                zel_waker* waker, size_t* index, zel_status** status);

/** Ends waits from another thread, of any client, one waker as many as there are. It stays in force until it is reset:
 * a wait that begins later ends at once. To be closed, which wakes, too. */
ZEL_C_API zel_code zel_waker_open(zel_waker** waker);
ZEL_C_API zel_code zel_waker_wake(zel_waker* waker);
ZEL_C_API zel_code zel_waker_reset(zel_waker* waker);
ZEL_C_API zel_code zel_waker_close(zel_waker* waker);

/* ---- Callbacks, for programs with a loop of their own ----
 * They run on threads of the library, one call at a time for each client (followers) and for each watch. They return
 * soon, and usually only post something to the loop. They may call what they want, but close the client or wait for
 * another callback; closing their own follower or watch is allowed. Structures are valid for the call. */

/** Has the callback told the status now, and whenever it changed, until the request has ended. Quick changes may be
 * told as one. One thread of the client serves all its followers. The first call may come before this returns;
 * *follower is set by then. To be closed, also after the end: when that returns, the callback does not run and will
 * not, unless it is the callback that closes. ZEL_BAD_NAME, ZEL_STOPPED, ZEL_SYSTEM_ERROR: no thread; then *follower is
 * null. */
typedef void (*zel_status_callback)(void* context, const zel_status* status);
ZEL_C_API zel_code zel_follow(zel_client* client, const char* name, zel_status_callback callback, void* context,
                              zel_follower** follower);
ZEL_C_API zel_code zel_follower_close(zel_follower* follower);

/** Has the callback called when something may have changed in the output directory, of which statuses, responses and
 * what listeners take are part: once in the beginning, then at most fifty times a second, and without a change at least
 * once a second. A thread of its own for each watch. To be closed, as a follower is. ZEL_SYSTEM_ERROR: no thread. A
 * directory that is missing or cannot be watched is ZEL_OK: the callback is called some four times a second until it is
 * there. */
typedef void (*zel_change_callback)(void* context);
ZEL_C_API zel_code zel_watch_open(zel_client* client, zel_change_callback callback, void* context, zel_watch** watch);
ZEL_C_API zel_code zel_watch_close(zel_watch* watch);

/* ---- Steering and receiving ---- */

/** Asks the server to cancel it, once the server has taken it, and returns with the server's answer: the request ends
 * when its task looks, so wait for that. ZEL_UNKNOWN_REQUEST, ZEL_HAS_ENDED, ZEL_NO_ANSWER, ZEL_REFUSED,
 * ZEL_FILE_ERROR, ZEL_STOPPED. After ZEL_NO_ANSWER and ZEL_STOPPED it may still be cancelled. A server that keeps to
 * the protocol alone cancels another request when this one ends just then. */
ZEL_C_API zel_code zel_cancel(zel_client* client, const char* name);
/** Keeps it from starting; nothing when it is paused. ZEL_HAS_STARTED, or as zel_cancel. A server that keeps to the
 * protocol alone shows one that is paused as waiting, and a second pause there is a resume. */
ZEL_C_API zel_code zel_pause(zel_client* client, const char* name);
/** Lets a paused one start as the next. ZEL_NOT_PAUSED, or as zel_cancel. */
ZEL_C_API zel_code zel_resume(zel_client* client, const char* name);

/** Moves the response of one that is done to a file, which is replaced, or into a folder that is there, on any volume,
 * and frees the name. ZEL_NOT_ENDED, ZEL_FILE_ERROR, ZEL_STOPPED, or as zel_wait. After a failure the response is still
 * there.
 */
ZEL_C_API zel_code zel_receive(zel_client* client, const char* name, const char* target);
/** The same into memory; behind the bytes is a zero, which length does not count. ZEL_FILE_ERROR beyond
 * ZEL_MAX_TEXT_BYTES. The response is removed once it has been read as a whole: who must not lose it with his process
 * takes zel_receive. The bytes are given with a failure, too, when they were read and then something could not be
 * removed (ZEL_FILE_ERROR, ZEL_STOPPED): zel_forget frees the name later. */
typedef struct zel_bytes {
    uint32_t size;
    uint32_t reserved;
    size_t length;
    const char* bytes;
} zel_bytes;
ZEL_C_API zel_code zel_receive_bytes(zel_client* client, const char* name, zel_bytes** bytes);
/** Removes response and status of one that has ended, however it did. Nothing when there is none. ZEL_NOT_ENDED,
 * ZEL_FILE_ERROR, ZEL_STOPPED. */
ZEL_C_API zel_code zel_forget(zel_client* client, const char* name);

/* ---- What is there ---- */

enum { ZEL_PLACE_REQUESTS = 1, ZEL_PLACE_QUEUE = 2, ZEL_PLACE_OUTPUT = 3 };
typedef struct zel_entry {
    uint32_t size;
    int32_t place; /**< where its file lies: sent and not taken, in the queue, or nothing but what came of it */
    const zel_status* status; /**< with its name */
    int64_t bytes;            /**< of the request or response; -1: not known */
    int64_t since;            /**< when that file came there */
    const char* owner;        /**< the user whose file it is; empty where files have none, or it is not known */
} zel_entry;
typedef struct zel_list {
    uint32_t size;
    uint32_t reserved;
    size_t count;
    const zel_entry* const* entries; /**< by name */
} zel_list;
/** All requests of the two directories, whoever sent them. ZEL_FILE_ERROR when one of them cannot be read. */
ZEL_C_API zel_code zel_list_requests(zel_client* client, zel_list** list);

typedef struct zel_plugin {
    uint32_t size;
    uint32_t reserved;
    const char* name;
    const char* module; /**< path */
    size_t task_type_count;
    const char* const* task_types; /**< none when it does not tell them */
} zel_plugin;
enum { ZEL_PRESENCE_UNKNOWN = 0, ZEL_PRESENCE_NONE = 1, ZEL_PRESENCE_SERVES = 2 };
typedef struct zel_server_info {
    uint32_t size;
    int32_t presence;    /**< unknown: nobody can tell, for the server makes no claim or it cannot be looked at */
    uint32_t process;    /**< its number; 0 when it is not known */
    int32_t has_stopped; /**< 1: the last one said so itself; 0: it was killed, if none serves */
    int32_t is_held;     /**< 1: nothing is started until zel_release_queue */
    int32_t reserved;
    int64_t started;
    int64_t ended;       /**< of the last one, when none serves: when it stopped, or was seen alive last */
    int64_t seen;        /**< of one that serves: when it showed life last */
    const char* version; /**< this and the following are empty when it tells nothing of itself */
    const char* request_directory;
    size_t option_count;
    const char* const* options; /**< in force, as words of a command line */
    size_t plugin_count;
    const zel_plugin* const* plugins;
    size_t left_out_count;
    const char* const* left_out; /**< plug-ins that are not used, with the reasons */
    uint64_t waiting;            /**< in its queue, as it is whether or not it serves */
    uint64_t paused;
    size_t running_count;
    const char* const* running; /**< names */
} zel_server_info;
/** Whether a server serves and what it tells of itself. What cannot be read is as if it was not there, so this
 * fails only for what is said of all functions. */
ZEL_C_API zel_code zel_get_server_info(zel_client* client, zel_server_info** info);

/* ---- For those who run a server ----
 * Taken by a server with operator commands, as zel-server is, from its administrators, or from whoever may write into a
 * request directory that only the server's account may write to. Others, and what cannot be done, give ZEL_REFUSED;
 * other servers ZEL_NO_ANSWER; ZEL_FILE_ERROR, ZEL_STOPPED. */

/** Nothing more is started, over restarts, until it is released; what runs goes on. */
ZEL_C_API zel_code zel_hold_queue(zel_client* client);
ZEL_C_API zel_code zel_release_queue(zel_client* client);
/** Has a request that waits run first or last, or before another one that waits (other, else null). */
enum { ZEL_MOVE_FIRST = 0, ZEL_MOVE_LAST = 1, ZEL_MOVE_BEFORE = 2 };
ZEL_C_API zel_code zel_move(zel_client* client, const char* name, int32_t where, const char* other);
/** Has the server take nothing more, and end when what runs has ended. Returns when it has begun with it. */
ZEL_C_API zel_code zel_drain_server(zel_client* client);

/** A request that failed and is kept by the server. */
typedef struct zel_failure {
    uint32_t size;
    uint32_t attempt;  /**< which one failed last, */
    uint32_t attempts; /**< of so many */
    uint32_t reserved;
    int64_t when;
    int64_t bytes; /**< of the request; -1: not known */
    const char* name;
    const char* reason;
    const char* crash_report; /**< path; empty when there is none */
    const char* owner;        /**< as of zel_entry */
} zel_failure;
typedef struct zel_failures {
    uint32_t size;
    uint32_t reserved;
    size_t count;
    const zel_failure* const* failures; /**< the newest first */
} zel_failures;
ZEL_C_API zel_code zel_list_failures(zel_client* client, zel_failures** failures);
/** Has one of them wait for its turn again, or removes it. */
ZEL_C_API zel_code zel_retry_failed(zel_client* client, const char* name);
ZEL_C_API zel_code zel_discard_failed(zel_client* client, const char* name);

/* ---- Changes in the data ---- */

typedef struct zel_guid {
    uint32_t data1;
    uint16_t data2;
    uint16_t data3;
    uint8_t data4[8];
} zel_guid;
/** Numbers of one data source: the ids of items, or the indexes of columns. */
typedef struct zel_numbers {
    uint32_t size;
    uint32_t reserved;
    zel_guid source;
    size_t count;
    const int32_t* numbers;
} zel_numbers;
typedef struct zel_sources {
    size_t count;
    const zel_numbers* const* sources;
} zel_sources;
enum {
    ZEL_EVENT_UNKNOWN = -1, /**< the event does not say */
    ZEL_EVENT_ITEMS = 0,    /**< items came, went or changed */
    ZEL_EVENT_SOURCES = 1,  /**< data sources came, went or got another structure */
    ZEL_EVENT_RELOAD = 2    /**< too much changed to tell: read everything again */
};
/** One change of the data, by data source. */
typedef struct zel_event {
    uint32_t size;
    int32_t kind;         /**< may be another number, from a newer server */
    zel_sources added;    /**< ids of new items */
    zel_sources changed;  /**< ids of items whose values changed */
    zel_sources removed;  /**< ids of items that are gone */
    zel_sources renamed;  /**< ids of items that have another name */
    zel_sources affected; /**< ids of items that follow from others that changed */
    zel_sources columns;  /**< indexes of the columns that changed, for the sources of changed */
    size_t source_count;
    const zel_guid* sources; /**< data sources that changed as a whole */
} zel_event;
/** What came since the last look; nothing is told twice. */
typedef struct zel_changes {
    uint32_t size;
    int32_t all_groups;   /**< 1: any palette group may have changed */
    int32_t lock_results; /**< 1: results of locking changed */
    int32_t reserved;
    size_t event_count;
    const zel_event* const* events; /**< oldest first */
    size_t group_count;
    const zel_guid* groups; /**< palette groups (what a user can insert) that changed */
} zel_changes;

/** Registers with the server, which takes as long as a command. A lost registration is made again. To be closed.
 * ZEL_NO_ANSWER, ZEL_REFUSED, ZEL_FILE_ERROR, ZEL_STOPPED. */
ZEL_C_API zel_code zel_listen(zel_client* client, zel_listener** listener);
/** What came since the last look, perhaps nothing: both counts 0 then, and both flags. ZEL_FILE_ERROR: somebody writes
 * just now, or the registration was lost and no server gives a new one; nothing was taken, and it comes with a later
 * look. ZEL_WRONG_TIME while another thread is in a call with this listener. */
ZEL_C_API zel_code zel_listener_take(zel_listener* listener, zel_changes** changes);
/** Sleeps until something came. ZEL_TIMEOUT, ZEL_NO_SERVER, ZEL_STOPPED, ZEL_WOKEN, or as zel_listener_take. After
 * ZEL_NO_SERVER it may be waited again. */
ZEL_C_API zel_code zel_listener_wait(zel_listener* listener, int64_t timeout_ms, zel_waker* waker,
                                     zel_changes** changes);
/** Unregisters, which can take as long as a command when no server answers. A call of another thread that is under way
 * is not waited for: then that unregisters. */
ZEL_C_API zel_code zel_listener_close(zel_listener* listener);

#ifdef __cplusplus
}
#endif

#endif
