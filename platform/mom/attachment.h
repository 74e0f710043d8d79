// How another library of the platform is served from a client's loop: a descriptor of its own, attached to the client.
// Not installed; for those who are built with the client.
#pragma once

#include <cstdint>

#include "ox_mom.h"

extern "C" {
#pragma GCC visibility push(default)

struct MomAttachment {
    // The descriptor is readable. Called from ox_mom_client_process() as the client's other callbacks are, counted
    // among them, and free to do what they may. Called again as long as the descriptor is readable.
    void (*on_ready)(void *arg);
    // The client is about to go, and has let go of the descriptor. Every call of it fails by now.
    void (*on_destroy)(void *arg);
    void *arg;
};

// Attaches a descriptor that can be polled, one to a client; it stays the caller's, and stays open until it is
// detached. ox_mom_client_fd() is readable when the descriptor is. 0, or:
//
// ARGUMENT  client or attachment is NULL, the descriptor is none, or one is attached already
int32_t ox_mom_attach(MomClient *client, int fd, const MomAttachment *attachment);

// Lets go of the descriptor; neither function is called any more. None attached: success, nothing done.
int32_t ox_mom_detach(MomClient *client);

#pragma GCC visibility pop
}
