#include "platform_events.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <iterator>
#include <map>
#include <ostream>
#include <utility>

namespace test_support {
namespace {

template <class Function>
const void *address(Function *function) {
    return reinterpret_cast<const void *>(function);
}

struct ArgumentPrinter {
    std::ostream &out;

    void operator()(int64_t number) const { out << number; }
    void operator()(const void *pointer) const { out << pointer; }
    void operator()(const std::string &string) const { out << '"' << string << '"'; }
    void operator()(const Record &record) const { out << record; }
    template <class Element>
    void operator()(const std::vector<Element> &elements) const {
        const char *separator = "";
        out << '{';
        for (const Element &element : elements) {
            out << separator << element;
            separator = ", ";
        }
        out << '}';
    }
};

}  // namespace

Call::Call(const char *function_name, std::vector<Argument> its_arguments)
    : function(function_name), arguments(std::move(its_arguments)) {}
Call::Call(const Call &) = default;
Call::Call(Call &&) noexcept = default;
Call &Call::operator=(const Call &) = default;
Call &Call::operator=(Call &&) noexcept = default;
Call::~Call() = default;
bool Call::operator==(const Call &) const = default;

std::ostream &operator<<(std::ostream &out, const Call &call) {
    const char *separator = "";
    out << call.function << '(';
    for (const Call::Argument &argument : call.arguments) {
        out << separator;
        std::visit(ArgumentPrinter{out}, argument);
        separator = ", ";
    }
    return out << ')';
}

Log::Log(int zlog_level, std::string function_name, std::string message, std::string source_place)
    : level(zlog_level), function(std::move(function_name)), text(std::move(message)), place(std::move(source_place)) {}
Log::Log(const Log &) = default;
Log::Log(Log &&) noexcept = default;
Log &Log::operator=(const Log &) = default;
Log &Log::operator=(Log &&) noexcept = default;
Log::~Log() = default;
bool Log::operator==(const Log &) const = default;

std::ostream &operator<<(std::ostream &out, const Log &log) {
    return out << log.place << ": " << log.function << " [" << log.level << "] \"" << log.text << '"';
}

Event::Event(Call call) : call_(std::make_shared<const Call>(std::move(call))) {}
Event::Event(Log log) : log_(std::make_shared<const Log>(std::move(log))) {}
Event::Event(const Event &) = default;
Event::Event(Event &&) noexcept = default;
Event &Event::operator=(const Event &) = default;
Event &Event::operator=(Event &&) noexcept = default;
Event::~Event() = default;

bool Event::operator==(const Event &other) const {
    if (call() != nullptr && other.call() != nullptr) {
        return *call() == *other.call();
    }
    return log() != nullptr && other.log() != nullptr && *log() == *other.log();
}

std::ostream &operator<<(std::ostream &out, const Event &event) {
    return event.call() != nullptr ? out << *event.call() : out << *event.log();
}

namespace call {

Call client_connect_sync(MomClient *client, int32_t db) { return {"ox_mom_client_connect_sync", {client, db}}; }

Call client_set_reconnect_cb(MomClient *client, int32_t db, MomReconnectCb cb, void *arg) {
    return {"ox_mom_client_set_reconnect_cb", {client, db, address(cb), arg}};
}

Call hgetall_sync(MomClient *client, int32_t db, const Record &request) {
    return {"ox_mom_hgetall_sync", {client, db, request}};
}

Call hash_res_free() { return {"ox_mom_hash_res_free", {}}; }

Call hmset_sync(MomClient *client, int32_t db, const Record &record, const std::vector<int32_t> &field_ids) {
    return {"ox_mom_hmset_sync", {client, db, record, field_ids}};
}

Call get_sync(MomClient *client, int32_t db, const Record &request) {
    return {"ox_mom_get_sync", {client, db, request}};
}

Call ox_obj_free() { return {"ox_mom_ox_obj_free", {}}; }

Call subscribe(MomClient *client, int32_t db, const Record &request, int32_t flags, MomMsgCb cb, void *arg) {
    return {"ox_mom_subscribe", {client, db, request, flags, address(cb), arg}};
}

Call subscribe_field(MomClient *client, int32_t db, const Record &request, int32_t n_requests,
                     const std::vector<int32_t> &field_ids, const std::vector<MomFieldCb> &cbs,
                     const Call::Argument &args) {
    Call::Pointers addresses;
    for (const MomFieldCb cb : cbs) {
        addresses.push_back(address(cb));
    }
    return {"ox_mom_subscribe_field", {client, db, request, n_requests, field_ids, addresses, args}};
}

Call scan_sync(MomClient *client, int32_t db, const Record &request, int32_t flags, MomMsgCb cb, void *arg) {
    return {"ox_mom_scan_sync", {client, db, request, flags, address(cb), arg}};
}

Call zlog_init(const std::string &category) { return {"ox_zlog_init", {category}}; }

Call quib_lib_init(MomClient *client, const std::string &module) { return {"quib_lib_init", {client, module}}; }

Call quib_reg_mod_cmd(const std::string &module, const std::string &command, int32_t reserved,
                      const std::string &argument_format, QuibHandler handler) {
    return {"quib_reg_mod_cmd", {module, command, reserved, argument_format, address(handler)}};
}

}  // namespace call

bool level_lets_out(int32_t gate, int zlog_level) {
    static const std::map<int, uint32_t> gates = {{100, 1}, {80, 2}, {60, 3}, {40, 4}};
    return static_cast<uint32_t>(gate) >= gates.at(zlog_level);
}

std::vector<Event> visible_at(int32_t gate, const std::vector<Event> &events) {
    std::vector<Event> visible;
    std::copy_if(events.begin(), events.end(), std::back_inserter(visible), [gate](const Event &event) {
        return event.log() == nullptr || level_lets_out(gate, event.log()->level);
    });
    return visible;
}

std::string text(const char *format, ...) {
    std::array<char, 8192> buffer;
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(buffer.data(), buffer.size(), format, arguments);
    va_end(arguments);
    return {buffer.data(), std::min(static_cast<size_t>(std::max(length, 0)), buffer.size() - 1)};
}

}  // namespace test_support
