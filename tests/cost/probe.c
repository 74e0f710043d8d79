/* probe STAGE LIBRARY: loads the library, starts it, and prints what each took of this process. The stages are nothing,
 * loaded and started; it stops after the one that is named. */
#include <dlfcn.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

extern void *__libc_malloc(size_t size);
extern void *__libc_calloc(size_t count, size_t size);
extern void *__libc_realloc(void *old, size_t size);

static unsigned long allocations;
static unsigned long bytes;

void *malloc(size_t size) {
    allocations++;
    bytes += size;
    return __libc_malloc(size);
}

void *calloc(size_t count, size_t size) {
    allocations++;
    bytes += count * size;
    return __libc_calloc(count, size);
}

void *realloc(void *old, size_t size) {
    allocations++;
    bytes += size;
    return __libc_realloc(old, size);
}

/* Memory that the process has written to, in KiB: its own, whatever else the machine has loaded. */
static unsigned long private_memory(void) {
    char line[256];
    unsigned long sum = 0;
    FILE *file = fopen("/proc/self/smaps_rollup", "r");
    while (file != NULL && fgets(line, sizeof line, file) != NULL) {
        if (strncmp(line, "Anonymous:", 10) == 0) {
            sum += strtoul(strchr(line, ':') + 1, NULL, 10);
        }
    }
    if (file != NULL) {
        fclose(file);
    }
    return sum;
}

struct Use {
    unsigned long allocations;
    unsigned long bytes;
    unsigned long kilobytes;
};

/* The allocations since the latest call; what the measuring itself takes is not among them. */
static struct Use now(void) {
    struct Use use = {allocations, bytes, 0};
    use.kilobytes = private_memory();
    allocations = bytes = 0;
    return use;
}

static void tell(const char *stage, struct Use before, struct Use after) {
    printf("%s %lu %lu %ld\n", stage, after.allocations, after.bytes, (long)(after.kilobytes - before.kilobytes));
    allocations = bytes = 0;
}

static void *function(void *library, const char *name) {
    void *found = dlsym(library, name);
    if (found == NULL) {
        fprintf(stderr, "no %s\n", name);
        exit(1);
    }
    return found;
}

static int32_t on_event(int32_t event, void *arg) {
    (void)event;
    (void)arg;
    return 0;
}

/* With the events of all card classes, as an application that asks for as much as it can. */
static void start(void *library) {
    static const char *const kinds[] = {"trel_cap_event_callback_reg", "trel_cap_fab_event_callback_reg",
                                        "trel_cap_cm_event_callback_reg", "trel_cap_hps_event_callback_reg",
                                        "trel_cap_lc_and_hps_event_callback_reg"};
    int32_t (*reg)(const char *, int32_t (*)(int32_t, void *), uint32_t);
    int32_t (*init)(void *, const char *);
    void *(*open_depot)(void);
    void *(*create)(const char *);
    void *client = NULL;
    *(void **)&open_depot = dlsym(library, "depot_open");
    if (open_depot != NULL) {
        client = open_depot();
    } else {
        *(void **)&create = function(library, "ox_mom_client_create");
        client = create("mem:");
    }
    for (size_t i = 0; i < sizeof kinds / sizeof *kinds; i++) {
        *(void **)&reg = function(library, kinds[i]);
        reg("probe", on_event, 0x1ff);
    }
    *(void **)&init = function(library, "trel_cap_init");
    if (init(client, "probe") != 0) {
        fprintf(stderr, "the library does not start\n");
        exit(1);
    }
}

int main(int argc, char **argv) {
    if (argc != 3) {
        return 2;
    }
    setvbuf(stdout, NULL, _IONBF, 0);
    struct Use before = now();
    if (strcmp(argv[1], "nothing") == 0) {
        return 0;
    }
    void *library = dlopen(argv[2], RTLD_NOW);
    if (library == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    struct Use loaded = now();
    tell("loaded", before, loaded);
    if (strcmp(argv[1], "started") == 0) {
        start(library);
        tell("started", loaded, now());
    }
    return 0;
}
