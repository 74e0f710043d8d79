// How another library of the platform is served from a client's loop: descriptors of its own, attached to the client.
// Not installed; for those who are built with the client.
#pragma once

#include <cstdint>

#include "ox_mom.h"

extern "C" {
#pragma GCC visibility push(default)

struct MomAttachment {
    // The descriptor is ready; events as epoll's. Called from ox_mom_client_process() as the client's other callbacks
    // are, counted among them, and free to do what they may. Called again as long as the descriptor is ready.
    void (*on_ready)(void *arg, uint32_t events);
    // The client is about to go, and has let go of all descriptors. Every call of it fails by now. May be NULL.
    void (*on_destroy)(void *arg);
    void *arg;
};

// Attaches a descriptor, to be told of these events (epoll's, EPOLLIN and EPOLLOUT), and always of an error and a
// hang-up; none: of these only. It stays the caller's, and stays open until it is detached. ox_mom_client_fd() is
// readable when the descriptor is ready. 0, or:
//
// ARGUMENT  client or attachment is NULL, the descriptor is none that can be polled, or is attached already
// MEMORY    also when the system cannot watch one more
int32_t ox_mom_attach(MomClient *client, int fd, uint32_t events, const MomAttachment *attachment);

// Of these events from now on. Needs no memory. 0, or:
//
// ARGUMENT  client is NULL, or the descriptor is not attached
int32_t ox_mom_alter(MomClient *client, int fd, uint32_t events);

// Lets go of the descriptor; its functions are not called any more. Not attached: success, nothing done.
int32_t ox_mom_detach(MomClient *client, int fd);

#pragma GCC visibility pop
}
