/* answers QUESTION: tries what docs/first-application.md answers, and quotes from here. */
#include <inttypes.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <ox_mom.h>
#include <trel_cap/trel_cap.h>
#include <trel_cap_testing.h>

enum { kNode = 17 };

static TrelCapTesting *chassis;
static int told;

static int32_t on_event(int32_t event, void *argument) {
    (void)event;
    (void)argument;
    ++told;
    return 0;
}

static void expect_at(int line, int holds, const char *what) {
    if (!holds) {
        fprintf(stderr, "answers.c:%d: not so: %s\n", line, what);
        exit(1);
    }
}
#define EXPECT(condition) expect_at(__LINE__, (condition), #condition)

static void bring_up(void) {
    EXPECT(trel_cap_testing_insert(chassis, TREL_CAP_TESTING_LC, kNode) == 0);
    EXPECT(trel_cap_testing_check(chassis, TREL_CAP_TESTING_LC, kNode, TREL_CAP_TESTING_PASS) == 0);
    EXPECT(trel_cap_testing_ready(chassis, TREL_CAP_TESTING_LC, kNode, 1) == 0);
}

static void follow_nodes(void) {
    EXPECT(trel_cap_event_callback_reg("answers", on_event, TREL_CAP_EVENT_BIT(TREL_CAP_EVENT_FE_NODE)) == 0);
}

static MomClient *started(void) {
    MomClient *client = ox_mom_client_create(trel_cap_testing_store(chassis));
    EXPECT(trel_cap_init(client, "answers") == TREL_CAP_OK);
    return client;
}

static void load(MomClient *client) {
    while (ox_mom_client_process(client, 0) > 0) {
    }
}

static void start_up(void) {
    bring_up();
    follow_nodes();
    MomClient *client = started();
    EXPECT(told == 0);
    load(client);
    EXPECT(told == 1);
}

static void loaded(void) {
    follow_nodes();
    MomClient *client = started();
    EXPECT(!trel_cap_fe_ready_is_all_validated());
    load(client);
    EXPECT(trel_cap_fe_ready_is_all_validated());
    EXPECT(!trel_cap_hps_ready_is_all_validated()); /* not asked for */
}

struct Attempt {
    MomClient *client;
    int32_t rv;
};

static void *process_of_another(void *argument) {
    struct Attempt *attempt = argument;
    attempt->rv = ox_mom_client_process(attempt->client, 0);
    return NULL;
}

static void failing_process(void) {
    MomClient *client = started();
    struct Attempt attempt = {.client = client, .rv = 0};
    pthread_t thread = 0;
    EXPECT(pthread_create(&thread, NULL, process_of_another, &attempt) == 0 && pthread_join(thread, NULL) == 0);
    EXPECT(attempt.rv == OX_MOM_E_THREAD);
    EXPECT(ox_mom_client_process(NULL, 0) == OX_MOM_E_ARGUMENT);
    ox_mom_client_destroy(client);
    EXPECT(ox_mom_client_process(client, 0) == OX_MOM_E_DESTROYED);
}

static void too_late(void) {
    bring_up();
    MomClient *client = started();
    load(client);
    EXPECT(told == 0);
    follow_nodes();
    trel_cap_testing_ready(chassis, TREL_CAP_TESTING_LC, kNode, 1);
    load(client);
    EXPECT(told == 0);
    EXPECT(trel_cap_init(client, "answers") == TREL_CAP_OK); /* the same client: nothing is done */
    load(client);
    EXPECT(told == 0);
    EXPECT(trel_cap_sub(client) == TREL_CAP_OK);
    load(client);
    EXPECT(told == 1);
}

/* What is followed already is followed by the new callback too, from then on. */
static void late_and_followed(void) {
    follow_nodes();
    MomClient *client = started();
    load(client);
    EXPECT(trel_cap_event_callback_reg("second", on_event, TREL_CAP_EVENT_BIT(TREL_CAP_EVENT_FE_NODE)) == 0);
    bring_up();
    load(client);
    EXPECT(told == 2);
}

static void forked(void) {
    MomClient *parents = started();
    const pid_t child = fork();
    if (child == 0) {
        EXPECT(ox_mom_client_process(parents, 0) == OX_MOM_E_FORK);
        EXPECT(g_trel_cap_global == parents);
        MomClient *own = started();
        EXPECT(g_trel_cap_global == own);
        _exit(0);
    }
    int status = 1;
    EXPECT(waitpid(child, &status, 0) == child && status == 0);
    EXPECT(ox_mom_client_process(parents, 0) >= 0);
}

/* The thread forgets its nodes, and that anything has been loaded. */
static void forget_everything(void) {
    trel_cap_fe_ready_clear_all_validated_flag();
    while (cap_nodes_list.next != NULL && cap_nodes_list.next != (CapNode *)&cap_nodes_list) {
        const CapNodeRecord *first = &cap_nodes_list.next->record;
        trel_cap_sw_node_del(first->node, first->config_dev_type);
    }
}

static void new_client(void) {
    bring_up();
    follow_nodes();
    MomClient *client = started();
    load(client);
    ox_mom_client_destroy(client);
    trel_cap_testing_remove(chassis, TREL_CAP_TESTING_LC, kNode);
    client = started();
    load(client);
    EXPECT(trel_cap_sw_node_search(kNode) != NULL); /* the list still says that it is installed */
    EXPECT(told == 3);                              /* that it is ready: once by its check, once by its readiness */
    EXPECT(trel_cap_fe_ready_is_all_validated());

    ox_mom_client_destroy(client);
    forget_everything();
    EXPECT(trel_cap_sw_node_search(kNode) == NULL);
    client = started();
    EXPECT(!trel_cap_fe_ready_is_all_validated());
    load(client);
    EXPECT(trel_cap_fe_ready_is_all_validated());
    EXPECT(told == 3);
}

/* 1: ready; 0: not ready, or nobody has said so yet; < 0: the store does not answer. */
static int32_t device_readiness(MomClient *client) {
    uint8_t ready = 0;
    const int32_t rv = trel_cap_ce_get_glb_ready(client, &ready);
    return rv == TREL_CAP_OK ? ready : rv;
}

static void asked_state(void) {
    MomClient *client = started();
    EXPECT(device_readiness(client) == 0);
    EXPECT(trel_cap_testing_scope_ready(chassis, "glb", 1) == 0);
    EXPECT(device_readiness(client) == 1);
    EXPECT(trel_cap_testing_scope_ready(chassis, "glb", 0) == 0);
    EXPECT(device_readiness(client) == 0);
}

int main(int argc, char **argv) {
    static const struct {
        const char *name;
        void (*try)(void);
    } questions[] = {{"start_up", start_up},       {"loaded", loaded},        {"failing_process", failing_process},
                     {"asked_state", asked_state}, {"too_late", too_late},    {"late_and_followed", late_and_followed},
                     {"forked", forked},           {"new_client", new_client}};
    for (size_t i = 0; argc == 2 && i < sizeof questions / sizeof *questions; ++i) {
        if (strcmp(argv[1], questions[i].name) == 0) {
            chassis = trel_cap_testing_start();
            questions[i].try();
            return 0;
        }
    }
    fprintf(stderr, "answers.c: no such question\n");
    return 2;
}
