#include "store/store.h"

#include <cstdlib>
#include <exception>
#include <span>
#include <string_view>
#include <utility>

#include "command_line/exit_status.h"
#include "command_line/text.h"
#include "store/message.h"

namespace store {

using namespace command_line;
using record::Record;
using record::RecordType;
using record::View;

namespace {

// By the names of the OX_MOM_E_ codes: a new one does not compile until it has an entry.
enum StatusByName : int {
    ON_ARGUMENT = kFailed,
    ON_MEMORY = kFailed,
    ON_THREAD = kFailed,
    ON_FORK = kFailed,
    ON_STORE = kUsage,
    ON_NOT_CONNECTED = kFailed,
    ON_CONNECT = kNoConnection,
    ON_LOST = kNoConnection,
    ON_TIMEOUT = kTimeOut,
    ON_REFUSED = kRefused,
    ON_TYPE = kUnreadable,
    ON_DECODE = kUnreadable,
    ON_DESTROYED = kFailed,
};

ExitStatus status_of(int32_t store_code) {
    switch (store_code) {
#define STATUS_CASE(name, code, text)                                                                                  \
    case OX_MOM_E_##name:                                                                                              \
        return static_cast<ExitStatus>(ON_##name);
        OX_MOM_ERRORS(STATUS_CASE)
#undef STATUS_CASE
        default:
            return kFailed;
    }
}

void check(int32_t code) {
    if (code != 0) {
        fail(code);
    }
}

void check_read(int32_t code, const Record &address) {
    if (code == OX_MOM_E_DECODE) {
        throw NotDecoded(quote(address.key()) + ": it is stored, but does not decode; del deletes it");
    }
    check(code);
}

struct HashResultDeleter {
    void operator()(MomHashResult *result) const { ox_mom_hash_res_free(result); }
};
using HashResult = std::unique_ptr<MomHashResult, HashResultDeleter>;

struct ObjectDeleter {
    void operator()(ProtobufCMessage *record) const { ox_mom_ox_obj_free(record); }
};

std::optional<Record> read_hash(MomClient *client, const Record &address) {
    const HashResult result(ox_mom_hgetall_sync(client, address.type().db, &address.message()));
    if (!result) {
        throw Failure(kFailed, ox_mom_last_error());
    }
    check_read(result->error_code, address);
    if (result->record == nullptr) {
        return std::nullopt;
    }
    return Record(View(address.type(), *result->record, {result->field_ids, result->n_field_ids}));
}

std::optional<Record> read_object(MomClient *client, const Record &address) {
    int32_t error = 0;
    const std::unique_ptr<ProtobufCMessage, ObjectDeleter> record(
        ox_mom_get_sync(client, address.type().db, &address.message(), &error));
    check_read(error, address);
    if (!record) {
        return std::nullopt;
    }
    return Record(View::whole(*record));
}

struct Scan {
    const std::function<void(const View &)> &each;
    Unreadables &unreadable;
    std::exception_ptr failure;  // of the callback; it must not pass through the client
};

// A callback of a scan is told nothing but the client, so this thread's latest scan is known to it.
thread_local Scan *scan_under_way;

int32_t on_scanned(MomClient *, MomMsg *message) {
    Scan &scan = *scan_under_way;
    if (!scan.failure) {
        try {
            if (const auto record = record_in(*message)) {
                scan.each(*record);
            }
        } catch (...) {
            scan.failure = std::current_exception();
        }
    }
    return 0;
}

bool is_of(const RecordType &type, std::string_view key) {
    return key.starts_with(type.name()) && (key.size() == type.name().size() || key[type.name().size()] == ':');
}

}  // namespace

void note_unreadable(const Unreadable &unreadable) {
    if (scan_under_way != nullptr) {
        scan_under_way->unreadable.insert_or_assign(unreadable.first, unreadable.second);
    }
}

void fail(int32_t code) {
    const std::string reason = ox_mom_last_error();
    throw Failure(status_of(code), reason.empty() ? ox_mom_strerror(code) : reason);
}

Store::Store(const std::string &name) : client_(ox_mom_client_create(name.c_str())) {
    if (!client_) {
        const std::string_view why = ox_mom_last_error();  // there is no code
        throw Failure(why == ox_mom_strerror(OX_MOM_E_MEMORY) ? kFailed : kUsage, std::string(why));
    }
}

void Store::connect(int32_t db) {
    if (connected_.insert(db).second) {
        const int32_t code = ox_mom_client_connect_sync(client_.get(), db);
        if (code != 0) {
            connected_.erase(db);
            fail(code);
        }
    }
}

std::optional<Record> Store::read(const Record &address) {
    connect(address.type().db);
    return address.type().index() != nullptr ? read_hash(client(), address) : read_object(client(), address);
}

void Store::write(const Record &record) {
    connect(record.type().db);
    if (record.type().index() == nullptr) {
        check(ox_mom_set_sync(client(), record.type().db, &record.message()));
        return;
    }
    // The index is always written, so that it alone makes a record without fields.
    constexpr int32_t kIndexAlone[] = {record::kIndexField};
    const std::span fields = record.fields().empty() ? std::span<const int32_t>(kIndexAlone) : record.fields();
    check(ox_mom_hmset_sync(client(), record.type().db, &record.message(), fields.data(),
                            static_cast<uint32_t>(fields.size())));
}

void Store::remove(const Record &address) {
    connect(address.type().db);
    check(ox_mom_del_sync(client(), address.type().db, &address.message()));
}

void Store::visit(const RecordType &type, const std::function<void(const View &)> &each) {
    connect(type.db);
    std::erase_if(unreadable_, [&](const auto &entry) { return is_of(type, entry.first); });
    Scan scan{each, unreadable_, nullptr};
    Scan *outer = std::exchange(scan_under_way, &scan);
    const int32_t code = ox_mom_scan_sync(client(), type.db, &Record(type).message(), 0, on_scanned, nullptr);
    scan_under_way = outer;
    if (scan.failure) {
        std::rethrow_exception(scan.failure);
    }
    check(code);
}

void Store::scan(const RecordType &type, const std::function<void(Record &&)> &each) {
    visit(type, [&](const View &record) { each(Record(record)); });
}

std::string server_name(const std::string &option) {
    std::string name = option;
    if (const char *variable = std::getenv("OX_MOM_STORE"); name.empty() && variable != nullptr) {
        name = variable;
    }
    if (name.empty()) {
        throw Failure(kUsage, "no store is named: give --store NAME, or set OX_MOM_STORE");
    }
    if (name.starts_with("mem:")) {
        throw Failure(kUsage, "store " + quote(name) +
                                  ": an embedded store lives and ends with its process, so there " +
                                  "is nothing to reach; name a server's (unix:///path, redis://host, sentinel://...)");
    }
    return name;
}

}  // namespace store
