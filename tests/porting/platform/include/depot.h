/* depot.h - what the other platform's applications have beside: a client, a record, and a turn of the loop. */
#ifndef DEPOT_H
#define DEPOT_H

#include "ox_mom.h"

MomClient *depot_open(void);

/* Writes a single object. */
void depot_put(MomClient *client, const ProtobufCMessage *record);

/* Tells each subscription that it is established. */
void depot_deliver(MomClient *client);

/* How many results and records have been handed out and not been given back. */
int depot_held(void);

#endif
