// What the library did to the platform, as values: its calls, its messages.
//
// Tests consist of lists of these: what can be kept out of line is, for the sake of the time they take to compile.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "ox_mom.h"
#include "quib.h"
#include "record.h"

namespace test_support {

// One call of the platform by the library. Pointers are compared, everything else by value.
struct Call {
    using Pointers = std::vector<const void *>;
    using Argument = std::variant<int64_t, const void *, std::string, Record, std::vector<int32_t>, Pointers>;

    std::string function;
    std::vector<Argument> arguments;

    Call(const char *function_name, std::vector<Argument> its_arguments);
    Call(const Call &);
    Call(Call &&) noexcept;
    Call &operator=(const Call &);
    Call &operator=(Call &&) noexcept;
    ~Call();
    bool operator==(const Call &) const;
};
std::ostream &operator<<(std::ostream &out, const Call &call);

// The calls that a test expects; each is named as the function without its prefix.
namespace call {
Call client_connect_sync(MomClient *client, int32_t db);
Call client_set_reconnect_cb(MomClient *client, int32_t db, MomReconnectCb cb, void *arg);
Call hgetall_sync(MomClient *client, int32_t db, const Record &request);
Call hash_res_free();
Call hmset_sync(MomClient *client, int32_t db, const Record &record, const std::vector<int32_t> &field_ids);
Call get_sync(MomClient *client, int32_t db, const Record &request);
Call ox_obj_free();
Call subscribe(MomClient *client, int32_t db, const Record &request, int32_t flags, MomMsgCb cb, void *arg);
// args: a null pointer, or Call::Pointers of as many as there are fields.
Call subscribe_field(MomClient *client, int32_t db, const Record &request, int32_t n_requests,
                     const std::vector<int32_t> &field_ids, const std::vector<MomFieldCb> &cbs,
                     const Call::Argument &args);
Call scan_sync(MomClient *client, int32_t db, const Record &request, int32_t flags, MomMsgCb cb, void *arg);
Call zlog_init(const std::string &category);
Call quib_lib_init(MomClient *client, const std::string &module);
Call quib_reg_mod_cmd(const std::string &module, const std::string &command, int32_t reserved,
                      const std::string &argument_format, QuibHandler handler);
}  // namespace call

// The source places that messages come from.
inline constexpr const char *kLibrary = "app/trel_cap/src/trel_cap";
inline constexpr const char *kNodeList = "app/trel_cap/src/trel_cap_sw";
inline constexpr const char *kDiagnostics = "app/trel_cap/src/trel_cap_dbg";

// One message. That its format is "%s", its line positive and its category one that was handed out is always checked.
struct Log {
    int level;
    std::string function;
    std::string text;
    std::string place;

    Log(int zlog_level, std::string function_name, std::string message, std::string source_place = kLibrary);
    Log(const Log &);
    Log(Log &&) noexcept;
    Log &operator=(const Log &);
    Log &operator=(Log &&) noexcept;
    ~Log();
    bool operator==(const Log &) const;
};
std::ostream &operator<<(std::ostream &out, const Log &log);

// The one or the other; in a list, their order counts.
class Event {
public:
    Event(Call call);
    Event(Log log);
    Event(const Event &);
    Event(Event &&) noexcept;
    Event &operator=(const Event &);
    Event &operator=(Event &&) noexcept;
    ~Event();

    // NULL when it is the other.
    const Call *call() const { return call_.get(); }
    const Log *log() const { return log_.get(); }

    bool operator==(const Event &other) const;
    friend std::ostream &operator<<(std::ostream &out, const Event &event);

private:
    std::shared_ptr<const Call> call_;
    std::shared_ptr<const Log> log_;
};

// Whether the log level lets a message of this zlog level out.
bool level_lets_out(int32_t gate, int zlog_level);

// Those of the events that are to be seen at a log level: all calls, and the messages that it lets out.
std::vector<Event> visible_at(int32_t gate, const std::vector<Event> &events);

// printf into a string.
std::string text(const char *format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace test_support
