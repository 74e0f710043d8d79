// The exported functions: what may be asked for; the work is done elsewhere.
#include "quib.h"

#include <algorithm>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "command_list.h"
#include "format.h"
#include "invocation.h"
#include "ox_mom.h"
#include "thread_state.h"

namespace {

// A name that can be a file's, as the name of every program can, blanks and all.
bool is_module_name(std::string_view name) {
    return !name.empty() && name.size() <= QUIB_NAME_MAX && name.front() != '.' &&
           name.find('/') == std::string_view::npos;
}

bool is_line(std::string_view text) {
    return !text.empty() && text.size() <= QUIB_TEXT_MAX && std::ranges::all_of(text, [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte >= ' ' && byte != 0x7f;
    });
}

}  // namespace

extern "C" {

int32_t quib_lib_init(MomClient *client, const char *module) try {
    if (client == nullptr || module == nullptr || !is_module_name(module)) {
        return QUIB_E_ARGUMENT;
    }
    return ox_mom_client_fd(client) < 0 ? QUIB_E_CLIENT : quib::add_module(client, module);
} catch (const std::bad_alloc &) {
    return QUIB_E_MEMORY;
}

int32_t quib_reg_mod_cmd(const char *module, const char *command, int32_t, const char *argument_format,
                         QuibHandler handler) try {
    if (module == nullptr || command == nullptr || argument_format == nullptr || handler == nullptr ||
        !quib::is_command_name(command)) {
        return QUIB_E_ARGUMENT;
    }
    auto format = quib::parse_format(argument_format);
    if (!format) {
        return QUIB_E_ARGUMENT;
    }
    quib::Commands *commands = quib::commands_of(module);
    if (commands == nullptr) {
        return QUIB_E_MODULE;
    }
    commands->put({.name = command,
                   .format_text = argument_format,
                   .format = std::move(*format),
                   .handler = handler,
                   .text = {}});
    return 0;
} catch (const std::bad_alloc &) {
    return QUIB_E_MEMORY;
}

int32_t quib_describe_mod_cmd(const char *module, const char *command, const char *text) try {
    if (module == nullptr || command == nullptr || text == nullptr || !is_line(text)) {
        return QUIB_E_ARGUMENT;
    }
    quib::Commands *commands = quib::commands_of(module);
    if (commands == nullptr) {
        return QUIB_E_MODULE;
    }
    quib::Command *described = commands->find(command);
    if (described == nullptr) {
        return QUIB_E_ARGUMENT;
    }
    described->text = text;
    return 0;
} catch (const std::bad_alloc &) {
    return QUIB_E_MEMORY;
}

int32_t quib_fail_mod_cmd(int32_t status) {
    if (status >= 0) {
        return QUIB_E_ARGUMENT;
    }
    return quib::fail_running(status) ? 0 : QUIB_E_MODULE;
}

}  // extern "C"
