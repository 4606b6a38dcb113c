/* The hand-over of requests with crash and resume, for spin. Every step is one on the disk, and between any two of them
 * any process may be killed and start again. What lies on the disk survives that; nothing else does.
 *
 * The assertions are the promise: a request is answered, or its failure told, once; it never runs after that; a response
 * and a request are whole; a request that ends its server does not do so for ever; and where it may have run before, that
 * is said. A state in which a client waits and nobody takes a step any more is an error, too: that request is lost.
 *
 * model.py runs it. STEERING has requests cancelled, paused and refused as well. With PLANTED_... the model has a fault,
 * which must be found. With TRACE it makes those runs only that a watcher of the directories saw. */

#ifndef CLIENTS
#define CLIENTS 2
#endif
#ifndef REQUESTS
#define REQUESTS 3
#endif
#ifndef ATTEMPTS /* how often a request may begin to run */
#define ATTEMPTS 2
#endif
#ifdef PLANTED_ONE_LOOK
#define LOOKS 1
#else
#define LOOKS 3 /* at all places, before a client takes a name for unknown */
#endif

/* Where the server is with a request. That is in its memory. */
mtype = { asleep, stranger, waits, held, begun, writing, written, answered, failing, broken, refusing, refused,
    cancelling, removed, again, lost, late, mended }
mtype = { none, running, paused, done, failed, cancelled } /* what a status file says */
mtype = { nothing, part, whole }                           /* a file */
mtype = { open, received, told }                           /* what its client knows of the end */
mtype = { down, resuming, serving }                        /* the server */
mtype = { Handed, Taken, Status, Response, Discarded, Unqueued, Received, Cleared, Crash, Start } /* as watchers see it */

typedef Request {
    mtype sent = nothing;     /* in the request directory */
    bit queued;               /* in Queue */
    mtype status = none;
    mtype response = nothing; /* in the output directory */
    byte attempts;            /* runs that were recorded as interrupted */
    mtype memory = asleep;
    mtype end = open;
    byte began;               /* runs, as nobody in the system counts them */
    bit said;                 /* that it runs again */
}
Request R[REQUESTS];
mtype server = down;
bit busy; /* one runs */

#ifdef TRACE
#include "trace.pml" /* seen[], at, length and number; inline ChooseTrace */
#define SEEN(event) (at < length && seen[at] == event)
#define SEE at++
#else
#define SEEN(event) true
#define SEE skip
#endif
#define NEW_STATUS(i) (R[i].status != none || SEEN(Status))
#define NEW_RESPONSE(i) (R[i].response != nothing || SEEN(Response))
#define HAS_END(i) (R[i].status == done || R[i].status == failed || R[i].status == cancelled)

inline Write(i, value)
{
    if
    :: R[i].status == none -> SEE
    :: else
    fi;
    R[i].status = value
}
inline Discard(i)
{
    if
    :: R[i].response != nothing -> SEE
    :: else
    fi;
    R[i].response = nothing
}
#define CAN_DISCARD(i) (R[i].response == nothing || SEEN(Discarded))

/* What the server does with one request, step by step. */
#define IS(state) (server == serving && R[i].memory == state)
proctype Life(byte i)
{
end: do
    :: atomic { IS(stranger) && R[i].sent != nothing && !R[i].queued && SEEN(Taken) ->
           SEE;
           assert(R[i].sent == whole);
           R[i].queued = 1;
#ifdef PLANTED_TAKEN_BY_COPY
           R[i].memory = late }
    :: atomic { IS(late) -> R[i].sent = nothing; R[i].memory = waits }
#else
           R[i].sent = nothing; R[i].memory = waits }
#endif

    /* It runs. */
    :: atomic { IS(waits) && !busy && NEW_STATUS(i) ->
           Write(i, running);
           busy = 1; R[i].memory = begun; R[i].began++;
           assert(R[i].end == open);
           assert(R[i].began <= ATTEMPTS);
           assert(R[i].began == 1 || R[i].said) }
#ifdef PLANTED_UNQUEUED_FIRST
    :: atomic { IS(begun) && R[i].queued -> R[i].queued = 0 }
#endif
    :: atomic { IS(begun) && NEW_RESPONSE(i) ->
           if
           :: R[i].response == nothing -> SEE
           :: else
           fi;
           R[i].response = part;
           R[i].memory = writing }
#ifdef PLANTED_DONE_BEFORE_RESPONSE
    :: atomic { IS(writing) -> R[i].queued = 0; R[i].status = done; R[i].memory = late }
    :: atomic { IS(late) -> R[i].response = whole; R[i].memory = stranger; busy = 0 }
#else
    :: atomic { IS(writing) -> R[i].response = whole; R[i].memory = written }
#endif
#ifdef PLANTED_DONE_BEFORE_UNQUEUED
    :: atomic { IS(written) -> R[i].status = done; R[i].memory = late }
    :: atomic { IS(late) -> R[i].queued = 0; R[i].memory = stranger; busy = 0 }
#else
    :: atomic { IS(written) && SEEN(Unqueued) -> SEE; R[i].queued = 0; R[i].memory = answered }
    :: atomic { IS(answered) -> R[i].status = done; R[i].memory = stranger; busy = 0 }
#endif

    /* It fails, or is cancelled as it runs, whatever its task has written by then. */
#ifdef PLANTED_PART_LEFT
    :: atomic { (IS(begun) || IS(writing)) -> R[i].memory = failing }
#else
    :: atomic { (IS(begun) || IS(writing)) && CAN_DISCARD(i) -> Discard(i); R[i].memory = failing }
#endif
    :: atomic { IS(failing) && SEEN(Unqueued) -> SEE; R[i].queued = 0; R[i].memory = broken }
    :: atomic { IS(broken) -> R[i].status = failed; R[i].memory = stranger; busy = 0 }
    :: atomic { IS(broken) -> R[i].status = cancelled; R[i].memory = stranger; busy = 0 }

#ifdef STEERING
    /* One too many of its owner. */
    :: atomic { IS(stranger) && R[i].sent == whole && !R[i].queued && NEW_STATUS(i) ->
           Write(i, running);
           R[i].memory = refusing }
    :: atomic { IS(refusing) -> R[i].sent = nothing; R[i].memory = refused }
    :: atomic { IS(refused) -> R[i].status = failed; R[i].memory = stranger }

    /* Cancelled before it runs. No end is told before the file is gone: its client could clear that, and a server that
     * is killed just then would find a file that waits. */
#ifdef PLANTED_CANCELLED_FIRST
    :: atomic { (IS(waits) || IS(held)) && NEW_STATUS(i) -> Write(i, cancelled); R[i].memory = late }
    :: atomic { IS(late) -> R[i].queued = 0; R[i].memory = stranger }
#else
    :: atomic { (IS(waits) || IS(held)) && NEW_STATUS(i) -> Write(i, running); R[i].memory = cancelling }
    :: atomic { IS(cancelling) && SEEN(Unqueued) -> SEE; R[i].queued = 0; R[i].memory = removed }
    :: atomic { IS(removed) -> R[i].status = cancelled; R[i].memory = stranger }
#endif

    /* Paused, and going on. */
    :: atomic { IS(waits) && NEW_STATUS(i) -> Write(i, paused); R[i].memory = held }
    :: atomic { IS(held) && SEEN(Cleared) -> SEE; R[i].status = none; R[i].memory = waits }
#endif

    /* A start looks at what lies there. */
#define FOUND(what) (server == resuming && R[i].memory == asleep && (what))
#define RESUMING(state) (server == resuming && R[i].memory == state)
#ifdef PLANTED_START_DELETES
    :: atomic { FOUND(R[i].queued) -> R[i].queued = 0; R[i].memory = stranger }
#else
    :: atomic { FOUND(R[i].queued && R[i].status == none) -> R[i].memory = waits }
    :: atomic { FOUND(R[i].queued && R[i].status == paused) -> R[i].memory = held }
    :: atomic { FOUND(R[i].queued && HAS_END(i)) && SEEN(Unqueued) -> SEE; R[i].queued = 0; R[i].memory = stranger }
#endif
    /* Interrupted: what it has written is of no use, and may be taken for a response when a cancel is interrupted. */
#ifdef PLANTED_OLD_PART_STAYS
    :: atomic { FOUND(R[i].queued && R[i].status == running) -> R[i].memory = again }
#else
    :: atomic { FOUND(R[i].queued && R[i].status == running) && CAN_DISCARD(i) -> Discard(i); R[i].memory = again }
#endif
    :: atomic { RESUMING(again) && R[i].attempts + 1 < ATTEMPTS ->
#ifndef PLANTED_NO_RECORD
           R[i].attempts++;
#endif
#ifndef PLANTED_NOT_SAID
           R[i].said = 1;
#endif
           R[i].memory = waits }
    :: atomic { RESUMING(again) && R[i].attempts + 1 >= ATTEMPTS && SEEN(Unqueued) ->
           SEE;
           R[i].queued = 0;
           R[i].memory = lost }
    :: atomic { RESUMING(lost) -> R[i].status = failed; R[i].memory = stranger }
    /* Only the end was missing. */
    :: atomic { FOUND(!R[i].queued && R[i].status == running && R[i].sent != nothing) && SEEN(Cleared) ->
           SEE;
           R[i].status = none;
           R[i].memory = stranger }
#ifdef PLANTED_LEFT_RUNNING
    :: atomic { FOUND(!R[i].queued && R[i].status == running && R[i].sent == nothing) -> R[i].memory = stranger }
#else
    :: atomic { FOUND(!R[i].queued && R[i].status == running && R[i].sent == nothing) ->
           if
           :: R[i].response != nothing -> R[i].status = done
           :: else -> R[i].status = failed
           fi;
           R[i].memory = stranger }
#endif
    :: atomic { FOUND(!R[i].queued && R[i].status != running) -> R[i].memory = stranger }
    od
}

#define READY(i) (i >= REQUESTS || (R[i].memory != asleep && R[i].memory != again && R[i].memory != lost))
#define FORGET(i) if :: i < REQUESTS -> R[i].memory = asleep :: else fi

active proctype Server()
{
end: do
    :: atomic { server == down && SEEN(Start) -> SEE; server = resuming }
    :: atomic { server == resuming && READY(0) && READY(1) && READY(2) -> server = serving }
    :: atomic { server != down && SEEN(Crash) ->
           SEE;
           server = down; busy = 0;
           FORGET(0); FORGET(1); FORGET(2) }
    :: atomic { server == serving -> break } /* nobody kills it any more */
    od
}

/* A client has several requests, sends them all and waits for all. Whatever it does to the disk it may be killed then,
 * and begin again: what it knows is what it had received or told. */
#define MAY_DIE if :: skip :: goto begin fi

inline Send(i)
{
#ifdef PLANTED_SENT_BY_COPY
    R[i].sent = part;
    MAY_DIE;
#endif
    atomic { SEEN(Handed) -> SEE; R[i].sent = whole }
}

proctype Client(byte me)
{
    byte r, looks;
begin:
    atomic { r = me; looks = 0 };
    do
    :: r < REQUESTS && R[r].end == open ->
       /* A name that it may have sent already is looked for. */
       do
       :: looks < LOOKS ->
          if :: R[r].status != none -> break :: else fi;
          if :: R[r].queued -> break :: else fi;
          if :: R[r].sent != nothing -> break :: else fi;
          looks++
       :: else -> Send(r); MAY_DIE; break
       od;
       atomic { looks = 0; r = r + CLIENTS }
    :: r < REQUESTS && R[r].end != open -> r = r + CLIENTS
    :: r >= REQUESTS -> break
    od;
    r = me;
    do
    :: atomic { r < REQUESTS && R[r].end == open && R[r].status == done && SEEN(Received) ->
           SEE;
           assert(R[r].response == whole);
           R[r].response = nothing;
           R[r].end = received };
       MAY_DIE
    /* One that it does not want is deleted, its status last. */
    :: atomic { r < REQUESTS && R[r].end == open && R[r].status == done && SEEN(Discarded) ->
           SEE;
           assert(R[r].response == whole);
           R[r].response = nothing;
           R[r].end = received };
       MAY_DIE
    :: atomic { r < REQUESTS && R[r].end == open && (R[r].status == failed || R[r].status == cancelled) ->
           R[r].end = told };
       MAY_DIE
    :: atomic { r < REQUESTS && R[r].end != open && HAS_END(r) && SEEN(Cleared) -> SEE; R[r].status = none };
       MAY_DIE
    :: atomic { r < REQUESTS && R[r].end != open && !HAS_END(r) -> r = r + CLIENTS }
    :: r >= REQUESTS -> break
    od
}

init
{
    byte i;
    atomic {
#ifdef TRACE
        ChooseTrace();
#endif
        do
        :: i < REQUESTS -> run Life(i); i++
        :: else -> break
        od;
        i = 0;
        do
        :: i < CLIENTS -> run Client(i); i++
        :: else -> break
        od
    }
#ifdef TRACE
    atomic { at == length -> c_code { printf("accepted %d\n", now.number); } }
#endif
}
