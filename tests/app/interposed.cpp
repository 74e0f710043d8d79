#include "interposed.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <unistd.h>

#include "trel_cap/trel_cap.h"

namespace interposed {

Script &script() {
    static thread_local Script the_script;
    return the_script;
}

void reset() { script() = {}; }

std::optional<int32_t> answer_to(const char *name) {
    Script &now = script();
    now.calls.emplace_back(name);
    if (now.answers.empty()) {
        return std::nullopt;
    }
    const std::optional<int32_t> answer = now.answers.front();
    now.answers.pop_front();
    return answer;
}

}  // namespace interposed

using interposed::answer_to;
using interposed::behind;
using interposed::note;
using interposed::script;

#define BEHIND(function) behind(&(function), #function)

extern "C" {

char *trel_cap_get_app_name(pid_t pid, char *dst, size_t size) {
    answer_to("trel_cap_get_app_name");
    script().app_name_pid = pid;
    script().app_name_size = size;
    if (!script().app_name.has_value()) {
        return BEHIND(trel_cap_get_app_name)(pid, dst, size);
    }
    std::memset(dst, 0, size);
    script().app_name->copy(dst, size - 1);
    return dst;
}

int32_t trel_cap_zlog_init(const char *app_name) {
    const auto answer = answer_to("trel_cap_zlog_init");
    script().zlog_init_name = app_name == nullptr ? "NULL" : app_name;
    return answer.has_value() ? *answer : BEHIND(trel_cap_zlog_init)(app_name);
}

void trel_cap_log_level(int32_t level) {
    answer_to("trel_cap_log_level");
    script().log_levels.push_back(level);
    BEHIND(trel_cap_log_level)(level);
}

int32_t trel_cap_ox_obj_free(void *record) {
    const auto answer = answer_to("trel_cap_ox_obj_free");
    note(record);
    const int32_t status = BEHIND(trel_cap_ox_obj_free)(record);
    return answer.value_or(status);
}

int32_t trel_cap_ce_get_g_cap_bool(MomClient *global, const char *url, uint8_t *value) {
    const auto answer = answer_to("trel_cap_ce_get_g_cap_bool");
    note(global, url, value);
    return answer.has_value() ? *answer : BEHIND(trel_cap_ce_get_g_cap_bool)(global, url, value);
}

int32_t trel_cap_ce_get_g_cap_int32(MomClient *global, const char *url, int32_t *value) {
    const auto answer = answer_to("trel_cap_ce_get_g_cap_int32");
    note(global, url, value);
    return answer.has_value() ? *answer : BEHIND(trel_cap_ce_get_g_cap_int32)(global, url, value);
}

int32_t trel_cap_ce_get_g_cap_bool_by_pmsg(MomMsg *pmsg, uint32_t size, char *url, uint8_t *value, uint32_t *length) {
    const auto answer = answer_to("trel_cap_ce_get_g_cap_bool_by_pmsg");
    note(pmsg, url, value, length);
    script().app_name_size = size;
    return answer.has_value() ? *answer : BEHIND(trel_cap_ce_get_g_cap_bool_by_pmsg)(pmsg, size, url, value, length);
}

int32_t trel_cap_ce_set_g_cap_state(MomClient *global, const char *url, int32_t state) {
    const auto answer = answer_to("trel_cap_ce_set_g_cap_state");
    note(global, url);
    script().log_levels.push_back(state);
    return answer.has_value() ? *answer : BEHIND(trel_cap_ce_set_g_cap_state)(global, url, state);
}

ssize_t readlink(const char *path, char *buffer, size_t room) {
    if (!script().link_length.has_value()) {
        return behind(static_cast<ssize_t (*)(const char *, char *, size_t)>(nullptr), "readlink")(path, buffer, room);
    }
    ++script().links_read;
    script().link_path = path;
    script().link_room = room;
    if (*script().link_length < 0) {
        errno = ENOENT;
        return -1;
    }
    std::copy_n(script().link_text.data(), std::min(room, script().link_text.size()), buffer);
    return *script().link_length;
}

int vsnprintf(char *buffer, size_t size, const char *format, va_list arguments) {
    ++script().formatted;
    using Function = int(char *, size_t, const char *, va_list);
    static Function *const next = behind(static_cast<Function *>(nullptr), "vsnprintf");
    const int length = next(buffer, size, format, arguments);
    std::array<char, 1024> &text = script().latest_text;
    text.fill('\0');
    if (length > 0 && size > 0) {
        std::memcpy(text.data(), buffer, std::min({static_cast<size_t>(length), size - 1, text.size() - 1}));
    }
    return length;
}

int snprintf(char *buffer, size_t size, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    const int length = vsnprintf(buffer, size, format, arguments);
    va_end(arguments);
    return length;
}
}
