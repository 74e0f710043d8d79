/* Follows the readiness of the device and its line cards from a poll loop of its own, until its input ends. */
#include <inttypes.h>
#include <poll.h>
#include <stdio.h>
#include <unistd.h>

#include <ox_mom.h>
#include <trel_cap/trel_cap.h>

static int events = 0;

/* Runs inside ox_mom_client_process(). */
static int32_t on_event(int32_t event, void *argument) {
    ++events;
    if (event == TREL_CAP_EVENT_SYSTEM) {
        printf("the device is ready\n");
    } else if (event == TREL_CAP_EVENT_FE_NODE) {
        const CapNodeReady *node = argument;
        printf("node %" PRIu32 " is %s\n", node->node, node->ready ? "ready" : "not ready");
    }
    return 0;
}

/* The rest of the application: answers a line of input with the number of events. 0 at the end of the input. */
static int handle_input(void) {
    char input[256];
    const ssize_t length = read(STDIN_FILENO, input, sizeof input);

    if (length > 0) {
        printf("%d events so far\n", events);
    }
    return length > 0;
}

static int run(MomClient *client) {
    struct pollfd watched[2] = {
        {.fd = ox_mom_client_fd(client), .events = POLLIN},
        {.fd = STDIN_FILENO, .events = POLLIN},
    };

    while (poll(watched, 2, -1) > 0) {
        /* 0: makes the callbacks that are due, and does not wait. */
        if (watched[0].revents != 0 && ox_mom_client_process(client, 0) < 0) {
            return -1;
        }
        if (watched[1].revents != 0 && !handle_input()) {
            return 0;
        }
    }
    return -1;
}

int main(void) {
    const uint32_t wanted = TREL_CAP_EVENT_BIT(TREL_CAP_EVENT_SYSTEM) | TREL_CAP_EVENT_BIT(TREL_CAP_EVENT_FE_NODE);
    int rv = -1;

    setvbuf(stdout, NULL, _IOLBF, 0);
    MomClient *client = ox_mom_client_create(NULL); /* the store that $OX_MOM_STORE names */
    /* First the callback: trel_cap_init() follows what has been asked for until then. */
    if (client != NULL && trel_cap_event_callback_reg("poll_readiness", on_event, wanted) == TREL_CAP_OK &&
        trel_cap_init(client, "poll_readiness") == TREL_CAP_OK) {
        rv = run(client);
    }
    if (rv != 0) {
        fprintf(stderr, "poll_readiness: %s\n", ox_mom_last_error());
    }
    ox_mom_client_destroy(client);
    return rv != 0;
}
