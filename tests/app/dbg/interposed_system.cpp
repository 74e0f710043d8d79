#include "interposed_system.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include "interposed.h"
#include "platform_events.h"

namespace interposed {
namespace {

thread_local SystemScript *scripted = nullptr;

int next_close_answer() {
    if (scripted->close_answers.empty()) {
        return 0;
    }
    const int answer = scripted->close_answers.front();
    scripted->close_answers.erase(scripted->close_answers.begin());
    return answer;
}

}  // namespace

ScriptedSystem::ScriptedSystem() { scripted = &script_; }
ScriptedSystem::~ScriptedSystem() { scripted = nullptr; }

}  // namespace interposed

using interposed::behind;
using interposed::scripted;
using test_support::text;

#define BEHIND(function) behind(&function, #function)

extern "C" {

int system(const char *command) {
    if (scripted == nullptr) {
        return BEHIND(system)(command);
    }
    scripted->calls.push_back(text("system(%s)", command));
    return scripted->system_answer;
}

int dup(int descriptor) noexcept {
    if (scripted == nullptr) {
        return BEHIND(dup)(descriptor);
    }
    scripted->calls.push_back(text("dup(%d)", descriptor));
    return scripted->dup_answer;
}

int dup2(int descriptor, int as) noexcept {
    if (scripted == nullptr) {
        return BEHIND(dup2)(descriptor, as);
    }
    scripted->calls.push_back(text("dup2(%d, %d)", descriptor, as));
    return scripted->dup2_answer;
}

int open(const char *path, int flags, ...) {
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = static_cast<mode_t>((flags & O_CREAT) != 0 ? va_arg(arguments, int) : 0);
    va_end(arguments);
    if (scripted == nullptr) {
        return BEHIND(open)(path, flags, mode);
    }
    scripted->calls.push_back(text("open(%s, %#x, %#o)", path, static_cast<unsigned>(flags), mode));
    return scripted->open_answer;
}

int close(int descriptor) {
    if (scripted == nullptr) {
        return BEHIND(close)(descriptor);
    }
    scripted->calls.push_back(text("close(%d)", descriptor));
    return interposed::next_close_answer();
}

int fflush(FILE *stream) {
    if (scripted != nullptr) {
        scripted->calls.emplace_back(stream == stdout ? "fflush(stdout)" : "fflush(?)");
    }
    return BEHIND(fflush)(stream);
}
}
