/*
 * Preloaded into a program: an allocation of its fails, counted over all its threads from the beginning of main(). What
 * allocates before that is the loader and other people's libraries.
 *
 *   FAIL_ALLOCATION=N       the Nth fails; N+: and all that follow
 *   COUNT_ALLOCATIONS=FILE  how many there were is written there at the end
 */
#include <dlfcn.h>
#include <errno.h>
#include <stdatomic.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>

void *__libc_malloc(size_t size);
void *__libc_calloc(size_t count, size_t size);
void *__libc_realloc(void *memory, size_t size);

typedef int (*Main)(int argc, char **argv, char **environment);
typedef int (*StartMain)(Main function, int argc, char **argv, void (*begin)(void), void (*end)(void),
                         void (*loader_end)(void), void *stack_end);

static atomic_int is_running;
static atomic_long made;
static long first_to_fail;
static int fails_for_good;
static Main programs_main;

static int fails(void) {
    if (!is_running) {
        return 0;
    }
    const long number = ++made;
    if (first_to_fail == 0 || number < first_to_fail || (number > first_to_fail && !fails_for_good)) {
        return 0;
    }
    errno = ENOMEM;
    return 1;
}

void *malloc(size_t size) { return fails() ? NULL : __libc_malloc(size); }

void *calloc(size_t count, size_t size) { return fails() ? NULL : __libc_calloc(count, size); }

void *realloc(void *memory, size_t size) { return fails() ? NULL : __libc_realloc(memory, size); }

static int counted_main(int argc, char **argv, char **environment) {
    const char *which = getenv("FAIL_ALLOCATION");
    if (which != NULL) {
        char *behind = NULL;
        first_to_fail = strtol(which, &behind, 10);
        fails_for_good = *behind == '+';
    }
    is_running = 1;
    return programs_main(argc, argv, environment);
}

/* Called by the program's first instructions. */
int __libc_start_main(Main function, int argc, char **argv, void (*begin)(void), void (*end)(void),
                      void (*loader_end)(void), void *stack_end) {
    StartMain behind = NULL;
    *(void **)&behind = dlsym(RTLD_NEXT, "__libc_start_main");
    programs_main = function;
    return behind(counted_main, argc, argv, begin, end, loader_end, stack_end);
}

__attribute__((destructor)) static void tell(void) {
    const char *name = getenv("COUNT_ALLOCATIONS");
    is_running = 0;
    FILE *file = name != NULL ? fopen(name, "w") : NULL;
    if (file != NULL) {
        fprintf(file, "%ld\n", made);
        fclose(file);
    }
}
