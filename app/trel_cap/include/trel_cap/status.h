/* status.h - the library's own status codes. Every other non-zero status is the object-store client's. */
#ifndef TREL_CAP_STATUS_H
#define TREL_CAP_STATUS_H

enum {
    TREL_CAP_OK = 0,
    TREL_CAP_E_MEMORY = -2,     /* no memory for a registration */
    TREL_CAP_E_ARGUMENT = -4,   /* a NULL argument, or a URL longer than TREL_CAP_URL_MAX */
    TREL_CAP_E_NO_NODE = -11,   /* a node could not be added to the node list */
    TREL_CAP_E_REFUSED = -11,   /* the console refused the module */
    TREL_CAP_E_NO_ANSWER = -21, /* the store gave no answer, or an error code */
    TREL_CAP_E_NO_RECORD = -22, /* there is no such record */
    TREL_CAP_E_NO_INDEX = -23,  /* the record of a notification has no index */
    TREL_CAP_E_NO_VALUE = -24   /* the record exists, but the wanted value was never set */
};

enum {
    TREL_CAP_URL_MAX = 255 /* bytes of a capability URL, its terminator not counted */
};

#endif
