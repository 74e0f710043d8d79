// The dump, collected into a file.
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "trel_cap/app_name.h"
#include "trel_cap/diagnosis.h"

namespace {

constexpr char kDirectory[] = "/data/collect";
constexpr size_t kPathSize = 288;
constexpr size_t kCommandSize = 128;
constexpr size_t kOpenPathSize = 128;
constexpr int kOpenPathRest = kOpenPathSize - sizeof kDirectory - 1;  // behind the directory and its '/'
constexpr mode_t kMode = 0666;

// During a collection: what standard output was, and the file.
__thread int saved_output;
__thread int collection_file;

// The directory stands twice in the path that is opened, but only the outer one is made here. So a file is written only
// where someone has made the inner one too; everywhere else the operator sees the dump. It is to stay that way.
void format_open_path(char (&open_path)[kOpenPathSize]) {
    char file_path[kPathSize] = {};
    snprintf(file_path, sizeof file_path, "%s/trel_cap_%s.log", kDirectory, trel_cap::own_app_name().data());
    snprintf(open_path, sizeof open_path, "%s/%.*s", kDirectory, kOpenPathRest, file_path);
}

void make_directory() {
    char command[kCommandSize] = {};
    snprintf(command, sizeof command, "mkdir -p %s", kDirectory);
    [[maybe_unused]] const int ignored = system(command);  // whether the file can be opened is what counts
}

void redirect_output(const char *path) {
    saved_output = dup(STDOUT_FILENO);
    collection_file = open(path, O_RDWR | O_CREAT, kMode);
    if (collection_file < 0) {
        printf("%s open fail\r\n", path);
        return;
    }
    dup2(collection_file, STDOUT_FILENO);
    close(collection_file);
}

int32_t restore_output() {
    fflush(stdout);
    dup2(saved_output, STDOUT_FILENO);
    return close(saved_output);
}

}  // namespace

int32_t trel_cap_dbg_collect() {
    char open_path[kOpenPathSize] = {};
    format_open_path(open_path);
    make_directory();
    redirect_output(open_path);
    trel_cap_dbg_dump_all();
    return restore_output();
}
