/*
 * ox_mom.h - the object-store client.
 *
 * A store holds records: protocol-buffer messages, each in a numbered database. A record whose message has an `index`
 * sub-message (field 5) is a hash, written field by field; one without is a single object, written whole. Records are
 * addressed by a message of their own type with the index filled in and everything else at its default.
 *
 * Conventions that hold for every function here:
 *
 *  1. Threads. A client belongs to the thread that created it and has no thread of its own. A call from another thread
 *     returns OX_MOM_E_THREAD, one from a forked child OX_MOM_E_FORK; neither touches the client. A pointer to a client
 *     that has been destroyed is never a later client's: a call with it returns OX_MOM_E_DESTROYED, at any time, on any
 *     thread. A client leaves a few bytes behind for that.
 *  2. Callbacks. Every callback runs on the client's thread inside ox_mom_client_process(), except those of a scan,
 *     which run before ox_mom_scan_sync() returns. A callback may call any function of its client, process() and
 *     destroy() included, and it may end its thread with pthread_exit(). What a callback is given is valid until it
 *     returns. A thread that is cancelled with pthread_cancel() ends at once where process() waits, and otherwise after
 *     the call: cancellation is held off in all of them, and in callbacks.
 *  3. Statuses. 0 is success, everything else one of the OX_MOM_E_ codes below; ox_mom_strerror() names a code,
 *     ox_mom_last_error() tells in words why this thread's latest call failed. Every call of a client may fail with
 *     ARGUMENT (a NULL argument), THREAD, FORK, DESTROYED (before the call, or by a callback of it) and MEMORY, every
 *     request (to read, write, delete, scan or subscribe) with NOT_CONNECTED, LOST, TIMEOUT, REFUSED and TYPE, one that
 *     reads with DECODE too. The functions name what else a code means there.
 *  4. Time. A request waits for the server no longer than OX_MOM_REQUEST_TIMEOUT_MS, a scan eleven times that, beside
 *     the time that its callbacks take. process(0) waits for a server only when it reads, after a reconnection,
 *     what is followed. A request that runs out of time closes its connection, so that a late answer is never taken for
 *     another's; the store is lost only when the connection for notifications is silent, too. Looking up a host's name
 *     takes a thread for that time, and holds nobody.
 *  5. Memory. Requests and records passed in are only read, and never kept. Results belong to the caller until the
 *     release function named with the call.
 *  6. Loss. While the store is lost requests fail at once with OX_MOM_E_LOST, and the client reconnects, inside
 *     process() and requests, with growing pauses; see ox_mom_client_set_reconnect_cb(). The loss is told once, each
 *     other reason that an attempt fails for once, and the return with what is loaded afresh: as category "ox_mom" of
 *     the logging layer when the program has one (ox_zlog.h), else on standard error, where that is open. So is a
 *     record that is skipped. ox_mom_client_status() tells the same at any time. A client for which 65,536
 *     notifications wait, or more than 64 MiB of them, because it does not call process(), is treated as one that
 *     has lost the store.
 *  7. Request connections. One that the server closed, as servers do with those that are idle, is opened again by the
 *     next request and is no loss. A write whose connection ends before its answer fails with LOST, whether it was done
 *     or not; a read is made again. A scan that a callback makes, and that ends with LOST or TIMEOUT, is a loss, so
 *     that what could not be loaded is loaded afresh.
 */
#ifndef OX_MOM_H
#define OX_MOM_H

#include <stdint.h>

#include <protobuf-c/protobuf-c.h>

#ifdef __cplusplus
extern "C" {
#endif
/* A program may define these functions itself and be called instead, even one that hides its symbols by default. */
#pragma GCC visibility push(default)

/* Every failure code: OX_MOM_E_name, number, text of ox_mom_strerror(). */
#define OX_MOM_ERRORS(X)                                                                                               \
    X(ARGUMENT, -101, "invalid argument")                                                                              \
    X(MEMORY, -102, "out of memory")                                                                                   \
    X(THREAD, -103, "called from a thread that does not own the client")                                               \
    X(FORK, -104, "called from a forked child of the client's process")                                                \
    X(STORE, -105, "the store's name is not understood")                                                               \
    X(NOT_CONNECTED, -106, "the database has not been connected")                                                      \
    X(CONNECT, -107, "cannot connect to the store")                                                                    \
    X(LOST, -108, "the connection to the store is lost")                                                               \
    X(TIMEOUT, -109, "the store did not answer in time")                                                               \
    X(REFUSED, -110, "the store refused the request")                                                                  \
    X(TYPE, -111, "the stored value is of another kind")                                                               \
    X(DECODE, -112, "the stored record does not decode")                                                               \
    X(DESTROYED, -113, "the client has been destroyed")

enum {
#define OX_MOM_ERROR_ENUM(name, code, text) OX_MOM_E_##name = (code),
    OX_MOM_ERRORS(OX_MOM_ERROR_ENUM)
#undef OX_MOM_ERROR_ENUM
};

enum {
    OX_MOM_REQUEST_TIMEOUT_MS = 3000 /* $OX_MOM_TIMEOUT_MS, read when a client is created, replaces it */
};

/* The meaning of a MomMsg (its cmd), and what its result then points to. */
enum {
    OX_MOM_CMD_WRITTEN = 1,    /* a single object was written: the decoded record */
    OX_MOM_CMD_DELETED = 3,    /* a record was deleted: the record as it last was; for a field callback, a
                                  MomHashResult whose record is NULL */
    OX_MOM_CMD_DELIVERED = 4,  /* a hash, by a write or a scan: a MomHashResult (of a scan of single objects: 1) */
    OX_MOM_CMD_SUBSCRIBED = 29 /* the subscription is established: NULL */
};

/* The type that a reconnection callback is told. */
enum {
    OX_MOM_RECONNECT_RESTORED = 1 /* the connection was lost and is back: load afresh, subscribe anew */
};

/* A client. Its inside is not for programs. */
typedef struct MomClient MomClient;

/* A hash record as read. */
typedef struct MomHashResult {
    ProtobufCMessage *record; /* NULL: there is no such record */
    int32_t *field_ids;       /* numbers of the fields present, the index's 5 included, ascending */
    uint32_t n_field_ids;     /* how many they are */
    uint32_t reserved[2];     /* 0 */
    int32_t error_code;       /* 0, or why the request failed: then record is NULL */
} MomHashResult;

/* A notification. */
typedef struct MomMsg {
    MomClient *client; /* that delivers it */
    int32_t db;        /* where the record is */
    int32_t cmd;       /* OX_MOM_CMD_ */
    void *result;      /* as cmd says */
} MomMsg;

/* How a client stands with its store. */
enum {
    OX_MOM_STATE_IDLE = 0, /* no database has been connected */
    OX_MOM_STATE_UP = 1,   /* connected */
    OX_MOM_STATE_LOST = 2  /* lost, and tried again until it is back */
};

/*
 * Told by ox_mom_client_status(). Texts are terminated, cut where they are longer than their place, free of control
 * characters and of passwords. Numbers count from the client's creation on.
 */
typedef struct MomClientStatus {
    uint32_t size; /* sizeof(MomClientStatus), set by the caller: later versions add members at the end */
    int32_t state; /* OX_MOM_STATE_ */

    int64_t since_ms;  /* when the state began, in milliseconds since 1970 */
    uint64_t state_ms; /* how long it has lasted, whatever was done to the clock meanwhile */
    uint64_t retry_ms; /* LOST: until the next attempt; 0: it is under way, or due when process() next runs */

    uint64_t losses;     /* how often the store was lost */
    int32_t reason_code; /* of the latest loss or failed attempt to connect: an OX_MOM_E_ code; 0: there was none */

    uint32_t record_subscriptions; /* of types, that stand: none after a loss, until they are made anew */
    uint32_t field_subscriptions;  /* of fields, that stand */
    uint32_t reserved;             /* 0 */

    uint64_t waiting;   /* notifications and confirmations that have come and are not delivered yet */
    uint64_t delivered; /* calls of subscriptions' callbacks */
    uint64_t requests; /* calls to connect, read, write, delete, scan or subscribe that were no mistake of the caller */
    uint64_t timed_out; /* how many of them failed with OX_MOM_E_TIMEOUT */

    char store[256];  /* the store's name, as given to ox_mom_client_create() but for a password */
    char reason[512]; /* the words to reason_code, what the server said among them; "": there was none */
} MomClientStatus;

/* The results of all three are ignored by the client. */
typedef int32_t (*MomMsgCb)(MomClient *client, MomMsg *msg);
typedef int32_t (*MomFieldCb)(MomClient *client, MomMsg *msg, void *arg);
typedef int32_t (*MomReconnectCb)(MomClient *client, int32_t db, int32_t type);

/*
 * Connects one database; the first call connects to the store. Again for a connected database: success, nothing done.
 * While the store is lost an attempt to reach it is made at once. A database that is refused leaves the others alone.
 *
 * ARGUMENT  client is NULL, or db is not 0 to 28
 * CONNECT   nobody answers there, or (sentinel:) no sentinel knows a master that takes the part
 * REFUSED   wrong password, a user who may not select the database, a server that has fewer than 29 databases, or that
 *           can't be read from yet (it is loading, or a replica without its master)
 * TIMEOUT   no answer
 */
int32_t ox_mom_client_connect_sync(MomClient *client, int32_t db);

/*
 * Sets the one reconnection callback of a database (cb NULL: none). After a loss and once all connected databases are
 * back, the client (1) renews its field subscriptions and delivers the present value of each once, (2) has forgotten
 * its record subscriptions, so that the callback makes them anew, (3) calls the callbacks in order of database, and (4)
 * tells those who follow a type again what they missed. Of the type that is followed first: message 29, and in it the
 * callback's own scan; then each record that it was told of and that the store no longer has, as it last was, with cmd
 * 3; then, if there was one, what is new or not as it was told, once more, lest a deletion has undone it. All other
 * types are told what they missed before that first 29, deletions and then what is not as it was told, so that what is
 * loaded is never judged by what is out of date; they load with their own 29. If the store is lost again meanwhile,
 * all of it begins afresh; nothing is forgotten.
 *
 * For that a client keeps, of the types that are followed, the records that it has told and that have not been deleted,
 * each in about its stored size and 100 bytes more. A record that was told in a scan by the type's follower counts.
 * A record that does not decode any more, or whose key holds something else, counts as one that the store no longer
 * has, for those who follow its fields too; that is reported. Whoever deletes past the client, as with the server's own
 * tools, tells nobody: followers learn of it after the next loss, while reads and scans are true at any time. A
 * database that is emptied as a whole (FLUSHDB, FLUSHALL) is such a loss, where the server is version 6 or later and
 * its user may give CLIENT.
 *
 * arg is reserved: the callback's form has no place for it.
 *
 * ARGUMENT  client is NULL, or db is not 0 to 28
 */
int32_t ox_mom_client_set_reconnect_cb(MomClient *client, int32_t db, MomReconnectCb cb, void *arg);

/*
 * Reads a hash. The result is released with ox_mom_hash_res_free(). A missing record is a result whose record is NULL
 * and whose error_code is 0; a failure a result with its error_code. NULL only when the call itself was wrong
 * (ARGUMENT, THREAD, FORK: see ox_mom_last_error()) or memory is exhausted.
 */
MomHashResult *ox_mom_hgetall_sync(MomClient *client, int32_t db, const ProtobufCMessage *request);

/* Releases a result with its record and everything the record points to. NULL is ignored. Any thread. */
void ox_mom_hash_res_free(MomHashResult *result);

/*
 * Writes the named fields of one hash, in one atomic step with its notification, and creates the record if there is
 * none. A field at its default (false, 0, "") is written and present like any other. The index is always written.
 *
 * ARGUMENT  a NULL argument, no index, no field, or a field number that the type does not have
 */
int32_t ox_mom_hmset_sync(MomClient *client, int32_t db, const ProtobufCMessage *record, const int32_t *field_ids,
                          uint32_t n_field_ids);

/*
 * Reads a single object; NULL with *error 0: there is none; NULL with *error set: the call failed. The record is
 * released with ox_mom_ox_obj_free(). error may be NULL.
 */
ProtobufCMessage *ox_mom_get_sync(MomClient *client, int32_t db, const ProtobufCMessage *request, int32_t *error);

/* Releases a record of ox_mom_get_sync(). NULL is ignored. Returns 0. Any thread. */
int32_t ox_mom_ox_obj_free(ProtobufCMessage *record);

/*
 * Follows every record of the request's type. Returns when the store has confirmed: whatever is written from then on
 * is delivered, after one message 29 (after a loss, what was missed comes before it:
 * ox_mom_client_set_reconnect_cb()). The same type with the same callback again replaces the subscription and is
 * confirmed anew, by one 29 however many of them are still waiting. flags and arg are reserved: 0.
 */
int32_t ox_mom_subscribe(MomClient *client, int32_t db, const ProtobufCMessage *request, int32_t flags, MomMsgCb cb,
                         void *arg);

/*
 * Follows fields of addressed hashes: whenever field_ids[i] is written, cbs[i] is called with args[i] (args NULL: NULL)
 * and a message whose result is the whole record as a MomHashResult; after a deletion likewise, with cmd 3 and its
 * record NULL. No 29. request points to n_requests messages' worth of requests: 1 is the only number supported.
 * Returns when the store has confirmed. Each call adds subscriptions; they last as long as the client, across
 * reconnections.
 */
int32_t ox_mom_subscribe_field(MomClient *client, int32_t db, const ProtobufCMessage *request, int32_t n_requests,
                               const int32_t *field_ids, const MomFieldCb *cbs, void *const *args, int32_t n_fields);

/*
 * Calls cb with each stored record of the request's type (hashes: cmd 4; single objects: cmd 1), in no order. A record
 * that does not decode is reported and skipped. Each record is read whole; one written during the scan is delivered as
 * it was before or after. flags and arg are reserved: 0.
 */
int32_t ox_mom_scan_sync(MomClient *client, int32_t db, const ProtobufCMessage *request, int32_t flags, MomMsgCb cb,
                         void *arg);

/* For programs that own a client, or publish. */

/*
 * Makes a client of a store, by name: mem: or mem:NAME (embedded; shared by the process's clients of that name),
 * unix:///path, redis://[user:password@]host[:port], sentinel://host:port[,host:port...]/service. NULL means
 * $OX_MOM_STORE, and mem: without it. Nothing is connected yet.
 *
 * To a server whose name has no password the client logs in as $OX_MOM_USER with $OX_MOM_PASSWORD, or with the first
 * line of the file that $OX_MOM_PASSWORD_FILE names; these are read now, and not in a program that runs with other
 * rights than its user's. A sentinel is asked without.
 *
 * NULL when the name is not understood, those variables make no sense or memory is exhausted: ox_mom_last_error() says
 * which part.
 */
MomClient *ox_mom_client_create(const char *store);

/* Releases a client with its connections and subscriptions. NULL is ignored; from a wrong thread nothing happens. */
void ox_mom_client_destroy(MomClient *client);

/* A descriptor to poll for reading: readable when process() has work. It stays the client's. < 0: an error. */
int ox_mom_client_fd(const MomClient *client);

/*
 * Makes the callbacks that are due. When there are none, waits for some up to timeout_ms (0: does not wait; < 0: no
 * limit). Returns how many it made, or an error; 0 comes early when a signal interrupts the wait.
 */
int32_t ox_mom_client_process(MomClient *client, int32_t timeout_ms);

/*
 * Tells how the client stands with its store, and what it has done. Set status->size first. Makes no request and waits
 * for nothing; an embedded store is UP from the first connect on, and LOST never for longer than until process() runs.
 *
 *     MomClientStatus status = {.size = sizeof status};
 *     if (ox_mom_client_status(client, &status) == 0 && status.state == OX_MOM_STATE_LOST)
 *         printf("%s: lost for %llu ms: %s\n", status.store, (unsigned long long)status.state_ms, status.reason);
 *
 * ARGUMENT  client or status is NULL, or size is smaller than that of the first version
 */
int32_t ox_mom_client_status(MomClient *client, MomClientStatus *status);

/* Writes a single object, in one atomic step with its notification. */
int32_t ox_mom_set_sync(MomClient *client, int32_t db, const ProtobufCMessage *record);

/*
 * Deletes a record of either kind; followers get it as it last was. No such record: success, no notification. A value
 * of another kind at its key goes as well; followers get the record without fields, its index apart.
 */
int32_t ox_mom_del_sync(MomClient *client, int32_t db, const ProtobufCMessage *request);

/* The text of a status; for a number that is none, "unknown error". Any thread. */
const char *ox_mom_strerror(int32_t code);

/*
 * Why this thread's latest call failed, in words; "" when it succeeded, and before any. Every function counts that is
 * given a client, and ox_mom_client_create(); releasing a result or a client and naming a code do not. A result's
 * error_code counts as a failure of the call that returned it, and process() succeeds whatever its callbacks met with.
 * Valid until the thread's next call.
 */
const char *ox_mom_last_error(void);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif

#endif
