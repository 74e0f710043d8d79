#include "verbs/client_log.h"

#include <ox_zlog.h>

#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <string_view>

#include "command_line/program.h"
#include "store/unreadable.h"

namespace capctl {

namespace {

constexpr char kClient[] = "ox_mom";

bool losses_are_told_here = false;
bool unreadable_are_told_here = false;
void *category_of_client = nullptr;

// The logging layer, whose place the functions below take.
template <class Function>
Function *behind(Function *, const char *name) {
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

// False: it is about something else.
bool tell_of_unreadable(std::string_view warning) {
    const auto unreadable = store::skipped_record(warning);
    if (!unreadable) {
        return store::note_skipped_notification(warning);
    }
    store::note_unreadable(*unreadable);
    if (!unreadable_are_told_here) {
        command_line::complain(store::in_words(*unreadable));
    }
    return true;
}

}  // namespace

void tell_losses_here() { losses_are_told_here = true; }

std::string lost_words(const std::string &reason) { return "the store is lost: " + reason; }

std::string still_lost_words(const std::string &reason) { return "the store is still lost: " + reason; }

void tell_unreadable_here() { unreadable_are_told_here = true; }

}  // namespace capctl

void *ox_zlog_init(const char *category) {
    static auto *const layer = capctl::behind(&ox_zlog_init, "ox_zlog_init");
    void *made = layer(category);
    if (category != nullptr && std::strcmp(category, capctl::kClient) == 0) {
        capctl::category_of_client = made;
    }
    return made;
}

void oxdf_zlog(void *category, const char *file, size_t filelen, const char *func, size_t funclen, long line, int level,
               const char *format, ...) {
    static auto *const layer = capctl::behind(&oxdf_zlog, "oxdf_zlog");
    const bool is_of_client = category == capctl::category_of_client;
    // The client warns of whatever is neither a loss nor the return from one.
    if (capctl::losses_are_told_here && is_of_client && level != OX_ZLOG_WARN) {
        return;
    }
    std::array<char, 1024> message;  // the library's messages have no more
    va_list args;
    va_start(args, format);
    std::vsnprintf(message.data(), message.size(), format, args);
    va_end(args);
    if (is_of_client && level == OX_ZLOG_WARN && capctl::tell_of_unreadable(message.data())) {
        return;
    }
    layer(category, file, filelen, func, funclen, line, level, "%s", message.data());
}
